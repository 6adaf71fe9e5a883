#include "ReferenceHost/FrameLibrary/PNGCodec.h"

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <new>

// The library leaves a failed call by a long jump, past every frame between it and the setjmp. So setjmp
// stands in one function, Guarded, and what runs below it has locals without destructors only: all that
// owns something lives above.

namespace VF
{

namespace
{

// A side of stacked planes is up to twice the side of a frame.
constexpr png_uint_32 kLargestSide = 65536;
constexpr png_alloc_size_t kLargestChunkBytes = 65536;
constexpr png_uint_32 kMostChunks = 64;
// Deflate yields at most 1032 bytes for one.
constexpr std::uint64_t kLargestExpansion = 1032;

constexpr bool kIsLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

extern "C"
{
    [[noreturn]] static void FailPNG(png_structp inPNG, png_const_charp)
    {
        png_longjmp(inPNG, 1);
    }

    static void IgnoreWarning(png_structp, png_const_charp) {}
}

using Work = void (*)(void* ioContext);

// False if the library gave up.
bool Guarded(png_structp inPNG, Work inWork, void* ioContext)
{
    if (setjmp(png_jmpbuf(inPNG)) != 0)
    {
        return false;
    }
    inWork(ioContext);
    return true;
}

std::size_t Channels(PNGSamples inSamples) noexcept
{
    return inSamples == PNGSamples::Gray ? 1 : 4;
}

int ColourType(PNGSamples inSamples) noexcept
{
    switch (inSamples)
    {
    case PNGSamples::Gray: return PNG_COLOR_TYPE_GRAY;
    case PNGSamples::RGB: return PNG_COLOR_TYPE_RGB;
    default: return PNG_COLOR_TYPE_RGBA;
    }
}

struct Writer
{
    Writer(const PNGHeader& inHeader, IPNGRowSource& inRows, std::vector<std::uint8_t>& ioBytes)
        : mHeader(inHeader)
        , mRows(inRows)
        , mBytes(ioBytes)
        , mPNG(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, FailPNG, IgnoreWarning))
        , mInfo(mPNG ? png_create_info_struct(mPNG) : nullptr)
    {
    }
    ~Writer() { png_destroy_write_struct(&mPNG, &mInfo); }

