#include "Applications/vrender/ExitCodes.h"
#include "Applications/vrender/OutputFile.h"
#include "Applications/vrender/WritersSupport.h"

extern "C"
{
#include <libavutil/imgutils.h>
}

namespace vrender
{

namespace
{

// Bare pictures have no header that could tell their format, so it is a fixed one unless it is asked for.
AVPixelFormat PlainFormat(const OutputDescription& inOutput)
{
    return inOutput.mPixelFormat.empty() ? AV_PIX_FMT_BGRA : PixelFormatByName(inOutput.mPixelFormat);
}

// Takes frames and does nothing with them: for checksums, and to see how fast a render can be.
class NullWriter : public FrameWriter
{
public:
    explicit NullWriter(const OutputDescription& inOutput) : mLayout(PlainFormat(inOutput), inOutput) {}

    const norviktypes::PixelFormat& RenderFormat() const override { return mLayout.RenderFormat(); }
    std::string Description() const override
    {
        return std::string("null ") + av_get_pix_fmt_name(mLayout.Format());
    }
    std::uint64_t LaidOutBytes() const override { return mLayout.LaidOutBytes(); }
    EncoderFrame Prepare(const MF::IVideoFrameRef& inFrame) const override { return mLayout.Lay(inFrame); }
    void Write(const EncoderFrame&) override {}
    void Finish() override {}
    void Commit() override {}
    void Keep() override {}
    std::string PartName() const override { return std::string(); }
    std::uint64_t BytesWritten() const override { return 0; }

private:
    PictureLayout mLayout;
};

// Pictures one after the other, plane by plane and row by row, without padding.
class RawWriter : public FrameWriter
{
public:
    explicit RawWriter(const OutputDescription& inOutput)
        : mLayout(PlainFormat(inOutput), inOutput)
        , mFile(OutputFile::Open(inOutput.mPath, inOutput.mOverwrite))
    {
    }

    const norviktypes::PixelFormat& RenderFormat() const override { return mLayout.RenderFormat(); }
    std::string Description() const override
    {
        return std::string("raw ") + av_get_pix_fmt_name(mLayout.Format());
    }
    std::uint64_t LaidOutBytes() const override { return mLayout.LaidOutBytes(); }
    EncoderFrame Prepare(const MF::IVideoFrameRef& inFrame) const override { return mLayout.Lay(inFrame); }
    void Write(const EncoderFrame& inFrame) override;
    void Finish() override {}
    void Commit() override { mFile->Commit(); }
    void Keep() override { mFile->Keep(); }
    std::string PartName() const override { return mFile->PartPath(); }
    std::uint64_t BytesWritten() const override { return mFile->Size(); }

private:
    PictureLayout mLayout;
    std::unique_ptr<OutputFile> mFile;
};

void RawWriter::Write(const EncoderFrame& inFrame)
{
    const AVPixelFormat format = mLayout.Format();
    const int chromaShift = av_pix_fmt_desc_get(format)->log2_chroma_h;
    const int planes = av_pix_fmt_count_planes(format);
    for (int plane = 0; plane < planes; ++plane)
    {
        const bool isChroma = plane == 1 || plane == 2;
        const int lines = isChroma ? -(-inFrame->height >> chromaShift) : inFrame->height;
        const int bytes = av_image_get_linesize(format, inFrame->width, plane);
        const bool isTight = inFrame->linesize[plane] == bytes;
        const int step = isTight ? lines : 1;
        for (int line = 0; line < lines; line += step)
        {
            mFile->Write(inFrame->data[plane] + static_cast<std::ptrdiff_t>(line) * inFrame->linesize[plane],
                         static_cast<std::size_t>(bytes) * static_cast<std::size_t>(step));
        }
    }
}

} // namespace

std::unique_ptr<FrameWriter> CreateNullWriter(const OutputDescription& inOutput)
{
    return std::make_unique<NullWriter>(inOutput);
}

std::unique_ptr<FrameWriter> CreateRawWriter(const OutputDescription& inOutput)
{
    return std::make_unique<RawWriter>(inOutput);
}

} // namespace vrender
