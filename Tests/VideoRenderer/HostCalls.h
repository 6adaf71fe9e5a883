// Calls that the library makes into its host, and the ways in which each of them may fail.
//
// Fakes of host objects announce each call by Make. While a run is on, calls are counted, and the one whose
// turn it is fails in the way that was asked for. The host's own functions (frames, their cache, image routines,
// messages) are announced as well, in the test programs that link HostCalls_test.cpp: it stands between library
// and host.
//
// Thread-safety: one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace TestSupport::HostCalls
{

enum class Fault
{
    kNone,
    kStatus,           // a negative status
    kNothing,          // success, and nothing
    kWrong,            // success, and a frame of another size or format
    kException,        // TVK::Exception
    kRequestException, // ML::RenderRequestException
    kNoMemory,         // std::bad_alloc
    kInt               // something that is no exception
};
inline constexpr Fault kFaults[] = {Fault::kStatus,    Fault::kNothing,          Fault::kWrong,
                                    Fault::kException, Fault::kRequestException, Fault::kNoMemory,
                                    Fault::kInt};

// What a call answers by; the others of the first three faults don't exist for it.
inline constexpr unsigned kByStatus = 1;
inline constexpr unsigned kByResult = 2;
inline constexpr unsigned kByFrame = 4;

inline constexpr int kStatusOfFault = -71;
inline constexpr int kStatusOfException = -72;

// Begins a run in which call inPosition (from 0) fails; a position beyond the last lets all of them succeed.
void Begin(std::size_t inPosition, Fault inFault);
// Ends it. The calls of the run, "name 2" for the second of a name.
std::vector<std::string> End();
// Whether the call whose turn it was could fail in that way.
bool HasFailed();

// The importance that the last frame was given on its way into the cache, whether a run is on or not.
std::int32_t PriorityOfLastInsertion();

// While it lives, what a fake itself calls is no call of the library.
class Aside
{
public:
    Aside();
    ~Aside();
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;

private:
    const bool mWasOn;
};

// By a fake, at the start of a call. Throws, or answers by which of the first three ways to fail.
Fault Make(const char* inName, unsigned inAnswers);

} // namespace TestSupport::HostCalls
