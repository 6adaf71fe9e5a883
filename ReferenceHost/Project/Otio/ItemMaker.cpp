#include "ReferenceHost/Project/Otio/ItemMaker.h"

#include "ReferenceHost/Project/Otio/MediaRuns.h"
#include "ReferenceHost/Project/Otio/TimeValues.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <utility>

namespace Otio
{

using norviktypes::FrameRate;
using norviktypes::kTime_Zero;
using norviktypes::TickTime;

namespace
{

// Faster than any use; a bound for arithmetic.
constexpr double kFastestSpeed = 1e6;

FrameRate DocumentRate(const Composable& inClip, const MediaReference* inReference)
{
    if (inReference != nullptr && inReference->mKind == MediaKind::kImageSequence)
    {
        return inReference->mImages.ImageRate();
    }
    if (inReference != nullptr && inReference->mAvailable &&
        inReference->mAvailable->mDuration.mRate.IsCountable())
    {
        return inReference->mAvailable->mDuration.mRate;
    }
    return inClip.mSourceRange ? inClip.mSourceRange->mStart.mRate : FrameRate();
}

bool IsEndless(const MediaFacts& inFacts)
{
    return inFacts.mDuration <= kTime_Zero;
}

}

Item ItemMaker::MakePlain(const Slot& inSlot)
{
    Item item;
    item.mPath = inSlot.mObject->mPath;
    item.mName = inSlot.mObject->mName;
    item.mStart = inSlot.mStart;
    item.mDuration = inSlot.mDuration;
    item.mSettings = inSlot.mObject->mSettings;
    const Known& known = LookAt(*inSlot.mObject);
    item.mRun.mSpeed = known.mSpeed;
    item.mEffects = known.mEffects;
    item.mRun.mBlendsFrames = item.mSettings != nullptr && item.mSettings->mBlendsFrames.value_or(false);
    return item;
}

const ItemMaker::Known& ItemMaker::LookAt(const Composable& inObject)
{
    const auto [place, isNew] = mKnown.try_emplace(&inObject);
    if (!isNew)
    {
        return place->second;
    }
    EffectList effects;
    for (const auto& effect : inObject.mEffects)
    {
        if (effect->mIsEnabled && effect->mKind == EffectKind::kPicture)
        {
            effects.push_back(effect);
        }
    }
    place->second.mSpeed = Speed(inObject);
    place->second.mEffects =
        effects.empty() ? nullptr : std::make_shared<const EffectList>(std::move(effects));
    return place->second;
}

std::vector<Item> ItemMaker::MakeClip(const Slot& inSlot)
{
    const Composable& clip = *inSlot.mObject;
    const MediaReference* const reference = mMedia.Reference(clip);
    Item item = MakePlain(inSlot);
    item.mMedia = mMedia.Find(clip, reference);
    const bool blends = item.mRun.mBlendsFrames;
    item.mRun = FindRun(clip, reference, item.mMedia, item.mRun.mSpeed);
    item.mRun.mBlendsFrames = blends;
    return WithinMedia(inSlot, std::move(item));
}

double ItemMaker::Speed(const Composable& inObject)
{
    double speed = 1.0;
    for (const auto& effect : inObject.mEffects)
    {
        speed *= effect->mIsEnabled && effect->mKind == EffectKind::kTimeWarp ? effect->mScalar : 1.0;
    }
    if (std::fabs(speed) <= kFastestSpeed)
    {
        return speed == 0.0 ? 0.0 : speed; // no negative zero
    }
    mProblems.Fail("too-fast", mPaths.Text(inObject.mPath),
                   fmt::format("played {} times as fast; {} is the limit", speed, kFastestSpeed));
    return std::clamp(speed, -kFastestSpeed, kFastestSpeed);
}

MediaRun ItemMaker::FindRun(const Composable& inClip, const MediaReference* inReference, std::size_t inMedia,
                            double inSpeed)
{
    MediaRun run;
    run.mSpeed = inSpeed;
    run.mRate = DocumentRate(inClip, inReference);
    const bool isOpen = inReference == nullptr || !inReference->mAvailable;
    // What the document doesn't say the media must.
    const MediaFacts* const facts = isOpen || inSpeed < 0.0 ? mMedia.Facts(inMedia) : nullptr;
    run.mIn = FileStart(inClip, inReference, facts);
    if (facts != nullptr && facts->mRate.IsCountable())
    {
        run.mRate = facts->mRate;
    }
    // Generators make what is asked for, unless they were told how much that is.
    const bool isMadeWithoutEnd = !isOpen || facts == nullptr || IsEndless(*facts);
    if (mMedia.At(inMedia).mKind == MediaKind::kGenerator && isMadeWithoutEnd)
    {
        return run;
    }
    if (!isOpen && inReference->mAvailable->Duration() > kTime_Zero)
    {
        run.mAvailable = AvailableMedia{kTime_Zero, inReference->mAvailable->Duration()};
    }
    else if (isOpen && facts != nullptr && !IsEndless(*facts))
    {
        run.mAvailable = AvailableMedia{kTime_Zero, std::min(facts->mDuration, kLongestTime)};
    }
    return run;
}

TickTime ItemMaker::FileStart(const Composable& inClip, const MediaReference* inReference,
                              const MediaFacts* inFacts) const
{
    if (!inClip.mSourceRange)
    {
        return kTime_Zero;
    }
    const TickTime start = inClip.mSourceRange->Start();
    if (inReference != nullptr && inReference->mAvailable)
    {
        return start - inReference->mAvailable->Start();
    }
    // Ranges of such clips are meant on the media's timecode where they can be.
    const TickTime timecode = inFacts == nullptr ? kTime_Zero : inFacts->mStartTimecode;
    return start >= timecode ? start - timecode : start;
}

std::vector<Item> ItemMaker::WithinMedia(const Slot& inSlot, Item inItem)
{
    MediaRun& run = inItem.mRun;
    if (!run.mAvailable)
    {
        return {inItem};
    }
    const TickTime margin(run.mRate.IsCountable() ? run.mRate.GetTicks() / 10000 : 0);
    const auto leaves = [&](const TickTime& inLead, const TickTime& inTail)
    {
        const AvailableMedia used = UsedMedia(run, inItem.mDuration, mRate, inLead, inTail);
        return used.mStart + margin < run.mAvailable->mStart || used.mEnd > run.mAvailable->mEnd + margin;
    };
    const bool leavesItself = leaves(kTime_Zero, kTime_Zero);
    if (!leavesItself && !leaves(inSlot.mLead, inSlot.mTail))
    {
        return {inItem};
    }
    // A still lasts as long as one likes, whatever the document says.
    const MediaFacts* const facts = mMedia.Facts(inItem.mMedia);
    if (facts != nullptr && IsEndless(*facts))
    {
        run.mAvailable.reset();
        return {inItem};
    }
    const std::string pointer = mPaths.Text(inItem.mPath);
    const std::string text =
        leavesItself ? "shows more than the media has" : "has no media for its transition";
    if (mOptions.mOutOfRange == OutOfRange::kError)
    {
        mProblems.Fail(leavesItself ? "out-of-media" : "short-handles", pointer, text);
        return {inItem};
    }
    std::vector<Item> parts = leavesItself && mOptions.mOutOfRange == OutOfRange::kBlack
                                  ? Divide(inSlot, inItem)
                                  : std::vector<Item>{inItem};
    const bool hasBlack = parts.size() > 1 || parts.front().IsBlack();
    mProblems.Warn(leavesItself ? "out-of-media" : "short-handles", pointer,
                   text + (hasBlack ? "; black there" : "; the nearest frame is held"));
    return parts;
}

std::vector<Item> ItemMaker::Divide(const Slot& inSlot, const Item& inItem) const
{
    const std::int64_t count = CountFrames(inItem.mDuration, mRate);
    const auto hasMedia = [&](std::int64_t inFrame)
    {
        MediaRun run = inItem.mRun;
        run.mAvailable.reset();
        run.mRate = run.mRate.IsCountable() ? run.mRate : mRate;
        const std::int64_t frame =
            MediaFrameAt(run, inItem.mDuration, mRate, TickTime::FromFrame(inFrame, mRate));
        const TickTime start = TickTime::FromFrame(frame, run.mRate);
        return start + TickTime(run.mRate.GetTicks()) > inItem.mRun.mAvailable->mStart &&
               start < inItem.mRun.mAvailable->mEnd;
    };
    // Time runs one way through the media, so the frames that have any are in one piece; each end of the
    // item is at one end of them, or all of the item is outside.
    const auto findChange = [&](std::int64_t inLow, std::int64_t inHigh, bool inHasLow)
    {
        while (inLow + 1 < inHigh)
        {
            const std::int64_t middle = inLow + (inHigh - inLow) / 2;
            (hasMedia(middle) == inHasLow ? inLow : inHigh) = middle;
        }
        return inHigh;
    };
    std::int64_t first = 0;
    std::int64_t end = count;
    if (!hasMedia(0) && hasMedia(count - 1))
    {
        first = findChange(0, count - 1, false);
    }
    else if (hasMedia(0) && !hasMedia(count - 1))
    {
        end = findChange(0, count - 1, true);
    }
    else if (!hasMedia(0))
    {
        // Both ends are outside; what is between them, if anything, is found by the media's own ends.
        const TickTime start = FirstMediaTime(inItem.mRun, inItem.mDuration, mRate);
        const double speed = inItem.mRun.mSpeed;
        const TickTime middle = inItem.mRun.mAvailable->mStart +
                                (inItem.mRun.mAvailable->mEnd - inItem.mRun.mAvailable->mStart) / 2u;
        const std::int64_t inside = speed == 0.0 ? -1 : Scaled(middle - start, 1.0 / speed).ToFrame64(mRate);
        if (inside <= 0 || inside >= count - 1 || !hasMedia(inside))
        {
            first = end = count;
        }
        else
        {
            first = findChange(0, inside, false);
            end = findChange(inside, count - 1, true);
        }
    }
    const TickTime from = TickTime::FromFrame(first, mRate);
    const TickTime to = end == count ? inItem.mDuration : TickTime::FromFrame(end, mRate);
    // Transitions need whole items at their side; there the edge of the media is held.
    const TickTime atStart = first > 0 ? from : to;
    const TickTime atEnd = inItem.mDuration - (end < count ? to : from);
    if (first < count && (atStart < inSlot.mTaken || atEnd < inSlot.mGiven))
    {
        return {inItem};
    }
    std::vector<Item> pieces;
    Item black = inItem;
    black.mMedia = kNone;
    black.mRun = MediaRun();
    if (first > 0)
    {
        pieces.push_back(Piece(black, kTime_Zero, first == count ? inItem.mDuration : from));
    }
    if (first < end)
    {
        pieces.push_back(Piece(inItem, from, to));
    }
    if (end < count)
    {
        pieces.push_back(Piece(black, to, inItem.mDuration));
    }
    return pieces;
}

Item ItemMaker::Piece(const Item& inItem, const TickTime& inFrom, const TickTime& inTo) const
{
    Item piece = inItem;
    piece.mStart = inItem.mStart + inFrom;
    piece.mDuration = inTo - inFrom;
    piece.mCutOff = inFrom;
    const TickTime first =
        FirstMediaTime(inItem.mRun, inItem.mDuration, mRate) + Scaled(inFrom, inItem.mRun.mSpeed);
    piece.mRun.mIn = kTime_Zero;
    // Backwards the lowest time counts, which the shorter piece reaches sooner.
    piece.mRun.mIn = first - FirstMediaTime(piece.mRun, piece.mDuration, mRate);
    return piece;
}

}
