#include <algorithm>
#include <cmath>
#include <cstring>

#include "ReferenceHost/ImageRoutines/Colour.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/HalveYuv.h"
#include "ReferenceHost/ImageRoutines/Operations.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"
#include "ReferenceHost/ImageRoutines/ScaleGeometry.h"
#include "ReferenceHost/ImageRoutines/ScaleGraph.h"
#include "ReferenceHost/ImageRoutines/YuvToBgra.h"

namespace ir
{
namespace
{

// How the source's rows reach zimg.
enum class Intake : std::uint8_t
{
    kDirect,      // it reads the planes where they are
    kCopied,      // planes that are not aligned or have an odd side, row by row
    kPackedBytes, // B G R A or V U Y A bytes, row by row to planes
    kFloats       // everything else, as float planes
};

// How scaled rows reach the target.
enum class Outlet : std::uint8_t
{
    kYuvToBgra,   // the kernel that decoded video goes through
    kPackedBytes, // planes of bytes to four components
    kFloats,      // any picture without subsampled chroma
    kWholePlanes // planes of a picture of our own, which is then converted: chroma needs rows above and below
};

// Depth of scaled YUV for the kernel: its chroma words have 13 bits.
constexpr std::int32_t kKernelBits = 13;

zimg_matrix_coefficients_e MatrixOf(Matrix inMatrix)
{
    switch (inMatrix)
    {
    case Matrix::kRGB: return ZIMG_MATRIX_RGB;
    case Matrix::k601: return ZIMG_MATRIX_ST170_M;
    case Matrix::k2020NonConstant: return ZIMG_MATRIX_BT2020_NCL;
    case Matrix::k2020Constant: return ZIMG_MATRIX_BT2020_CL;
    case Matrix::k240M: return ZIMG_MATRIX_ST240_M;
    case Matrix::kFCC: return ZIMG_MATRIX_FCC;
    case Matrix::kYCgCo: return ZIMG_MATRIX_YCGCO;
    case Matrix::kICtCp: return ZIMG_MATRIX_ICTCP;
    default: return ZIMG_MATRIX_BT709;
    }
}

zimg_transfer_characteristics_e TransferOf(Transfer inTransfer)
{
    switch (inTransfer)
    {
    case Transfer::kLinear: return ZIMG_TRANSFER_LINEAR;
    case Transfer::kPQ: return ZIMG_TRANSFER_ST2084;
    case Transfer::kHLG: return ZIMG_TRANSFER_ARIB_B67;
    default: return ZIMG_TRANSFER_BT709;
    }
}

zimg_color_primaries_e PrimariesOf(Primaries inPrimaries)
{
    switch (inPrimaries)
    {
    case Primaries::k2020: return ZIMG_PRIMARIES_BT2020;
    case Primaries::kP3D65: return ZIMG_PRIMARIES_ST432_1;
    case Primaries::kP3DCI: return ZIMG_PRIMARIES_ST431_2;
    case Primaries::k470M: return ZIMG_PRIMARIES_BT470_M;
    case Primaries::kFilm: return ZIMG_PRIMARIES_FILM;
    case Primaries::kXYZ: return ZIMG_PRIMARIES_ST428;
    default: return ZIMG_PRIMARIES_BT709;
    }
}

zimg_resample_filter_e ResizeOf(ScaleFilter inFilter)
{
    return inFilter == ScaleFilter::kBilinear  ? ZIMG_RESIZE_BILINEAR
           : inFilter == ScaleFilter::kBicubic ? ZIMG_RESIZE_BICUBIC
                                               : ZIMG_RESIZE_LANCZOS;
}

zimg_pixel_type_e PixelTypeOf(Sample inSample)
{
    return inSample == Sample::kByte   ? ZIMG_PIXEL_BYTE
           : inSample == Sample::kWord ? ZIMG_PIXEL_WORD
                                       : ZIMG_PIXEL_FLOAT;
}

// zimg's 256-bit code wants addresses and strides to be multiples of 32.
bool IsAligned(const Picture& inPicture, int inPlane)
{
    return reinterpret_cast<std::uintptr_t>(inPicture.planes[inPlane]) % 32 == 0 &&
           inPicture.strides[inPlane] % 32 == 0;
}

// Bytes of one step along a row of a picture without subsampled chroma.
Picture ColumnsOf(const Picture& inPicture, std::int32_t inRow, unsigned inLeft, unsigned inRight)
{
    Picture columns = inPicture;
    for (int plane = 0; plane < 4; ++plane)
    {
        if (columns.planes[plane] != nullptr)
        {
            columns.planes[plane] = inPicture.Row(plane, inRow) +
                                    PatternBytes(inPicture, plane) * static_cast<std::ptrdiff_t>(inLeft);
        }
    }
    columns.width = static_cast<std::int32_t>(inRight - inLeft);
    columns.height = 1;
    columns.chromaRows = 1;
    return columns;
}

// One conversion through a graph.
//
// Thread-safety: none; belongs to one call.
class Scaling
{
public:
    Scaling(const Picture& inSource, std::int32_t inSourceField, const Picture& inTarget,
            std::int32_t inTargetField, std::int32_t inQuality)
        : mSource(inSource)
        , mTarget(inTarget)
        , mMapsColour(NeedsColourMapping(inSource))
        , mKeepsAlpha(inSource.HasAlpha() && inTarget.HasAlpha())
    {
        TakeFields(inSourceField, inTargetField);
        mMultiplies = mKeepsAlpha && inSource.alpha == PictureAlpha::kStraight && !mMapsColour;
        mIntake = ChooseIntake();
        mOutlet = ChooseOutlet();
        DescribeMiddle();
        mPlan = PlanFor(mMiddle, mTarget);
        MakeKey(inSourceField, inTargetField, inQuality);
    }

