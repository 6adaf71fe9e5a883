#include "Applications/vrender/CommandLine.h"
#include "Applications/vrender/Commands.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/Documentation.h"
#include "Applications/vrender/Signals.h"
#include "ReferenceHost/Session/EffectCatalog.h"

#include <exception>
#include <new>

namespace
{

using vrender::ExitCode;

std::string Generated(const std::string& inWhat)
{
    if (inWhat == "man")
    {
        return vrender::ManualPage(vrender::VersionNumber());
    }
    return inWhat == "bash"  ? vrender::BashCompletion()
           : inWhat == "zsh" ? vrender::ZshCompletion()
                             : vrender::FishCompletion();
}

ExitCode RunCommand(const vrender::Options& inOptions)
{
    switch (inOptions.mCommand)
    {
    case vrender::kCommand_Render: return vrender::RunRender(inOptions);
    case vrender::kCommand_Frame: return vrender::RunFrame(inOptions);
    case vrender::kCommand_Thumbnails: return vrender::RunThumbnails(inOptions);
    case vrender::kCommand_Explain: return vrender::RunExplain(inOptions);
    case vrender::kCommand_ContactSheet: return vrender::RunContactSheet(inOptions);
    case vrender::kCommand_Inspect: return vrender::RunInspect(inOptions);
    case vrender::kCommand_Validate: return vrender::RunValidate(inOptions);
    case vrender::kCommand_Compare: return vrender::RunCompare(inOptions);
    case vrender::kCommand_Cache: return vrender::RunCache(inOptions);
    case vrender::kCommand_Plugins: return vrender::RunPlugins(inOptions);
    default: return vrender::RunInfo(inOptions);
    }
}

ExitCode Run(int inCount, const char* const* inWords)
{
    vrender::signals::Install();
    vrender::console::SayWarnings();
    const vrender::Options options = vrender::ParseCommandLine(inCount, inWords);
    if (options.mHelp)
    {
        vrender::console::PrintData(vrender::HelpText(options.mCommand));
        return ExitCode::kDone;
    }
    if (options.mVersion)
    {
        vrender::console::PrintData(vrender::VersionText());
        return ExitCode::kDone;
    }
    if (!options.mGenerate.empty())
    {
        vrender::console::PrintData(Generated(options.mGenerate));
        return ExitCode::kDone;
    }
    Session::SetPluginPolicy(
        {options.mAllowStateful, options.mSandboxPlugins ? Effects::CreatePluginSandbox() : nullptr});
    return RunCommand(options);
}

} // namespace

int main(int inCount, char** inWords)
{
    try
    {
        return static_cast<int>(Run(inCount, inWords));
    }
    catch (const vrender::ToolError& error)
    {
        vrender::console::Say(error.what());
        return static_cast<int>(error.Code());
    }
    catch (const std::bad_alloc&)
    {
        vrender::console::Say("out of memory");
        return static_cast<int>(ExitCode::kTryAgain);
    }
    catch (const std::exception& error)
    {
        vrender::console::Say(std::string("internal error: ") + error.what());
        return static_cast<int>(ExitCode::kInternal);
    }
}