    const PNGHeader& mHeader;
    IPNGRowSource& mRows;
    std::vector<std::uint8_t>& mBytes;
    std::vector<png_text> mTexts;
    png_structp mPNG;
    png_infop mInfo;
};

extern "C"
{
    static void AppendBytes(png_structp inPNG, png_bytep inBytes, png_size_t inSize)
    {
        auto& bytes = *static_cast<std::vector<std::uint8_t>*>(png_get_io_ptr(inPNG));
        bool isAppended = true;
        try
        {
            bytes.insert(bytes.end(), inBytes, inBytes + inSize);
        }
        catch (const std::bad_alloc&)
        {
            isAppended = false;
        }
        if (!isAppended)
        {
            png_error(inPNG, "no memory");
        }
    }

    static void FlushNothing(png_structp) {}
}

void PrepareTexts(Writer& ioWriter)
{
    for (const auto& [keyword, text] : ioWriter.mHeader.mTexts)
    {
        png_text entry = {};
        entry.compression = PNG_TEXT_COMPRESSION_NONE;
        entry.key = const_cast<char*>(keyword.c_str());
        entry.text = const_cast<char*>(text.c_str());
        entry.text_length = text.size();
        ioWriter.mTexts.push_back(entry);
    }
}

void WriteHeader(const Writer& inWriter)
{
    const PNGHeader& header = inWriter.mHeader;
    png_set_IHDR(inWriter.mPNG, inWriter.mInfo, header.mWidth, header.mHeight, static_cast<int>(header.mBits),
                 ColourType(header.mSamples), PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (header.mAspectNumerator != 0 && header.mAspectDenominator != 0)
    {
        // Pixels per unit: a wide pixel has fewer across.
        png_set_pHYs(inWriter.mPNG, inWriter.mInfo, header.mAspectDenominator, header.mAspectNumerator,
                     PNG_RESOLUTION_UNKNOWN);
    }
    if (!inWriter.mTexts.empty())
    {
        png_set_text(inWriter.mPNG, inWriter.mInfo, inWriter.mTexts.data(),
                     static_cast<int>(inWriter.mTexts.size()));
    }
    png_write_info(inWriter.mPNG, inWriter.mInfo);
}

void SetWriteTransforms(const Writer& inWriter)
{
    const PNGHeader& header = inWriter.mHeader;
    if (header.mBits == 16 && kIsLittleEndian)
    {
        png_set_swap(inWriter.mPNG);
    }
    if (header.mSamples == PNGSamples::RGB)
    {
        png_set_filler(inWriter.mPNG, 0, PNG_FILLER_AFTER);
    }
    if (header.mSamples != PNGSamples::Gray)
    {
        png_set_bgr(inWriter.mPNG);
    }
}

void WriteAll(void* ioContext)
{
    const Writer& writer = *static_cast<Writer*>(ioContext);
    png_set_write_fn(writer.mPNG, &writer.mBytes, AppendBytes, FlushNothing);
    png_set_user_limits(writer.mPNG, kLargestSide, kLargestSide);
    const bool isQuickest = writer.mHeader.mCompressionLevel == 0;
    png_set_compression_level(writer.mPNG, isQuickest ? 1 : writer.mHeader.mCompressionLevel);
    if (isQuickest)
    {
        png_set_compression_strategy(writer.mPNG, Z_RLE);
    }
    // Of the filters, the one that pays best for its time; what a row has in common with the one above it, a
    // search finds for itself.
    png_set_filter(writer.mPNG, PNG_FILTER_TYPE_BASE, isQuickest ? PNG_FILTER_UP : PNG_FILTER_SUB);
    WriteHeader(writer);
    SetWriteTransforms(writer);
    for (std::uint32_t y = 0; y < writer.mHeader.mHeight; ++y)
    {
        png_write_row(writer.mPNG, writer.mRows.GetRow(y));
    }
    png_write_end(writer.mPNG, nullptr);
}

} // namespace

std::size_t PNGRowBytes(const PNGHeader& inHeader) noexcept
{
    return std::size_t{inHeader.mWidth} * Channels(inHeader.mSamples) * (inHeader.mBits / 8);
}

bool EncodePNG(const PNGHeader& inHeader, IPNGRowSource& inRows, std::vector<std::uint8_t>& outBytes)
{
    outBytes.clear();
    Writer writer(inHeader, inRows, outBytes);
    if (!writer.mInfo)
    {
        return false;
    }
    PrepareTexts(writer);
    return Guarded(writer.mPNG, WriteAll, &writer);
}

struct PNGReader::Impl
{
    Impl(const void* inBytes, std::size_t inSize)
        : mBytes(static_cast<const std::uint8_t*>(inBytes))
        , mSize(inSize)
        , mPNG(png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, FailPNG, IgnoreWarning))
        , mInfo(mPNG ? png_create_info_struct(mPNG) : nullptr)
    {
    }
    ~Impl() { png_destroy_read_struct(&mPNG, &mInfo, nullptr); }

    static void ReadInfo(void* ioImpl);
    static void ReadPicture(void* ioImpl);
    bool TakeHeader();

    const std::uint8_t* mBytes;
    std::size_t mSize;
    std::size_t mPosition = 0;
    png_structp mPNG;
    png_infop mInfo;
    PNGHeader mHeader;
    IPNGRowTarget* mRows = nullptr;

    struct IO;
};

struct PNGReader::Impl::IO
{
    static void Read(png_structp inPNG, png_bytep outBytes, png_size_t inSize)
    {
        Impl& reader = *static_cast<Impl*>(png_get_io_ptr(inPNG));
        if (inSize > reader.mSize - reader.mPosition)
        {
            png_error(inPNG, "the bytes end too early");
        }
        std::memcpy(outBytes, reader.mBytes + reader.mPosition, inSize);
        reader.mPosition += inSize;
    }
};

