#include "Tests/Support/KernelHarness.h"

#include "Tests/Support/Scale.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace TestSupport
{

namespace
{

// Beyond 67: around two vectors of 64 bytes, and rows of several.
constexpr std::size_t kLastOfEveryWidth = 67;
constexpr std::size_t kWiderWidths[] = {127, 128, 129, 191, 258};

enum class Spot
{
    Inside,
    AtFrontPage,
    AtBackPage,
};
constexpr Spot kSpots[] = {Spot::Inside, Spot::AtFrontPage, Spot::AtBackPage};

std::size_t BytesOfSample(KernelSample inSample)
{
    return inSample == KernelSample::Byte ? 1 : inSample == KernelSample::Word ? 2 : 4;
}

unsigned char GuardAt(std::size_t inIndex)
{
    return static_cast<unsigned char>(0xA5 ^ (inIndex * 29));
}

// Memory between two pages that can't be touched.
class FencedMemory
{
public:
    explicit FencedMemory(std::size_t inBytes)
        : mPage(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)))
        , mBytes((inBytes + mPage - 1) / mPage * mPage)
        , mBlock(mmap(nullptr, mBytes + 2 * mPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))
    {
        if (mBlock == MAP_FAILED || mprotect(First(), mBytes, PROT_READ | PROT_WRITE) != 0)
        {
            throw std::runtime_error("no memory for the rows of a kernel");
        }
    }
    ~FencedMemory() { munmap(mBlock, mBytes + 2 * mPage); }
    FencedMemory(const FencedMemory&) = delete;
    FencedMemory& operator=(const FencedMemory&) = delete;

    unsigned char* First() const { return static_cast<unsigned char*>(mBlock) + mPage; }
    std::size_t Size() const { return mBytes; }

private:
    std::size_t mPage;
    std::size_t mBytes;
    void* mBlock;
};

struct Shape
{
    std::size_t width;
    Spot spot;
    std::size_t extraSamples; // between rows
    std::size_t shiftSamples; // of the first row, from 64 bytes of alignment
};

// The rows of one buffer, twice: for the kernel and for its twin.
class Rows
{
public:
    explicit Rows(const KernelBuffer& inBuffer)
        : mBuffer(inBuffer)
        , mSampleBytes(BytesOfSample(inBuffer.sample))
        , mMemory((RowBytes(Used(kWiderWidths[std::size(kWiderWidths) - 1]), 16)) * inBuffer.rows + 512)
    {
    }

    void Place(const Shape& inShape)
    {
        mUsed = Used(inShape.width);
        mRowBytes = RowBytes(mUsed, inShape.extraSamples);
        const std::size_t total = mRowBytes * (mBuffer.rows - 1) + mUsed + mBuffer.slackBytes;
        mFirst = inShape.spot == Spot::AtFrontPage  ? 0
                 : inShape.spot == Spot::AtBackPage ? (mMemory.Size() - total) / mSampleBytes * mSampleBytes
                                                    : 64 + inShape.shiftSamples * mSampleBytes;
        for (std::size_t i = 0; i < mMemory.Size(); ++i)
        {
            mMemory.First()[i] = GuardAt(i);
        }
    }

    void Fill(std::uint64_t inSeed)
    {
        std::mt19937_64 random(inSeed);
        for (std::size_t row = 0; row < mBuffer.rows; ++row)
        {
            FillRow(random, Row(row));
            if (mBuffer.adjust)
            {
                mBuffer.adjust(Row(row), Samples());
            }
        }
    }

    void CopyFrom(const Rows& inOther)
    {
        for (std::size_t row = 0; row < mBuffer.rows; ++row)
        {
            std::memcpy(Row(row), inOther.Row(row), mUsed);
        }
    }

    // "" or what is wrong between the rows.
    std::string BrokenGuard() const
    {
        for (std::size_t i = 0; i < mMemory.Size(); ++i)
        {
            if (mMemory.First()[i] != GuardAt(i) && !IsFree(i))
            {
                return WhereIs(i);
            }
        }
        return {};
    }

    // "" or the first sample that differs.
    std::string DifferenceFrom(const Rows& inExpected, double inFloatBound) const
    {
        for (std::size_t row = 0; row < mBuffer.rows; ++row)
        {
            for (std::size_t i = 0; i < Samples(); ++i)
            {
                const double got = Load(row, i);
                const double expected = inExpected.Load(row, i);
                if (!Agree(got, expected, inFloatBound))
                {
                    return fmt::format("row {}, sample {}: {} instead of {}", row, i, got, expected);
                }
            }
        }
        return {};
    }

