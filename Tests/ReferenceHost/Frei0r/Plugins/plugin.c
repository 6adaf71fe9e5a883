/* Small plug-ins for the tests of the host, one for each KIND_ that the build names. */
#include <signal.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

typedef struct
{
    const char* name;
    const char* author;
    int plugin_type, color_model, frei0r_version, major_version, minor_version, num_params;
    const char* explanation;
} info_t;

typedef struct
{
    const char* name;
    int type;
    const char* explanation;
} param_t;

typedef struct
{
    unsigned width, height;
    double level, on, x, y;
    float color[3];
    char text[16];
    unsigned frames;
} instance_t;

#if defined(KIND_VERSION)
enum
{
    kVersion = 2
};
#else
enum
{
    kVersion = 1
};
#endif

#if defined(KIND_MIXER)
enum
{
    kType = 2,
    kModel = 0,
    kParams = 1
};
#elif defined(KIND_SOURCE)
enum
{
    kType = 1,
    kModel = 1,
    kParams = 0
};
#elif defined(KIND_TYPE)
enum
{
    kType = 7,
    kModel = 1,
    kParams = 0
};
#elif defined(KIND_TELLS)
enum
{
    kType = 0,
    kModel = 1,
    kParams = 6
};
#elif defined(KIND_FALLS)
enum
{
    kType = 0,
    kModel = 2,
    kParams = 1
};
#else
enum
{
    kType = 0,
    kModel = 2,
    kParams = 0
};
#endif

int f0r_init(void)
{
#if defined(KIND_CRASHES)
    raise(SIGSEGV);
#elif defined(KIND_EXITS)
    _exit(3);
#elif defined(KIND_HANGS)
    for (;;)
    {
        pause();
    }
#elif defined(KIND_UNREADY)
    return 0;
#endif
    return 1;
}

void f0r_deinit(void) {}

void f0r_get_plugin_info(info_t* info)
{
    info->name = "Test of a plug-in";
    info->author = "Andr\xe9";
    info->plugin_type = kType;
    info->color_model = kModel;
    info->frei0r_version = kVersion;
    info->major_version = 3;
    info->minor_version = 14;
    info->num_params = kParams;
    info->explanation = "line\nand\ttab \\ back";
}

static const param_t kParameters[] = {{"Level", 1, "how much"}, {"On", 0, 0},    {"Tint", 2, ""},
                                      {"Place", 3, ""},         {"Text", 4, ""}, {"Level", 1, ""}};

void f0r_get_param_info(param_t* info, int index)
{
    *info = kParameters[index];
}

#if !defined(KIND_MISSING)
void* f0r_construct(unsigned width, unsigned height)
{
#if defined(KIND_SMALL)
    (void)width;
    (void)height;
    return 0;
#else
    instance_t* instance = calloc(1, sizeof(instance_t));
    instance->width = width;
    instance->height = height;
    instance->level = 0.25;
    instance->on = 1.0;
    instance->x = 0.5;
    instance->y = 0.125;
    instance->color[1] = 1.0f;
    strcpy(instance->text, "abc");
    return instance;
#endif
}
#endif

void f0r_destruct(void* instance)
{
    free(instance);
}

void f0r_set_param_value(void* anything, void* value, int index)
{
    instance_t* instance = anything;
    switch (index)
    {
    case 0: instance->level = *(double*)value; break;
    case 1: instance->on = *(double*)value; break;
    case 2: memcpy(instance->color, value, sizeof(instance->color)); break;
    case 3:
        instance->x = ((double*)value)[0];
        instance->y = ((double*)value)[1];
        break;
    case 4: strncpy(instance->text, *(char**)value, sizeof(instance->text) - 1); break;
    default: break;
    }
}

void f0r_get_param_value(void* anything, void* value, int index)
{
    instance_t* instance = anything;
    switch (index)
    {
    case 0: *(double*)value = instance->level; break;
    case 1: *(double*)value = instance->on; break;
    case 2: memcpy(value, instance->color, sizeof(instance->color)); break;
    case 3:
        ((double*)value)[0] = instance->x;
        ((double*)value)[1] = instance->y;
        break;
    case 4: *(char**)value = instance->text; break;
    default: *(double*)value = -2.0; break;
    }
}

