#include "ReferenceHost/Foundation/LogOutput.h"
#include "TVK/ContractError.h"
#include "TVK/Exceptions.h"
#include "Tests/Support/Paths.h"
#include "norvik/config/Contract.h"
#include "norvik/debug/Debug.h"
#include "norvik/logging/Logging.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace
{

using norvik::UTF8String;
using norvik::debug::ContractReport;
using norvik::debug::DebugDatabase;

TEST(Exceptions, SayTheirTexts)
{
    EXPECT_STREQ(TVK::NullInterfaceException().what(), "A NULL interface pointer has been dereferenced.");
    EXPECT_STREQ(TVK::InterfaceNotFoundException().what(),
                 "The requested interface has not been registered.");
    EXPECT_STREQ(
        TVK::IllegalComparisonException().what(),
        "A comparison of two refs has failed because we are unable to convert one of them to TVKUnknown.");
    EXPECT_THROW(throw TVK::NullInterfaceException(), TVK::Exception);
    EXPECT_THROW(throw TVK::IllegalComparisonException(), std::exception);
}

TEST(Contract, ErrorCarriesLevelTextAndReplacements)
{
    try
    {
        norvik::config::ThrowError(3, "$$$/some/Key=Some text", {"one", "two"});
        FAIL() << "it must throw";
    }
    catch (const TVK::Exception& error)
    {
        EXPECT_STREQ(error.what(), "$$$/some/Key=Some text");
        const auto& full = dynamic_cast<const norvik::config::Error&>(error);
        EXPECT_EQ(full.Level(), 3);
        EXPECT_EQ(full.Replacements(), (std::vector<std::string>{"one", "two"}));
    }
}

void CheckKey(bool inHasKey)
{
    ML_INPUT_CONTRACT(inHasKey, "mKey != TVK::Guid()", "Src/SomeFile", "ML::SomeClass::SomeFunction", 17);
}

TEST(Contract, BrokenOneIsReportedThenThrown)
{
    norvik::debug::ClearContractReports();
    EXPECT_NO_THROW(CheckKey(true));
    EXPECT_EQ(norvik::debug::ContractReportCount(), 0u);
    try
    {
        CheckKey(false);
        FAIL() << "it must throw";
    }
    catch (const norvik::config::Error& error)
    {
        EXPECT_STREQ(error.what(),
                     "$$$/norvik/utility/Error/Contract/InputContractViolation=An input contract "
                     "violation has occurred!");
    }
    ContractReport report;
    ASSERT_TRUE(norvik::debug::GetContractReport(0, report));
    EXPECT_EQ(report.mCondition, "mKey != TVK::Guid()");
    EXPECT_EQ(report.mFile, "Src/SomeFile");
    EXPECT_EQ(report.mFunction, "ML::SomeClass::SomeFunction");
    EXPECT_EQ(report.mLine, 17);
}

TEST(Contract, BrokenOutputHasItsOwnText)
{
    try
    {
        ML_OUTPUT_CONTRACT(1 > 2, "1 > 2", "Src/SomeFile", "ML::SomeFunction", 1);
        FAIL() << "it must throw";
    }
    catch (const norvik::config::Error& error)
    {
        EXPECT_STREQ(error.what(),
                     "$$$/norvik/utility/Error/Contract/OutputContractViolation=An output contract "
                     "violation has occurred!");
    }
}

int sHookCalls = 0;

TEST(Contract, HookAnswersForTheDialog)
{
    sHookCalls = 0;
    EXPECT_FALSE(norvik::debug::BreakAfterContractDialog("c", "f", "g", 1));
    norvik::debug::SetContractDialogHook(
        [](const ContractReport& inReport)
        {
            sHookCalls += inReport.mCondition == "c" && inReport.mLine == 2 ? 1 : 0;
            return true;
        });
    EXPECT_TRUE(norvik::debug::BreakAfterContractDialog("c", "f", "g", 2));
    if (!norvik::debug::IsDebuggerAttached())
    {
        EXPECT_THROW(CheckKey(false), norvik::config::Error) << "without a debugger nothing breaks";
    }
    norvik::debug::SetContractDialogHook(nullptr);
    EXPECT_EQ(sHookCalls, 1);
}

TEST(Contract, KeepsTheLatestReports)
{
    norvik::debug::ClearContractReports();
    for (int line = 0; line < 100; ++line)
    {
        norvik::debug::BreakAfterContractDialog(nullptr, nullptr, nullptr, line);
    }
    EXPECT_EQ(norvik::debug::ContractReportCount(), 32u);
    ContractReport report;
    ASSERT_TRUE(norvik::debug::GetContractReport(0, report));
    EXPECT_EQ(report.mLine, 99);
    ASSERT_TRUE(norvik::debug::GetContractReport(31, report));
    EXPECT_EQ(report.mLine, 68);
    EXPECT_FALSE(norvik::debug::GetContractReport(32, report));
    norvik::debug::ClearContractReports();
}

class Settings : public testing::Test
{
protected:
    ~Settings() override
    {
        mDatabase.ClearEntry("ML.EnableDiskCache");
        unsetenv("VR_SETTING_ML_EnableDiskCache");
        mDatabase.ReadEnvironment();
        Write("");
        UTF8String error;
        mDatabase.LoadFile(mPath, error);
    }

    void Write(const char* inText) { std::ofstream(mPath.c_str()) << inText; }

    UTF8String Get() { return mDatabase.GetEntry("ML.EnableDiskCache", "default"); }

    DebugDatabase& mDatabase = DebugDatabase::Instance();
    const TestSupport::ScratchFolder mFolder;
    const UTF8String mPath{mFolder.File("settings.txt")};
    UTF8String mError;
};

TEST_F(Settings, CommandLineBeatsEnvironmentBeatsFileBeatsDefault)
{
    EXPECT_EQ(Get(), "default");
    Write("# settings\n\n ML.EnableDiskCache = from file \r\nOther=a=b\n");
    ASSERT_TRUE(mDatabase.LoadFile(mPath, mError)) << mError;
    EXPECT_EQ(Get(), "from file");
    EXPECT_EQ(mDatabase.GetEntry("Other", ""), "a=b");
    setenv("VR_SETTING_ML_EnableDiskCache", "from environment", 1);
    mDatabase.ReadEnvironment();
    EXPECT_EQ(Get(), "from environment");
    mDatabase.SetEntry("ML.EnableDiskCache", "from command line");
    EXPECT_EQ(Get(), "from command line");
    mDatabase.ClearEntry("ML.EnableDiskCache");
    EXPECT_EQ(Get(), "from environment");
}

TEST_F(Settings, OnlyTheExactTextTrueIsTrue)
{
    EXPECT_FALSE(mDatabase.GetBoolEntry("ML.EnableDiskCache"));
    EXPECT_TRUE(mDatabase.GetBoolEntry("ML.EnableDiskCache", true));
    for (const char* text : {"True", "1", "yes", "true ", ""})
    {
        mDatabase.SetEntry("ML.EnableDiskCache", text);
        EXPECT_FALSE(mDatabase.GetBoolEntry("ML.EnableDiskCache", true)) << text;
    }
    mDatabase.SetEntry("ML.EnableDiskCache", "true");
    EXPECT_TRUE(mDatabase.GetBoolEntry("ML.EnableDiskCache"));
}

TEST_F(Settings, BadFileChangesNothingAndNamesTheLine)
{
    Write("ML.EnableDiskCache=good\n");
    ASSERT_TRUE(mDatabase.LoadFile(mPath, mError));
    Write("ML.EnableDiskCache=bad\n\nno equals sign\n");
    EXPECT_FALSE(mDatabase.LoadFile(mPath, mError));
    EXPECT_EQ(mError, mPath + ":3: expected key=value");
    EXPECT_EQ(Get(), "good");
    EXPECT_FALSE(mDatabase.LoadFile("/nowhere/at/all", mError));
    EXPECT_EQ(mError, "/nowhere/at/all: No such file or directory");
}

class Logging : public testing::Test
{
protected:
    Logging()
    {
        norvik::logging::SetLogSink([this](const boost::shared_ptr<norvik::logging::LogMessage>& inMessage)
                                    { mRecords.push_back(inMessage); },
                                    true);
    }

    ~Logging() override
    {
        norvik::logging::SetLogSink({});
        norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Warning);
    }

    std::vector<boost::shared_ptr<norvik::logging::LogMessage>> mRecords;
};