    std::int32_t Run()
    {
        const std::shared_ptr<ScaleGraph> graph = ScaleGraph::Find(mKey);
        if (graph == nullptr)
        {
            return kIR_UnknownFormat;
        }
        ScaleGraph::Run run = graph->Begin();
        const std::int32_t status = Process(*graph, run);
        graph->End(std::move(run));
        return status;
    }

private:
    // A source's field becomes a picture of its own if its rows can be taken as they are; otherwise its rows
    // are picked while they are read, with chroma interpolated on the whole picture.
    void TakeFields(std::int32_t inSourceField, std::int32_t inTargetField)
    {
        mSourceRows = RowsOfField(mSource.height, inSourceField);
        mPicksRows = mSource.isFieldChroma || (inSourceField != kIR_WholePicture && mSource.shiftY != 0);
        if (inSourceField != kIR_WholePicture)
        {
            mFirstRow = inSourceField == kIR_LowerField ? 1 : 0;
            mRowStep = 2;
            if (!mPicksRows)
            {
                mSource = FieldOf(mSource, inSourceField);
                mFirstRow = 0;
                mRowStep = 1;
            }
        }
        mTargetRows = mTarget.height;
        if (inTargetField != kIR_WholePicture)
        {
            mTarget = FieldOf(mTarget, inTargetField);
            mTargetRows = inSourceField == kIR_WholePicture ? mTargetRows : mTarget.height;
            mSkipsRows = inSourceField == kIR_WholePicture;
            mSkippedParity = inTargetField == kIR_LowerField ? 0 : 1;
        }
    }

    Intake ChooseIntake() const
    {
        const bool isPlanes =
            mSource.storage == Storage::kPlanar && mSource.lowZeroBits == 0 && !mSource.isGray;
        if (mPicksRows || mMultiplies)
        {
            return Intake::kFloats;
        }
        if (mSource.storage == Storage::kPacked4 && mSource.sample == Sample::kByte)
        {
            return Intake::kPackedBytes;
        }
        if (!isPlanes)
        {
            return Intake::kFloats;
        }
        bool isDirect =
            mSource.width % (1 << mSource.shiftX) == 0 && mSource.height % (1 << mSource.shiftY) == 0;
        for (int plane = 0; plane < (mKeepsAlpha ? 4 : 3); ++plane)
        {
            isDirect = isDirect && IsAligned(mSource, plane);
        }
        return isDirect ? Intake::kDirect : Intake::kCopied;
    }

