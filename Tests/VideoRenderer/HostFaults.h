// Every call into the host that a render makes fails in turn, in every way that it can.
//
// A scenario renders one frame for the victim while others wait for theirs. It is run once for each of its calls
// and each way to fail; what became of the victim is compared with the scenario's table. Whatever failed: the
// victim hears of it once, or the call that asked has thrown; the others get their frames; a hundred more frames
// come right; and nothing is left anywhere.
//
// Thread-safety: one thread.
#pragma once

#include "Tests/VideoRenderer/HostFakes.h"
#include "Tests/VideoRenderer/QueueTests.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace TestSupport
{

struct Victim
{
    explicit Victim(std::uint64_t inID)
        : mStream(new HostStream(inID))
        , mNode(new HostNode(inID, mStream))
        , mClient(new HostClient)
    {
    }

    HostStreamRef mStream;
    HostNodeRef mNode;
    TVK::InterfaceRef<HostSequence> mSequence; // of the node, once it is asked
    HostClientRef mClient;
    ML::IRenderFrameRef mRenderFrame;
    ML::IRenderFrame::Formats mFormats{norviktypes::kPixelFormat_BGRA_4444_8u};
    std::uint32_t mPriority = 1000;
    std::uint32_t mID = 0;
    std::string mThrown; // by the call that asked
};

class HostFaults : public QueueTest
{
protected:
    HostFaults();
    ~HostFaults() override;

    using Scenario = std::function<void(Victim&)>;
    // inExpected: what becomes of the victim when nothing fails; then, for each call, what becomes of it for each
    // way to fail: by a status, with nothing, with a wrong frame, by TVK::Exception, RenderRequestException,
    // std::bad_alloc and an int. "-": the call can't fail in that way. "ok", "other" (a frame of another size or
    // format), "failed", "memory", "own" (status of the exception), "status" (of the call), "unread", "none" and
    // "cancelled" are what it is told; "late": not before reads were waited for long enough, or the next poll.
    // "thrown" and "refused" (out of memory) are the answer of the call that asked, and then it's told nothing;
    // "+thrown": the call that told, or cancelled, passed the exception on.
    void Check(const Scenario& inScenario, const std::string& inExpected);

    void SettleAll();
    // Until reads are no longer waited for.
    void OutwaitReads();
    // What comes before is prepared, and doesn't fail.
    void BeginRun() const { HostCalls::Begin(mPosition, mFault); }
    void Ask(Victim& ioVictim, const std::function<void()>& inCall) const;
    void Render(Victim& ioVictim);

    std::shared_ptr<HostDataCache> mDataCache;

private:
    std::string Run(const Scenario& inScenario, std::size_t inPosition, HostCalls::Fault inFault,
                    std::vector<std::string>& outCalls);
    static std::string Outcome(const Victim& inVictim);
    void RenderMore();

    std::uint64_t mRuns = 0;
    std::size_t mPosition = 0;
    HostCalls::Fault mFault = HostCalls::Fault::kNone;
    const HostStreamRef mHealthyStream{new HostStream(1)};
    TVK::InterfaceRef<HostSequence> mHealthy;
};

} // namespace TestSupport