void PNGReader::Impl::ReadInfo(void* ioImpl)
{
    Impl& reader = *static_cast<Impl*>(ioImpl);
    png_set_read_fn(reader.mPNG, &reader, IO::Read);
    png_set_user_limits(reader.mPNG, kLargestSide, kLargestSide);
    png_set_chunk_malloc_max(reader.mPNG, kLargestChunkBytes);
    png_set_chunk_cache_max(reader.mPNG, kMostChunks);
    png_set_benign_errors(reader.mPNG, 0);
    png_read_info(reader.mPNG, reader.mInfo);
}

// False for a picture of another kind than the codec writes.
bool PNGReader::Impl::TakeHeader()
{
    const int bits = png_get_bit_depth(mPNG, mInfo);
    const int colourType = png_get_color_type(mPNG, mInfo);
    const bool isKnown = colourType == PNG_COLOR_TYPE_GRAY || colourType == PNG_COLOR_TYPE_RGB ||
                         colourType == PNG_COLOR_TYPE_RGBA;
    if (!isKnown || (bits != 8 && bits != 16) || png_get_interlace_type(mPNG, mInfo) != PNG_INTERLACE_NONE)
    {
        return false;
    }
    mHeader.mWidth = png_get_image_width(mPNG, mInfo);
    mHeader.mHeight = png_get_image_height(mPNG, mInfo);
    mHeader.mBits = static_cast<std::uint32_t>(bits);
    mHeader.mSamples = colourType == PNG_COLOR_TYPE_GRAY  ? PNGSamples::Gray
                       : colourType == PNG_COLOR_TYPE_RGB ? PNGSamples::RGB
                                                          : PNGSamples::RGBA;
    png_textp texts = nullptr;
    const int count = png_get_text(mPNG, mInfo, &texts, nullptr);
    for (int index = 0; index < count; ++index)
    {
        mHeader.mTexts.emplace_back(texts[index].key, texts[index].text);
    }
    return true;
}

void PNGReader::Impl::ReadPicture(void* ioImpl)
{
    Impl& reader = *static_cast<Impl*>(ioImpl);
    const png_structp png = reader.mPNG;
    if (reader.mHeader.mBits == 16 && kIsLittleEndian)
    {
        png_set_swap(png);
    }
    if (reader.mHeader.mSamples == PNGSamples::RGB)
    {
        png_set_add_alpha(png, 0xFFFF, PNG_FILLER_AFTER);
    }
    if (reader.mHeader.mSamples != PNGSamples::Gray)
    {
        png_set_bgr(png);
    }
    png_read_update_info(png, reader.mInfo);
    for (std::uint32_t y = 0; y < reader.mHeader.mHeight; ++y)
    {
        png_read_row(png, reader.mRows->PlaceForRow(y), nullptr);
        reader.mRows->RowIsThere(y);
    }
    png_read_end(png, nullptr);
}

PNGReader::PNGReader() = default;
PNGReader::~PNGReader() = default;

std::unique_ptr<PNGReader> PNGReader::Open(const void* inBytes, std::size_t inSize)
{
    std::unique_ptr<PNGReader> reader(new PNGReader);
    reader->mImpl = std::make_unique<Impl>(inBytes, inSize);
    Impl& impl = *reader->mImpl;
    if (!impl.mInfo || !Guarded(impl.mPNG, Impl::ReadInfo, &impl) || !impl.TakeHeader())
    {
        return nullptr;
    }
    return reader;
}

const PNGHeader& PNGReader::Header() const noexcept
{
    return mImpl->mHeader;
}

bool PNGReader::CanHoldPicture() const noexcept
{
    const std::uint64_t rows = mImpl->mHeader.mHeight;
    const std::uint64_t stored = png_get_rowbytes(mImpl->mPNG, mImpl->mInfo);
    return stored * rows / kLargestExpansion <= mImpl->mSize;
}

bool PNGReader::ReadRows(IPNGRowTarget& inRows)
{
    mImpl->mRows = &inRows;
    return Guarded(mImpl->mPNG, Impl::ReadPicture, mImpl.get());
}

} // namespace VF
