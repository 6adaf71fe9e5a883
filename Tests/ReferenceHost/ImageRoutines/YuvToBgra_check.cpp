#include <algorithm>
#include <gtest/gtest.h>

#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/YuvToBgra.h"
#include "TestPictures.h"
#include "Tests/Support/KernelHarness.h"

// The fixed point of the kernels once more, a sample at a time. That it is near enough to the truth is proved
// where whole pictures are converted.
namespace
{

using ir::ChromaPhase;
using ir::kChromaPad;
using TestSupport::AgreesWithScalarTwin;
using TestSupport::KernelBuffer;
using TestSupport::KernelCall;
using TestSupport::KernelCase;
using TestSupport::KernelRole;
using TestSupport::KernelSample;

const TestSupport::KernelTargets kTargets = {TestPictures::Targets, ir::SetCpuTarget};

std::string TargetOfRows()
{
    return ir::YuvToBgraTarget();
}

std::size_t ChromaOf(std::size_t inWidth)
{
    return (inWidth + 1) / 2;
}

// Planes of samples with the pads that chroma rows have.
KernelBuffer PaddedChroma(KernelRole inRole, double inMost, bool inIsFull = false)
{
    KernelBuffer buffer = {.role = inRole, .sample = KernelSample::Word, .most = inMost};
    buffer.samples = [inIsFull](std::size_t inWidth)
    { return (inIsFull ? inWidth : ChromaOf(inWidth)) + 2 * kChromaPad; };
    return buffer;
}

std::uint16_t* Chroma(const KernelCall& inCall, std::size_t inBuffer)
{
    return inCall.Row<std::uint16_t>(inBuffer) + kChromaPad;
}

void PadBothSides(std::uint16_t* ioRow, std::size_t inSamples)
{
    std::fill(ioRow - kChromaPad, ioRow, ioRow[0]);
    std::fill(ioRow + inSamples, ioRow + inSamples + kChromaPad, ioRow[inSamples - 1]);
}

// Rounded to so many bits, at most ten.
std::uint32_t Shortened(std::uint32_t inSample, std::int32_t inLowBits)
{
    const std::uint32_t half = inLowBits == 0 ? 0 : 1U << (inLowBits - 1);
    return inLowBits == 0 ? inSample : std::min((inSample + half) >> inLowBits, 1023U);
}

struct BlendKind
{
    const char* name;
    bool isWord;
    bool isInterleaved;
    std::int32_t lowBits;
    std::int32_t unit;
    double most; // sample
};
constexpr BlendKind kBlends[] = {
    {"bytes", false, false, 0, 32, 255},        {"bytes by turns", false, true, 0, 32, 255},
    {"ten bits", true, false, 0, 8, 1023},      {"ten bits by turns", true, true, 0, 8, 1023},
    {"sixteen bits", true, false, 6, 8, 65535}, {"ten high bits by turns", true, true, 6, 8, 65535},
};

std::uint32_t SampleAt(const BlendKind& inKind, const unsigned char* inRow, std::size_t inIndex)
{
    return inKind.isWord ? reinterpret_cast<const std::uint16_t*>(inRow)[inIndex] : inRow[inIndex];
}

void BlendOneByOne(const BlendKind& inKind, std::int32_t inEighths, const KernelCall& inCall)
{
    const std::size_t step = inKind.isInterleaved ? 2 : 1;
    for (std::size_t component = 0; component < step; ++component)
    {
        std::uint16_t* out = Chroma(inCall, 1 + component);
        for (std::size_t i = 0; i < ChromaOf(inCall.Width()); ++i)
        {
            const auto share = [&](std::size_t inRow, std::int32_t inPart)
            {
                const std::uint32_t sample = SampleAt(inKind, inCall.Row(0, inRow), i * step + component);
                return Shortened(sample, inKind.lowBits) *
                       static_cast<std::uint32_t>(inPart * inKind.unit / 8);
            };
            out[i] = static_cast<std::uint16_t>(share(0, 8 - inEighths) + share(1, inEighths));
        }
        PadBothSides(out, ChromaOf(inCall.Width()));
    }
}

KernelCase Blending(const BlendKind& inKind, std::int32_t inEighths)
{
    KernelBuffer rows = {.sample = inKind.isWord ? KernelSample::Word : KernelSample::Byte, .rows = 2};
    rows.samples = [inKind](std::size_t inWidth)
    { return ChromaOf(inWidth) * (inKind.isInterleaved ? 2 : 1); };
    rows.most = inKind.most;
    KernelCase blend = {std::string("blending chroma of ") + inKind.name, {rows}, {}, {}, TargetOfRows};
    for (int i = 0; i < (inKind.isInterleaved ? 2 : 1); ++i)
    {
        blend.buffers.push_back(PaddedChroma(KernelRole::Target, 0));
    }
    blend.scalar = [=](const KernelCall& inCall) { BlendOneByOne(inKind, inEighths, inCall); };
    blend.kernel = [=](const KernelCall& inCall)
    {
        ir::BlendChroma({inCall.Row(0, 0), inCall.Row(0, 1), inEighths, inKind.isWord, inKind.isInterleaved,
                         inKind.lowBits, inKind.unit},
                        Chroma(inCall, 1), inKind.isInterleaved ? Chroma(inCall, 2) : nullptr,
                        ChromaOf(inCall.Width()));
    };
    return blend;
}

KernelCase Splitting(bool inIsUYVY)
{
    const std::size_t luma = inIsUYVY ? 1 : 0;
    KernelBuffer packed;
    packed.samples = [](std::size_t inWidth) { return ChromaOf(inWidth) * 4; };
    KernelBuffer lumaRow = {.role = KernelRole::Target};
    lumaRow.samples = [](std::size_t inWidth) { return ChromaOf(inWidth) * 2; };
    const auto kernel = [=](const KernelCall& inCall)
    {
        ir::SplitPacked422(inCall.Row(0), inIsUYVY, inCall.Row(1), Chroma(inCall, 2), Chroma(inCall, 3),
                           ChromaOf(inCall.Width()));
    };
    const auto scalar = [=](const KernelCall& inCall)
    {
        for (std::size_t i = 0; i < ChromaOf(inCall.Width()); ++i)
        {
            const unsigned char* group = inCall.Row(0) + i * 4;
            inCall.Row(1)[i * 2] = group[luma];
            inCall.Row(1)[i * 2 + 1] = group[luma + 2];
            Chroma(inCall, 2)[i] = static_cast<std::uint16_t>(group[1 - luma] * 32);
            Chroma(inCall, 3)[i] = static_cast<std::uint16_t>(group[3 - luma] * 32);
        }
        PadBothSides(Chroma(inCall, 2), ChromaOf(inCall.Width()));
        PadBothSides(Chroma(inCall, 3), ChromaOf(inCall.Width()));
    };
    return {inIsUYVY ? "splitting UYVY" : "splitting YUYV",
            {packed, lumaRow, PaddedChroma(KernelRole::Target, 0), PaddedChroma(KernelRole::Target, 0)},
            kernel,
            scalar,
            TargetOfRows};
}

// The product of two numbers in Q15, rounded.
std::int32_t Product(std::int32_t inOne, std::int32_t inOther)
{
    return (inOne * inOther + 16384) >> 15;
}

std::int32_t ChromaAt(const std::uint16_t* inRow, ChromaPhase inPhase, std::size_t inX)
{
    const auto at = [&](std::ptrdiff_t inIndex) { return static_cast<std::int32_t>(inRow[inIndex]); };
    const auto own = static_cast<std::ptrdiff_t>(inPhase == ChromaPhase::kFull ? inX : inX / 2);
    const bool isOdd = inX % 2 == 1;
    switch (inPhase)
    {
    case ChromaPhase::kFull: return at(own) * 4 - 16384;
    case ChromaPhase::kLeft: return (isOdd ? (at(own) + at(own + 1)) * 2 : at(own) * 4) - 16384;
    default: return at(own) * 3 + at(isOdd ? own + 1 : own - 1) - 16384;
    }
}

unsigned char Code(std::int32_t inSum)
{
    return static_cast<unsigned char>(std::clamp(inSum >> 5, 0, 255));
}

struct RowKind
{
    const char* name;
    bool isWord;
    std::int32_t leftShift;
    double most;
    ChromaPhase phase;
    bool hasAlpha;
};
constexpr RowKind kRows[] = {
    {"8 bits, chroma left", false, 7, 255, ChromaPhase::kLeft, false},
    {"8 bits, chroma centred, alpha", false, 7, 255, ChromaPhase::kCenter, true},
    {"8 bits, full chroma", false, 7, 255, ChromaPhase::kFull, false},
    {"10 bits, chroma left, alpha", true, 5, 1023, ChromaPhase::kLeft, true},
    {"10 bits, chroma centred", true, 5, 1023, ChromaPhase::kCenter, false},
    {"16 bits, full chroma, alpha", true, -1, 65535, ChromaPhase::kFull, true},
};

std::int32_t LumaAt(const RowKind& inKind, const KernelCall& inCall, std::size_t inX)
{
    const std::int32_t sample = inKind.isWord ? inCall.Row<std::uint16_t>(0)[inX] : inCall.Row(0)[inX];
    return inKind.leftShift < 0 ? sample >> -inKind.leftShift : sample << inKind.leftShift;
}

void ConvertOneByOne(const RowKind& inKind, const ir::YuvToBgraFactors& inFactors, const KernelCall& inCall)
{
    for (std::size_t x = 0; x < inCall.Width(); ++x)
    {
        const std::int32_t luma = Product(LumaAt(inKind, inCall, x), inFactors.luma) + inFactors.redBias;
        const std::int32_t u = ChromaAt(Chroma(inCall, 1), inKind.phase, x);
        const std::int32_t v = ChromaAt(Chroma(inCall, 2), inKind.phase, x);
        unsigned char* pixel = inCall.Row(4) + x * 4;
        pixel[0] = Code(luma + Product(u, inFactors.blueFromU));
        pixel[1] = Code(luma + Product(u, inFactors.greenFromU) + Product(v, inFactors.greenFromV));
        pixel[2] = Code(luma + Product(v, inFactors.redFromV));
        pixel[3] = inKind.hasAlpha ? inCall.Row(3)[x] : 255;
    }
}

KernelBuffer Bgra(KernelRole inRole)
{
    KernelBuffer buffer = {.role = inRole};
    buffer.samples = [](std::size_t inWidth) { return inWidth * 4; };
    return buffer;
}

ir::YuvToBgraFactors FactorsOf(const RowKind& inKind)
{
    ir::Picture picture;
    picture.matrix = ir::Matrix::k709;
    picture.isFullRange = false;
    picture.bits = inKind.isWord ? (inKind.leftShift < 0 ? 16 : 10) : 8;
    picture.sample = inKind.isWord ? ir::Sample::kWord : ir::Sample::kByte;
    return ir::FactorsFor(picture);
}

// Luma, U, V, alpha and four components.
std::vector<KernelBuffer> RowsOf(const RowKind& inKind)
{
    const KernelBuffer luma = {.sample = inKind.isWord ? KernelSample::Word : KernelSample::Byte,
                               .most = inKind.most};
    const KernelBuffer chroma = PaddedChroma(KernelRole::Source, 8184, inKind.phase == ChromaPhase::kFull);
    return {luma, chroma, chroma, {}, Bgra(KernelRole::Target)};
}

KernelCase Converting(const RowKind& inKind)
{
    const ir::YuvToBgraFactors factors = FactorsOf(inKind);
    const auto kernel = [=](const KernelCall& inCall)
    {
        ir::YuvRowToBgra({inCall.Row(0), inKind.isWord, inKind.leftShift}, Chroma(inCall, 1),
                         Chroma(inCall, 2), inKind.phase, inKind.hasAlpha ? inCall.Row(3) : nullptr, factors,
                         inCall.Row(4), inCall.Width());
    };
    return {std::string("YUV rows of ") + inKind.name, RowsOf(inKind), kernel,
            [=](const KernelCall& inCall) { ConvertOneByOne(inKind, factors, inCall); }, TargetOfRows};
}

// 15 bits to 8.
unsigned char ByteOf(std::int32_t inSample)
{
    return static_cast<unsigned char>(std::min((inSample + 64) >> 7, 255));
}

KernelCase Packing(const RowKind& inKind)
{
    const auto kernel = [=](const KernelCall& inCall)
    {
        ir::YuvRowToVuya({inCall.Row(0), inKind.isWord, inKind.leftShift}, Chroma(inCall, 1),
                         Chroma(inCall, 2), inKind.phase, inKind.hasAlpha ? inCall.Row(3) : nullptr,
                         inCall.Row(4), inCall.Width());
    };
    const auto scalar = [=](const KernelCall& inCall)
    {
        for (std::size_t x = 0; x < inCall.Width(); ++x)
        {
            unsigned char* pixel = inCall.Row(4) + x * 4;
            pixel[0] = ByteOf(ChromaAt(Chroma(inCall, 2), inKind.phase, x) + 16384);
            pixel[1] = ByteOf(ChromaAt(Chroma(inCall, 1), inKind.phase, x) + 16384);
            pixel[2] = ByteOf(LumaAt(inKind, inCall, x));
            pixel[3] = inKind.hasAlpha ? inCall.Row(3)[x] : 255;
        }
    };
    return {std::string("packing YUV rows of ") + inKind.name, RowsOf(inKind), kernel, scalar, TargetOfRows};
}

}