    const KernelBuffer& Buffer() const { return mBuffer; }
    unsigned char* First() const { return mMemory.First() + mFirst; }
    std::ptrdiff_t RowBytes() const { return static_cast<std::ptrdiff_t>(mRowBytes); }

private:
    std::size_t Used(std::size_t inWidth) const
    {
        return (mBuffer.samples ? mBuffer.samples(inWidth) : inWidth) * mSampleBytes;
    }
    std::size_t RowBytes(std::size_t inUsed, std::size_t inExtraSamples) const
    {
        const std::size_t slack = (mBuffer.slackBytes + mSampleBytes - 1) / mSampleBytes * mSampleBytes;
        return inUsed + slack + inExtraSamples * mSampleBytes;
    }
    std::size_t Samples() const { return mUsed / mSampleBytes; }
    unsigned char* Row(std::size_t inRow) const { return First() + inRow * mRowBytes; }

    bool IsFree(std::size_t inIndex) const
    {
        if (inIndex < mFirst || (inIndex - mFirst) / mRowBytes >= mBuffer.rows)
        {
            return false;
        }
        return (inIndex - mFirst) % mRowBytes < mUsed + mBuffer.slackBytes;
    }

    std::string WhereIs(std::size_t inIndex) const
    {
        if (inIndex < mFirst)
        {
            return fmt::format("wrote {} bytes before the first row", mFirst - inIndex);
        }
        const std::size_t row = std::min((inIndex - mFirst) / mRowBytes, mBuffer.rows - 1);
        return fmt::format("wrote {} bytes behind the end of row {}",
                           inIndex - mFirst - row * mRowBytes - mUsed, row);
    }

    template <class T>
    void StoreRow(std::mt19937_64& ioRandom, unsigned char* outRow, double inLeast, double inMost) const
    {
        for (std::size_t i = 0; i < Samples(); ++i)
        {
            const double unit = static_cast<double>(ioRandom() >> 11) / 9007199254740992.0; // below 1
            const double span = std::is_integral_v<T> ? inMost - inLeast + 1.0 : inMost - inLeast;
            const T value =
                static_cast<T>(inLeast + (std::is_integral_v<T> ? std::floor(unit * span) : unit * span));
            std::memcpy(outRow + i * sizeof(T), &value, sizeof(T));
        }
    }

    void FillRow(std::mt19937_64& ioRandom, unsigned char* outRow) const
    {
        const bool isWhole = mBuffer.least == 0.0 && mBuffer.most == 0.0;
        switch (mBuffer.sample)
        {
        case KernelSample::Byte:
            return StoreRow<std::uint8_t>(ioRandom, outRow, mBuffer.least, isWhole ? 255.0 : mBuffer.most);
        case KernelSample::Word:
            return StoreRow<std::uint16_t>(ioRandom, outRow, mBuffer.least, isWhole ? 65535.0 : mBuffer.most);
        case KernelSample::Int:
            return StoreRow<std::uint32_t>(ioRandom, outRow, mBuffer.least,
                                           isWhole ? 4294967295.0 : mBuffer.most);
        case KernelSample::Float:
            return StoreRow<float>(ioRandom, outRow, isWhole ? -0.5 : mBuffer.least,
                                   isWhole ? 1.5 : mBuffer.most);
        }
    }

    template <class T>
    double LoadAs(std::size_t inRow, std::size_t inIndex) const
    {
        T value;
        std::memcpy(&value, Row(inRow) + inIndex * sizeof(T), sizeof(T));
        return static_cast<double>(value);
    }

    double Load(std::size_t inRow, std::size_t inIndex) const
    {
        switch (mBuffer.sample)
        {
        case KernelSample::Byte: return LoadAs<std::uint8_t>(inRow, inIndex);
        case KernelSample::Word: return LoadAs<std::uint16_t>(inRow, inIndex);
        case KernelSample::Int: return LoadAs<std::uint32_t>(inRow, inIndex);
        default: return LoadAs<float>(inRow, inIndex);
        }
    }

    bool Agree(double inGot, double inExpected, double inFloatBound) const
    {
        if (inGot == inExpected || (std::isnan(inGot) && std::isnan(inExpected)))
        {
            return true;
        }
        return mBuffer.sample == KernelSample::Float &&
               std::fabs(inGot - inExpected) <= inFloatBound * std::max(1.0, std::fabs(inExpected));
    }

    const KernelBuffer& mBuffer;
    std::size_t mSampleBytes;
    FencedMemory mMemory;
    std::size_t mFirst = 0;
    std::size_t mUsed = 0;
    std::size_t mRowBytes = 0;
};

using RowSet = std::vector<std::unique_ptr<Rows>>;

RowSet RowsFor(const KernelCase& inCase)
{
    RowSet rows;
    for (const KernelBuffer& buffer : inCase.buffers)
    {
        rows.push_back(std::make_unique<Rows>(buffer));
    }
    return rows;
}

void Place(const RowSet& ioRows, const Shape& inShape)
{
    for (const auto& rows : ioRows)
    {
        rows->Place(inShape);
    }
}