    Outlet ChooseOutlet() const
    {
        const bool isBytes = mTarget.storage == Storage::kPacked4 && mTarget.sample == Sample::kByte;
        if (mTarget.IsSubsampled())
        {
            return Outlet::kWholePlanes;
        }
        if (mIntake == Intake::kFloats || mMapsColour || !isBytes)
        {
            return Outlet::kFloats;
        }
        if (!mKeepsAlpha && HasYuvToBgra(mSource) && mTarget.IsRGB())
        {
            return Outlet::kYuvToBgra;
        }
        const bool isSameCode = mSource.sample == Sample::kByte && mSource.matrix == mTarget.matrix &&
                                mSource.isFullRange == mTarget.isFullRange &&
                                mSource.transfer == mTarget.transfer;
        const bool alphaGoesThrough = !mKeepsAlpha || mSource.alpha == mTarget.alpha;
        return isSameCode && alphaGoesThrough ? Outlet::kPackedBytes : Outlet::kFloats;
    }

    // What comes out of the graph, as a picture: planes of the source's model at the target's size.
    void DescribeMiddle()
    {
        mMiddle = Picture();
        mMiddle.width = mTarget.width;
        mMiddle.height = mTargetRows;
        mMiddle.chromaRows = mTargetRows;
        mMiddle.storage = Storage::kPlanar;
        mMiddle.matrix = mSource.matrix;
        mMiddle.transfer = mSource.transfer;
        mMiddle.isFullRange = mSource.isFullRange;
        const bool isFloat = mIntake == Intake::kFloats || mMapsColour || mSource.sample == Sample::kFloat;
        mMiddle.sample = isFloat                           ? Sample::kFloat
                         : mOutlet == Outlet::kPackedBytes ? Sample::kByte
                                                           : Sample::kWord;
        mMiddle.bits = isFloat                           ? 32
                       : mOutlet == Outlet::kPackedBytes ? 8
                       : mOutlet == Outlet::kYuvToBgra   ? kKernelBits
                                                         : 16;
        mMiddle.alpha = !mKeepsAlpha  ? PictureAlpha::kNone
                        : mMultiplies ? PictureAlpha::kPremultiplied
                                      : mSource.alpha;
        if (mMapsColour)
        {
            mMiddle.matrix = Matrix::kRGB;
            mMiddle.transfer = Transfer::kDisplay;
            mMiddle.isFullRange = true;
        }
    }

    void MakeKey(std::int32_t inSourceField, std::int32_t inTargetField, std::int32_t inQuality)
    {
        zimg_image_format_default(&mKey.source, ZIMG_API_VERSION);
        zimg_image_format_default(&mKey.target, ZIMG_API_VERSION);
        const std::int32_t wholeHeight =
            inTargetField == kIR_WholePicture ? mTarget.height : mWholeTargetHeight;
        const AxisMap rows = MapRows(mWholeSourceHeight, inSourceField, wholeHeight, inTargetField);
        DescribeSource(rows.step, FilterOf(inQuality), mKey.source);
        DescribeTarget(mKey.target);
        SetRegion(mKey.source, rows);
        const bool copies = CopiesRows(mSource.width, mWholeSourceHeight, inSourceField, mTarget.width,
                                       wholeHeight, inTargetField);
        mKey.filter = ResizeOf(FilterOf(inQuality));
        mKey.chromaFilter = copies ? ZIMG_RESIZE_BILINEAR : mKey.filter; // as a conversion without scaling
        mKey.cpu = ScalerCpuType();
    }

    void DescribeSource(double inRowStep, ScaleFilter inFilter, zimg_image_format& outFormat) const
    {
        const bool isFloat = mIntake == Intake::kFloats;
        const std::int32_t shiftY = mPicksRows ? 0 : mSource.shiftY;
        outFormat.subsample_w = static_cast<unsigned>(mSource.shiftX);
        outFormat.subsample_h = static_cast<unsigned>(shiftY);
        const double columnStep = static_cast<double>(mSource.width) / mTarget.width;
        outFormat.width =
            static_cast<unsigned>(PaddedSide(mSource.width, mSource.shiftX, columnStep, inFilter));
        outFormat.height = static_cast<unsigned>(PaddedSide(mSourceRows, shiftY, inRowStep, inFilter));
        outFormat.pixel_type = isFloat ? ZIMG_PIXEL_FLOAT : PixelTypeOf(mSource.sample);
        outFormat.depth = static_cast<unsigned>(isFloat ? 32 : mSource.bits);
        outFormat.chroma_location = static_cast<zimg_chroma_location_e>(mSource.siting);
        DescribeColour(mSource, outFormat);
        if (mMapsColour)
        {
            outFormat.matrix_coefficients = MatrixOf(mSource.matrix);
            outFormat.transfer_characteristics = TransferOf(mSource.transfer);
            outFormat.color_primaries = PrimariesOf(mSource.primaries);
        }
    }

