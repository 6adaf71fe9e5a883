#include "ReferenceHost/Project/Otio/MediaTable.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace Otio
{

namespace
{

// Equal for what is one medium. Missing media are told apart by what was wanted.
std::string Identity(const LocatedMedia& inMedia)
{
    const ImageNumbers& images = inMedia.mImages;
    std::string text = fmt::format("{}\n{}\n{}\n{} {}", static_cast<int>(inMedia.mKind), inMedia.mFile,
                                   inMedia.mEntry, inMedia.mOffset, inMedia.mSize);
    if (inMedia.mKind == MediaKind::kImageSequence)
    {
        text += fmt::format("\n{}\n{}\n{} {} {} {} {} {}", images.mPrefix, images.mSuffix, images.mStart,
                            images.mStep, images.mCount, images.mPadding, images.mRate.GetTicks(),
                            static_cast<int>(images.mMissing));
    }
    return inMedia.mKind == MediaKind::kMissing ? text + "\n" + inMedia.mWanted : text;
}

}

const MediaReference* MediaTable::Reference(const Composable& inClip)
{
    const auto known = mReferences.find(&inClip);
    if (known != mReferences.end())
    {
        return known->second;
    }
    const auto find = [&](const std::string& inKey) -> const MediaReference*
    {
        const auto found =
            std::find_if(inClip.mReferences.begin(), inClip.mReferences.end(),
                         [&](const KeyedReference& inReference) { return inReference.mKey == inKey; });
        return found == inClip.mReferences.end() ? nullptr : found->mReference.get();
    };
    const MediaReference* const wanted = mWantedKey.empty() ? nullptr : find(mWantedKey);
    return mReferences.emplace(&inClip, wanted != nullptr ? wanted : find(inClip.mActiveKey)).first->second;
}

std::size_t MediaTable::Find(const Composable& inClip, const MediaReference* inReference)
{
    const auto known = mByReference.find(inReference);
    if (inReference != nullptr && known != mByReference.end())
    {
        return known->second;
    }
    LocatedMedia media;
    if (inReference != nullptr)
    {
        media = mLocator.Locate(*inReference, mPaths.Text(inReference->mPath), mProblems);
        media.mPath = inReference->mPath;
    }
    else
    {
        media.mPath = inClip.mPath;
        media.mWanted = inClip.mName;
        mProblems.Warn("missing-media", mPaths.Text(inClip.mPath), "the clip has no media");
    }
    if (media.mName.empty())
    {
        media.mName =
            inReference != nullptr && !inReference->mName.empty() ? inReference->mName : inClip.mName;
    }
    const auto [place, isNew] = mByText.try_emplace(Identity(media), mMedia.size());
    if (isNew)
    {
        mMedia.push_back(std::move(media));
        mFacts.emplace_back();
        mWasAsked.push_back(false);
    }
    if (inReference != nullptr)
    {
        mByReference.emplace(inReference, place->second);
    }
    return place->second;
}

const MediaFacts* MediaTable::Facts(std::size_t inMedia)
{
    if (!mWasAsked[inMedia])
    {
        mWasAsked[inMedia] = true;
        MediaFacts facts;
        if (mMedia[inMedia].mKind != MediaKind::kMissing && mLocator.GetFacts(mMedia[inMedia], facts))
        {
            mFacts[inMedia] = facts;
        }
        else if (mMedia[inMedia].mKind == MediaKind::kGenerator)
        {
            mFacts[inMedia] = MediaFacts();
        }
        else
        {
            mMedia[inMedia].mKind = MediaKind::kMissing;
        }
    }
    return mFacts[inMedia] ? &*mFacts[inMedia] : nullptr;
}

}
