#include "ReferenceHost/Effects/ToneCurves.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

namespace Effects
{
namespace
{

// Four numbers at once.
using Floats = float __attribute__((vector_size(16)));
using Ints = std::int32_t __attribute__((vector_size(16)));
constexpr std::size_t kLanes = 4;

Floats Splat(float inValue)
{
    return Floats{inValue, inValue, inValue, inValue};
}

Floats FloatsOf(Ints inBits)
{
    return reinterpret_cast<Floats>(inBits);
}

Ints BitsOf(Floats inValues)
{
    return reinterpret_cast<Ints>(inValues);
}

Floats Greater(Floats inA, Floats inB)
{
    return inA > inB ? inA : inB;
}

// Limits, and takes what is no number for 0.
Floats Limited(Floats inValues)
{
    const Floats least = inValues > 0.0F ? inValues : Floats{};
    return least < 1.0F ? least : Splat(1.0F);
}

// 2 to the power of a number above -127. The polynomial is that of S. Moshier's Cephes library.
Floats ExponentialOf(Floats inPower)
{
    // Adding and taking away what leaves no room for fractions rounds.
    constexpr float kNoFractions = 12582912.0F;
    const Floats whole = (inPower + kNoFractions) - kNoFractions;
    const Floats x = inPower - whole;
    Floats sum = Splat(1.535336188319500e-4F);
    sum = sum * x + 1.339887440266574e-3F;
    sum = sum * x + 9.618437357674640e-3F;
    sum = sum * x + 5.550332471162809e-2F;
    sum = sum * x + 2.402264791363012e-1F;
    sum = sum * x + 6.931472028550421e-1F;
    sum = sum * x + 1.0F;
    return sum * FloatsOf((__builtin_convertvector(whole, Ints) + 127) << 23);
}

// The logarithm to the base of 2 of a number above 0, by a polynomial from the same place.
Floats LogarithmOf(Floats inValues)
{
    constexpr std::int32_t kRootOfHalf = 0x3F3504F3;
    constexpr float kLogOfE = 1.44269504F;
    const Ints exponent = (BitsOf(inValues) - kRootOfHalf) >> 23;
    const Floats x = FloatsOf(BitsOf(inValues) - (exponent << 23)) - 1.0F;
    Floats sum = Splat(7.0376836292e-2F);
    sum = sum * x - 1.1514610310e-1F;
    sum = sum * x + 1.1676998740e-1F;
    sum = sum * x - 1.2420140846e-1F;
    sum = sum * x + 1.4249322787e-1F;
    sum = sum * x - 1.6668057665e-1F;
    sum = sum * x + 2.0000714765e-1F;
    sum = sum * x - 2.4999993993e-1F;
    sum = sum * x + 3.3333331174e-1F;
    const Floats natural = x + (sum * x - 0.5F) * (x * x);
    return natural * kLogOfE + __builtin_convertvector(exponent, Floats);
}

// Powers of numbers from 0 to 1, with an error of some millionths of them.
Floats PowersOf(Floats inValues, float inPower)
{
    constexpr float kSmallest = 1.2e-38F;
    const Floats logarithm = LogarithmOf(Greater(inValues, Splat(kSmallest)));
    const Floats powers = ExponentialOf(Greater(logarithm * inPower, Splat(-126.0F)));
    return inValues > kSmallest ? powers : Floats{};
}

// Changes a row four by four; inFunction takes and gives Floats.
template <class Function>
void ForEachFour(float* ioRow, std::size_t inCount, const Function& inFunction)
{
    for (std::size_t x = 0; x < inCount; x += kLanes)
    {
        const std::size_t bytes = std::min(kLanes, inCount - x) * sizeof(float);
        Floats values{};
        std::memcpy(&values, ioRow + x, bytes == sizeof(values) ? sizeof(values) : bytes);
        values = inFunction(values);
        std::memcpy(ioRow + x, &values, bytes == sizeof(values) ? sizeof(values) : bytes);
    }
}

class PowerTone final : public ITone
{
public:
    explicit PowerTone(std::vector<PowerStage> inStages) : mStages(std::move(inStages)) {}

    double At(double inValue) const override
    {
        for (const PowerStage& stage : mStages)
        {
            const double held = std::clamp(inValue * stage.slope + stage.offset, 0.0, 1.0);
            const double raised = stage.power == 1.0 ? held : std::pow(held, stage.power);
            inValue = stage.outBlack + (stage.outWhite - stage.outBlack) * raised;
        }
        return inValue;
    }

