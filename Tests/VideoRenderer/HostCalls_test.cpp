#include "Tests/VideoRenderer/HostCalls.h"

#include "BE/Backend.h"
#include "IR/ImageRoutines.h"
#include "RenderableSources.h"
#include "TVK/Exceptions.h"
#include "TVK/Stations.h"
#include "Tests/Support/FrameTools.h"
#include "VF/PNG.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <new>
#include <utility>

namespace TestSupport::HostCalls
{

namespace
{

struct Run
{
    bool mIsOn = false;
    bool mHasFailed = false;
    std::size_t mPosition = 0;
    Fault mFault = Fault::kNone;
    std::vector<std::string> mCalls;
    std::map<std::string, int> mCounts;
};

std::atomic<std::int32_t> sPriorityOfLastInsertion{0};

Run& TheRun()
{
    static auto* const sRun = new Run;
    return *sRun;
}

unsigned AnswerOf(Fault inFault)
{
    switch (inFault)
    {
    case Fault::kStatus: return kByStatus;
    case Fault::kNothing: return kByResult;
    case Fault::kWrong: return kByFrame;
    default: return ~0U;
    }
}

void Throw(Fault inFault)
{
    switch (inFault)
    {
    case Fault::kException: throw TVK::Exception();
    case Fault::kRequestException: throw ML::RenderRequestException(kStatusOfException);
    case Fault::kNoMemory: throw std::bad_alloc();
    case Fault::kInt: throw 7;
    default: break;
    }
}

} // namespace

void Begin(std::size_t inPosition, Fault inFault)
{
    TheRun() = Run();
    TheRun().mPosition = inPosition;
    TheRun().mFault = inFault;
    TheRun().mIsOn = true;
}

std::vector<std::string> End()
{
    TheRun().mIsOn = false;
    return TheRun().mCalls;
}

bool HasFailed()
{
    return TheRun().mHasFailed;
}

std::int32_t PriorityOfLastInsertion()
{
    return sPriorityOfLastInsertion;
}

Aside::Aside() : mWasOn(std::exchange(TheRun().mIsOn, false)) {}

Aside::~Aside()
{
    TheRun().mIsOn = mWasOn;
}

Fault Make(const char* inName, unsigned inAnswers)
{
    Run& run = TheRun();
    if (!run.mIsOn)
    {
        return Fault::kNone;
    }
    run.mCalls.push_back(std::string(inName) + " " + std::to_string(++run.mCounts[inName]));
    if (run.mCalls.size() != run.mPosition + 1 || (AnswerOf(run.mFault) & (inAnswers | ~7U)) == 0)
    {
        return Fault::kNone;
    }
    run.mHasFailed = true;
    Throw(run.mFault);
    return run.mFault;
}

} // namespace TestSupport::HostCalls

// ---- between library and host: the program's own functions come before those of the host's library ----

namespace
{

using namespace TestSupport::HostCalls;

template <class Function>
Function* HostFunction(const char* inName)
{
    void* const address = dlsym(RTLD_NEXT, inName);
    if (address == nullptr)
    {
        std::abort();
    }
    return reinterpret_cast<Function*>(address);
}

} // namespace

// The host's function of the same type, by its linker name.
#define HOST_FUNCTION(inFunction, inName) \
    static auto* const sHost = HostFunction<std::remove_reference_t<decltype(inFunction)>>(inName)

namespace BE
{

TVK::TVKUnknownRef GetBackend()
{
    HOST_FUNCTION(GetBackend, "_ZN2BE10GetBackendEv");
    return Make("GetBackend", kByResult) == Fault::kNothing ? TVK::TVKUnknownRef() : sHost();
}

} // namespace BE

