#include "Applications/vrender/CommandLine.h"

#include "Applications/vrender/Documentation.h"
#include "Applications/vrender/ExitCodes.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>

using namespace vrender;

namespace
{

Options Parse(std::vector<const char*> inWords)
{
    inWords.insert(inWords.begin(), "vrender");
    return ParseCommandLine(static_cast<int>(inWords.size()), inWords.data());
}

std::string Refusal(const std::vector<const char*>& inWords)
{
    try
    {
        Parse(inWords);
    }
    catch (const ToolError& error)
    {
        EXPECT_EQ(error.Code(), ExitCode::kUsage);
        return error.what();
    }
    return std::string();
}

// Whether inName stands in inText as a word: --time is none of --timeline's.
bool HasOption(const std::string& inText, const std::string& inName)
{
    for (std::size_t at = inText.find(inName); at != std::string::npos; at = inText.find(inName, at + 1))
    {
        const std::size_t end = at + inName.size();
        const bool goesOn =
            end < inText.size() &&
            (std::islower(static_cast<unsigned char>(inText[end])) != 0 || inText[end] == '-');
        if (!goesOn)
        {
            return true;
        }
    }
    return false;
}

} // namespace

TEST(CommandLine, ReadsCommandArgumentsAndOptions)
{
    const Options options = Parse({"render", "in.mov", "--range", "0:10", "-o", "preset=fast", "-o",
                                   "tune=film", "out.mp4", "--overwrite", "--threads=2"});
    EXPECT_EQ(options.mCommand, kCommand_Render);
    EXPECT_EQ(options.mInput, "in.mov");
    EXPECT_EQ(options.mOutput, "out.mp4");
    EXPECT_EQ(options.mRange, "0:10");
    EXPECT_EQ(options.mThreads, "2");
    EXPECT_EQ(options.mEncoderOptions, (std::vector<std::string>{"preset=fast", "tune=film"}));
    EXPECT_TRUE(options.mOverwrite);
}

TEST(CommandLine, AListOptionLeavesTheNextWordAlone)
{
    const Options options = Parse({"render", "-o", "a=b", "in.mov", "out.mp4"});
    EXPECT_EQ(options.mInput, "in.mov");
    EXPECT_EQ(options.mOutput, "out.mp4");
}

TEST(CommandLine, ADashIsAnOutputAndADoubleDashEndsOptions)
{
    EXPECT_EQ(Parse({"render", "in.mov", "-"}).mOutput, "-");
    EXPECT_EQ(Parse({"render", "--", "-in.mov", "--out.mp4"}).mInput, "-in.mov");
}

TEST(CommandLine, EveryOptionOfTheTableIsUnderstoodByItsCommandsAndNoOther)
{
    for (const CommandRow& command : CommandTable())
    {
        for (const OptionRow& option : OptionTable())
        {
            const std::string name = std::string("--") + option.mName;
            const ArgumentRow& first = *command.mArguments[0];
            const std::string word =
                first.mChoices == nullptr
                    ? "in"
                    : std::string(first.mChoices).substr(0, std::string(first.mChoices).find(' '));
            std::vector<const char*> words = {command.mName, word.c_str(), "out", name.c_str()};
            std::string choice = option.mChoices == nullptr ? "1" : option.mChoices;
            choice = choice.substr(0, choice.find(' '));
            if (option.mValue != nullptr)
            {
                words.push_back(choice.c_str());
            }
            if (command.mArguments[1] == nullptr)
            {
                words.erase(words.begin() + 2);
            }
            const bool belongs = (option.mCommands & command.mCommand) != 0;
            EXPECT_EQ(Refusal(words).empty(), belongs)
                << command.mName << " " << name << ": " << Refusal(words);
        }
    }
}

TEST(CommandLine, MistakesAreToldInOneLineThatNamesTheWord)
{
    EXPECT_NE(Refusal({"render", "in", "out", "--colour"}).find("--colour"), std::string::npos);
    EXPECT_NE(Refusal({"render", "in"}), "");
    EXPECT_NE(Refusal({"render", "in", "out", "more"}).find("more"), std::string::npos);
    EXPECT_NE(Refusal({"paint"}).find("paint"), std::string::npos);
    EXPECT_NE(Refusal({}).find("command is required"), std::string::npos);
    EXPECT_NE(Refusal({"render", "in", "out", "--quality", "superb"}).find("superb"), std::string::npos);
    EXPECT_NE(Refusal({"render", "", "out"}).find("empty"), std::string::npos);
    EXPECT_EQ(Refusal({"render", "in", "out", "--colour"}).find('\n'), std::string::npos);
}

TEST(CommandLine, HelpIsFoundOnALineThatIsNotComplete)
{
    EXPECT_TRUE(Parse({"--help"}).mHelp);
    EXPECT_TRUE(Parse({"render", "-h"}).mHelp);
    EXPECT_EQ(Parse({"render", "-h"}).mCommand, kCommand_Render);
    EXPECT_FALSE(Parse({"render", "--", "--help", "out"}).mHelp);
}

TEST(Documentation, EveryOptionStandsInHelpManualAndCompletions)
{
    const std::string manual = ManualPage("1");
    for (const OptionRow& option : OptionTable())
    {
        std::string inRoff = "\\-\\-";
        for (const char* c = option.mName; *c != '\0'; ++c)
        {
            inRoff += *c == '-' ? std::string("\\-") : std::string(1, *c);
        }
        const std::string name = std::string("--") + option.mName;
        EXPECT_NE(manual.find(inRoff), std::string::npos) << name;
        EXPECT_TRUE(HasOption(BashCompletion(), name)) << name;
        EXPECT_NE(FishCompletion().find(std::string("-l ") + option.mName), std::string::npos) << name;
        for (const CommandRow& command : CommandTable())
        {
            const bool belongs = (option.mCommands & command.mCommand) != 0;
            EXPECT_EQ(HasOption(HelpText(command.mCommand), name), belongs) << command.mName << " " << name;
        }
        if (option.mCommands != kCommand_None)
        {
            EXPECT_NE(ZshCompletion().find(name + "["), std::string::npos) << name;
        }
    }
    for (const CommandRow& command : CommandTable())
    {
        for (const std::string& text :
             {HelpText(kCommand_None), BashCompletion(), ZshCompletion(), FishCompletion()})
        {
            EXPECT_NE(text.find(command.mName), std::string::npos) << command.mName;
        }
    }
}

TEST(Documentation, HelpLinesFitOnATerminal)
{
    for (const CommandRow& command : CommandTable())
    {
        const std::string help = HelpText(command.mCommand);
        std::size_t start = 0;
        for (std::size_t end = help.find('\n'); end != std::string::npos; end = help.find('\n', start))
        {
            EXPECT_LE(end - start, 100u) << help.substr(start, end - start);
            start = end + 1;
        }
    }
}