    void DescribeTarget(zimg_image_format& outFormat) const
    {
        outFormat.width = static_cast<unsigned>(mMiddle.width);
        outFormat.height = static_cast<unsigned>(mMiddle.height);
        outFormat.pixel_type = PixelTypeOf(mMiddle.sample);
        outFormat.depth = static_cast<unsigned>(mMiddle.bits);
        outFormat.chroma_location = static_cast<zimg_chroma_location_e>(mSource.siting);
        DescribeColour(mMiddle, outFormat);
        if (mMapsColour)
        {
            outFormat.matrix_coefficients = ZIMG_MATRIX_RGB;
            outFormat.transfer_characteristics = ZIMG_TRANSFER_BT709;
            outFormat.color_primaries = ZIMG_PRIMARIES_BT709;
        }
    }

    // Without colour mapping neither side names its colours, so that zimg leaves them alone.
    void DescribeColour(const Picture& inPicture, zimg_image_format& outFormat) const
    {
        outFormat.color_family = inPicture.IsRGB() ? ZIMG_COLOR_RGB : ZIMG_COLOR_YUV;
        outFormat.matrix_coefficients = inPicture.IsRGB() ? ZIMG_MATRIX_RGB : ZIMG_MATRIX_UNSPECIFIED;
        outFormat.pixel_range = inPicture.isFullRange ? ZIMG_RANGE_FULL : ZIMG_RANGE_LIMITED;
        const bool isStraight = mMapsColour && mSource.alpha == PictureAlpha::kStraight;
        outFormat.alpha = !mKeepsAlpha ? ZIMG_ALPHA_NONE
                          : isStraight ? ZIMG_ALPHA_STRAIGHT
                                       : ZIMG_ALPHA_PREMULTIPLIED;
    }

    void SetRegion(zimg_image_format& ioFormat, const AxisMap& inRows) const
    {
        const double height = inRows.step * mTargetRows;
        const bool isPadded = ioFormat.width != static_cast<unsigned>(mSource.width) ||
                              ioFormat.height != static_cast<unsigned>(mSourceRows);
        if (isPadded || inRows.start != 0.0 || std::fabs(height - mSourceRows) > 1e-6)
        {
            ioFormat.active_region.left = 0.0;
            ioFormat.active_region.width = mSource.width;
            ioFormat.active_region.top = inRows.start;
            ioFormat.active_region.height = height;
        }
    }

    std::int32_t Process(const ScaleGraph& inGraph, ScaleGraph::Run& ioRun)
    {
        mInput = ioRun.input;
        mOutput = ioRun.output;
        const auto width = static_cast<std::size_t>(std::max(mSource.width, mTarget.width));
        const RowBuffers<float> rows(6, width + 64);
        mRows = &rows;
        if (mOutlet == Outlet::kWholePlanes)
        {
            return ProcessWhole(inGraph, ioRun);
        }
        zimg_image_buffer output = {};
        Attach(mOutput, output);
        const bool isDone = Execute(inGraph, ioRun, output, Pack);
        return isDone ? kIR_Success : kIR_OutOfMemory;
    }

    std::int32_t ProcessWhole(const ScaleGraph& inGraph, ScaleGraph::Run& ioRun)
    {
        const auto samples =
            static_cast<std::size_t>(mMiddle.width) * static_cast<std::size_t>(SampleBytes(mMiddle.sample));
        const RowBuffers<unsigned char> planes(static_cast<std::size_t>(mMiddle.height) * 4, samples);
        zimg_image_buffer output = {};
        output.version = ZIMG_API_VERSION;
        for (std::size_t plane = 0; plane < (mKeepsAlpha ? 4 : 3); ++plane)
        {
            mMiddle.planes[plane] = planes.Row(plane * static_cast<std::size_t>(mMiddle.height));
            mMiddle.strides[plane] = planes.Row(1) - planes.Row(0);
            output.plane[plane] = {mMiddle.planes[plane], mMiddle.strides[plane], ZIMG_BUFFER_MAX};
        }
        if (!Execute(inGraph, ioRun, output, nullptr))
        {
            return kIR_OutOfMemory;
        }
        const Picture middle =
            mSkipsRows ? FieldOf(mMiddle, mSkippedParity == 0 ? kIR_LowerField : kIR_UpperField) : mMiddle;
        return ConvertPictures(middle, mTarget);
    }

