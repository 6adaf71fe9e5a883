// Runs a kernel of pixels on every instruction set of the machine beside its scalar twin.
//
// A kernel is described once: the buffers that it reads and writes, the function that goes through the
// dispatcher, the scalar function that says what is right, and a question that is answered from inside of the
// kernel: which instruction set this is. The harness then calls both on the same random samples
//
//   1. on each instruction set, and refuses one that the kernel did not really run on,
//   2. at every width from 1 to 67 and a few beyond two of the widest vectors (fewer where VR_TEST_SCALE says
//      so),
//   3. at row lengths and addresses that suit no vector, and flush against pages that can't be touched, in front
//      of the first row and behind the last,
//   4. with guard bytes before, between and behind the rows.
//
// Integers must be equal; floats may differ by KernelCase::floatBound. Sources must come out as they went in.
// A failure names the kernel, the instruction set, the width, the stride, the address and the place.
//
// A read or a write that reaches an untouchable page ends the process, as under a sanitizer.
//
// Thread-safety: none; instruction sets are switched for the whole process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport
{

enum class KernelSample : std::uint8_t
{
    Byte,
    Word,  // 16 bits
    Int,   // 32 bits
    Float, // 32 bits
};

enum class KernelRole : std::uint8_t
{
    Source,
    Target, // filled with other noise than the twin's, so that what is not written shows
    InOut,  // the same noise for both
};

struct KernelBuffer
{
    KernelRole role = KernelRole::Source;
    KernelSample sample = KernelSample::Byte;
    // Samples of a row of so many pixels; empty: one a pixel.
    std::function<std::size_t(std::size_t)> samples = {};
    std::size_t rows = 1;
    // The random samples, both included; for Float a range, for integers whole numbers. least == most == 0:
    // everything that an integer holds, and -0.5 to 1.5.
    double least = 0.0;
    double most = 0.0;
    // Bytes behind each row that the kernel may read and write as it likes.
    std::size_t slackBytes = 0;
    // Changes the random samples of a row into better ones; may be empty.
    std::function<void(void* ioRow, std::size_t inSamples)> adjust = {};
};

// One call, as the kernel and its twin see it.
class KernelCall
{
public:
    KernelCall(std::size_t inWidth, std::vector<unsigned char*> inFirst,
               std::vector<std::ptrdiff_t> inRowBytes)
        : mWidth(inWidth)
        , mFirst(std::move(inFirst))
        , mRowBytes(std::move(inRowBytes))
    {
    }

    std::size_t Width() const { return mWidth; }
    std::ptrdiff_t RowBytes(std::size_t inBuffer) const { return mRowBytes[inBuffer]; }

    // A row of a buffer, counted as they were described. The address suits the sample.
    template <class T = unsigned char>
    T* Row(std::size_t inBuffer, std::size_t inRow = 0) const
    {
        return reinterpret_cast<T*>(mFirst[inBuffer] +
                                    static_cast<std::ptrdiff_t>(inRow) * mRowBytes[inBuffer]);
    }

private:
    std::size_t mWidth;
    std::vector<unsigned char*> mFirst;
    std::vector<std::ptrdiff_t> mRowBytes;
};

struct KernelCase
{
    std::string name;
    std::vector<KernelBuffer> buffers;
    std::function<void(const KernelCall&)> kernel; // through the dispatcher
    std::function<void(const KernelCall&)> scalar;
    std::function<std::string()> target; // answered by the kernel's own object code
    // Of floats: the difference allowed, times the larger of 1 and the expected value. 0: the same bits.
    double floatBound = 0.0;
};

// How instruction sets are listed and chosen; "auto" gives the choice back.
struct KernelTargets
{
    std::function<std::vector<std::string>()> names;
    std::function<bool(const char*)> use;
};

testing::AssertionResult AgreesWithScalarTwin(const KernelCase& inCase, const KernelTargets& inTargets);

} // namespace TestSupport
