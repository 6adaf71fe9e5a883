#include "Applications/vrender/Documentation.h"

#include "Applications/vrender/ExitCodes.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace vrender
{

namespace
{

constexpr std::size_t kHelpColumn = 26;
constexpr std::size_t kHelpWidth = 96;

struct ExitRow
{
    ExitCode mCode;
    const char* mMeaning;
};

constexpr ExitRow kExits[] = {
    {ExitCode::kDone, "Done."},
    {ExitCode::kFailed, "Failed for a cause that has no number of its own; compare: they differ."},
    {ExitCode::kDoneWithSubstitutes, "Done, but some frames could not be read and show the frame before "
                                     "them, or show what stands for missing "
                                     "media of a timeline; or the timeline has errors."},
    {ExitCode::kUsage, "The command line is wrong, or asks for a range that the media doesn't have."},
    {ExitCode::kBadData,
     "The input isn't what it should be: not media, damaged, without video, too large; or "
     "the cache holds damaged frames, or isn't one."},
    {ExitCode::kNoInput,
     "The input isn't there or may not be read, or media of a timeline that is to be rendered isn't."},
    {ExitCode::kCodecMissing, "A decoder or an encoder is missing."},
    {ExitCode::kInternal, "An error inside the tool."},
    {ExitCode::kCannotCreate,
     "The output may not be made, or is there already and --overwrite wasn't given."},
    {ExitCode::kIOError, "Reading or writing broke off: full disk, closed pipe."},
    {ExitCode::kTryAgain, "Another process is writing the same output, or memory ran out: try again."},
    {ExitCode::kInterrupted, "Ended by SIGINT; what was rendered stands in OUT.part."},
    {ExitCode::kTerminated, "Ended by SIGTERM; what was rendered stands in OUT.part."},
};

std::string Synopsis(const CommandRow& inCommand)
{
    std::string text = std::string("vrender ") + inCommand.mName;
    for (const ArgumentRow* argument : inCommand.mArguments)
    {
        const bool isOptional = argument != nullptr && argument->mIsOptional;
        text += argument == nullptr ? ""
                : isOptional        ? std::string(" [") + argument->mName + "]"
                                    : std::string(" ") + argument->mName;
    }
    return text + " [options]";
}

std::string Wrapped(const std::string& inText, std::size_t inIndent)
{
    std::istringstream words(inText);
    std::string result;
    std::size_t column = inIndent;
    for (std::string word; words >> word;)
    {
        if (column > inIndent && column + 1 + word.size() > kHelpWidth)
        {
            result += "\n" + std::string(inIndent, ' ');
            column = inIndent;
        }
        else if (column > inIndent)
        {
            result += " ";
            ++column;
        }
        result += word;
        column += word.size();
    }
    return result;
}

std::string HelpRow(const std::string& inLeft, const std::string& inRight)
{
    std::string left = "  " + inLeft;
    left += left.size() + 2 > kHelpColumn ? "\n" + std::string(kHelpColumn, ' ')
                                          : std::string(kHelpColumn - left.size(), ' ');
    return left + Wrapped(inRight, kHelpColumn) + "\n";
}

std::string DashedForm(const OptionRow& inRow)
{
    std::string text = inRow.mShort == 0 ? "" : std::string("-") + inRow.mShort + ", ";
    text += std::string("--") + inRow.mName;
    return inRow.mValue == nullptr ? text : text + " " + inRow.mValue;
}

std::string HelpSentence(const OptionRow& inRow)
{
    return inRow.mChoices == nullptr ? inRow.mHelp
                                     : inRow.mHelp + (" One of: " + std::string(inRow.mChoices) + ".");
}

bool IsOptionOf(const OptionRow& inRow, Command inCommand)
{
    return inCommand == kCommand_None ? inRow.mCommands == kCommand_None || inRow.mCommands == kCommand_All
                                      : (inRow.mCommands & inCommand) != 0;
}

std::string ToolHelp()
{
    std::string text = "Usage: vrender COMMAND ...\n\nCommands:\n";
    for (const CommandRow& command : CommandTable())
    {
        text += HelpRow(command.mName, command.mSummary);
    }
    text += "\nOptions without a command:\n";
    for (const OptionRow& option : OptionTable())
    {
        const bool shown = option.mCommands == kCommand_None || option.mSwitch == &Options::mHelp;
        text += shown ? HelpRow(DashedForm(option), HelpSentence(option)) : "";
    }
    return text + "\nvrender COMMAND --help tells the options of a command.\n";
}

// roff reads a leading dot or quote as a request and a bare dash as a hyphen.
std::string Roff(const std::string& inText)
{
    std::string result;
    for (const char c : inText)
    {
        if (c == '\\')
        {
            result += "\\e";
        }
        else if (c == '-')
        {
            result += "\\-";
        }
        else
        {
            result += c;
        }
    }
    return !result.empty() && (result[0] == '.' || result[0] == '\'') ? "\\&" + result : result;
}

std::string FirstSentence(const std::string& inText)
{
    return inText.substr(0, inText.find(". "));
}

std::string WithoutQuotes(std::string inText)
{
    inText.erase(std::remove(inText.begin(), inText.end(), '\''), inText.end());
    return inText;
}

std::string ShellWords(Command inCommand)
{
    std::string words;
    for (const OptionRow& option : OptionTable())
    {
        if (IsOptionOf(option, inCommand))
        {
            words += (words.empty() ? "--" : " --") + std::string(option.mName);
            words += option.mShort == 0 ? "" : std::string(" -") + option.mShort;
        }
    }
    return words;
}

std::string CommandNames()
{
    std::string names;
    for (const CommandRow& command : CommandTable())
    {
        names += (names.empty() ? "" : " ") + std::string(command.mName);
    }
    return names;
}

// What a word of the command may be, where that is one of a few; empty for names of files.
std::string ChoicesOf(const CommandRow& inCommand)
{
    for (const ArgumentRow* argument : inCommand.mArguments)
    {
        if (argument != nullptr && argument->mKind == ValueKind::kChoice)
        {
            return argument->mChoices;
        }
    }
    return std::string();
}

// What bash offers for words that are no options.
std::string BashArgumentCases()
{
    std::string text;
    for (const CommandRow& command : CommandTable())
    {
        const std::string choices = ChoicesOf(command);
        text += choices.empty() ? ""
                                : "            " + std::string(command.mName) +
                                      ") COMPREPLY=($(compgen -W '" + choices + "' -- \"$current\")) ;;\n";
    }
    return text;
}

// What bash offers behind an option that wants a value.
std::string BashValueCases()
{
    std::string text;
    for (const OptionRow& option : OptionTable())
    {
        if (option.mValue == nullptr)
        {
            continue;
        }
        const std::string label =
            (option.mShort == 0 ? "" : std::string("-") + option.mShort + "|") + "--" + option.mName;
        if (option.mKind == ValueKind::kChoice)
        {
            text += "        " + label + ") COMPREPLY=($(compgen -W '" + option.mChoices +
                    "' -- \"$current\")); return ;;\n";
        }
        else if (option.mKind == ValueKind::kText)
        {
            text += "        " + label + ") COMPREPLY=(); return ;;\n";
        }
        else
        {
            text +=
                "        " + label + ") mapfile -t COMPREPLY < <(compgen -f -- \"$current\"); return ;;\n";
        }
    }
    return text;
}

std::string ZshSpec(const OptionRow& inRow)
{
    std::string help = WithoutQuotes(FirstSentence(inRow.mHelp));
    std::string safe;
    for (const char c : help)
    {
        safe += c == '[' || c == ']' || c == ':' ? std::string("\\") + c : std::string(1, c);
    }
    std::string value;
    if (inRow.mValue != nullptr)
    {
        const std::string action = inRow.mKind == ValueKind::kChoice ? "(" + std::string(inRow.mChoices) + ")"
                                   : inRow.mKind == ValueKind::kText ? " "
                                                                     : "_files";
        value = ":value:" + action;
    }
    const std::string repeated = inRow.mList == nullptr ? "" : "*";
    std::string specs = "'" + repeated + "--" + inRow.mName + "[" + safe + "]" + value + "'";
    if (inRow.mShort != 0)
    {
        specs += " '" + repeated + "-" + std::string(1, inRow.mShort) + "[" + safe + "]" + value + "'";
    }
    return specs;
}

std::string FishLine(const OptionRow& inRow, const std::string& inCondition)
{
    std::string line = "complete -c vrender -n '" + inCondition + "' -l " + inRow.mName;
    line += inRow.mShort == 0 ? "" : std::string(" -s ") + inRow.mShort;
    if (inRow.mValue != nullptr)
    {
        line += inRow.mKind == ValueKind::kChoice ? " -x -a '" + std::string(inRow.mChoices) + "'"
                : inRow.mKind == ValueKind::kText ? " -x"
                                                  : " -r -F";
    }
    return line + " -d '" + WithoutQuotes(FirstSentence(inRow.mHelp)) + "'\n";
}

} // namespace

std::string HelpText(Command inCommand)
{
    const CommandRow* command = FindCommand(inCommand);
    if (command == nullptr)
    {
        return ToolHelp();
    }
    std::string text =
        "Usage: " + Synopsis(*command) + "\n\n" + Wrapped(command->mDescription, 0) + "\n\nArguments:\n";
    for (const ArgumentRow* argument : command->mArguments)
    {
        text += argument == nullptr ? "" : HelpRow(argument->mName, argument->mHelp);
    }
    text += "\nOptions:\n";
    for (const OptionRow& option : OptionTable())
    {
        text += IsOptionOf(option, inCommand) ? HelpRow(DashedForm(option), HelpSentence(option)) : "";
    }
    return text;
}

std::string ManualPage(const std::string& inVersion)
{
    std::string text = ".TH VRENDER 1 \"\" \"vrender " + inVersion + "\" \"User Commands\"\n.SH NAME\n";
    text += "vrender \\- render frames of media files\n.SH SYNOPSIS\n";
    for (const CommandRow& command : CommandTable())
    {
        text += Roff(Synopsis(command)) + "\n.br\n";
    }
    text += ".SH COMMANDS\n";
    for (const CommandRow& command : CommandTable())
    {
        text += ".TP\n.B " + Roff(command.mName) + "\n" + Roff(command.mDescription) + "\n";
        for (const ArgumentRow* argument : command.mArguments)
        {
            text += argument == nullptr
                        ? ""
                        : ".RS\n.TP\n.I " + Roff(argument->mName) + "\n" + Roff(argument->mHelp) + "\n.RE\n";
        }
    }
    text += ".SH OPTIONS\n";
    for (const OptionRow& option : OptionTable())
    {
        text += ".TP\n.B " + Roff(DashedForm(option)) + "\n" + Roff(HelpSentence(option)) + "\n";
        std::string users;
        for (const CommandRow& command : CommandTable())
        {
            const bool listed =
                option.mCommands != kCommand_All && (option.mCommands & command.mCommand) != 0;
            users += listed ? (users.empty() ? "" : ", ") + std::string(command.mName) : "";
        }
        text += users.empty() ? "" : "(" + Roff(users) + ")\n";
    }
    text += ".SH EXIT STATUS\n";
    for (const ExitRow& row : kExits)
    {
        text += ".TP\n.B " + std::to_string(static_cast<int>(row.mCode)) + "\n" + Roff(row.mMeaning) + "\n";
    }
    return text;
}

std::string BashCompletion()
{
    std::string text =
        "_vrender()\n{\n    local current=\"${COMP_WORDS[COMP_CWORD]}\"\n"
        "    local previous=\"${COMP_WORDS[COMP_CWORD-1]}\"\n"
        "    case \"$previous\" in\n" +
        BashValueCases() + "    esac\n    if [[ $COMP_CWORD -eq 1 ]]; then\n" +
        "        COMPREPLY=($(compgen -W '" + CommandNames() + " " + ShellWords(kCommand_None) +
        "' -- \"$current\"))\n        return\n    fi\n    if [[ \"$current\" != -* ]]; then\n" +
        "        case \"${COMP_WORDS[1]}\" in\n" + BashArgumentCases() +
        "            *) mapfile -t COMPREPLY < <(compgen -f -- \"$current\") ;;\n        esac\n" +
        "        return\n    fi\n" + "    case \"${COMP_WORDS[1]}\" in\n";
    for (const CommandRow& command : CommandTable())
    {
        text += "        " + std::string(command.mName) + ") COMPREPLY=($(compgen -W '" +
                ShellWords(command.mCommand) + "' -- \"$current\")) ;;\n";
    }
    return text + "    esac\n}\ncomplete -o filenames -F _vrender vrender\n";
}

std::string ZshCompletion()
{
    std::string text =
        "#compdef vrender\n_vrender()\n{\n    if (( CURRENT == 2 )); then\n        local -a commands\n"
        "        commands=(\n";
    for (const CommandRow& command : CommandTable())
    {
        text += "            '" + std::string(command.mName) + ":" + WithoutQuotes(command.mSummary) + "'\n";
    }
    text += "        )\n        _describe command commands\n        return\n    fi\n    case $words[2] in\n";
    for (const CommandRow& command : CommandTable())
    {
        text += "        " + std::string(command.mName) + ")\n            _arguments -s";
        for (const OptionRow& option : OptionTable())
        {
            text += IsOptionOf(option, command.mCommand) ? " \\\n                " + ZshSpec(option) : "";
        }
        const std::string choices = ChoicesOf(command);
        text += " \\\n                '*:" + (choices.empty() ? "file:_files" : "word:(" + choices + ")") +
                "'\n            ;;\n";
    }
    return text + "    esac\n}\n_vrender \"$@\"\n";
}

std::string FishCompletion()
{
    std::string text = "complete -c vrender -f -n __fish_use_subcommand\n";
    for (const CommandRow& command : CommandTable())
    {
        text += "complete -c vrender -n __fish_use_subcommand -a " + std::string(command.mName) + " -d '" +
                WithoutQuotes(command.mSummary) + "'\n";
        const std::string choices = ChoicesOf(command);
        text += choices.empty() ? ""
                                : "complete -c vrender -f -n '__fish_seen_subcommand_from " +
                                      std::string(command.mName) + "' -a '" + choices + "'\n";
    }
    for (const OptionRow& option : OptionTable())
    {
        if (option.mCommands == kCommand_None)
        {
            text += FishLine(option, "__fish_use_subcommand");
            continue;
        }
        std::string users;
        for (const CommandRow& command : CommandTable())
        {
            users += (option.mCommands & command.mCommand) != 0 ? " " + std::string(command.mName) : "";
        }
        text += FishLine(option, "__fish_seen_subcommand_from" + users);
    }
    return text;
}

} // namespace vrender