    bool Execute(const ScaleGraph& inGraph, ScaleGraph::Run& ioRun, const zimg_image_buffer& inOutput,
                 zimg_filter_graph_callback inPack)
    {
        zimg_image_buffer_const input = {};
        input.version = ZIMG_API_VERSION;
        for (int plane = 0; plane < 4; ++plane)
        {
            input.plane[plane] = {mInput.planes[plane], mInput.strides[plane], mInput.masks[plane]};
            if (mIntake == Intake::kDirect)
            {
                input.plane[plane] = {mSource.planes[plane], mSource.strides[plane], ZIMG_BUFFER_MAX};
            }
        }
        const zimg_filter_graph_callback unpack = mIntake == Intake::kDirect ? nullptr : Unpack;
        return zimg_filter_graph_process(inGraph.Graph(), &input, &inOutput, ioRun.temporary, unpack, this,
                                         inPack, this) == ZIMG_ERROR_SUCCESS;
    }

    static void Attach(const RowRing& inRing, zimg_image_buffer& outBuffer)
    {
        outBuffer.version = ZIMG_API_VERSION;
        for (int plane = 0; plane < 4; ++plane)
        {
            outBuffer.plane[plane] = {inRing.planes[plane], inRing.strides[plane], inRing.masks[plane]};
        }
    }

    // --- rows into the graph

    static int Unpack(void* inScaling, unsigned inRow, unsigned inLeft, unsigned inRight)
    {
        auto& scaling = *static_cast<Scaling*>(inScaling);
        const unsigned lines = 1U << scaling.mKey.source.subsample_h;
        for (unsigned line = 0; line < lines; ++line)
        {
            scaling.UnpackRow(inRow + line, inLeft, inRight);
        }
        return 0;
    }

    void UnpackRow(unsigned inRow, unsigned inLeft, unsigned inRight)
    {
        switch (mIntake)
        {
        case Intake::kPackedBytes:
            BgraRowToPlanes(mSource.Row(0, static_cast<std::int32_t>(inRow)) + std::size_t{inLeft} * 4,
                            mInput.Row(0, inRow) + inLeft, mInput.Row(1, inRow) + inLeft,
                            mInput.Row(2, inRow) + inLeft,
                            mKeepsAlpha ? mInput.Row(3, inRow) + inLeft : nullptr, inRight - inLeft);
            break;
        case Intake::kCopied: CopyRow(inRow); break;
        default: ReadFloats(inRow, inLeft, inRight); break;
        }
    }

    bool HasChromaRow(unsigned inRow) const { return inRow % (1U << mKey.source.subsample_h) == 0; }
    unsigned ChromaRow(unsigned inRow) const { return inRow >> mKey.source.subsample_h; }

    // Rows beyond the last of a picture with an odd height are its last ones in mirrored order.
    std::int32_t KeptRow(unsigned inRow) const
    {
        return Mirrored(static_cast<std::int32_t>(inRow), mSourceRows);
    }

    std::int32_t KeptChromaRow(unsigned inChromaRow) const
    {
        return Mirrored(static_cast<std::int32_t>(inChromaRow), mSource.chromaRows);
    }

    // And so are the columns beyond an odd width, of luma or chroma.
    template <typename T>
    void MirrorColumns(bool inIsChroma, T* ioRow) const
    {
        const std::int32_t kept = inIsChroma ? mSource.ChromaWidth() : mSource.width;
        const auto padded =
            static_cast<std::int32_t>(mKey.source.width >> (inIsChroma ? mKey.source.subsample_w : 0));
        for (std::int32_t x = kept; x < padded; ++x)
        {
            ioRow[x] = ioRow[Mirrored(x, kept)];
        }
    }

