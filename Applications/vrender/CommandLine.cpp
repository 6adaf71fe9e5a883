#include "Applications/vrender/CommandLine.h"

#include "Applications/vrender/ExitCodes.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>

namespace vrender
{

namespace
{

std::vector<std::string> SplitWords(const char* inText)
{
    std::istringstream stream(inText);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
    {
        words.push_back(word);
    }
    return words;
}

std::string DashedNames(const OptionRow& inRow)
{
    const std::string name = std::string("--") + inRow.mName;
    return inRow.mShort == 0 ? name : std::string("-") + inRow.mShort + "," + name;
}

void AddOption(CLI::App& ioApp, const OptionRow& inRow, Options& ioOptions)
{
    if (inRow.mSwitch != nullptr)
    {
        ioApp.add_flag(DashedNames(inRow), ioOptions.*inRow.mSwitch);
        return;
    }
    if (inRow.mList != nullptr)
    {
        // One value for each time it is written; without this it would swallow the words behind it.
        ioApp.add_option(DashedNames(inRow), ioOptions.*inRow.mList)->type_size(1)->allow_extra_args(false);
        return;
    }
    CLI::Option* option = ioApp.add_option(DashedNames(inRow), ioOptions.*inRow.mText);
    if (inRow.mKind == ValueKind::kChoice)
    {
        option->check(CLI::IsMember(SplitWords(inRow.mChoices)));
    }
}

void AddArguments(CLI::App& ioApp, const CommandRow& inRow, Options& ioOptions)
{
    for (const ArgumentRow* argument : inRow.mArguments)
    {
        if (argument != nullptr)
        {
            CLI::Option* word = ioApp.add_option(argument->mName, ioOptions.*argument->mText);
            word->required(!argument->mIsOptional);
            if (argument->mKind == ValueKind::kChoice)
            {
                word->check(CLI::IsMember(SplitWords(argument->mChoices)));
            }
        }
    }
}

void AddCommand(CLI::App& ioApp, const CommandRow& inRow, Options& ioOptions)
{
    CLI::App* command = ioApp.add_subcommand(inRow.mName);
    command->set_help_flag();
    AddArguments(*command, inRow, ioOptions);
    for (const OptionRow& option : OptionTable())
    {
        if ((option.mCommands & inRow.mCommand) != 0)
        {
            AddOption(*command, option, ioOptions);
        }
    }
    command->callback([&ioOptions, id = inRow.mCommand] { ioOptions.mCommand = id; });
}

// Help must work on a command line that isn't complete, so it is looked for before the parse.
bool FindHelp(int inCount, const char* const* inWords, Options& outOptions)
{
    for (int i = 1; i < inCount; ++i)
    {
        const std::string word = inWords[i];
        if (word == "--")
        {
            break;
        }
        for (const CommandRow& command : CommandTable())
        {
            if (outOptions.mCommand == kCommand_None && word == command.mName)
            {
                outOptions.mCommand = command.mCommand;
            }
        }
        outOptions.mHelp = outOptions.mHelp || word == "--help" || word == "-h";
    }
    return outOptions.mHelp;
}

[[noreturn]] void Refuse(const Options& inOptions, std::string inCause)
{
    std::replace(inCause.begin(), inCause.end(), '\n', ' ');
    const CommandRow* command = FindCommand(inOptions.mCommand);
    const std::string where = command == nullptr ? "" : std::string(command->mName) + ": ";
    const std::string help =
        command == nullptr ? "vrender --help" : std::string("vrender ") + command->mName + " --help";
    throw ToolError(ExitCode::kUsage, where + inCause + " (see " + help + ")");
}

// An empty word is a script's unset variable, not a wish for the default.
void RefuseEmptyValues(int inCount, const char* const* inWords, const Options& inOptions)
{
    for (int i = 1; i < inCount; ++i)
    {
        if (*inWords[i] == '\0')
        {
            Refuse(inOptions, "word " + std::to_string(i) + " of the command line is empty");
        }
    }
}

// Of those that stand before a command that doesn't know them.
void RefuseForeignOptions(const Options& inNamed, const Options& inOptions)
{
    for (const OptionRow& row : OptionTable())
    {
        const bool isGiven = row.mText != nullptr ? !(inOptions.*row.mText).empty()
                                                  : row.mSwitch != nullptr && inOptions.*row.mSwitch;
        const bool isKnown = row.mCommands == kCommand_None || (row.mCommands & inOptions.mCommand) != 0;
        if (isGiven && !isKnown && inOptions.mCommand != kCommand_None)
        {
            Refuse(inNamed, std::string("--") + row.mName + " is no option of this command");
        }
    }
}

// A choice that may be left out is put in where the next word is none, before a parser sees the words: it
// could not tell the choice from the name of a file.
std::vector<std::string> WithBareChoices(int inCount, const char* const* inWords)
{
    std::vector<std::string> words(inWords, inWords + inCount);
    for (const OptionRow& row : OptionTable())
    {
        for (std::size_t i = 1; row.mBare != nullptr && i < words.size() && words[i] != "--"; ++i)
        {
            const std::vector<std::string> choices = SplitWords(row.mChoices);
            const bool isBare = words[i] == std::string("--") + row.mName &&
                                (i + 1 == words.size() ||
                                 std::find(choices.begin(), choices.end(), words[i + 1]) == choices.end());
            if (isBare)
            {
                words[i] += std::string("=") + row.mBare;
            }
        }
    }
    return words;
}

} // namespace

Options ParseCommandLine(int inCount, const char* const* inWords)
{
    Options named;
    if (FindHelp(inCount, inWords, named))
    {
        return named;
    }
    RefuseEmptyValues(inCount, inWords, named);

    Options options;
    CLI::App app;
    app.set_help_flag();
    for (const CommandRow& command : CommandTable())
    {
        AddCommand(app, command, options);
    }
    for (const OptionRow& option : OptionTable())
    {
        // What every command for media understands may also stand before it.
        if (option.mCommands == kCommand_None || (option.mCommands & kCommand_Media) == kCommand_Media)
        {
            AddOption(app, option, options);
        }
    }
    try
    {
        const std::vector<std::string> words = WithBareChoices(inCount, inWords);
        std::vector<const char*> pointers;
        for (const std::string& word : words)
        {
            pointers.push_back(word.c_str());
        }
        app.parse(inCount, pointers.data());
    }
    catch (const CLI::ParseError& error)
    {
        Refuse(named, error.what());
    }
    if (options.mCommand == kCommand_None && !options.mVersion && options.mGenerate.empty())
    {
        Refuse(named,
               "a command is required: render, frame, thumbnails, contact-sheet, info, explain, inspect, "
               "validate, compare, cache or plugins");
    }
    named.mCommand = options.mCommand;
    RefuseForeignOptions(named, options);
    return options;
}

} // namespace vrender
