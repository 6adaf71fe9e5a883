#include "ReferenceHost/Project/Otio/TimeValues.h"
#include "Tests/ReferenceHost/Otio/DocumentText.h"
#include "Tests/Support/Scale.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <sstream>

namespace
{

using namespace OtioTests;
using norviktypes::TickTime;
using Otio::kNone;

std::vector<std::string> Samples()
{
    std::vector<std::string> paths;
    for (const auto& entry :
         std::filesystem::directory_iterator(VR_SOURCE_DIR "/Tests/ReferenceHost/Otio/Documents"))
    {
        paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());
    std::vector<std::string> texts;
    for (const std::string& path : paths)
    {
        std::ostringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        texts.push_back(text.str());
    }
    return texts;
}

class Mutator
{
public:
    explicit Mutator(std::uint64_t inSeed) : mRandom(inSeed) {}

    std::string Mutate(std::string inText)
    {
        const std::size_t changes = 1 + Below(4);
        for (std::size_t change = 0; change < changes && !inText.empty(); ++change)
        {
            Change(inText);
        }
        return inText;
    }

private:
    std::size_t Below(std::size_t inLimit)
    {
        return std::uniform_int_distribution<std::size_t>(0, inLimit - 1)(mRandom);
    }

    void Change(std::string& ioText)
    {
        static const char* const kWords[] = {
            "NaN",  "-Infinity", "1e308", "-1",    "0",    "null",
            "true", "{}",        "[]",    "\"\"",  "1e15", "0.5",
            "1e-9", "123456789", "-0",    "\"x\"", "24.1", "9223372036854775807"};
        const std::size_t place = Below(ioText.size());
        const std::size_t length = std::min(ioText.size() - place, 1 + Below(40));
        // Changed numbers and words leave most documents readable, and reach what is behind the parser.
        switch (Below(10))
        {
        case 0: ioText[place] = static_cast<char>(Below(256)); break;
        case 1: ioText.erase(place, length); break;
        case 2: ioText.insert(place, ioText.substr(Below(ioText.size()), length)); break;
        case 3: ioText.resize(place); break;
        case 4:
        case 5:
        case 6: SwapWords(ioText, place); break;
        default: ReplaceNumber(ioText, place, kWords[Below(std::size(kWords))]); break;
        }
    }

    // The next number behind a place, so that the text mostly stays a document.
    static void ReplaceNumber(std::string& ioText, std::size_t inPlace, const char* inWord)
    {
        const std::size_t start = ioText.find_first_of("0123456789", inPlace);
        if (start == std::string::npos)
        {
            return;
        }
        const std::size_t end = std::min(ioText.find_first_not_of("0123456789.", start), ioText.size());
        ioText.replace(start, end - start, inWord);
    }

    // The text behind the next quotation mark takes the place of another one.
    void SwapWords(std::string& ioText, std::size_t inPlace)
    {
        const std::size_t start = ioText.find('"', inPlace);
        const std::size_t end = start == std::string::npos ? start : ioText.find('"', start + 1);
        const std::size_t other = ioText.find('"', Below(ioText.size()));
        const std::size_t otherEnd = other == std::string::npos ? other : ioText.find('"', other + 1);
        if (end != std::string::npos && otherEnd != std::string::npos)
        {
            ioText.replace(start, end - start, ioText.substr(other, otherEnd - other));
        }
    }

    std::mt19937_64 mRandom;
};

void ExpectOrderedTrack(const Otio::Timeline& inTimeline, const Otio::TrackOfItems& inTrack,
                        std::size_t inSequence)
{
    TickTime end;
    for (const Otio::Item& item : inTrack.mItems)
    {
        ASSERT_GE(item.mStart, end);
        ASSERT_GT(item.mDuration, TickTime());
        ASSERT_TRUE(item.mMedia == kNone || item.mMedia < inTimeline.mMedia.size());
        ASSERT_TRUE(item.mSequence == kNone || item.mSequence < inSequence);
        ASSERT_TRUE(item.mRun.mSpeed >= -1e6 && item.mRun.mSpeed <= 1e6);
        end = item.End();
    }
    ASSERT_LE(end, Otio::kLongestTime + TickTime(1));
    for (const Otio::Transition& transition : inTrack.mTransitions)
    {
        ASSERT_GT(transition.mInOffset + transition.mOutOffset, TickTime());
        ASSERT_TRUE(transition.mEarlier != kNone || transition.mLater != kNone);
        if (transition.mEarlier != kNone)
        {
            ASSERT_EQ(inTrack.mItems.at(transition.mEarlier).End(), transition.mCut);
            ASSERT_LE(transition.mInOffset, inTrack.mItems[transition.mEarlier].mDuration);
        }
        if (transition.mLater != kNone)
        {
            ASSERT_EQ(inTrack.mItems.at(transition.mLater).mStart, transition.mCut);
            ASSERT_LE(transition.mOutOffset, inTrack.mItems[transition.mLater].mDuration);
        }
    }
}

// What a timeline promises, whatever it was made of.
void ExpectSound(const Read& inRead)
{
    if (inRead.mTimeline.mMain == kNone)
    {
        ASSERT_TRUE(inRead.mProblems.HasErrors());
        return;
    }
    const Otio::Timeline& timeline = inRead.mTimeline;
    ASSERT_TRUE(timeline.mRate.IsCountable());
    ASSERT_LE(timeline.mDuration, Otio::kLongestTime);
    for (std::size_t index = 0; index < timeline.mSequences.size(); ++index)
    {
        for (const Otio::TrackOfItems& track : timeline.mSequences[index].mTracks)
        {
            ASSERT_NO_FATAL_FAILURE(ExpectOrderedTrack(timeline, track, index));
        }
    }
}

TEST(MutatedDocuments, GiveSoundTimelinesOrErrors)
{
    const std::vector<std::string> samples = Samples();
    ASSERT_GE(samples.size(), 6u);
    Mutator mutator(TestSupport::Seed());
    const std::size_t count = TestSupport::ScaledCount(2000);
    std::size_t shown = 0;
    for (std::size_t index = 0; index < count; ++index)
    {
        const std::string text = mutator.Mutate(samples[index % samples.size()]);
        Otio::DocumentOptions options;
        options.mOutOfRange = static_cast<Otio::OutOfRange>(index % 3);
        const Read read(text, options);
        ASSERT_NO_FATAL_FAILURE(ExpectSound(read)) << "mutation " << index << "\n" << text;
        shown += read.mTimeline.mFrameCount > 0 ? 1 : 0;
    }
    // Many mutations break the text; enough have to come through to prove anything of the rest.
    EXPECT_GT(shown, count / 20);
}

TEST(SampleDocuments, AreReadWithoutErrors)
{
    for (const std::string& text : Samples())
    {
        const Read read(text);
        EXPECT_FALSE(read.mProblems.HasErrors()) << text;
        EXPECT_GT(read.mTimeline.mFrameCount, 0) << text;
        ASSERT_NO_FATAL_FAILURE(ExpectSound(read)) << text;
    }
}

}
