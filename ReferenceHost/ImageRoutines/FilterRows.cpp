#include "ReferenceHost/ImageRoutines/FieldRows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/EdgeRows.cpp"
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

// Samples are compared in signed numbers that hold the cost of a whole pixel: 12 differences at most.
template <typename T>
struct CostOf;
template <>
struct CostOf<std::uint8_t>
{
    using Type = std::int16_t;
};
template <>
struct CostOf<std::uint16_t>
{
    using Type = std::int32_t;
};
template <>
struct CostOf<float>
{
    using Type = float;
};

template <typename T>
struct Lanes
{
    using Cost = typename CostOf<T>::Type;
    using D = hn::ScalableTag<Cost>;
    using Vector = hn::Vec<D>;

    static HWY_INLINE Vector Load(const T* inSamples)
    {
        if constexpr (std::is_same_v<T, Cost>)
        {
            return hn::LoadU(D(), inSamples);
        }
        else
        {
            return hn::PromoteTo(D(), hn::LoadU(hn::Rebind<T, D>(), inSamples));
        }
    }

    static HWY_INLINE void Store(Vector inValues, T* outSamples)
    {
        if constexpr (std::is_same_v<T, Cost>)
        {
            hn::StoreU(inValues, D(), outSamples);
        }
        else
        {
            const hn::Rebind<T, D> narrow;
            hn::StoreU(hn::DemoteTo(narrow, inValues), narrow, outSamples);
        }
    }
};

template <typename T>
struct SampleRows
{
    explicit SampleRows(const ComponentRows& inRows)
    {
        for (int i = 0; i < 4; ++i)
        {
            c[i] = static_cast<T*>(inRows.c[i]);
        }
    }
    T* c[4];
};

// The nearest slopes first; a further one has to be better than all of them.
constexpr std::ptrdiff_t kSlopes[] = {0, -1, 1, -2, 2};

template <typename T, int kComponents>
HWY_INLINE hn::Vec<typename Lanes<T>::D> Differences(const SampleRows<T>& inAbove,
                                                     const SampleRows<T>& inBelow, std::ptrdiff_t inX,
                                                     std::ptrdiff_t inSlope)
{
    const auto part = [&](int inComponent)
    {
        return hn::Abs(hn::Sub(Lanes<T>::Load(inAbove.c[inComponent] + inX + inSlope),
                               Lanes<T>::Load(inBelow.c[inComponent] + inX - inSlope)));
    };
    if constexpr (kComponents == 1)
    {
        return part(0);
    }
    else if constexpr (kComponents == 2)
    {
        return hn::Add(part(0), part(1));
    }
    else
    {
        return hn::Add(hn::Add(part(0), part(1)), hn::Add(part(2), part(3)));
    }
}

// Rows of differences of single pixels, from the one left of the row to the one right of it.
template <typename T, int kComponents>
void FillDifferences(const SampleRows<T>& inAbove, const SampleRows<T>& inBelow, std::size_t inWidth,
                     typename Lanes<T>::Cost* const (&outRows)[5])
{
    const typename Lanes<T>::D d;
    for (std::size_t i = 0; i < inWidth + 2; i += hn::Lanes(d))
    {
        const auto x = static_cast<std::ptrdiff_t>(i) - 1;
        for (int slope = 0; slope < 5; ++slope)
        {
            hn::StoreU(Differences<T, kComponents>(inAbove, inBelow, x, kSlopes[slope]), d,
                       outRows[slope] + i);
        }
    }
}

// The winning slope of each pixel as a number.
template <typename T>
HWY_INLINE hn::Vec<typename Lanes<T>::D> WinningSlopes(typename Lanes<T>::Cost* const (&inDifferences)[5],
                                                       std::size_t inX)
{
    using Cost = typename Lanes<T>::Cost;
    const typename Lanes<T>::D d;
    const auto cost = [&](int inSlope)
    {
        const Cost* at = inDifferences[inSlope] + inX;
        return hn::Add(hn::Add(hn::LoadU(d, at), hn::LoadU(d, at + 2)), hn::LoadU(d, at + 1));
    };
    auto least = cost(0);
    auto winner = hn::Zero(d);
    for (int slope = 1; slope < 5; ++slope)
    {
        const auto own = cost(slope);
        const auto unlessTied = hn::IfThenElse(hn::Eq(own, least), hn::Zero(d), winner);
        const auto isBetter = hn::Lt(own, least);
        winner = hn::IfThenElse(isBetter, hn::Set(d, static_cast<Cost>(kSlopes[slope])), unlessTied);
        least = hn::IfThenElse(isBetter, own, least);
    }
    return winner;
}

template <typename T>
HWY_INLINE void SelectSamples(const T* inRow, std::ptrdiff_t inSign, hn::Vec<typename Lanes<T>::D> inWinner,
                              T* outRow)
{
    const typename Lanes<T>::D d;
    auto selected = Lanes<T>::Load(inRow);
    for (int slope = 1; slope < 5; ++slope)
    {
        const auto wins = hn::Eq(inWinner, hn::Set(d, static_cast<typename Lanes<T>::Cost>(kSlopes[slope])));
        selected = hn::IfThenElse(wins, Lanes<T>::Load(inRow + inSign * kSlopes[slope]), selected);
    }
    Lanes<T>::Store(selected, outRow);
}

