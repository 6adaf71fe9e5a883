#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The one table of subcommands, arguments and options.
//
// The command line parser, --help, the man page and the shell completions are all read from it, so
// that none of them can know an option that another doesn't. Values are kept as the text that was
// typed; the commands turn them into numbers with OptionValues.h, which is where a wrong one is
// refused.
//
// Thread-safety: constant tables; an Options belongs to one thread.
namespace vrender
{

// Bits, so that a row can name several commands.
enum Command : std::uint32_t
{
    kCommand_None = 0,
    kCommand_Render = 1,
    kCommand_Frame = 2,
    kCommand_Thumbnails = 4,
    kCommand_ContactSheet = 8,
    kCommand_Info = 16,
    kCommand_Cache = 32,
    kCommand_Explain = 64,
    kCommand_Compare = 128,
    kCommand_Validate = 256,
    kCommand_Plugins = 512,
    kCommand_Inspect = 1024,
    kCommand_Pictures = 15,
    kCommand_Renders = 79, // which make pictures of an input
    kCommand_Media = 95,   // which open an input
    kCommand_UseService = kCommand_Renders | kCommand_Compare | kCommand_Inspect,
    kCommand_Documents =
        kCommand_Media | kCommand_Compare | kCommand_Validate | kCommand_Inspect, // which open timelines
    kCommand_All = 2047
};

// What was typed. An empty text is an option that wasn't given.
struct Options
{
    Command mCommand = kCommand_None;
    std::string mInput;
    std::string mOutput;
    std::string mOther;
    std::string mAction;

    std::string mTime;
    std::string mRange;
    std::string mRate;
    std::string mSize;
    std::string mPixelFormat;
    std::string mFormat;
    std::string mCodec;
    std::string mCrf;
    std::string mBitrate;
    std::vector<std::string> mEncoderOptions;
    std::string mQuality;
    std::string mStream;
    std::string mCount;
    std::string mEvery;
    std::string mColumns;
    std::string mProgress;
    std::string mProgressFormat;
    std::string mThreads;
    std::string mMemory;
    std::string mCpu;
    std::string mDiskCache;
    std::string mTrace;
    std::string mGenerate;
    std::string mField;
    std::string mSpeed;
    std::string mRateBy;
    std::string mRemovePulldown;
    std::string mPar;
    std::string mFit;
    std::string mAt;
    std::string mTimeline;
    std::string mOutOfRange;
    std::string mMediaKey;
    std::string mOnMissing;
    std::vector<std::string> mPathMappings;
    std::vector<std::string> mMediaFolders;
    std::string mMaxDiff;
    std::string mMinPSNR;
    bool mDeinterlace = false;
    bool mReverseDominance = false;
    bool mSwapFields = false;
    bool mRemoveFlicker = false;
    bool mInterlaceConsecutive = false;
    bool mBlend = false;
    bool mChain = false;
    bool mStrict = false;
    bool mAllowStateful = false;
    bool mSandboxPlugins = false;
    bool mOverwrite = false;
    bool mChecksum = false;
    bool mJson = false;
    bool mStats = false;
    bool mAgain = false;
    bool mHelp = false;
    bool mVersion = false;
};

// What a shell can offer for a value.
enum class ValueKind
{
    kText,
    kFile,
    kDirectory,
    kChoice // mChoices of the row
};

struct OptionRow
{
    const char* mName;       // without its dashes
    char mShort;             // 0: none
    const char* mValue;      // placeholder in help texts; null for a switch
    const char* mHelp;       // one or more sentences; the first one stands in the completions
    std::uint32_t mCommands; // kCommand_None: understood without a command
    ValueKind mKind;
    const char* mChoices;        // separated by blanks; null unless kChoice
    std::string Options::*mText; // exactly one of these three is set
    std::vector<std::string> Options::*mList;
    bool Options::*mSwitch;
    const char* mBare = nullptr; // the choice that is meant where none follows; null: one has to
};

struct ArgumentRow
{
    const char* mName;
    ValueKind mKind;
    const char* mHelp;
    std::string Options::*mText;
    const char* mChoices; // as in an OptionRow
    bool mIsOptional = false;
};

struct CommandRow
{
    Command mCommand;
    const char* mName;
    const char* mSummary;
    const char* mDescription;
    std::array<const ArgumentRow*, 2> mArguments; // null: no more
};

const std::vector<OptionRow>& OptionTable();
const std::vector<CommandRow>& CommandTable();

// The row of inCommand; null for kCommand_None.
const CommandRow* FindCommand(Command inCommand);

} // namespace vrender