    void CopyRow(unsigned inRow)
    {
        for (int plane = 0; plane < (mKeepsAlpha ? 4 : 3); ++plane)
        {
            const bool isChroma = plane == 1 || plane == 2;
            if (isChroma && !HasChromaRow(inRow))
            {
                continue;
            }
            const unsigned row = isChroma ? ChromaRow(inRow) : inRow;
            const std::int32_t from = isChroma ? KeptChromaRow(row) : KeptRow(inRow);
            const auto bytes = static_cast<std::size_t>(RowBytesOf(mSource, plane));
            unsigned char* to = mInput.Row(plane, row);
            std::memcpy(to, mSource.Row(plane, from), bytes);
            switch (mSource.sample)
            {
            case Sample::kByte: MirrorColumns(isChroma, to); break;
            case Sample::kWord: MirrorColumns(isChroma, reinterpret_cast<std::uint16_t*>(to)); break;
            default: MirrorColumns(isChroma, reinterpret_cast<float*>(to)); break;
            }
        }
    }

    FloatRow InputRow(unsigned inRow) const
    {
        FloatRow row = {};
        for (int plane = 0; plane < 4; ++plane)
        {
            const bool isChroma = plane == 1 || plane == 2;
            row.c[plane] =
                mInput.planes[plane] == nullptr
                    ? mRows->Row(0)
                    : reinterpret_cast<float*>(mInput.Row(plane, isChroma ? ChromaRow(inRow) : inRow));
        }
        return row;
    }

    void ReadFloats(unsigned inRow, unsigned inLeft, unsigned inRight)
    {
        const FloatRow row = InputRow(inRow);
        const std::int32_t y = mFirstRow + mRowStep * KeptRow(inRow);
        if (mSource.IsSubsampled())
        {
            ReadSubsampledFloats(inRow, y, row);
            return;
        }
        if (mSource.storage != Storage::kPacked4)
        {
            inLeft = 0;
            inRight = static_cast<unsigned>(mSource.width);
        }
        const FloatRow part = {{row.c[0] + inLeft, row.c[1] + inLeft, row.c[2] + inLeft, row.c[3] + inLeft}};
        ReadFloatRow(ColumnsOf(mSource, y, inLeft, inRight), 0, part, mRows->Row(1));
        if (mMultiplies)
        {
            RowPlan multiply;
            multiply.multipliesFirst = true;
            ApplyPlan(multiply, part, inRight - inLeft);
        }
    }

    void ReadSubsampledFloats(unsigned inRow, std::int32_t inY, const FloatRow& outRow)
    {
        ReadMemoryRow(mSource, 0, inY, outRow.c[0]);
        MirrorColumns(false, outRow.c[0]);
        if (mKeepsAlpha)
        {
            ReadMemoryRow(mSource, 3, inY, outRow.c[3]);
            MirrorColumns(false, outRow.c[3]);
        }
        for (int component = 1; component < 3 && HasChromaRow(inRow); ++component)
        {
            if (mPicksRows)
            {
                ReadChromaRow(mSource, component, inY, outRow.c[component], mRows->Row(1));
            }
            else
            {
                ReadMemoryRow(mSource, component, KeptChromaRow(ChromaRow(inRow)), outRow.c[component]);
            }
            MirrorColumns(true, outRow.c[component]);
        }
    }

    // --- rows out of the graph

    static int Pack(void* inScaling, unsigned inRow, unsigned inLeft, unsigned inRight)
    {
        auto& scaling = *static_cast<Scaling*>(inScaling);
        if (!scaling.mSkipsRows)
        {
            scaling.PackRow(inRow, static_cast<std::int32_t>(inRow), inLeft, inRight);
        }
        else if (static_cast<int>(inRow % 2) != scaling.mSkippedParity)
        {
            scaling.PackRow(inRow, static_cast<std::int32_t>(inRow / 2), inLeft, inRight);
        }
        return 0;
    }