TEST(YuvToBgra, BlendsChromaAsTheScalarTwin)
{
    for (const BlendKind& kind : kBlends)
    {
        for (const std::int32_t eighths : {0, 3, 8})
        {
            EXPECT_TRUE(AgreesWithScalarTwin(Blending(kind, eighths), kTargets));
        }
    }
}

TEST(YuvToBgra, SplitsPackedRowsAsTheScalarTwin)
{
    EXPECT_TRUE(AgreesWithScalarTwin(Splitting(true), kTargets));
    EXPECT_TRUE(AgreesWithScalarTwin(Splitting(false), kTargets));
}

TEST(YuvToBgra, ConvertsRowsAsTheScalarTwin)
{
    for (const RowKind& kind : kRows)
    {
        EXPECT_TRUE(AgreesWithScalarTwin(Converting(kind), kTargets));
    }
}

TEST(YuvToBgra, PacksRowsAsTheScalarTwin)
{
    for (const RowKind& kind : kRows)
    {
        EXPECT_TRUE(AgreesWithScalarTwin(Packing(kind), kTargets));
    }
}

TEST(YuvToBgra, CopiesRowsWithFullAlpha)
{
    const KernelCase copying = {"BGRA to opaque",
                                {Bgra(KernelRole::Source), Bgra(KernelRole::Target)},
                                [](const KernelCall& inCall)
                                { ir::BgraRowToOpaque(inCall.Row(0), inCall.Row(1), inCall.Width()); },
                                [](const KernelCall& inCall)
                                {
                                    for (std::size_t i = 0; i < inCall.Width() * 4; ++i)
                                    {
                                        inCall.Row(1)[i] = i % 4 == 3 ? 255 : inCall.Row(0)[i];
                                    }
                                },
                                TargetOfRows};
    EXPECT_TRUE(AgreesWithScalarTwin(copying, kTargets));
}

