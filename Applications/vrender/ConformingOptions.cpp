#include "Applications/vrender/ConformingOptions.h"

#include "Applications/vrender/ExitCodes.h"
#include "Applications/vrender/OptionValues.h"
#include "ReferenceHost/Session/SourceChain.h"

namespace vrender
{

namespace
{

[[noreturn]] void Refuse(const std::string& inCause)
{
    throw ToolError(ExitCode::kUsage, inCause);
}

void Exclude(bool inFirst, const char* inNameOfFirst, bool inSecond, const char* inNameOfSecond)
{
    if (inFirst && inSecond)
    {
        Refuse(std::string(inNameOfFirst) + " and " + inNameOfSecond + " exclude each other");
    }
}

void CheckFields(const Options& inOptions)
{
    const bool isProgressive = inOptions.mField == "progressive";
    const bool removesPulldown = !inOptions.mRemovePulldown.empty();
    Exclude(!inOptions.mField.empty(), "--field", inOptions.mSwapFields && !removesPulldown, "--swap-fields");
    Exclude(inOptions.mDeinterlace, "--deinterlace", inOptions.mSwapFields && !removesPulldown,
            "--swap-fields");
    Exclude(isProgressive, "--field progressive", inOptions.mInterlaceConsecutive, "--interlace-consecutive");
    Exclude(removesPulldown, "--remove-pulldown", inOptions.mDeinterlace, "--deinterlace");
    Exclude(removesPulldown, "--remove-pulldown", inOptions.mReverseDominance, "--reverse-dominance");
    Exclude(removesPulldown, "--remove-pulldown", inOptions.mInterlaceConsecutive, "--interlace-consecutive");
    Exclude(inOptions.mDeinterlace, "--deinterlace", inOptions.mInterlaceConsecutive,
            "--interlace-consecutive");
}

void CheckRate(const Options& inOptions)
{
    if (!inOptions.mRateBy.empty() && inOptions.mRate.empty())
    {
        Refuse("--rate-by: needs --rate");
    }
    Exclude(inOptions.mBlend, "--blend", inOptions.mRateBy == "clock", "--rate-by clock");
    Exclude(inOptions.mBlend, "--blend", inOptions.mRateBy == "mix", "--rate-by mix");
}

norviktypes::FieldType FieldTypeOf(const std::string& inField)
{
    return inField == "upper"         ? norviktypes::kFieldType_UpperFirst
           : inField == "lower"       ? norviktypes::kFieldType_LowerFirst
           : inField == "progressive" ? norviktypes::kFieldType_Progressive
                                      : norviktypes::kFieldType_FromSource;
}

// A rate by the clock alone is a matter of which frames are shown, not of what they are made of.
bool IsRateOfClip(const Options& inOptions, const Session::Conforming& inConforming)
{
    if (inOptions.mRate.empty())
    {
        return false;
    }
    const bool byClock = inOptions.mRateBy == "clock" ||
                         (inOptions.mRateBy.empty() && inConforming.mSpeed == 1 && !inConforming.mBlends &&
                          !inConforming.mInterlacesConsecutive && inOptions.mField.empty());
    return !byClock || inOptions.mCommand != kCommand_Render;
}

void AddTime(const Options& inOptions, Session::Conforming& ioConforming)
{
    CheckRate(inOptions);
    ioConforming.mSpeed = inOptions.mSpeed.empty() ? 1 : ParseSpeed("--speed", inOptions.mSpeed);
    ioConforming.mBlends = inOptions.mBlend || inOptions.mRateBy == "blend";
    ioConforming.mInterlacesConsecutive = inOptions.mInterlaceConsecutive;
    if (IsRateOfClip(inOptions, ioConforming))
    {
        const Rational rate = ParseRate("--rate", inOptions.mRate);
        ioConforming.mRate = {rate.mNumerator, rate.mDenominator};
    }
    if (!inOptions.mRemovePulldown.empty())
    {
        ioConforming.mCadence = Session::CadenceOfName(inOptions.mRemovePulldown);
        ioConforming.mPulldown = inOptions.mRemovePulldown == "auto" ? Session::PulldownRemoval::kFound
                                                                     : Session::PulldownRemoval::kGiven;
    }
}

void AddShape(const Options& inOptions, Session::Conforming& ioConforming)
{
    const bool fits = !inOptions.mFit.empty();
    if (inOptions.mFit == "none")
    {
        Refuse("--fit none is for timelines");
    }
    if (!inOptions.mPar.empty())
    {
        ioConforming.mPixelAspectRatio = ParseAspect("--par", inOptions.mPar);
    }
    if (!fits && inOptions.mPar.empty())
    {
        return;
    }
    const PictureSize size = inOptions.mSize.empty() ? PictureSize() : ParseSize("--size", inOptions.mSize);
    const bool isWhole = size.mWidth > 0 && size.mHeight > 0;
    if (fits && !isWhole)
    {
        Refuse("--fit: needs a --size with both sides");
    }
    if (isWhole)
    {
        ioConforming.mWidth = size.mWidth;
        ioConforming.mHeight = size.mHeight;
    }
    if (fits && inOptions.mPar.empty())
    {
        ioConforming.mPixelAspectRatio = norviktypes::kPixelAspectRatio_Square;
    }
    const bool isInside = inOptions.mFit == "inside" || inOptions.mFit == "fit";
    ioConforming.mFit = isInside                   ? Session::Fit::kInside
                        : inOptions.mFit == "fill" ? Session::Fit::kFill
                                                   : Session::Fit::kStretch;
}

} // namespace

Session::Conforming ConformingOf(const Options& inOptions)
{
    CheckFields(inOptions);
    Session::Conforming conforming;
    conforming.mDeinterlaces = inOptions.mDeinterlace;
    conforming.mReversesDominance = inOptions.mReverseDominance;
    conforming.mSwapsFields = inOptions.mSwapFields;
    conforming.mRemovesFlicker = inOptions.mRemoveFlicker;
    conforming.mFieldType = FieldTypeOf(inOptions.mField);
    AddTime(inOptions, conforming);
    AddShape(inOptions, conforming);
    return conforming;
}

} // namespace vrender