KernelCall CallOn(const RowSet& inRows, std::size_t inWidth)
{
    std::vector<unsigned char*> first;
    std::vector<std::ptrdiff_t> rowBytes;
    for (const auto& rows : inRows)
    {
        first.push_back(rows->First());
        rowBytes.push_back(rows->RowBytes());
    }
    return {inWidth, std::move(first), std::move(rowBytes)};
}

// A kernel's rows, its twin's, and what both were given.
class Pair
{
public:
    explicit Pair(const KernelCase& inCase)
        : mCase(inCase)
        , mOurs(RowsFor(inCase))
        , mTwins(RowsFor(inCase))
        , mGiven(RowsFor(inCase))
    {
    }

    // "" or what went wrong.
    std::string Run(const Shape& inShape)
    {
        Prepare(inShape);
        mCase.kernel(CallOn(mOurs, inShape.width));
        mCase.scalar(CallOn(mTwins, inShape.width));
        for (std::size_t i = 0; i < mOurs.size(); ++i)
        {
            const std::string fault = FaultOf(i);
            if (!fault.empty())
            {
                return fmt::format("buffer {}: {}", i, fault);
            }
        }
        return {};
    }

private:
    // The twin's rows lie at ease: it is the kernel that has to cope with addresses.
    void Prepare(const Shape& inShape)
    {
        const Shape atEase = {inShape.width, Spot::Inside, 0, 0};
        Place(mOurs, inShape);
        Place(mTwins, atEase);
        Place(mGiven, atEase);
        const std::uint64_t seed = Seed() + inShape.width * 64;
        for (std::size_t i = 0; i < mOurs.size(); ++i)
        {
            mTwins[i]->Fill(seed + i);
            mGiven[i]->CopyFrom(*mTwins[i]);
            mOurs[i]->CopyFrom(*mTwins[i]);
            if (mOurs[i]->Buffer().role == KernelRole::Target)
            {
                mOurs[i]->Fill(seed + i + 32);
            }
        }
    }

    std::string FaultOf(std::size_t inBuffer) const
    {
        const Rows& ours = *mOurs[inBuffer];
        const std::string broken = ours.BrokenGuard();
        if (!broken.empty())
        {
            return broken;
        }
        if (ours.Buffer().role == KernelRole::Source)
        {
            const std::string changed = ours.DifferenceFrom(*mGiven[inBuffer], 0.0);
            return changed.empty() ? changed : "a source was written to, " + changed;
        }
        return ours.DifferenceFrom(*mTwins[inBuffer], mCase.floatBound);
    }

    const KernelCase& mCase;
    RowSet mOurs;
    RowSet mTwins;
    RowSet mGiven;
};

// All of them, or an even choice where tests are scaled down.
std::vector<std::size_t> Widths()
{
    std::vector<std::size_t> all(kLastOfEveryWidth);
    std::iota(all.begin(), all.end(), std::size_t{1});
    all.insert(all.end(), std::begin(kWiderWidths), std::end(kWiderWidths));
    const std::size_t count = ScaledCount(all.size());
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < count; ++i)
    {
        widths.push_back(all[i * all.size() / count]);
    }
    return widths;
}

std::string TextOf(const Shape& inShape)
{
    static constexpr const char* kTexts[] = {"inside", "behind an untouchable page",
                                             "before an untouchable page"};
    return fmt::format("width {}, {} samples between rows, address 64 n + {} samples, {}", inShape.width,
                       inShape.extraSamples, inShape.shiftSamples,
                       kTexts[static_cast<std::size_t>(inShape.spot)]);
}

std::string FirstFault(const KernelCase& inCase)
{
    Pair pair(inCase);
    for (const std::size_t width : Widths())
    {
        for (const Spot spot : kSpots)
        {
            // Row lengths and addresses that go through all remainders, not in step with each other.
            const Shape shape = {width, spot, width * 5 % 13, width * 7 % 19};
            const std::string fault = pair.Run(shape);
            if (!fault.empty())
            {
                return TextOf(shape) + ": " + fault;
            }
        }
    }
    return {};
}

} // namespace

testing::AssertionResult AgreesWithScalarTwin(const KernelCase& inCase, const KernelTargets& inTargets)
{
    std::string fault;
    const std::vector<std::string> names = inTargets.names();
    if (names.empty())
    {
        return testing::AssertionFailure() << inCase.name << ": no instruction set to run on";
    }
    for (const std::string& name : names)
    {
        std::string text;
        if (!inTargets.use(name.c_str()))
        {
            text = "can't be chosen";
        }
        else if (const std::string ran = inCase.target(); ran != name)
        {
            text = "the kernel runs on " + ran;
        }
        else
        {
            text = FirstFault(inCase);
        }
        if (!text.empty() && fault.empty())
        {
            fault = inCase.name + " on " + name + ": " + text;
        }
    }
    if (!inTargets.use("auto") && fault.empty())
    {
        fault = inCase.name + ": the choice of the instruction set can't be given back";
    }
    return fault.empty() ? testing::AssertionSuccess() : testing::AssertionFailure() << fault;
}

} // namespace TestSupport
