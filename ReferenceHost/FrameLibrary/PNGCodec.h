// PNG bytes in memory, row by row: the one place that talks to the PNG library.
//
// Errors: false or an empty object; the library's way of leaving by a long jump ends inside. Reading is
// strict: a wrong checksum, a missing end or too much data is an error, since these bytes may be torn.
//
// Thread-safety: safe on distinct objects.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace VF
{

enum class PNGSamples
{
    Gray,
    RGB,  // from B G R A, whose last is left out, and back with all of it set
    RGBA, // from and to B G R A
};

struct PNGHeader
{
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    std::uint32_t mBits = 8; // or 16, in this machine's byte order
    PNGSamples mSamples = PNGSamples::Gray;
    // Width of a pixel over its height; 0 says nothing.
    std::uint32_t mAspectNumerator = 0;
    std::uint32_t mAspectDenominator = 0;
    // 1 is quick, 9 is small; 0 is quickest, as only runs of one byte are looked for.
    int mCompressionLevel = 1;
    // Keyword (1 to 79 Latin-1 characters) and text.
    std::vector<std::pair<std::string, std::string>> mTexts;
};

// Bytes of a row as the codec sees it.
std::size_t PNGRowBytes(const PNGHeader& inHeader) noexcept;

// Where rows come from; the pointer is used until the next call.
class IPNGRowSource
{
public:
    virtual ~IPNGRowSource() = default;
    virtual const std::uint8_t* GetRow(std::uint32_t inY) noexcept = 0;
};

// Where rows go: a place for a row, and notice that it's there.
class IPNGRowTarget
{
public:
    virtual ~IPNGRowTarget() = default;
    virtual std::uint8_t* PlaceForRow(std::uint32_t inY) noexcept = 0;
    virtual void RowIsThere(std::uint32_t inY) noexcept = 0;
};

bool EncodePNG(const PNGHeader& inHeader, IPNGRowSource& inRows, std::vector<std::uint8_t>& outBytes);

class PNGReader
{
public:
    // The bytes outlive the reader. Null unless they begin as a PNG of gray, RGB or RGBA samples, with sides and
    // texts within sensible limits.
    static std::unique_ptr<PNGReader> Open(const void* inBytes, std::size_t inSize);
    ~PNGReader();
    PNGReader(const PNGReader&) = delete;
    PNGReader& operator=(const PNGReader&) = delete;

    const PNGHeader& Header() const noexcept;

    // Whether the bytes can hold the picture at all: compression has a limit, and a small file that claims
    // a huge picture is refused before there is memory for it.
    bool CanHoldPicture() const noexcept;

    // All rows and the end. Once.
    bool ReadRows(IPNGRowTarget& inRows);

private:
    PNGReader();

    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

} // namespace VF