    void PackRow(unsigned inRow, std::int32_t inTargetRow, unsigned inLeft, unsigned inRight)
    {
        const std::size_t width = inRight - inLeft;
        if (mOutlet == Outlet::kFloats)
        {
            PackFloats(inRow, inTargetRow, inLeft, inRight);
            return;
        }
        unsigned char* target = mTarget.Row(0, inTargetRow) + std::size_t{inLeft} * 4;
        if (mOutlet == Outlet::kPackedBytes)
        {
            RgbRowToBgra(mOutput.Row(0, inRow) + inLeft, mOutput.Row(1, inRow) + inLeft,
                         mOutput.Row(2, inRow) + inLeft,
                         mKeepsAlpha ? mOutput.Row(3, inRow) + inLeft : nullptr, target, width);
            return;
        }
        const auto words = [&](int inPlane)
        { return reinterpret_cast<const std::uint16_t*>(mOutput.Row(inPlane, inRow)) + inLeft; };
        YuvRowToBgra({words(0), true, 15 - kKernelBits}, words(1), words(2), ChromaPhase::kFull, nullptr,
                     FactorsFor(mMiddle), target, width);
    }

    void PackFloats(unsigned inRow, std::int32_t inTargetRow, unsigned inLeft, unsigned inRight)
    {
        Picture middle = mMiddle;
        for (int plane = 0; plane < 4; ++plane)
        {
            middle.planes[plane] = mOutput.planes[plane] == nullptr ? nullptr : mOutput.Row(plane, inRow);
        }
        const FloatRow row = {{mRows->Row(0), mRows->Row(1), mRows->Row(2), mRows->Row(3)}};
        ReadFloatRow(ColumnsOf(middle, 0, inLeft, inRight), 0, row, mRows->Row(4));
        ApplyPlan(mPlan, row, inRight - inLeft);
        WriteFloatRow(ColumnsOf(mTarget, inTargetRow, inLeft, inRight), 0, row);
    }

    Picture mSource;
    Picture mTarget;
    const std::int32_t mWholeSourceHeight = mSource.height;
    const std::int32_t mWholeTargetHeight = mTarget.height;
    bool mMapsColour;
    bool mKeepsAlpha;
    bool mMultiplies = false; // straight colour is scaled premultiplied
    bool mPicksRows = false;
    std::int32_t mSourceRows = 0;
    std::int32_t mFirstRow = 0;
    std::int32_t mRowStep = 1;
    std::int32_t mTargetRows = 0; // rows that the graph makes
    bool mSkipsRows = false;
    int mSkippedParity = 0;
    Intake mIntake = Intake::kFloats;
    Outlet mOutlet = Outlet::kFloats;
    Picture mMiddle;
    RowPlan mPlan;
    GraphKey mKey = {};
    RowRing mInput = {};
    RowRing mOutput = {};
    const RowBuffers<float>* mRows = nullptr;
};

}

bool NeedsColourMapping(const Picture& inSource) noexcept
{
    return inSource.transfer == Transfer::kPQ || inSource.transfer == Transfer::kHLG ||
           inSource.primaries != Primaries::k709 || !IsLinearModel(inSource.matrix);
}

std::int32_t ScalePictures(const Picture& inSource, std::int32_t inSourceField, const Picture& inTarget,
                           std::int32_t inTargetField, std::int32_t inQuality)
{
    // Chroma rows that the fields share belong to no field alone: they are interpolated while rows are
    // picked.
    const bool sharesChroma = inSource.shiftY != 0 && !inSource.isFieldChroma;
    const bool isWhole = inSourceField == kIR_WholePicture && inTargetField == kIR_WholePicture;
    const bool copies =
        !NeedsColourMapping(inSource) && CopiesRows(inSource.width, inSource.height, inSourceField,
                                                    inTarget.width, inTarget.height, inTargetField);
    if (copies)
    {
        const std::int32_t rows = inSourceField != kIR_WholePicture ? inSourceField : inTargetField;
        const Picture target =
            inTargetField == kIR_WholePicture ? inTarget : FieldOf(inTarget, inTargetField);
        if (isWhole || !sharesChroma)
        {
            return ConvertPictures(rows == kIR_WholePicture ? inSource : FieldOf(inSource, rows), target);
        }
        if (ConvertYuvField(inSource, rows, target))
        {
            return kIR_Success;
        }
    }
    if (isWhole && CanHalveYuv(inSource, inTarget))
    {
        HalveYuv(inSource, inTarget, FilterOf(inQuality));
        return kIR_Success;
    }
    return Scaling(inSource, inSourceField, inTarget, inTargetField, inQuality).Run();
}

}
