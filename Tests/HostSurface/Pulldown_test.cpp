#include "norviktypes/Pulldown.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using namespace norviktypes;

namespace
{

constexpr FrameRate kVideo = FrameRate::FromRational(30000, 1001);
constexpr FrameRate kFilm = FilmRateOfPulldown(kVideo);
constexpr int kGroups = 12;

struct CadenceCase
{
    PulldownCadence mCadence;
    std::vector<int> mFieldsOfFilmFrames;
    int mVideoFramesCutOff; // at the beginning
};

std::vector<CadenceCase> AllCadences()
{
    std::vector<CadenceCase> cases;
    for (int phase = 0; phase < 5; ++phase)
    {
        cases.push_back({static_cast<PulldownCadence>(kPulldownCadence_WWSSW + phase), {2, 3, 2, 3}, phase});
        cases.push_back({static_cast<PulldownCadence>(kPulldownCadence_WWSWW + phase), {2, 3, 3, 2}, phase});
    }
    return cases;
}

// A film frame's place: the video frame that holds it or its second field, and whether the first one is in
// the video frame before.
using Place = std::pair<int, bool>;

// The numbers of the film frames that the two fields of each video frame show.
std::vector<std::pair<int, int>> Telecine(const CadenceCase& inCase)
{
    std::vector<int> fields;
    for (int film = 0; film < 4 * kGroups; ++film)
    {
        fields.insert(fields.end(), static_cast<std::size_t>(inCase.mFieldsOfFilmFrames[film % 4]), film);
    }
    std::vector<std::pair<int, int>> video;
    for (std::size_t i = static_cast<std::size_t>(inCase.mVideoFramesCutOff) * 2; i < fields.size(); i += 2)
    {
        video.emplace_back(fields[i], fields[i + 1]);
    }
    return video;
}

// Where the film frames are of which both fields are there, in their order.
std::vector<Place> PlacesOfFilmFrames(const std::vector<std::pair<int, int>>& inVideo)
{
    std::vector<Place> places;
    for (int film = inVideo.front().first; film <= inVideo.back().second; ++film)
    {
        for (int frame = 0; frame < static_cast<int>(inVideo.size()); ++frame)
        {
            const auto& shown = inVideo[static_cast<std::size_t>(frame)];
            const bool isWhole = shown.first == film && shown.second == film;
            const bool isSplit = frame > 0 && shown.first == film && shown.second != film &&
                                 inVideo[static_cast<std::size_t>(frame) - 1].second == film &&
                                 inVideo[static_cast<std::size_t>(frame) - 1].first != film;
            if (isWhole || isSplit)
            {
                places.emplace_back(frame, isSplit);
                break;
            }
        }
    }
    return places;
}

Place PlaceAt(const TickTime& inTime, PulldownCadence inCadence)
{
    bool needsMerge = false;
    const TickTime time = MapPulldownFrameTo2997Frame(inTime, kVideo, inCadence, needsMerge);
    EXPECT_EQ(time, time.AlignToFrame(kVideo));
    return {time.ToFrame32(kVideo), needsMerge};
}

} // namespace

TEST(Pulldown, FilmFramesAreFoundWhereATelecineLaidThem)
{
    for (const CadenceCase& cadence : AllCadences())
    {
        const std::vector<Place> expected = PlacesOfFilmFrames(Telecine(cadence));
        ASSERT_GE(expected.size(), 4U * kGroups - 4U) << cadence.mCadence;
        for (std::size_t film = 0; film < expected.size(); ++film)
        {
            const TickTime time = TickTime::FromFrame(static_cast<std::int64_t>(film), kFilm);
            EXPECT_EQ(expected[film], PlaceAt(time, cadence.mCadence))
                << "cadence " << cadence.mCadence << ", film frame " << film;
            EXPECT_EQ(expected[film], PlaceAt(time + TickTime(kFilm.GetTicks() - 1), cadence.mCadence));
        }
    }
}

TEST(Pulldown, AdvancedPulldownNeverMerges)
{
    for (const CadenceCase& cadence : AllCadences())
    {
        int merged = 0;
        for (int film = 0; film < 8; ++film)
        {
            merged += PlaceAt(TickTime::FromFrame(film, kFilm), cadence.mCadence).second ? 1 : 0;
        }
        EXPECT_EQ(cadence.mCadence <= kPulldownCadence_WWWSS ? 2 : 0, merged) << cadence.mCadence;
    }
}

TEST(Pulldown, RhythmGoesOnBeforeTimeZero)
{
    for (const CadenceCase& cadence : AllCadences())
    {
        for (int film = 0; film < 4; ++film)
        {
            const TickTime time = TickTime::FromFrame(film, kFilm);
            const Place place = PlaceAt(time, cadence.mCadence);
            const Place before = PlaceAt(time - TickTime(kFilm.GetTicks() * 8), cadence.mCadence);
            EXPECT_EQ(Place(place.first - 10, place.second), before) << cadence.mCadence << " " << film;
        }
    }
}

TEST(Pulldown, FilmPlaysFourFramesForFive)
{
    EXPECT_EQ(FrameRate::FromRational(24000, 1001), kFilm);
    EXPECT_EQ(kFrameRate_Zero, FilmRateOfPulldown(kFrameRate_Zero));
    EXPECT_EQ(kFrameRate_Unset, FilmRateOfPulldown(kFrameRate_Unset));
}

TEST(Pulldown, WithoutARhythmTimeIsOnlyAligned)
{
    const TickTime time = TickTime::FromFrame(7, kVideo) + TickTime(5);
    for (const int cadence : {0, -1, 11})
    {
        bool needsMerge = true;
        EXPECT_EQ(
            TickTime::FromFrame(7, kVideo),
            MapPulldownFrameTo2997Frame(time, kVideo, static_cast<PulldownCadence>(cadence), needsMerge));
        EXPECT_FALSE(needsMerge);
    }
}

TEST(Pulldown, WithoutARateTimeStays)
{
    for (const FrameRate& rate : {kFrameRate_Zero, kFrameRate_Unset, FrameRate(-5)})
    {
        bool needsMerge = true;
        EXPECT_EQ(TickTime(12345),
                  MapPulldownFrameTo2997Frame(TickTime(12345), rate, kPulldownCadence_SSWWW, needsMerge));
        EXPECT_FALSE(needsMerge);
    }
}
