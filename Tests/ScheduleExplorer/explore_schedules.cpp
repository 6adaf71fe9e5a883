// Explores schedules, and replays one that failed.
//
//   explore_schedules --scenario NAME         its share of an ordinary run
//   ... --schedules N                         so many, over all variants
//   ... --preemptions P                       of them, all with at most P preemptions come first; -1: none
//   ... --complete                            all of those instead, however many there are
//   ... --pruning full|states|none            which of them are left out as others stand for them
//   ... --progress SECONDS                    a line every so often
//   ... --compare                             enumerates in all three ways, which must come to the same ends
//   ... --seed S                              of the random ones
//   ... --variant V --choices 12:3,40:clock   this one schedule
//   explore_schedules --find-bug NAME         expects a failure in some scenario, and has it again from its list
//   explore_schedules --list
//
// Exit code: 0, 1 for a failure that was found, 2 for wrong use.
#include "RenderObserver.h"
#include "Tests/ScheduleExplorer/Scenarios.h"
#include "Tests/ScheduleExplorer/Strategies.h"
#include "Tests/Support/Scale.h"

#include <malloc.h>
#include <unistd.h>

#include <fmt/format.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>

#if defined(__SANITIZE_ADDRESS__)
extern "C" void __sanitizer_set_death_callback(void (*inCallback)());
#endif

namespace
{

using namespace ScheduleExplorer;
using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kPatience = 20000;
// A run of the random kind is thought to be so long before the first one was seen.
constexpr std::uint64_t kExpectedPoints = 300;
// What a scenario gets in an ordinary run.
constexpr std::size_t kSchedules = 2500;
// And where a seeded bug was not found by that.
constexpr std::size_t kSchedulesForRareBugs = 40000;

struct Options
{
    std::string mScenario;
    std::optional<std::size_t> mSchedules;
    int mPreemptions = 1;
    std::uint64_t mSeed = 1;
    int mVariant = -1;
    std::optional<std::vector<Choice>> mChoices;
    std::string mBug;
    bool mLists = false;
    bool mOnlyEnumerates = false;
    AllWithFewPreemptions::Pruning mPruning = AllWithFewPreemptions::Pruning::kFull;
    double mProgressSeconds = 0; // none
    bool mCompares = false;
};

// What is being run, for the report.
const Scenario* sScenario = nullptr;
int sVariant = 0;
std::size_t sNumber = 0;

std::string Text(const std::vector<Choice>& inChoices)
{
    std::string text;
    for (const Choice& choice : inChoices)
    {
        text += text.empty() ? "" : ",";
        text += choice.mThread == kClock ? fmt::format("{}:clock", choice.mPoint)
                                         : fmt::format("{}:{}", choice.mPoint, choice.mThread);
    }
    return text.empty() ? "none" : text;
}

[[noreturn]] void Report(const std::string& inWrong)
{
    std::printf(
        "FAILED %s, variant %d: %s\nafter %zu schedules; replay: --scenario %s --variant %d --choices "
        "%s\n",
        sScenario->mName, sVariant, inWrong.c_str(), sNumber, sScenario->mName, sVariant,
        Text(Scheduler::Instance().Choices()).c_str());
    std::fflush(stdout);
    std::_Exit(1);
}

// The process is lost, and only one thread runs, so that the report is worth more than its risk.
void OnSignal(int inSignal)
{
    std::signal(inSignal, SIG_DFL);
    Report(fmt::format("signal {}", inSignal));
}

#if defined(__SANITIZE_ADDRESS__)
void OnSanitizerDeath()
{
    Report("a sanitizer's report");
}
#endif

void CatchCrashes()
{
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_set_death_callback(&OnSanitizerDeath);
#else
    for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL})
    {
        std::signal(signal, &OnSignal);
    }
    // What is freed between runs, or past operator delete, is overwritten as the quarantine does with the rest.
    mallopt(M_PERTURB, 0x5A);
#endif
}

// ---- one schedule ----

// How a run has ended: its steps, but for the order of those that have nothing to do with each other, and what
// became of the requests.
struct End
{
    std::uint64_t mState = 0;
    std::string mOutcomes;
};

std::uint64_t RunOne(const Scenario& inScenario, int inVariant, IStrategy& ioStrategy, End* outEnd = nullptr)
{
    sScenario = &inScenario;
    sVariant = inVariant;
    World world;
    inScenario.mPrepare(world, inVariant);
    std::string wrong = Scheduler::Instance().Run(ioStrategy, kPatience);
    const std::uint64_t points = Scheduler::Instance().Points();
    if (outEnd != nullptr)
    {
        *outEnd = {Scheduler::Instance().State(), world.Outcomes()};
    }
    wrong = wrong.empty() ? world.Finish() : wrong;
    if (!wrong.empty())
    {
        Report(wrong);
    }
    return points;
}

