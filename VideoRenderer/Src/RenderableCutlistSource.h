// A whole sequence as a source: its cutlists, rendered.
//
// The cutlists are taken once, at creation, so that a chain shows one state of the sequence while it lives.
//
// Thread-safety: safe; immutable.
#pragma once

#include "RenderableSources.h"
#include "TVK/Allocated.h"

namespace ML
{

class RenderableCutlistSource final : public TVK::Implements<RenderableCutlistSource, IRenderableSource>
{
public:
    static constexpr TVK::Guid kInterfaceID{"F0A62C4A-15FE-481A-9955-885B066E38D8"};

    RenderableCutlistSource(const MF::IRenderableCutlistProviderRef& inProvider,
                            const norviktypes::FrameRate& inFrameRate,
                            const norvik::utility::ImmutableString& inCutlistName);

    // Answers the class's own id with the object itself, beside the interfaces.
    std::int32_t QueryNoRef(const TVK::Guid& inID, void** outInterface) const override;

    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void CollectPrefetchItems(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                              std::vector<IRenderableNodePrefetchRef>& ioItems) override;
    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;
    void GetFrameRate(norviktypes::FrameRate& outRate) override;
    void GetFieldRate(norviktypes::FrameRate& outRate) override;

private:
    CutlistRenderParams ParamsOfRender(const MF::FrameTime& inTime,
                                       const CutlistRenderParams& inRenderParams) const;
    const MF::IRenderableCutlistRef& ChooseCutlist(const CutlistRenderParams& inRenderParams) const;

    const MF::IRenderableCutlistProviderRef mProvider;
    MF::IRenderableCutlistRef mFirstCutlist;
    MF::IRenderableCutlistRef mSecondCutlist;
    norviktypes::FrameRate mFrameRate = norviktypes::kFrameRate_Unset;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
};

} // namespace ML