#if defined(KIND_TELLS)
/* The input, but the first pixels of the first row tell what the plug-in was given. */
void f0r_update(void* anything, double time, const uint32_t* in, uint32_t* out)
{
    const instance_t* instance = anything;
    unsigned char* told = (unsigned char*)out;
    memcpy(out, in, 4ul * instance->width * instance->height);
    told[0] = (unsigned char)(instance->level * 200.0);
    told[1] = (unsigned char)(instance->on * 200.0);
    told[2] = (unsigned char)(time * 100.0 + 0.5);
    told[4] = (unsigned char)(instance->color[0] * 255.0f + 0.5f);
    told[5] = (unsigned char)(instance->color[1] * 255.0f + 0.5f);
    told[6] = (unsigned char)(instance->color[2] * 255.0f + 0.5f);
    told[8] = (unsigned char)(instance->x * 200.0);
    told[9] = (unsigned char)(instance->y * 200.0);
    told[10] = (unsigned char)instance->text[0];
    told[12] = (unsigned char)instance->width;
    told[13] = (unsigned char)instance->height;
    told[14] = in != out && ((uintptr_t)in | (uintptr_t)out) % 16 == 0;
    /* The last pixel of the picture that was given. */
    memcpy(told + 16, in + (unsigned long)instance->width * instance->height - 1, 4);
}
#elif defined(KIND_COUNTS)
/* How many frames this instance made. */
void f0r_update(void* anything, double time, const uint32_t* in, uint32_t* out)
{
    instance_t* instance = anything;
    (void)time;
    (void)in;
    memset(out, (int)++instance->frames, 4ul * instance->width * instance->height);
}
#elif defined(KIND_ALONE)
/* Bytes of 9 where another call was going on at the same time. */
void f0r_update(void* anything, double time, const uint32_t* in, uint32_t* out)
{
    static int inside = 0;
    const instance_t* instance = anything;
    int overlaps = __atomic_add_fetch(&inside, 1, __ATOMIC_SEQ_CST) > 1;
    (void)time;
    (void)in;
    for (int i = 0; i < 2000; ++i)
    {
        overlaps |= __atomic_load_n(&inside, __ATOMIC_SEQ_CST) > 1;
    }
    memset(out, overlaps ? 9 : 1, 4ul * instance->width * instance->height);
    __atomic_sub_fetch(&inside, 1, __ATOMIC_SEQ_CST);
}
#elif defined(KIND_SUMS)
/* The first byte of every frame so far, added up. */
void f0r_update(void* anything, double time, const uint32_t* in, uint32_t* out)
{
    instance_t* instance = anything;
    (void)time;
    instance->frames += *(const unsigned char*)in;
    memset(out, (int)instance->frames, 4ul * instance->width * instance->height);
}
#elif defined(KIND_FALLS)
/* Crashes from a level of a half on, and hangs at 1. */
void f0r_update(void* anything, double time, const uint32_t* in, uint32_t* out)
{
    const instance_t* instance = anything;
    (void)time;
    memcpy(out, in, 4ul * instance->width * instance->height);
    while (instance->level >= 1.0)
    {
        pause();
    }
    if (instance->level >= 0.5)
    {
        raise(SIGSEGV);
    }
}
#elif !defined(KIND_MIXER)
/* Draws nothing. */
void f0r_update(void* anything, double time, const uint32_t* in, uint32_t* out)
{
    (void)anything;
    (void)time;
    (void)in;
    (void)out;
}
#else
/* The first picture at level 0, the second from a half on. */
void f0r_update2(void* anything, double time, const uint32_t* in1, const uint32_t* in2, const uint32_t* in3,
                 uint32_t* out)
{
    const instance_t* instance = anything;
    (void)time;
    (void)in3;
    memcpy(out, instance->level < 0.5 ? in1 : in2, 4ul * instance->width * instance->height);
}
#endif
