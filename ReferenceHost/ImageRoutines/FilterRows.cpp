#include "ReferenceHost/ImageRoutines/FieldRows.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/FilterRows.cpp"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace ir
{
namespace HWY_NAMESPACE
{
namespace
{

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kTaps = 4;
constexpr std::size_t kMostVectorBytes = sizeof(float) * hn::MaxLanes(hn::ScalableTag<float>());

// Bytes in 16-bit numbers, which hold eight sums of two rows and their excess with room for the sign; the way is a
// product of fixed point.
template <bool kIsChroma>
struct ByteMath
{
    static constexpr FilterLimits kLimits = kIsChroma ? kChromaLimits : kLumaLimits;
    using Sample = std::uint8_t;
    using Number = std::int16_t;
    using D = hn::ScalableTag<Number>;
    using Vector = hn::Vec<D>;

    explicit ByteMath(std::int32_t) {}

    static HWY_INLINE Vector Load(const Sample* inSamples)
    {
        return hn::PromoteTo(D(), hn::LoadU(hn::Rebind<Sample, D>(), inSamples));
    }
    static HWY_INLINE Vector Times16(Vector inValues) { return hn::ShiftLeft<4>(inValues); }
    static HWY_INLINE Vector Half(Vector inValues) { return hn::ShiftRight<1>(inValues); }
    HWY_INLINE Vector Share(Vector inDifferences) const
    {
        const Vector above = hn::Sub(inDifferences, hn::Set(D(), kLimits.first));
        return hn::Min(hn::Max(above, hn::Zero(D())), hn::Set(D(), 1 << kLimits.bitsOfRange));
    }
    static HWY_INLINE Vector Way(Vector inEighths, Vector inShare)
    {
        return hn::MulFixedPoint15(inEighths, hn::ShiftLeft<12 - kLimits.bitsOfRange>(inShare));
    }
    HWY_INLINE void Store(Vector inSixteenths, Sample* outSamples) const
    {
        const hn::Rebind<Sample, D> narrow;
        const Vector codes = hn::ShiftRight<4>(hn::Add(inSixteenths, hn::Set(D(), 8)));
        hn::StoreU(hn::DemoteTo(narrow, codes), narrow, outSamples);
    }
};

template <bool kIsChroma>
struct WordMath
{
    static constexpr FilterLimits kLimits = kIsChroma ? kChromaLimits : kLumaLimits;
    using Sample = std::uint16_t;
    using Number = std::int32_t;
    using D = hn::ScalableTag<Number>;
    using Vector = hn::Vec<D>;

    explicit WordMath(std::int32_t inBits) : shift(inBits - 8), most((1 << inBits) - 1) {}

    static HWY_INLINE Vector Load(const Sample* inSamples)
    {
        return hn::PromoteTo(D(), hn::LoadU(hn::Rebind<Sample, D>(), inSamples));
    }
    static HWY_INLINE Vector Times16(Vector inValues) { return hn::ShiftLeft<4>(inValues); }
    static HWY_INLINE Vector Half(Vector inValues) { return hn::ShiftRight<1>(inValues); }
    HWY_INLINE Vector Share(Vector inDifferences) const
    {
        const Vector steps = hn::ShiftRightSame(inDifferences, shift);
        const Vector above = hn::Sub(steps, hn::Set(D(), kLimits.first));
        return hn::Min(hn::Max(above, hn::Zero(D())), hn::Set(D(), 1 << kLimits.bitsOfRange));
    }
    static HWY_INLINE Vector Way(Vector inEighths, Vector inShare)
    {
        constexpr int kBits = kLimits.bitsOfRange + 3;
        const Vector product = hn::Mul(inEighths, inShare);
        return hn::ShiftRight<kBits>(hn::Add(product, hn::Set(D(), 1 << (kBits - 1))));
    }
    HWY_INLINE void Store(Vector inSixteenths, Sample* outSamples) const
    {
        const hn::Rebind<Sample, D> narrow;
        const Vector codes = hn::ShiftRight<4>(hn::Add(inSixteenths, hn::Set(D(), 8)));
        const Vector held = hn::Min(hn::Max(codes, hn::Zero(D())), hn::Set(D(), most));
        hn::StoreU(hn::DemoteTo(narrow, held), narrow, outSamples);
    }

    int shift;
    Number most;
};

template <bool kIsChroma>
struct FloatMath
{
    static constexpr FilterLimits kLimits = kIsChroma ? kChromaLimits : kLumaLimits;
    using Sample = float;
    using Number = float;
    using D = hn::ScalableTag<Number>;
    using Vector = hn::Vec<D>;

    explicit FloatMath(std::int32_t) {}

    static HWY_INLINE Vector Load(const Sample* inSamples) { return hn::LoadU(D(), inSamples); }
    static HWY_INLINE Vector Times16(Vector inValues) { return hn::Mul(inValues, hn::Set(D(), 16.0F)); }
    static HWY_INLINE Vector Half(Vector inValues) { return hn::Mul(inValues, hn::Set(D(), 0.5F)); }
    // Comparisons, as Min and Max of something that is no number differ between instruction sets.
    HWY_INLINE Vector Share(Vector inDifferences) const
    {
        constexpr float kRange = 1 << kLimits.bitsOfRange;
        const Vector steps = hn::Mul(inDifferences, hn::Set(D(), 255.0F));
        const Vector above = hn::Mul(hn::Sub(steps, hn::Set(D(), static_cast<float>(kLimits.first))),
                                     hn::Set(D(), 1.0F / kRange));
        const Vector positive = hn::IfThenElse(hn::Lt(above, hn::Zero(D())), hn::Zero(D()), above);
        return hn::IfThenElse(hn::Lt(hn::Set(D(), 1.0F), positive), hn::Set(D(), 1.0F), positive);
    }
    static HWY_INLINE Vector Way(Vector inEighths, Vector inShare)
    {
        return hn::Mul(hn::Mul(inEighths, hn::Set(D(), 0.125F)), inShare);
    }
    HWY_INLINE void Store(Vector inSixteenths, Sample* outSamples) const
    {
        hn::StoreU(hn::Mul(inSixteenths, hn::Set(D(), 0.0625F)), D(), outSamples);
    }
};

// What a row's columns come to, with kFilterPad numbers of room in front.
template <class Math>
struct Columns
{
    explicit Columns(void* const (&inWork)[kFilterWorkRows])
        : soft(static_cast<typename Math::Number*>(inWork[0]) + kFilterPad)
        , differences(static_cast<typename Math::Number*>(inWork[1]) + kFilterPad)
        , excess(static_cast<typename Math::Number*>(inWork[2]) + kFilterPad)
    {
    }

    typename Math::Number* soft; // in 32nds: 16 sums of the inner samples and their excess
    typename Math::Number* differences;
    typename Math::Number* excess;
};

template <class Math>
HWY_INLINE void SumColumns(const typename Math::Sample* const (&inTaps)[kTaps], std::size_t inFrom,
                           const Columns<Math>& outColumns, std::size_t inTo)
{
    const typename Math::D d;
    const auto above = Math::Load(inTaps[1] + inFrom);
    const auto below = Math::Load(inTaps[2] + inFrom);
    const auto outer = hn::Add(Math::Load(inTaps[0] + inFrom), Math::Load(inTaps[3] + inFrom));
    const auto sum = hn::Add(above, below);
    const auto excess = hn::Sub(sum, outer);
    hn::StoreU(hn::Add(Math::Times16(sum), excess), d, outColumns.soft + inTo);
    hn::StoreU(hn::Abs(hn::Sub(above, below)), d, outColumns.differences + inTo);
    hn::StoreU(excess, d, outColumns.excess + inTo);
}

// The last of them through copies, as nothing behind the rows may be read.
template <class Math>
HWY_NOINLINE void SumLastColumns(const typename Math::Sample* const (&inTaps)[kTaps], std::size_t inFrom,
                                 std::size_t inCount, const Columns<Math>& outColumns)
{
    alignas(64) typename Math::Sample rows[kTaps][kMostVectorBytes] = {};
    const typename Math::Sample* taps[kTaps];
    for (std::size_t i = 0; i < kTaps; ++i)
    {
        std::memcpy(rows[i], inTaps[i] + inFrom, inCount * sizeof(typename Math::Sample));
        taps[i] = rows[i];
    }
    SumColumns<Math>(taps, 0, outColumns, inFrom);
}

template <typename T>
void PadRow(T* ioRow, std::size_t inStep, std::size_t inCount)
{
    for (std::size_t i = 0; i < inStep; ++i)
    {
        *(ioRow - inStep + i) = ioRow[i];
        ioRow[inCount + i] = ioRow[inCount - inStep + i];
    }
}

template <class Math>
HWY_INLINE void MakeSamples(const Math& inMath, const Columns<Math>& inColumns, std::size_t inStep,
                            std::size_t inAt, typename Math::Sample* outSamples)
{
    const typename Math::D d;
    const auto* soft = inColumns.soft + inAt;
    const auto* differences = inColumns.differences + inAt;
    const auto here = hn::LoadU(d, soft);
    const auto excess = hn::LoadU(d, inColumns.excess + inAt);
    const auto sides = hn::Add(hn::LoadU(d, soft - inStep), hn::LoadU(d, soft + inStep));
    const auto across = hn::Add(hn::Add(hn::LoadU(d, differences - inStep), hn::LoadU(d, differences)),
                                hn::LoadU(d, differences + inStep));
    // Four of what is smoothed less four of what is not, each in 32nds.
    const auto bend = hn::Sub(hn::Sub(sides, here), here);
    const auto twice = hn::Add(excess, excess);
    const auto eighths = hn::Sub(bend, hn::Add(twice, twice));
    const auto sharp = Math::Half(hn::Add(here, excess));
    inMath.Store(hn::Add(sharp, Math::Way(eighths, inMath.Share(across))), outSamples);
}

template <class Math>
void MakeRow(const FilterSamples& inSamples, const FilterTaps& inTaps, void* outRow,
             void* const (&ioWork)[kFilterWorkRows])
{
    using Sample = typename Math::Sample;
    const Sample* const taps[kTaps] = {
        static_cast<const Sample*>(inTaps.outerAbove), static_cast<const Sample*>(inTaps.above),
        static_cast<const Sample*>(inTaps.below), static_cast<const Sample*>(inTaps.outerBelow)};
    const Math math(inSamples.bits);
    const Columns<Math> columns(ioWork);
    const std::size_t lanes = hn::Lanes(typename Math::D());
    const std::size_t whole = inSamples.count / lanes * lanes;
    for (std::size_t at = 0; at < whole; at += lanes)
    {
        SumColumns<Math>(taps, at, columns, at);
    }
    if (whole < inSamples.count)
    {
        SumLastColumns<Math>(taps, whole, inSamples.count - whole, columns);
    }
    PadRow(columns.soft, inSamples.step, inSamples.count);
    PadRow(columns.differences, inSamples.step, inSamples.count);
    auto* row = static_cast<Sample*>(outRow);
    for (std::size_t at = 0; at < whole; at += lanes)
    {
        MakeSamples(math, columns, inSamples.step, at, row + at);
    }
    if (whole < inSamples.count)
    {
        alignas(64) Sample made[kMostVectorBytes];
        MakeSamples(math, columns, inSamples.step, whole, made);
        std::memcpy(row + whole, made, (inSamples.count - whole) * sizeof(Sample));
    }
}

void MakeFilteredRow(const FilterSamples& inSamples, const FilterTaps& inTaps, void* outRow,
                     void* const (&ioWork)[kFilterWorkRows])
{
    using Function = decltype(&MakeRow<ByteMath<false>>);
    static constexpr Function kFunctions[3][2] = {{MakeRow<ByteMath<false>>, MakeRow<ByteMath<true>>},
                                                  {MakeRow<WordMath<false>>, MakeRow<WordMath<true>>},
                                                  {MakeRow<FloatMath<false>>, MakeRow<FloatMath<true>>}};
    kFunctions[static_cast<int>(inSamples.sample)][inSamples.isChroma ? 1 : 0](inSamples, inTaps, outRow,
                                                                               ioWork);
}

const char* NameOfTarget()
{
    return hwy::TargetName(HWY_TARGET);
}

}
}
}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace ir
{
namespace
{

HWY_EXPORT(MakeFilteredRow);
HWY_EXPORT(NameOfTarget);

}

void FilterRow(const FilterSamples& inSamples, const FilterTaps& inTaps, void* outRow,
               void* const (&ioWork)[kFilterWorkRows])
{
    HWY_DYNAMIC_DISPATCH(MakeFilteredRow)(inSamples, inTaps, outRow, ioWork);
}

const char* FilterRowsTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