// Tells the decisions of queue and prefetcher among the steps of a replay.
class Teller final : public ML::IRenderObserver
{
public:
    Teller() { ML::SetRenderObserver(this); }
    ~Teller() override { ML::SetRenderObserver(nullptr); }

    void OnRenderEvent(const ML::RenderEvent& inEvent) noexcept override
    {
        const std::string text =
            fmt::format("request {} {}", inEvent.mRequestID, RenderEventName(inEvent.mKind));
        Scheduler::Instance().Say(text.c_str());
    }
};

int ReplayOne(const Scenario& inScenario, const Options& inOptions)
{
    const Teller teller;
    Scheduler::Instance().SetIsTold(true);
    Replay replay(*inOptions.mChoices);
    const std::uint64_t points = RunOne(inScenario, inOptions.mVariant, replay);
    std::printf("passed, %llu points, %zu choices could not be made\n",
                static_cast<unsigned long long>(points), replay.Missed());
    return 0;
}

// ---- many ----

struct Count
{
    std::size_t mEnumerated = 0;
    std::size_t mRandom = 0;
    std::uint64_t mPoints = 0;
    std::size_t mStates = 0;
    bool mIsComplete = true;
};

// Those of an enumeration that are different.
struct Ends
{
    std::set<std::uint64_t> mStates;
    std::set<std::string> mOutcomes;

    bool operator==(const Ends&) const = default;
};

class Progress
{
public:
    explicit Progress(double inSeconds) : mInterval(inSeconds) {}

    void Tell(const AllWithFewPreemptions& inStrategy, std::size_t inSchedules)
    {
        if (mInterval.count() == 0 || inSchedules % 64 != 0 || Clock::now() - mLast < mInterval)
        {
            return;
        }
        mLast = Clock::now();
        const double seconds = std::chrono::duration<double>(mLast - mStart).count();
        std::fprintf(
            stderr,
            "%.0f s: %zu schedules, %zu states, depth %zu, %zu needless interruptions, %.0f a second, "
            "%.3f %% by the choices made\n",
            seconds, inSchedules, inStrategy.States(), inStrategy.Depth(), inStrategy.Needless(),
            static_cast<double>(inSchedules) / seconds, 100 * inStrategy.Done());
    }

private:
    const std::chrono::duration<double> mInterval;
    const Clock::time_point mStart = Clock::now();
    Clock::time_point mLast = mStart;
};

void Enumerate(const Scenario& inScenario, int inVariant, const Options& inOptions,
               AllWithFewPreemptions::Pruning inPruning, std::size_t inMost, Count& ioCount,
               Ends* outEnds = nullptr)
{
    AllWithFewPreemptions strategy(inOptions.mPreemptions, inPruning);
    Progress progress(inOptions.mProgressSeconds);
    End end;
    bool isLeft = true;
    for (std::size_t number = 0; isLeft && number < inMost; ++number)
    {
        ++sNumber;
        ioCount.mPoints += RunOne(inScenario, inVariant, strategy, outEnds == nullptr ? nullptr : &end);
        ++ioCount.mEnumerated;
        if (outEnds != nullptr && strategy.IsWhole())
        {
            outEnds->mStates.insert(end.mState);
            outEnds->mOutcomes.insert(end.mOutcomes);
        }
        progress.Tell(strategy, ioCount.mEnumerated);
        isLeft = strategy.Advance();
    }
    ioCount.mIsComplete = !isLeft;
    ioCount.mStates = strategy.States();
}

// Whether what is left out leaves no end of a run out.
bool IsPruningSound(const Scenario& inScenario, int inVariant, const Options& inOptions)
{
    using Pruning = AllWithFewPreemptions::Pruning;
    Ends plain;
    bool isSound = true;
    for (const Pruning pruning : {Pruning::kNone, Pruning::kStates, Pruning::kFull})
    {
        Ends ends;
        Count count;
        Enumerate(inScenario, inVariant, inOptions, pruning, ~std::size_t{0}, count, &ends);
        std::printf("%s, variant %d, %s: %zu schedules, %zu ends, %zu outcomes\n", inScenario.mName,
                    inVariant,
                    pruning == Pruning::kNone     ? "nothing pruned"
                    : pruning == Pruning::kStates ? "by states"
                                                  : "by states and meetings",
                    count.mEnumerated, ends.mStates.size(), ends.mOutcomes.size());
        std::fflush(stdout);
        if (pruning == Pruning::kNone)
        {
            plain = ends;
        }
        isSound = isSound && ends == plain;
    }
    if (!isSound)
    {
        std::printf("FAILED: pruning changes the ends that are reached\n");
    }
    return isSound;
}