namespace VF
{

std::int32_t CreateVideoFrame(MF::IVideoFrameRef& outFrame, const norviktypes::PixelFormat& inFormat,
                              std::uint32_t inWidth, std::uint32_t inHeight,
                              const norviktypes::PixelAspectRatio& inRatio, bool inClear, bool inClearAlpha)
{
    HOST_FUNCTION(CreateVideoFrame,
                  "_ZN2VF16CreateVideoFrameERN3TVK12InterfaceRefIN2MF11IVideoFrameEEERKN11norv"
                  "iktypes11PixelFormatEjjRKNS6_16PixelAspectRatioEbb");
    switch (Make("CreateVideoFrame", kByStatus | kByResult | kByFrame))
    {
    case Fault::kStatus: return kStatusOfFault;
    case Fault::kNothing: outFrame.reset(); return 0;
    case Fault::kWrong:
        return sHost(outFrame, inFormat, inWidth / 2, inHeight / 2, inRatio, inClear, inClearAlpha);
    default: return sHost(outFrame, inFormat, inWidth, inHeight, inRatio, inClear, inClearAlpha);
    }
}

MF::IVideoFrameRef MakeWriteableVideoFrame(const MF::IVideoFrameRef& inFrame,
                                           norviktypes::RenderQuality inQuality)
{
    HOST_FUNCTION(
        MakeWriteableVideoFrame,
        "_ZN2VF23MakeWriteableVideoFrameERKN3TVK12InterfaceRefIN2MF11IVideoFrameEEEN11norviktypes13Rend"
        "erQualityE");
    return Make("MakeWriteableVideoFrame", kByResult) == Fault::kNothing ? MF::IVideoFrameRef()
                                                                         : sHost(inFrame, inQuality);
}

std::shared_ptr<const norvik::utility::RecycledMemory> CompressPNG(const MF::IVideoFrameRef& inFrame)
{
    HOST_FUNCTION(CompressPNG, "_ZN2VF11CompressPNGERKN3TVK12InterfaceRefIN2MF11IVideoFrameEEE");
    if (Make("CompressPNG", kByResult) == Fault::kNothing)
    {
        return nullptr;
    }
    return sHost(inFrame);
}

MF::IVideoFrameRef DecompressPNG(const std::shared_ptr<const norvik::utility::RecycledMemory>& inBytes)
{
    HOST_FUNCTION(DecompressPNG,
                  "_ZN2VF13DecompressPNGERKSt10shared_ptrIKN6norvik7utility14RecycledMemoryEE");
    switch (Make("DecompressPNG", kByResult | kByFrame))
    {
    case Fault::kNothing: return {};
    case Fault::kWrong: return TestSupport::NewFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 3, 3);
    default: return sHost(inBytes);
    }
}

namespace VideoFrameManipulators
{

std::int32_t CopyFrame(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                       norviktypes::RenderQuality inQuality)
{
    HOST_FUNCTION(CopyFrame,
                  "_ZN2VF22VideoFrameManipulators9CopyFrameERKN3TVK12InterfaceRefIN2MF11IVideoFrameEEE"
                  "S7_N11norviktypes13RenderQualityE");
    return Make("CopyFrame", kByStatus) == Fault::kStatus ? kStatusOfFault
                                                          : sHost(inSource, inTarget, inQuality);
}

} // namespace VideoFrameManipulators

namespace SharedVideoFrameCache
{

MF::IVideoFrameRef RetrieveFromCache(const TVK::Guid& inKey)
{
    HOST_FUNCTION(RetrieveFromCache,
                  "_ZN2VF21SharedVideoFrameCache17RetrieveFromCacheERKN6norvik7utility4GuidE");
    return Make("RetrieveFromCache", kByResult) == Fault::kNothing ? MF::IVideoFrameRef() : sHost(inKey);
}

void InsertIntoCache(const MF::IVideoFrameRef& inFrame, const TVK::Guid& inKey, std::int32_t inPriority)
{
    HOST_FUNCTION(InsertIntoCache,
                  "_ZN2VF21SharedVideoFrameCache15InsertIntoCacheERKN3TVK12InterfaceRefIN2MF11IVi"
                  "deoFrameEEERKN6norvik7utility4GuidEi");
    Make("InsertIntoCache", 0);
    TestSupport::HostCalls::sPriorityOfLastInsertion = inPriority;
    sHost(inFrame, inKey, inPriority);
}

void RegisterDependencyOnFrame(const TVK::Guid& inKey)
{
    HOST_FUNCTION(RegisterDependencyOnFrame,
                  "_ZN2VF21SharedVideoFrameCache25RegisterDependencyOnFrameERKN6norvik7utility4GuidE");
    Make("RegisterDependencyOnFrame", 0);
    sHost(inKey);
}

void UnregisterDependencyOnFrame(const TVK::Guid& inKey)
{
    HOST_FUNCTION(UnregisterDependencyOnFrame,
                  "_ZN2VF21SharedVideoFrameCache27UnregisterDependencyOnFrameERKN6norvik7utility4GuidE");
    sHost(inKey); // what fails afterwards has been done
    Make("UnregisterDependencyOnFrame", 0);
}

} // namespace SharedVideoFrameCache
} // namespace VF

