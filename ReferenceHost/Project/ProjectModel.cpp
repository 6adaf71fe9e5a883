#include "ReferenceHost/Project/ProjectModel.h"

#include "ReferenceHost/Project/SequenceMessages.h"
#include "norvik/config/Contract.h"

#include <algorithm>

namespace Project
{

SequenceRef ProjectModel::AddSequence(const SequenceSettings& inSettings)
{
    mSequences.push_back(Sequence::Create(inSettings));
    PostChangesOf(mSequences.back());
    if (!mMainSequence)
    {
        mMainSequence = mSequences.back();
    }
    return mSequences.back();
}

SequenceRef ProjectModel::FindSequence(std::string_view inName) const
{
    const auto found = std::find_if(mSequences.begin(), mSequences.end(),
                                    [&](const SequenceRef& inSequence)
                                    { return inSequence->GetSettings().mName == inName; });
    return found == mSequences.end() ? SequenceRef() : *found;
}

void ProjectModel::SetMainSequence(const SequenceRef& inSequence)
{
    const bool isHere =
        std::any_of(mSequences.begin(), mSequences.end(),
                    [&](const SequenceRef& inOther) { return inOther.get() == inSequence.get(); });
    ML_INPUT_CONTRACT(isHere, "inSequence is of this project", "ReferenceHost/Project/ProjectModel",
                      "Project::ProjectModel::SetMainSequence", __LINE__);
    mMainSequence = inSequence;
}

void ProjectModel::SetStation(const norvik::utility::ImmutableString& inStationID)
{
    for (std::size_t index = 0; index < mPosters.size(); ++index)
    {
        mSequences[index]->RemoveObserver(mPosters[index]);
    }
    mPosters.clear();
    mStationID = inStationID;
    for (const SequenceRef& sequence : mSequences)
    {
        PostChangesOf(sequence);
    }
}

void ProjectModel::PostChangesOf(const SequenceRef& inSequence)
{
    if (mStationID.Size() > 0)
    {
        mPosters.push_back(PostChanges(inSequence, mStationID));
    }
}

BE::IMasterClipRef ProjectModel::GetMasterClip(std::string_view inName, std::string_view inMediaInstance)
{
    const auto found = mMasterClips.find(inMediaInstance);
    if (found != mMasterClips.end())
    {
        return found->second;
    }
    return mMasterClips.emplace(inMediaInstance, CreateMasterClip(inName, inMediaInstance)).first->second;
}

} // namespace Project