    void Apply(float* ioRow, std::size_t inCount) const override
    {
        for (const PowerStage& stage : mStages)
        {
            Apply(stage, ioRow, inCount);
        }
    }

private:
    static void Apply(const PowerStage& inStage, float* ioRow, std::size_t inCount)
    {
        const auto slope = static_cast<float>(inStage.slope);
        const auto offset = static_cast<float>(inStage.offset);
        const auto power = static_cast<float>(inStage.power);
        const auto black = static_cast<float>(inStage.outBlack);
        const auto range = static_cast<float>(inStage.outWhite - inStage.outBlack);
        const bool isStraight = inStage.power == 1.0;
        ForEachFour(ioRow, inCount,
                    [=](Floats inValues)
                    {
                        const Floats held = Limited(inValues * slope + offset);
                        return black + range * (isStraight ? held : PowersOf(held, power));
                    });
    }

    const std::vector<PowerStage> mStages;
};

class CurveTone final : public ITone
{
public:
    CurveTone(const CurvePoints& inFirst, const CurvePoints& inSecond) : mFirst(inFirst), mSecond(inSecond) {}

    double At(double inValue) const override { return mSecond.At(mFirst.At(inValue)); }

    void Apply(float* ioRow, std::size_t inCount) const override
    {
        for (std::size_t x = 0; x < inCount; ++x)
        {
            const double value = static_cast<double>(ioRow[x]);
            // Curves may have points outside of 0 to 1, where only bright and dark spots of linear pictures lie.
            ioRow[x] = static_cast<float>(value >= 0.0 && value <= 1.0 ? Between(value) : At(value));
        }
    }

    // Before floats are changed.
    void MakeTable()
    {
        mTable.resize(kCells + 1);
        for (std::size_t i = 0; i <= kCells; ++i)
        {
            mTable[i] = static_cast<float>(At(static_cast<double>(i) / kCells));
        }
    }

private:
    // So many that the corner between two straight pieces is met within a fraction of a 16-bit code.
    static constexpr std::size_t kCells = 65536;

    double Between(double inValue) const
    {
        const double place = inValue * kCells;
        const auto cell = std::min(static_cast<std::size_t>(place), kCells - 1);
        const double low = static_cast<double>(mTable[cell]);
        return low + (static_cast<double>(mTable[cell + 1]) - low) * (place - static_cast<double>(cell));
    }

    const CurvePoints mFirst;
    const CurvePoints mSecond;
    std::vector<float> mTable;
};

std::vector<float> TableOf(const ITone& inTone, ir::Sample inSample)
{
    const std::size_t most = inSample == ir::Sample::kByte ? 255 : 65535;
    std::vector<float> table(most + 1);
    for (std::size_t code = 0; code <= most; ++code)
    {
        table[code] = static_cast<float>(inTone.At(static_cast<double>(code) / static_cast<double>(most)));
    }
    return table;
}

void LookUp(const std::vector<float>& inTable, float* ioRow, std::size_t inWidth)
{
    const auto most = static_cast<float>(inTable.size() - 1);
    for (std::size_t x = 0; x < inWidth; ++x)
    {
        ioRow[x] = inTable[static_cast<std::size_t>(std::clamp(ioRow[x], 0.0F, 1.0F) * most + 0.5F)];
    }
}

} // namespace

ToneRef MakePowerTone(std::vector<PowerStage> inStages)
{
    return std::make_shared<PowerTone>(std::move(inStages));
}

ToneRef MakeCurveTone(const CurvePoints& inFirst, const CurvePoints& inSecond, const ir::Picture& inPicture)
{
    auto tone = std::make_shared<CurveTone>(inFirst, inSecond);
    if (inPicture.sample == ir::Sample::kFloat)
    {
        tone->MakeTable();
    }
    return tone;
}

ToneCurves::ToneCurves(std::array<ToneRef, 3> inTones, const ir::Picture& inPicture)
    : mTones(std::move(inTones))
{
    for (std::size_t component = 0; component < 3; ++component)
    {
        if (inPicture.sample != ir::Sample::kFloat)
        {
            mTables[component] = TableOf(*mTones[component], inPicture.sample);
        }
    }
}

void ToneCurves::Apply(const ir::FloatRow& ioRow, std::size_t inWidth) const
{
    for (std::size_t component = 0; component < 3; ++component)
    {
        if (mTables[component].empty())
        {
            mTones[component]->Apply(ioRow.c[component], inWidth);
        }
        else
        {
            LookUp(mTables[component], ioRow.c[component], inWidth);
        }
    }
}

} // namespace Effects