TEST_F(Logging, ThresholdDecidesWhatIsShown)
{
    norvik::logging::LogText(norvik::logging::kLogLevel_Notice, "channel", "quiet");
    norvik::logging::LogText(norvik::logging::kLogLevel_Warning, "channel", "loud");
    norvik::logging::Log(nullptr);
    norvik::logging::Log(boost::make_shared<norvik::logging::LogMessage>()); // a notice by default
    ASSERT_EQ(mRecords.size(), 1u);
    EXPECT_EQ(mRecords[0]->mText, "loud");
    EXPECT_TRUE(norvik::logging::LoggingIsEnabled());
    norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Off);
    norvik::logging::LogText(norvik::logging::kLogLevel_Error, "channel", "off");
    EXPECT_FALSE(norvik::logging::LoggingIsEnabled());
    EXPECT_EQ(mRecords.size(), 1u);
}

TEST_F(Logging, SinkMayLogItself)
{
    norvik::logging::SetLogSink(
        [this](const boost::shared_ptr<norvik::logging::LogMessage>& inMessage)
        {
            mRecords.push_back(inMessage);
            if (mRecords.size() < 3)
            {
                norvik::logging::LogText(norvik::logging::kLogLevel_Error, "inner", "again");
            }
        },
        true);
    norvik::logging::LogText(norvik::logging::kLogLevel_Error, "outer", "first");
    EXPECT_EQ(mRecords.size(), 3u);
}

