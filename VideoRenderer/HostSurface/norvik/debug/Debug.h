#pragma once

#include "Platform.h"
#include "norvik/utility/StringTypes.h"

#include <memory>

namespace norvik::debug
{

// One broken contract, as it was reported.
struct ContractReport
{
    UTF8String mCondition;
    UTF8String mFile;
    UTF8String mFunction;
    int mLine = 0;
};

// Told of each broken contract; its answer is the answer of BreakAfterContractDialog.
using ContractDialogHook = bool (*)(const ContractReport& inReport);

// Says on the error stream and to the hook that a contract was broken, and keeps the last reports. True: the
// caller breaks into the debugger if there is one. Without a hook: false. The texts are those of the check,
// copied. Never throws.
ML_EXPORT bool BreakAfterContractDialog(const char* inCondition, const char* inFile, const char* inFunction,
                                        int inLine);

// Null removes the hook. It is called with no lock held.
ML_EXPORT void SetContractDialogHook(ContractDialogHook inHook);

// The n-th report counted from the latest (0); false if there are not so many. The last 32 are kept.
ML_EXPORT bool GetContractReport(size_t inIndexFromLatest, ContractReport& outReport);
ML_EXPORT size_t ContractReportCount();
ML_EXPORT void ClearContractReports();

// Whether a debugger traces this process at this moment.
ML_EXPORT bool IsDebuggerAttached();

// Named settings, as text. An entry may be given on the command line (SetEntry), in the environment or in a
// settings file; the earlier in this list wins. The environment variable of an entry is VR_SETTING_ and its
// key with every character other than letters and digits written '_': VR_SETTING_ML_EnableDiskCache.
//
// Thread-safety: safe.
class DebugDatabase
{
public:
    ML_EXPORT static DebugDatabase& Instance();

    // The text of an entry, or inDefault where nobody gave one.
    ML_EXPORT UTF8String GetEntry(const char* inKey, const UTF8String& inDefault) const;

    // True only for the exact text "true"; inDefault where nobody gave one.
    ML_EXPORT bool GetBoolEntry(const char* inKey, bool inDefault = false) const;

    // Gives an entry the rank of the command line.
    ML_EXPORT void SetEntry(const char* inKey, const UTF8String& inText);

    // Takes back what SetEntry gave.
    ML_EXPORT void ClearEntry(const char* inKey);

    // Reads lines of key=value, blanks around both ignored, '#' starting a comment line. Replaces what an
    // earlier file said. False, and nothing changed, if the file can't be read or a line has no '='; then
    // outError names file, line and cause.
    ML_EXPORT bool LoadFile(const UTF8String& inPath, UTF8String& outError);

    // Takes the environment's entries afresh; they are first read when the database is made.
    ML_EXPORT void ReadEnvironment();

    DebugDatabase(const DebugDatabase&) = delete;
    DebugDatabase& operator=(const DebugDatabase&) = delete;

private:
    DebugDatabase();
    ~DebugDatabase();

    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

// Trace channels. A channel shows texts up to its level; 0, the level of a channel that nobody set, shows
// none. Channel names are compared exactly, trailing blanks included.
ML_EXPORT bool TraceEnabled(const char* inChannel, int inLevel);

// Hands inText to the log if the channel is enabled at inLevel.
ML_EXPORT void Trace(const char* inChannel, int inLevel, const UTF8String& inText);

// Rises whenever a channel's level changes, so that callers may keep the answer of TraceEnabled until then.
ML_EXPORT uint32_t TraceChangeCount();

// Sets a channel's level; 0 or below turns it off.
ML_EXPORT void SetTraceLevel(const char* inChannel, int inLevel);

} // namespace norvik::debug

// Thread-safety: all functions are safe.
