#pragma once

#include <exception>
#include <string>
#include <utility>

// What the tool tells its caller when it ends, and the exception that carries such an end.
//
// The numbers from 64 are those of sysexits.h, so that scripts and mail-style job runners know
// them; 130 and 143 are what a shell reports for a process that SIGINT or SIGTERM ended.
//
// Thread-safety: values only.
namespace vrender
{

enum class ExitCode : int
{
    kDone = 0,
    kFailed = 1,
    kDoneWithSubstitutes = 2, // whole output, but some frames show their neighbour
    kUsage = 64,              // the command line, or a range that the media doesn't have
    kBadData = 65,            // the input is there and isn't what it should be
    kNoInput = 66,            // the input isn't there or may not be read
    kCodecMissing = 69,       // no decoder or encoder of that name in the FFmpeg libraries
    kInternal = 70,
    kCannotCreate = 73, // the output may not be written, or is there already
    kIOError = 74,      // reading or writing broke off: full disk, closed pipe
    kTryAgain = 75,     // another process is in the way, or memory ran out
    kInterrupted = 130,
    kTerminated = 143
};

// An end with one line of text. The line names the file or option and the cause; the program's
// name is put before it where it is printed.
class ToolError : public std::exception
{
public:
    ToolError(ExitCode inCode, std::string inText) : mCode(inCode), mText(std::move(inText)) {}

    const char* what() const noexcept override { return mText.c_str(); }
    ExitCode Code() const noexcept { return mCode; }

private:
    ExitCode mCode;
    std::string mText;
};

} // namespace vrender