TEST_F(Logging, RecordBecomesOneLine)
{
    norvik::logging::LogMessage message;
    message.mFunction = "ML::Somewhere";
    message.mChannel = norvik::utility::ImmutableString::CreateStatic("norvik.StructuredLogging");
    message.mText = "We have waited";
    message.mFields.emplace_back("media", norvik::WString(u"caf\u00E9.mov"));
    message.mFields.emplace_back("frame", int64_t{-5});
    message.mFields.emplace_back("ratio", 0.5);
    message.mFields.emplace_back("odd", std::vector<int>());
    const std::string line = norvik::logging::FormatRecord(message);
    EXPECT_EQ(line.substr(0, line.find("odd")),
              "[norvik.StructuredLogging] We have waited {media=caf\xC3\xA9.mov, frame=-5, ratio=0.5, ");
    EXPECT_NE(line.find("odd=<"), std::string::npos);
    EXPECT_EQ(line.substr(line.size() - 17), "} (ML::Somewhere)");
}

TEST_F(Logging, TraceChannelShowsUpToItsLevelWhateverTheThreshold)
{
    using norvik::debug::Trace;
    using norvik::debug::TraceEnabled;
    const char* const channel = "ML.PluginVideoRenderer.OnRenderError ";
    EXPECT_FALSE(TraceEnabled(channel, 1));
    const uint32_t before = norvik::debug::TraceChangeCount();
    norvik::debug::SetTraceLevel(channel, 3);
    EXPECT_NE(norvik::debug::TraceChangeCount(), before);
    EXPECT_TRUE(TraceEnabled(channel, 1));
    EXPECT_TRUE(TraceEnabled(channel, 3));
    EXPECT_FALSE(TraceEnabled(channel, 4));
    EXPECT_FALSE(TraceEnabled("ML.PluginVideoRenderer.OnRenderError", 1)) << "the blank belongs to the name";
    Trace(channel, 4, "too deep");
    Trace(channel, 2, "shown");
    ASSERT_EQ(mRecords.size(), 1u);
    EXPECT_EQ(mRecords[0]->mText, "shown");
    norvik::debug::SetTraceLevel(channel, 0);
    EXPECT_FALSE(TraceEnabled(channel, 1));
}

} // namespace
