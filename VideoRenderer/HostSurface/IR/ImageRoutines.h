/*
 * Image routines: pixel operations on rows of memory, in plain C.
 *
 * A picture is an address, the bytes from one row to the next, a width, a height and a format code.
 * The routines know nothing of frames; whoever owns the memory keeps it alive for the call.
 *
 * The format code, by bits (layout 0 also says which component order the family has):
 *
 *   0-1   family   0 RGB, 1 YUV Rec.601, 2 YUV Rec.709
 *   2-3   alpha    0 none, 1 straight, 2 premultiplied, 3 opaque (the stored value is ignored, 1 is written)
 *   4-7   layout   0 four components, 1 UYVY, 2 YUYV, 3 v210, 4 planar 4:2:0, 5 planar 4:2:0 whose chroma
 *                  lines belong to the fields, 6 planar 4:2:2, 7 planar 4:2:0 with centred chroma
 *   8-10  depth    0 8-bit, 1 32-bit float, 2 16-bit, 3 10-bit
 *   11    linear light (RGB 32-bit float only)
 *   12    full range (YUV only; without it YUV integers are narrow range)
 *   13    bottom-left origin: the first row in memory is the lowest of the picture (four components only)
 *
 * A code is known if its bits go together; there is no list of names behind it. Four-component pixels are
 * B G R A or V U Y A in memory, 8-bit (0..255), 16-bit (0..65535, RGB only) or float. Planar pictures keep
 * Y (row bytes x height), then U, then V, each with half the row bytes, one block after the other; their
 * 10-bit samples are the low bits of 16-bit little-endian words. v210 rows are multiples of 16 bytes.
 *
 * Values. RGB is display-referred, coded with the Rec.709 curve, full range; float is nominally 0..1 and never
 * clamped. Float Y is 0..1 after the range is taken away, float U and V are centred on 0 (-0.5..0.5); narrow
 * 8-bit Y is 16..235 and U, V 16..240 about 128, full-range ones 0..255 about 128; 10-bit is four times as
 * much. Integer results are rounded to the nearest code and clamped to what the code can hold, not to the nominal
 * range, so that whiter than white survives between integer YUV formats.
 * Linear light is coded light with the Rec.709 camera curve taken away (a = 1.09929682680944,
 * b = 0.018053968510807: V = 4.5 L below b, a L^0.45 - (a - 1) from there), negative values by odd symmetry,
 * so that there and back changes nothing but the last bits of a float.
 *
 * Alpha. Premultiplied means every colour component, in its own coding, times alpha (Y and the centred U and
 * V alike). A conversion from one alpha kind to another really converts the pixels. To a format without
 * alpha or with opaque alpha, premultiplied colour stays as it is (the picture over black) and straight
 * colour stays as it is (alpha is dropped). A pixel with alpha 0 becomes straight black.
 *
 * Chroma. Layouts 1 to 6 are sited left (on every second pixel of a row), layout 7 centred; 4:2:0 chroma lies
 * midway between two rows, in layout 5 a quarter row below the upper one of a pair of rows of the upper field,
 * three quarters in the lower field. Chroma is interpolated linearly on the way up and filtered with the
 * triangle of twice that width on the way down, along the axes on which source and target differ; beyond an
 * edge the picture is mirrored.
 *
 * Every function that answers int32_t answers 0 or one of the negative numbers below, with no pixel written.
 * Row bytes may be negative for four-component and packed formats: the address is then that of the first row
 * of the picture and rows go down in memory. No alignment is needed; 64-byte aligned rows are fastest.
 *
 * Integer results are the same on every processor.
 *
 * Thread-safety: all functions may be called from any number of threads; two calls at a time must not write
 * the same rows.
 */
#ifndef IR_IMAGE_ROUTINES_H
#define IR_IMAGE_ROUTINES_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define IR_EXPORT __attribute__((visibility("default")))
#else
#define IR_EXPORT
#endif