TEST(YuvToBgra, PutsPlanesTogetherAndTakesThemApart)
{
    for (const bool hasAlpha : {true, false})
    {
        const auto place = [](std::size_t inX, std::size_t inPlane)
        { return inX * 4 + (inPlane == 3 ? 3 : 2 - inPlane); };
        const auto each = [=](const KernelCall& inCall, auto inVisit)
        {
            for (std::size_t i = 0; i < inCall.Width() * 4; ++i)
            {
                inVisit(inCall.Row(0, i % 4) + i / 4, inCall.Row(1) + place(i / 4, i % 4), i % 4);
            }
        };
        const KernelBuffer planes = {.rows = 4};
        const KernelCase joining = {
            "planes to BGRA",
            {planes, Bgra(KernelRole::Target)},
            [=](const KernelCall& inCall)
            {
                ir::RgbRowToBgra(inCall.Row(0, 0), inCall.Row(0, 1), inCall.Row(0, 2),
                                 hasAlpha ? inCall.Row(0, 3) : nullptr, inCall.Row(1), inCall.Width());
            },
            [=](const KernelCall& inCall)
            {
                each(inCall, [=](const unsigned char* inSample, unsigned char* outPlace, std::size_t inPlane)
                     { *outPlace = inPlane == 3 && !hasAlpha ? 255 : *inSample; });
            },
            TargetOfRows};
        EXPECT_TRUE(AgreesWithScalarTwin(joining, kTargets));
        KernelBuffer written = {.role = KernelRole::Target, .rows = hasAlpha ? 4U : 3U};
        const KernelCase taking = {
            "BGRA to planes",
            {written, Bgra(KernelRole::Source)},
            [=](const KernelCall& inCall)
            {
                ir::BgraRowToPlanes(inCall.Row(1), inCall.Row(0, 0), inCall.Row(0, 1), inCall.Row(0, 2),
                                    hasAlpha ? inCall.Row(0, 3) : nullptr, inCall.Width());
            },
            [=](const KernelCall& inCall)
            {
                for (std::size_t plane = 0; plane < (hasAlpha ? 4U : 3U); ++plane)
                {
                    for (std::size_t x = 0; x < inCall.Width(); ++x)
                    {
                        inCall.Row(0, plane)[x] = inCall.Row(1)[place(x, plane)];
                    }
                }
            },
            TargetOfRows};
        EXPECT_TRUE(AgreesWithScalarTwin(taking, kTargets));
    }
}
