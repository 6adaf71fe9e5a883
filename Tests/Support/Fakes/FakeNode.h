// Nodes that are what a test says, for graphs and cutlists without media.
//
// A fake answers from its public fields, which are set before Finalize, and remembers what it was asked.
// Users link the library's objects.
//
// Thread-safety: as nodes, but for what is remembered: one thread at a time.
#pragma once

#include "RenderableNodeCommonImpl.h"

#include <cstdint>
#include <vector>

namespace TestSupport
{

class FakeNode : public ML::RenderableNodeCommonImpl
{
public:
    explicit FakeNode(const char* inType = "FakeNode", std::uint32_t inFlags = 0)
        : mType(inType)
        , mFlags(inFlags)
    {
    }

    norvik::utility::ImmutableString GetNodeType() const override
    {
        return norvik::utility::ImmutableString::CreateStatic(mType);
    }
    std::uint32_t CalculateInformativeFlags() const override { return mFlags; }
    MF::ITimeTransformRef GetTimeTransform() const override { return mTimeTransform; }
    void AddOwnPrefetchesForFrame(const MF::FrameTime& inFrameTime, const ML::CutlistRenderParams&,
                                  std::vector<ML::IRenderableNodePrefetchRef>&) override
    {
        mPrefetchedTimes.push_back(inFrameTime);
    }
    using ML::RenderableNodeCommonImpl::HashWithoutOperators;
    using ML::RenderableNodeCommonImpl::IsMutable;

    MF::ITimeTransformRef mTimeTransform;
    std::vector<MF::FrameTime> mPrefetchedTimes;

private:
    const char* mType;
    std::uint32_t mFlags;
};
using FakeNodeRef = TVK::InterfaceRef<FakeNode>;

// A node that can be shown: the same producer, still ranges and copyable stretches for all questions.
class FakeProducerNode final : public TVK::Extends<FakeNode, ML::IRenderableNodeProducerProvider>
{
public:
    using Extends::Extends;

    ML::IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                       const ML::CutlistRenderParams& inParams) override
    {
        mProducerTimes.push_back(inFrameTime);
        mProducerParams.push_back(inParams);
        return mProducer;
    }
    void GetStillRanges(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                        std::vector<MF::TimeRange>& ioRanges) override
    {
        mStillQuestions.push_back({inStart, inEnd});
        ioRanges.insert(ioRanges.end(), mStillRanges.begin(), mStillRanges.end());
    }
    void GetSmartRenderSegments(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                                const norviktypes::PixelFormat& inFormat, bool inIsPreview,
                                MF::SmartRenderSegments& ioSegments) override
    {
        mSmartQuestions.push_back({{inStart, inEnd}, inFormat, inIsPreview, ioSegments.size()});
        ioSegments.insert(mSmartSegments.begin(), mSmartSegments.end());
    }

    struct SmartQuestion
    {
        MF::TimeRange mRange;
        norviktypes::PixelFormat mFormat;
        bool mIsPreview;
        std::size_t mEntriesBefore;
    };

    ML::IRenderableNodeProducerRef mProducer;
    std::vector<MF::TimeRange> mStillRanges;
    MF::SmartRenderSegments mSmartSegments;

    std::vector<MF::FrameTime> mProducerTimes;
    std::vector<ML::CutlistRenderParams> mProducerParams;
    std::vector<MF::TimeRange> mStillQuestions;
    std::vector<SmartQuestion> mSmartQuestions;
};
using FakeProducerNodeRef = TVK::InterfaceRef<FakeProducerNode>;

// A frozen node; nodes of different types differ in their hashes.
inline FakeNodeRef MakeFrozenNode(const char* inType = "FakeNode", std::uint32_t inFlags = 0)
{
    FakeNodeRef node(new FakeNode(inType, inFlags));
    node->Finalize();
    return node;
}

// Frozen nodes as many as one likes: inNumber is in the hash.
inline FakeNodeRef MakeNumberedNode(std::uint32_t inNumber, std::uint32_t inFlags = 0)
{
    FakeNodeRef node(new FakeNode("NumberedNode", inFlags));
    const char digits[] = {
        static_cast<char>('0' + (inNumber >> 18 & 63)), static_cast<char>('0' + (inNumber >> 12 & 63)),
        static_cast<char>('0' + (inNumber >> 6 & 63)), static_cast<char>('0' + (inNumber & 63)), '\0'};
    node->SetCommonProperty(norvik::utility::ImmutableString::CreateStatic("Number"), digits, true);
    node->Finalize();
    return node;
}

} // namespace TestSupport