/* The formatter would indent all that an extern "C" block holds. */
/* clang-format off */
#ifdef __cplusplus
extern "C"
{
#endif

enum
{
    kIR_Success = 0,
    kIR_UnknownFormat = -1, /* a code whose bits don't go together */
    kIR_NullPointer = -2,   /* pixels or colour missing */
    kIR_BadSize = -3,       /* width or height not above 0 or above 65536, or row bytes too few for the width */
    kIR_BadArgument = -4,   /* a field selector outside 0..2, an opacity or weight that is no number, an overlap */
    kIR_OutOfMemory = -5
};

enum
{
    kIR_WholePicture = 0,
    kIR_UpperField = 1, /* rows 0, 2, 4 ... */
    kIR_LowerField = 2  /* rows 1, 3, 5 ... */
};

/*
 * Converts a picture to another format at the same size.
 *
 * Source and target may be the same memory if both formats have four components of the same size and the row
 * bytes agree; any other overlap is refused or gives undefined pixels.
 * inQuality is accepted for the sake of callers; a conversion is exact at every quality.
 */
IR_EXPORT int32_t IR_Convert(
    const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat,
    void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
    int32_t inWidth, int32_t inHeight, int32_t inQuality);

/*
 * Scales a picture to the target's size and converts it to the target's format.
 *
 * inSourceField: kIR_WholePicture, or the field to take. A height is always that of the whole picture; an upper
 * field has its larger half. Of layout 5 a field has its own chroma rows.
 * inTargetField: kIR_WholePicture, or the field whose rows are written; the other rows stay as they are.
 *
 *   whole -> whole   the picture fills the target
 *   field -> whole   the field fills the target; at the field's own height each row is copied, and above it the
 *                    field's rows stay where they are in the whole picture
 *   whole -> field   the rows that whole -> whole would give, of which only one field is written (of a 4:2:0
 *                    target whose fields share chroma rows these too, made from the field's rows)
 *   field -> field   the rows keep their places in the picture: at equal size and parity rows are copied
 *
 * Scaling is done on the source's own coding, premultiplied where the source has straight alpha and the target
 * an alpha; the filter widens when the picture shrinks, so that nothing aliases. Filters: inQuality up to 3
 * bilinear (triangle), 4 bicubic (b = 0, c = 0.5), 5 and above Lanczos of three lobes. Equal sizes
 * without fields are IR_Convert. Source and target must not overlap.
 */
IR_EXPORT int32_t IR_ScaleConvert(
    const void* inSource, int32_t inSourceRowBytes, int32_t inSourceWidth, int32_t inSourceHeight,
    uint32_t inSourceFormat, int32_t inSourceField,
    void* outTarget, int32_t inTargetRowBytes, int32_t inTargetWidth, int32_t inTargetHeight,
    uint32_t inTargetFormat, int32_t inTargetField,
    int32_t inQuality);

/*
 * Writes one colour to every pixel. inColor points at one pixel of a four-component format (4: straight B, G, R, A
 * bytes), which is converted to inFormat as IR_Convert would.
 */
IR_EXPORT int32_t IR_FillWithColor(
    void* outPixels, int32_t inRowBytes, int32_t inWidth, int32_t inHeight, uint32_t inFormat,
    const void* inColor, uint32_t inColorFormat);

/*
 * Takes a matte colour out of a picture that was composited over it, in place, and leaves straight alpha:
 * C = (C - M (1 - a)) / a, and 0 where a is 0. The alpha stays. inFormat has four components; whichever alpha
 * kind its code names, the result is straight. A picture with opaque alpha stays as it is.
 * inMatte points at one pixel of the four-component format inMatteFormat; its alpha has no meaning.
 */
IR_EXPORT int32_t IR_UnPremultiplyAgainstMatteColor(
    void* ioPixels, int32_t inRowBytes, uint32_t inFormat, int32_t inWidth, int32_t inHeight,
    const void* inMatte, uint32_t inMatteFormat, int32_t inQuality);

/*
 * Lays the source over black: colour times alpha times inOpacity (clamped to 0..1), alpha opaque. The product is
 * formed in the source's own coding; then the pixel is converted to the target's format. In place as IR_Convert.
 */
IR_EXPORT int32_t IR_CompositeToBlack(
    const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat,
    void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
    int32_t inWidth, int32_t inHeight, float inOpacity, int32_t inQuality);

/*
 * Lays the source over the target, in place: normal mode of IR/BlendModes.h, with inOpacity (limited to 0..1) for
 * the whole picture. The source may be of any format; the target has four components. A target with opaque alpha
 * reads as alpha 1 and stays opaque.
 *
 * Colours meet in the target's own model and coding. From inQuality 5 on, R, G and B of a display-coded RGB target
 * meet in linear light instead; the picture stays coded, and a byte is at most one step from the exact result.
 * Source and target must not overlap.
 */
IR_EXPORT int32_t IR_Composite(
    const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat,
    void* ioTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
    int32_t inWidth, int32_t inHeight, float inOpacity, int32_t inQuality);

/*
 * Blends two pictures into a third: IR_Accumulate with the weights 1 - inWeightOfSecond and inWeightOfSecond, which
 * is limited to 0..1.
 */
IR_EXPORT int32_t IR_CrossDissolve(
    const void* inFirst, int32_t inFirstRowBytes, uint32_t inFirstFormat,
    const void* inSecond, int32_t inSecondRowBytes, uint32_t inSecondFormat,
    void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
    int32_t inWidth, int32_t inHeight, float inWeightOfSecond, int32_t inQuality);

/*
 * Sums pictures times their weights into the target. Note the order: height before width.
 *
 * The sum is made of premultiplied pixels in the target's model and coding, whatever the formats: colour counts by
 * its alpha, and the colour of a straight target is the sum divided by the summed alpha. Weights are any finite
 * numbers and need not sum to 1. No picture at all (inCount 0) gives black, clear where the target has alpha.
 * Subsampled pictures of one format are summed plane by plane; where formats differ, chroma is interpolated and
 * filtered as by IR_Convert.
 *
 * The target may be one of the sources if both have four components of the same size and the same row bytes; any
 * other overlap is refused. inQuality is accepted for the sake of callers.
 */
IR_EXPORT int32_t IR_Accumulate(
    const void* const inPixels[], const int32_t inRowBytes[], const uint32_t inFormats[], const double inWeights[],
    int32_t inCount, void* outTarget, int32_t inTargetRowBytes, int32_t inHeight, int32_t inWidth,
    uint32_t inTargetFormat, int32_t inQuality);

/*
 * Makes a picture of one moment out of one of two: the rows of one field stay, the others are made from them, in
 * place. inKeepLower 0 keeps the upper field, else the lower one stays.
 *
 * The row between two kept rows, a above and b below, by inQuality (that of deinterlacing):
 *
 *   1 and below   line doubling: the kept row of the same pair (rows 0 and 1, 2 and 3 ...)
 *   2, 3          line interpolation: the mean of a and b
 *   4 and above   filtering: a, b and the kept rows beyond them, by how much a and b disagree
 *
 * Where a row would lie outside, the nearest is repeated. Means are formed in the picture's own coding, integers
 * rounded up at half; straight colour counts by its alpha, C = (Ca Aa + Cb Ab) / (Aa + Ab), and equally where Aa
 * and Ab are equal or their sum is not above 0.
 *
 * Filtering: of each component, with A above a and B below b and c = (a + b) - (A + B), p = (8 (a + b) + c) / 16
 * continues what is smooth, and q = (16 (a + b) + c) / 32, smoothed along the row by 1, 2, 1, oversteps less
 * at edges and evens out noise. The value is p + s (q - p), where s grows with the sum e of |a - b| at the pixel and
 * its left and right neighbour, in steps of 8 bits: (e - 8) / 16, of chroma by itself (e - 24) / 128, from 0 to 1.
 * Beyond the sides the last pixel is repeated; integers are held within their range. It may come out above or
 * below all that it is made of. Where the twelve alphas are not all one, the pixel is the mean of a and b.
 *
 * Rows of chroma that belong to the fields (layout 5) are treated as rows are; those that both fields share
 * (layouts 4 and 7) stay, as neither field's can be told from the other's. A picture of one row stays as it is.
 */
IR_EXPORT int32_t IR_Deinterlace(
    void* ioPixels, int32_t inRowBytes, uint32_t inFormat, int32_t inWidth, int32_t inHeight,
    int32_t inKeepLower, int32_t inQuality);

/*
 * IR_Deinterlace into another picture of the same size, which gets all of its rows: those of the field that stays,
 * converted to the target's format, and the others made from them. Source and target must not overlap.
 */
IR_EXPORT int32_t IR_DeinterlaceInto(
    const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat,
    void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
    int32_t inWidth, int32_t inHeight, int32_t inKeepLower, int32_t inQuality);

/*
 * Moves a field to the place of the other one: writes to the target the rows that IR_Deinterlace would make from
 * one field of the source (inSourceIsLower 0: from the upper field come the target's lower rows), converted to the
 * target's format. The target's other rows stay, but for chroma that both fields share.
 *
 * Of a source in one plane only these rows are read, k from 0 to inHeight / 2 - 1: that at
 * inSource + (2 k + p) inSourceRowBytes, p 1 for the lower field of a top-left picture and the upper field of a
 * bottom-left one, else 0. A picture that holds nothing but the field serves as well, with half its row bytes and,
 * for p 1, from an address half a row before it; so row bytes need to hold but half a row. Planar sources are
 * whole pictures.
 *
 * The last of an odd number of rows in memory is not read, nor written to a bottom-left target. A source of one row
 * has no lower field: kIR_BadSize. Source and target may be rows of one memory that don't overlap, such as the two
 * fields of one picture.
 */
IR_EXPORT int32_t IR_DeinterlaceCopy(
    const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat,
    void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
    int32_t inWidth, int32_t inHeight, int32_t inSourceIsLower, int32_t inQuality);

/*
 * A block for rows and other short-lived things, 64-byte aligned, contents undefined, from a pool. Null if inBytes
 * is 0 or memory is short. The block belongs to the caller until it is freed, on any thread. Null may be freed.
 */
IR_EXPORT void* IR_AllocateTransientMemoryBlock(size_t inBytes);
IR_EXPORT void IR_FreeTransientMemoryBlock(void* inBlock);

/* 1 or 0. For every known code exactly one of the two is 1; for an unknown code both are 0. */
IR_EXPORT int32_t IR_IsOriginTopLeft(uint32_t inFormat);
IR_EXPORT int32_t IR_IsOriginBottomLeft(uint32_t inFormat);

#ifdef __cplusplus
}
#endif

#endif