void DrawAtRandom(const Scenario& inScenario, int inVariant, std::uint64_t inSeed, std::size_t inMost,
                  Count& ioCount)
{
    std::uint64_t expected = kExpectedPoints;
    for (std::size_t number = 0; number < inMost; ++number)
    {
        ++sNumber;
        RandomPriorities strategy(inSeed + number * 64 + static_cast<std::uint64_t>(inVariant), expected);
        const std::uint64_t points = RunOne(inScenario, inVariant, strategy);
        expected = (expected * 7 + points) / 8 + 1;
        ioCount.mPoints += points;
        ++ioCount.mRandom;
    }
}

// Half of a variant's share at most goes to the enumeration, so that the longest runs leave room for chance.
void ExploreVariant(const Scenario& inScenario, int inVariant, std::size_t inShare, const Options& inOptions)
{
    Count count;
    const Clock::time_point start = Clock::now();
    if (inOptions.mPreemptions >= 0)
    {
        Enumerate(inScenario, inVariant, inOptions, inOptions.mPruning,
                  inOptions.mOnlyEnumerates ? ~std::size_t{0} : inShare / 2, count);
    }
    if (!inOptions.mOnlyEnumerates)
    {
        DrawAtRandom(inScenario, inVariant, inOptions.mSeed, inShare - count.mEnumerated, count);
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const std::size_t total = count.mEnumerated + count.mRandom;
    std::printf("%s, variant %d: %zu schedules", inScenario.mName, inVariant, total);
    if (inOptions.mPreemptions >= 0)
    {
        std::printf(", %zu of them %s with at most %d preemptions, %zu states", count.mEnumerated,
                    count.mIsComplete ? "all" : "some of those", inOptions.mPreemptions, count.mStates);
    }
    std::printf("; %.0f points each, %.0f a second, %.1f s\n",
                static_cast<double>(count.mPoints) / static_cast<double>(total),
                static_cast<double>(total) / seconds, seconds);
    std::fflush(stdout);
}

bool Explore(const Scenario& inScenario, const Options& inOptions)
{
    const std::size_t all = inOptions.mSchedules.value_or(TestSupport::ScaledCount(kSchedules));
    bool isRight = true;
    for (int variant = 0; variant < inScenario.mVariants; ++variant)
    {
        if (inOptions.mVariant >= 0 && inOptions.mVariant != variant)
        {
            continue;
        }
        if (inOptions.mCompares)
        {
            isRight = IsPruningSound(inScenario, variant, inOptions) && isRight;
            continue;
        }
        ExploreVariant(inScenario, variant, all / static_cast<std::size_t>(inScenario.mVariants) + 1,
                       inOptions);
    }
    return isRight;
}

// ---- seeded bugs ----

struct Output
{
    int mStatus = 0;
    std::string mText;
};

Output RunSelf(const std::string& inArguments)
{
    Output output;
    std::FILE* const pipe = popen(("/proc/" + std::to_string(getpid()) + "/exe " + inArguments).c_str(), "r");
    if (pipe == nullptr)
    {
        return output;
    }
    char part[512];
    while (std::fgets(part, sizeof(part), pipe) != nullptr)
    {
        output.mText += part;
    }
    output.mStatus = WEXITSTATUS(pclose(pipe));
    return output;
}

std::string Between(const std::string& inText, const std::string& inStart, const std::string& inEnd)
{
    const std::size_t start = inText.find(inStart);
    if (start == std::string::npos)
    {
        return "";
    }
    const std::size_t from = start + inStart.size();
    return inText.substr(from, inText.find(inEnd, from) - from);
}

// Whether a failure, replayed from its choices, is the same again.
bool IsReplayed(const Output& inFound)
{
    const Output again = RunSelf(Between(inFound.mText, "replay: ", "\n"));
    const bool isSame = again.mStatus == 1 &&
                        Between(again.mText, "FAILED ", "\n") == Between(inFound.mText, "FAILED ", "\n");
    if (!isSame)
    {
        std::printf("its replay is another run:\n%s", again.mText.c_str());
    }
    return isSame;
}

// Each scenario in a process of its own: the ordinary run of all, which passes without the bug, and then a longer
// one.
int FindBug(const Options& inOptions)
{
    std::size_t before = 0;
    std::uint64_t seed = inOptions.mSeed;
    for (const std::size_t schedules : {kSchedules, kSchedulesForRareBugs})
    {
        for (const Scenario& scenario : Scenarios())
        {
            const Output found = RunSelf(
                fmt::format("--scenario {} --schedules {} --seed {}", scenario.mName, schedules, seed));
            if (found.mStatus == 1)
            {
                std::printf("%s is found, after %zu schedules of other scenarios\n%s", inOptions.mBug.c_str(),
                            before, found.mText.substr(found.mText.find("FAILED ")).c_str());
                return IsReplayed(found) ? 0 : 1;
            }
            before += schedules;
        }
        ++seed;
    }
    std::printf("%s was not found\n", inOptions.mBug.c_str());
    return 1;
}

// ---- command line ----

[[noreturn]] void Misused(const std::string& inWhat)
{
    std::fprintf(stderr, "explore_schedules: %s\n", inWhat.c_str());
    std::exit(2);
}

std::vector<Choice> ChoicesOf(const std::string& inText)
{
    std::vector<Choice> choices;
    for (std::size_t start = 0; inText != "none" && start < inText.size();)
    {
        const std::size_t end = std::min(inText.find(',', start), inText.size());
        const std::string one = inText.substr(start, end - start);
        const std::size_t colon = one.find(':');
        if (colon == std::string::npos)
        {
            Misused("a choice is a point, a colon and a thread: " + one);
        }
        const std::string who = one.substr(colon + 1);
        choices.push_back({std::stoull(one), who == "clock" ? kClock : std::stoi(who)});
        start = end + 1;
    }
    return choices;
}

AllWithFewPreemptions::Pruning PruningOf(const std::string& inText)
{
    using Pruning = AllWithFewPreemptions::Pruning;
    if (inText != "full" && inText != "states" && inText != "none")
    {
        Misused("no way of pruning: " + inText);
    }
    return inText == "full" ? Pruning::kFull : inText == "states" ? Pruning::kStates : Pruning::kNone;
}

Options OptionsOf(int inCount, char** inArguments)
{
    Options options;
    for (int number = 1; number < inCount; ++number)
    {
        const std::string name = inArguments[number];
        if (name == "--list" || name == "--complete" || name == "--compare")
        {
            (name == "--list"       ? options.mLists
             : name == "--complete" ? options.mOnlyEnumerates
                                    : options.mCompares) = true;
            continue;
        }
        if (++number == inCount)
        {
            Misused("no value for " + name);
        }
        const std::string value = inArguments[number];
        if (name == "--scenario")
        {
            options.mScenario = value;
        }
        else if (name == "--schedules")
        {
            options.mSchedules = std::stoull(value);
        }
        else if (name == "--preemptions")
        {
            options.mPreemptions = std::stoi(value);
        }
        else if (name == "--seed")
        {
            options.mSeed = std::stoull(value);
        }
        else if (name == "--pruning")
        {
            options.mPruning = PruningOf(value);
        }
        else if (name == "--progress")
        {
            options.mProgressSeconds = std::stod(value);
        }
        else if (name == "--variant")
        {
            options.mVariant = std::stoi(value);
        }
        else if (name == "--choices")
        {
            options.mChoices = ChoicesOf(value);
        }
        else if (name == "--find-bug")
        {
            options.mBug = value;
        }
        else
        {
            Misused("unknown: " + name);
        }
    }
    return options;
}

int Run(const Options& inOptions)
{
    bool isKnown = false;
    bool isRight = true;
    for (const Scenario& scenario : Scenarios())
    {
        if (inOptions.mLists)
        {
            std::printf("%s, %d variants\n", scenario.mName, scenario.mVariants);
        }
        else if (inOptions.mScenario.empty() || inOptions.mScenario == scenario.mName)
        {
            isKnown = true;
            if (inOptions.mChoices)
            {
                return ReplayOne(scenario, inOptions);
            }
            isRight = Explore(scenario, inOptions) && isRight;
        }
    }
    if (!isKnown && !inOptions.mLists)
    {
        Misused("no scenario " + inOptions.mScenario);
    }
    return isRight ? 0 : 1;
}

} // namespace

int main(int inCount, char** inArguments)
{
    const Options options = OptionsOf(inCount, inArguments);
    if (!options.mBug.empty())
    {
        return FindBug(options);
    }
    SetFailFunction(&Report);
    CatchCrashes();
    return Run(options);
}