template <typename T, int kComponents>
void Select(const ComponentRows& inAbove, const ComponentRows& inBelow, const ComponentRows& outAbove,
            const ComponentRows& outBelow, std::size_t inWidth, void* const* ioCosts)
{
    const SampleRows<T> above(inAbove);
    const SampleRows<T> below(inBelow);
    const SampleRows<T> selectedAbove(outAbove);
    const SampleRows<T> selectedBelow(outBelow);
    typename Lanes<T>::Cost* differences[5];
    for (int slope = 0; slope < 5; ++slope)
    {
        differences[slope] = static_cast<typename Lanes<T>::Cost*>(ioCosts[slope]);
    }
    FillDifferences<T, kComponents>(above, below, inWidth, differences);
    for (std::size_t x = 0; x < inWidth; x += hn::Lanes(typename Lanes<T>::D()))
    {
        const auto winner = WinningSlopes<T>(differences, x);
        for (int i = 0; i < kComponents; ++i)
        {
            SelectSamples(above.c[i] + x, 1, winner, selectedAbove.c[i] + x);
            SelectSamples(below.c[i] + x, -1, winner, selectedBelow.c[i] + x);
        }
    }
}

void SelectRow(Sample inSample, std::size_t inComponents, const ComponentRows& inAbove,
               const ComponentRows& inBelow, const ComponentRows& outAbove, const ComponentRows& outBelow,
               std::size_t inWidth, void* const* ioCosts)
{
    using Function = decltype(&Select<float, 1>);
    static constexpr Function kFunctions[3][3] = {
        {Select<std::uint8_t, 1>, Select<std::uint8_t, 2>, Select<std::uint8_t, 4>},
        {Select<std::uint16_t, 1>, Select<std::uint16_t, 2>, Select<std::uint16_t, 4>},
        {Select<float, 1>, Select<float, 2>, Select<float, 4>}};
    kFunctions[static_cast<int>(inSample)][inComponents / 2](inAbove, inBelow, outAbove, outBelow, inWidth,
                                                             ioCosts);
}

template <typename T>
void Split(const void* inPixels, const ComponentRows& outRows, std::size_t inWidth)
{
    const hn::ScalableTag<T> d;
    const SampleRows<T> rows(outRows);
    const T* pixels = static_cast<const T*>(inPixels);
    std::size_t x = 0;
    for (; x + hn::Lanes(d) <= inWidth; x += hn::Lanes(d))
    {
        hn::Vec<decltype(d)> part[4];
        hn::LoadInterleaved4(d, pixels + x * 4, part[0], part[1], part[2], part[3]);
        for (int i = 0; i < 4; ++i)
        {
            hn::StoreU(part[i], d, rows.c[i] + x);
        }
    }
    for (; x < inWidth; ++x)
    {
        for (std::size_t i = 0; i < 4; ++i)
        {
            hwy::CopyBytes<sizeof(T)>(pixels + x * 4 + i, rows.c[i] + x);
        }
    }
}

template <typename T>
void Join(const ComponentRows& inRows, void* outPixels, std::size_t inWidth)
{
    const hn::ScalableTag<T> d;
    const SampleRows<T> rows(inRows);
    T* pixels = static_cast<T*>(outPixels);
    std::size_t x = 0;
    for (; x + hn::Lanes(d) <= inWidth; x += hn::Lanes(d))
    {
        hn::StoreInterleaved4(hn::LoadU(d, rows.c[0] + x), hn::LoadU(d, rows.c[1] + x),
                              hn::LoadU(d, rows.c[2] + x), hn::LoadU(d, rows.c[3] + x), d, pixels + x * 4);
    }
    for (; x < inWidth; ++x)
    {
        for (std::size_t i = 0; i < 4; ++i)
        {
            hwy::CopyBytes<sizeof(T)>(rows.c[i] + x, pixels + x * 4 + i);
        }
    }
}

void SplitRow(Sample inSample, const void* inPixels, const ComponentRows& outRows, std::size_t inWidth)
{
    static constexpr decltype(&Split<float>) kFunctions[] = {Split<std::uint8_t>, Split<std::uint16_t>,
                                                             Split<float>};
    kFunctions[static_cast<int>(inSample)](inPixels, outRows, inWidth);
}

void JoinRow(Sample inSample, const ComponentRows& inRows, void* outPixels, std::size_t inWidth)
{
    static constexpr decltype(&Join<float>) kFunctions[] = {Join<std::uint8_t>, Join<std::uint16_t>,
                                                            Join<float>};
    kFunctions[static_cast<int>(inSample)](inRows, outPixels, inWidth);
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

HWY_EXPORT(SelectRow);
HWY_EXPORT(SplitRow);
HWY_EXPORT(JoinRow);
HWY_EXPORT(NameOfTarget);

}

void SelectAlongEdges(Sample inSample, std::size_t inComponents, const ComponentRows& inAbove,
                      const ComponentRows& inBelow, const ComponentRows& outAbove,
                      const ComponentRows& outBelow, std::size_t inWidth, void* const ioCosts[5])
{
    HWY_DYNAMIC_DISPATCH(SelectRow)
    (inSample, inComponents, inAbove, inBelow, outAbove, outBelow, inWidth, ioCosts);
}

void SplitFourRow(Sample inSample, const void* inPixels, const ComponentRows& outRows, std::size_t inWidth)
{
    HWY_DYNAMIC_DISPATCH(SplitRow)(inSample, inPixels, outRows, inWidth);
}

void JoinFourRow(Sample inSample, const ComponentRows& inRows, void* outPixels, std::size_t inWidth)
{
    HWY_DYNAMIC_DISPATCH(JoinRow)(inSample, inRows, outPixels, inWidth);
}

const char* EdgeRowsTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