namespace TVK::StationUtils
{

void PostMessageToUIThread(const norvik::utility::ImmutableString& inStationID, const MessageRef& inMessage,
                           std::uint32_t inFlags)
{
    HOST_FUNCTION(
        PostMessageToUIThread,
        "_ZN3TVK12StationUtils21PostMessageToUIThreadERKN6norvik7utility15ImmutableStringERKNS_12Interfac"
        "eRefINS_7MessageEEEj");
    Make("PostMessageToUIThread", 0);
    sHost(inStationID, inMessage, inFlags);
}

} // namespace TVK::StationUtils

int32_t IR_CompositeToBlack(const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat,
                            void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
                            int32_t inWidth, int32_t inHeight, float inOpacity, int32_t inQuality)
{
    HOST_FUNCTION(IR_CompositeToBlack, "IR_CompositeToBlack");
    return Make("IR_CompositeToBlack", kByStatus) == Fault::kStatus
               ? kStatusOfFault
               : sHost(inSource, inSourceRowBytes, inSourceFormat, outTarget, inTargetRowBytes,
                       inTargetFormat, inWidth, inHeight, inOpacity, inQuality);
}

int32_t IR_Convert(const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat, void* outTarget,
                   int32_t inTargetRowBytes, uint32_t inTargetFormat, int32_t inWidth, int32_t inHeight,
                   int32_t inQuality)
{
    HOST_FUNCTION(IR_Convert, "IR_Convert");
    return Make("IR_Convert", kByStatus) == Fault::kStatus
               ? kStatusOfFault
               : sHost(inSource, inSourceRowBytes, inSourceFormat, outTarget, inTargetRowBytes,
                       inTargetFormat, inWidth, inHeight, inQuality);
}

#undef HOST_FUNCTION

namespace
{

using Names = std::vector<std::string>;

TEST(HostCalls, OneCallOfARunFailsAsAsked)
{
    for (const Fault fault : kFaults)
    {
        Begin(1, fault);
        EXPECT_EQ(Make("a", kByStatus), Fault::kNone);
        Fault answer = Fault::kNone;
        bool hasThrown = false;
        try
        {
            answer = Make("a", kByStatus | kByResult);
        }
        catch (...)
        {
            hasThrown = true;
        }
        EXPECT_EQ(Make("b", 0), Fault::kNone);
        EXPECT_EQ(End(), (Names{"a 1", "a 2", "b 1"}));
        EXPECT_EQ(hasThrown, fault > Fault::kWrong);
        EXPECT_EQ(HasFailed(), fault != Fault::kWrong) << "it gives no frame";
        EXPECT_EQ(answer, fault == Fault::kStatus || fault == Fault::kNothing ? fault : Fault::kNone);
    }
}

TEST(HostCalls, FunctionsOfTheHostAreStoodBefore)
{
    Begin(1, Fault::kStatus);
    const TVK::Guid key(1, 77);
    EXPECT_FALSE(VF::SharedVideoFrameCache::RetrieveFromCache(key));
    MF::IVideoFrameRef frame;
    const norviktypes::PixelAspectRatio square;
    EXPECT_EQ(VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, 4, 4, square, true, true),
              kStatusOfFault);
    EXPECT_EQ(VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, 4, 4, square, true, true),
              0);
    EXPECT_TRUE(frame);
    EXPECT_EQ(End(), (Names{"RetrieveFromCache 1", "CreateVideoFrame 1", "CreateVideoFrame 2"}));
}

} // namespace
