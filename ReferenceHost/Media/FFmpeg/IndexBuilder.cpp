#include "ReferenceHost/Media/FFmpeg/IndexBuilder.h"

#include <algorithm>
#include <cmath>
#include <set>

#include <fmt/format.h>

#include "ReferenceHost/Media/FFmpeg/OrdinalSet.h"

namespace Media
{

namespace
{

__extension__ typedef __int128 Int128;

// Ticks of inCount units of inUnit seconds, rounded down.
std::int64_t FloorTicks(std::int64_t inCount, std::int64_t inNumerator, std::int64_t inDenominator)
{
    const Int128 product = Int128{inCount} * inNumerator * kTicksPerSecond;
    Int128 quotient = product / inDenominator;
    if (product % inDenominator < 0)
    {
        --quotient;
    }
    constexpr Int128 kMost = INT64_MAX / 4; // sums of two stay in range
    return static_cast<std::int64_t>(std::clamp(quotient, -kMost, kMost));
}

// A time base and a span that a damaged file claims may have no product in 64 bits.
std::int64_t BoundedProduct(std::int64_t inA, std::int64_t inB)
{
    return static_cast<std::int64_t>(std::clamp(Int128{inA} * inB, Int128{-INT64_MAX}, Int128{INT64_MAX}));
}

// A clock that jumps back, or ahead by more than this, is another clock.
constexpr double kLongestGapSeconds = 60.0;

// Pictures that are shown before a key frame follow it this closely.
constexpr std::uint32_t kLeadingPictures = 64;

// Joints that are looked at one by one; a file with more is decoded whole.
constexpr std::size_t kMostJoints = 24;

// Timestamps beyond this are nonsense, and their differences could overflow.
constexpr std::int64_t kLargestTimestamp = std::int64_t{1} << 60;

bool IsSane(std::int64_t inTimestamp)
{
    return inTimestamp > -kLargestTimestamp && inTimestamp < kLargestTimestamp;
}

constexpr AVRational kUsualRates[] = {{24000, 1001}, {24, 1}, {25, 1},        {30000, 1001}, {30, 1},
                                      {48, 1},       {50, 1}, {60000, 1001},  {60, 1},       {15, 1},
                                      {12, 1},       {10, 1}, {120000, 1001}, {120, 1},      {100, 1}};

// The usual rate nearest to one that was estimated from a few packets, where one is near.
AVRational SnapRate(AVRational inRate)
{
    AVRational nearest = inRate;
    double least = 0.02;
    for (const AVRational& rate : kUsualRates)
    {
        const double distance = std::abs(av_q2d(rate) / av_q2d(inRate) - 1.0);
        if (distance < least)
        {
            least = distance;
            nearest = rate;
        }
    }
    return nearest;
}

// 30000/1001 for 2997/100 and the like. Containers and tools that count in decimals mean the fraction, and
// two files of one rate have to be of one grid. It is four milliseconds an hour off.
AVRational RateMeant(AVRational inRate)
{
    constexpr double kMost = 1.5e-6;
    for (const int nominal : {24, 30, 48, 60, 120})
    {
        const AVRational fraction = {nominal * 1000, 1001};
        if (std::abs(av_q2d(fraction) / av_q2d(inRate) - 1.0) < kMost)
        {
            return fraction;
        }
    }
    return inRate;
}

}

IndexBuilder::IndexBuilder(const DecoderSetup& inSetup, const MediaInput& inInput,
                           std::vector<std::string>& ioNotes)
    : mSetup(inSetup)
    , mTimeBase(inInput.Stream()->time_base)
    , mClockMayJump((inInput.Context()->iformat->flags & AVFMT_TS_DISCONT) != 0)
    , mRates{inInput.Stream()->avg_frame_rate, inInput.Stream()->r_frame_rate}
    , mNotes(ioNotes)
{
}

bool IndexBuilder::Build(PacketScan&& inScan, FrameIndex& outIndex, std::string& outCause)
{
    const bool endedEarly = inScan.endedEarly;
    bool isOrdered = false;
    if ((!mClockMayJump || MendClock(inScan.packets)) && HasUsableTimes(inScan.packets))
    {
        isOrdered = OrderByTimes(inScan, outIndex);
    }
    else
    {
        outIndex.packets = std::move(inScan.packets);
        isOrdered = OrderByDecoding(outIndex, outCause);
    }
    if (endedEarly)
    {
        mNotes.push_back("the file is damaged or cut off; its readable frames are used");
    }
    if (!isOrdered && outCause.empty())
    {
        outCause = inScan.cause.empty() ? "no picture in it can be decoded" : inScan.cause;
    }
    return isOrdered;
}

// Lets the times behind each jump of the clock go on from those before it. False if there are too many, or
// the times are past mending.
bool IndexBuilder::MendClock(PacketTable& ioPackets)
{
    const auto longest = static_cast<std::int64_t>(kLongestGapSeconds / av_q2d(mTimeBase));
    std::vector<std::uint32_t> joints;
    std::int64_t shift = 0;
    std::int64_t last = kNoTimestamp;
    std::int64_t step = 1;
    for (std::uint32_t ordinal = 0; ordinal < ioPackets.Count(); ++ordinal)
    {
        PacketRecord& packet = ioPackets[ordinal];
        if (!IsSane(packet.dts) || !IsSane(packet.pts))
        {
            continue; // the next step judges them
        }
        const std::int64_t dts = packet.dts + shift;
        if (last != kNoTimestamp && !packet.isDiscarded && (dts < last || dts - last > longest))
        {
            joints.push_back(ordinal);
            shift += last + step - dts;
        }
        packet.dts += shift;
        packet.pts += shift;
        step = last != kNoTimestamp && packet.dts > last ? packet.dts - last : step;
        last = packet.dts;
        if (joints.size() > kMostJoints || !IsSane(shift))
        {
            return false;
        }
    }
    for (const std::uint32_t joint : joints)
    {
        CheckJoint(ioPackets, joint);
    }
    if (!joints.empty())
    {
        mNotes.push_back(
            fmt::format("its clock jumps {} times; the frames are shown one after another", joints.size()));
    }
    return true;
}

// inFirst: the first packet behind a joint.
void IndexBuilder::CheckJoint(PacketTable& ioPackets, std::uint32_t inFirst)
{
    std::uint32_t from = inFirst;
    while (from > 0 && !ioPackets[--from].isKey)
    {
    }
    std::uint32_t key = inFirst;
    while (key + 1 < ioPackets.Count() && !ioPackets[key].isKey)
    {
        ++key;
    }
    const std::int64_t begin = ioPackets[from].pts;
    const std::int64_t end = ioPackets[key].pts;
    std::vector<std::uint32_t> decoded;
    if (begin == kNoTimestamp || end == kNoTimestamp || !DecodedPackets(ioPackets, from, end, decoded))
    {
        return;
    }
    const OrdinalSet seen(decoded);
    for (std::uint32_t ordinal = from; ordinal < std::min(ioPackets.Count(), key + kLeadingPictures);
         ++ordinal)
    {
        PacketRecord& packet = ioPackets[ordinal];
        if (packet.pts >= begin && packet.pts < end && !seen.Contains(ordinal))
        {
            packet.yieldsNoFrame = true;
        }
    }
}

bool IndexBuilder::HasUsableTimes(const PacketTable& inPackets) const
{
    std::vector<std::int64_t> times;
    times.reserve(inPackets.Count());
    bool hasKey = false;
    for (std::uint32_t ordinal = 0; ordinal < inPackets.Count(); ++ordinal)
    {
        const PacketRecord& packet = inPackets[ordinal];
        hasKey = hasKey || packet.isKey;
        if (packet.yieldsNoFrame)
        {
            continue;
        }
        if (!IsSane(packet.pts) || (packet.dts != kNoTimestamp && !IsSane(packet.dts)))
        {
            return false;
        }
        if (!packet.isDiscarded)
        {
            times.push_back(packet.pts);
        }
    }
    std::sort(times.begin(), times.end());
    return hasKey && std::adjacent_find(times.begin(), times.end()) == times.end();
}

bool IndexBuilder::OrderByTimes(PacketScan& ioScan, FrameIndex& outIndex)
{
    CheckHead(ioScan.packets);
    if (ioScan.endedEarly)
    {
        CheckTail(ioScan.packets);
    }
    outIndex.packets = std::move(ioScan.packets);
    const PacketTable& packets = outIndex.packets;
    outIndex.frames.reserve(packets.Count());
    for (std::uint32_t ordinal = 0; ordinal < packets.Count(); ++ordinal)
    {
        if (!packets[ordinal].yieldsNoFrame && !packets[ordinal].isDiscarded)
        {
            outIndex.frames.push_back({0, ordinal, 0});
        }
    }
    if (outIndex.frames.empty())
    {
        return false;
    }
    std::sort(outIndex.frames.begin(), outIndex.frames.end(),
              [&](const FrameIndex::Frame& inA, const FrameIndex::Frame& inB)
              { return packets[inA.packet].pts < packets[inB.packet].pts; });
    std::vector<std::int64_t> times;
    times.reserve(outIndex.frames.size());
    for (const FrameIndex::Frame& frame : outIndex.frames)
    {
        times.push_back(packets[frame.packet].pts);
    }
    SetTimes(times, packets[outIndex.frames.back().packet].duration, outIndex);
    return true;
}

bool IndexBuilder::OrderByDecoding(FrameIndex& outIndex, std::string& outCause)
{
    std::vector<std::uint32_t> decoded;
    if (!DecodedPackets(outIndex.packets, 0, INT64_MAX, decoded) || decoded.empty())
    {
        outCause = "no picture in it can be decoded";
        return false;
    }
    std::set<std::uint32_t> seen;
    for (const std::uint32_t packet : decoded)
    {
        if (seen.insert(packet).second)
        {
            outIndex.frames.push_back({0, packet, 0});
        }
    }
    mNotes.push_back("the container doesn't tell the times of its frames; they were found by decoding it");
    SetTimes(TimesInOrder(outIndex), 0, outIndex);
    return true;
}

// Decodes from packet inFrom and lists what comes out, until a picture is shown at or after inUntilShown.
bool IndexBuilder::DecodedPackets(const PacketTable& inPackets, std::uint32_t inFrom,
                                  std::int64_t inUntilShown, std::vector<std::uint32_t>& outPackets) const
{
    DecoderCursor cursor;
    if (cursor.Open(mSetup) < 0 || (inFrom > 0 && cursor.SeekTo(inPackets, inFrom) < 0))
    {
        return false;
    }
    const FramePtr frame(av_frame_alloc());
    std::uint32_t packet = 0;
    while (frame && cursor.Next(&inPackets, *frame, packet) >= 0)
    {
        av_frame_unref(frame.get());
        if (packet >= inPackets.Count())
        {
            continue;
        }
        outPackets.push_back(packet);
        if (inPackets[packet].pts != kNoTimestamp && inPackets[packet].pts >= inUntilShown)
        {
            break;
        }
    }
    return true;
}

void IndexBuilder::CheckHead(PacketTable& ioPackets)
{
    std::uint32_t key = 0;
    while (key < ioPackets.Count() && !ioPackets[key].isKey)
    {
        ++key;
    }
    const std::int64_t keyTime = ioPackets[key].pts;
    std::vector<std::uint32_t> doubtful;
    const std::uint32_t end = std::min(ioPackets.Count(), key + kLeadingPictures);
    for (std::uint32_t ordinal = 0; ordinal < end; ++ordinal)
    {
        const PacketRecord& packet = ioPackets[ordinal];
        if (!packet.yieldsNoFrame && !packet.isDiscarded && (ordinal < key || packet.pts < keyTime))
        {
            doubtful.push_back(ordinal);
        }
    }
    std::vector<std::uint32_t> decoded;
    if (doubtful.empty() || !DecodedPackets(ioPackets, 0, keyTime, decoded))
    {
        return;
    }
    const OrdinalSet seen(decoded);
    for (const std::uint32_t ordinal : doubtful)
    {
        ioPackets[ordinal].yieldsNoFrame = !seen.Contains(ordinal);
    }
}

void IndexBuilder::CheckTail(PacketTable& ioPackets)
{
    std::uint32_t key = ioPackets.Count();
    while (key > 0 && !ioPackets[key - 1].isKey)
    {
        --key;
    }
    key = key > 0 ? key - 1 : 0;
    std::vector<std::uint32_t> decoded;
    if (!DecodedPackets(ioPackets, key, INT64_MAX, decoded))
    {
        return;
    }
    const OrdinalSet seen(decoded);
    for (std::uint32_t ordinal = key; ordinal < ioPackets.Count(); ++ordinal)
    {
        // Pictures shown before the key need what was decoded before it, and aren't at the torn end.
        const bool isLeading = ioPackets[ordinal].pts < ioPackets[key].pts;
        if (!isLeading && !seen.Contains(ordinal))
        {
            ioPackets[ordinal].yieldsNoFrame = true;
        }
    }
}

// Times for frames whose order is known by decoding: the decoding times of their packets, which ascend, given
// out in the order of showing; without them, one unit of the first usable rate for each.
std::vector<std::int64_t> IndexBuilder::TimesInOrder(const FrameIndex& inIndex) const
{
    std::vector<std::uint32_t> packets;
    for (const FrameIndex::Frame& frame : inIndex.frames)
    {
        packets.push_back(frame.packet);
    }
    std::sort(packets.begin(), packets.end());
    AVRational rate = {25, 1};
    for (const AVRational& candidate : mRates)
    {
        if (candidate.num > 0 && candidate.den > 0)
        {
            rate = SnapRate(candidate);
            break;
        }
    }
    const std::int64_t step = std::max<std::int64_t>(1, av_rescale_q(1, av_inv_q(rate), mTimeBase));
    const std::int64_t longest = static_cast<std::int64_t>(kLongestGapSeconds / av_q2d(mTimeBase));
    std::vector<std::int64_t> times;
    bool isCounted = false;
    std::int64_t last = kNoTimestamp;
    std::int64_t time = 0;
    for (const std::uint32_t packet : packets)
    {
        const std::int64_t dts = inIndex.packets[packet].dts;
        isCounted = isCounted || !IsSane(dts);
        const std::int64_t delta = last == kNoTimestamp || isCounted ? 0 : dts - last;
        time += times.empty() ? 0 : delta > 0 && delta <= longest ? delta : step;
        times.push_back(time);
        last = dts;
    }
    if (isCounted)
    {
        for (std::size_t frame = 0; frame < times.size(); ++frame)
        {
            times[frame] = av_rescale_q(static_cast<std::int64_t>(frame), av_inv_q(rate), mTimeBase);
        }
    }
    return times;
}

bool IndexBuilder::FitsGrid(const std::vector<std::int64_t>& inTimes, AVRational inRate) const
{
    if (inRate.num <= 0 || inRate.den <= 0)
    {
        return false;
    }
    // Both ends of a span are rounded by the container's clock; a clock of half the frame's length says
    // nothing.
    const double frame = av_q2d(av_inv_q(inRate)) / av_q2d(mTimeBase);
    const double tolerance = std::min(1.0, frame / 2.5);
    for (std::size_t index = 0; index < inTimes.size(); ++index)
    {
        const double error =
            static_cast<double>(inTimes[index] - inTimes[0]) - static_cast<double>(index) * frame;
        if (error > tolerance + 1e-6 || error < -tolerance - 1e-6)
        {
            return false;
        }
    }
    return true;
}

AVRational IndexBuilder::FindRate(const std::vector<std::int64_t>& inTimes, bool& outIsGrid) const
{
    outIsGrid = true;
    for (const AVRational& rate : mRates)
    {
        if (FitsGrid(inTimes, rate))
        {
            return rate;
        }
    }
    if (inTimes.size() > 1)
    {
        for (const AVRational& rate : kUsualRates)
        {
            if (FitsGrid(inTimes, rate))
            {
                return rate;
            }
        }
        AVRational rate = {};
        const std::int64_t step = inTimes[1] - inTimes[0];
        if (step > 0 &&
            av_reduce(&rate.num, &rate.den, mTimeBase.den, BoundedProduct(mTimeBase.num, step), INT32_MAX) &&
            FitsGrid(inTimes, rate))
        {
            return rate;
        }
    }
    outIsGrid = inTimes.size() == 1;
    AVRational mean = {};
    const std::int64_t span = inTimes.back() - inTimes.front();
    if (span > 0)
    {
        av_reduce(&mean.num, &mean.den, static_cast<std::int64_t>(inTimes.size() - 1) * mTimeBase.den,
                  BoundedProduct(span, mTimeBase.num), INT32_MAX);
    }
    return mean.num > 0 && mean.den > 0 ? mean : AVRational{25, 1};
}

void IndexBuilder::SetTimes(const std::vector<std::int64_t>& inTimes, std::int64_t inLastDuration,
                            FrameIndex& ioIndex) const
{
    const AVRational found = FindRate(inTimes, ioIndex.hasGrid);
    const AVRational rate = ioIndex.hasGrid ? RateMeant(found) : found;
    if (av_cmp_q(rate, found) != 0)
    {
        mNotes.push_back(
            fmt::format("its rate of {}/{} is taken for {}/{}", found.num, found.den, rate.num, rate.den));
    }
    ioIndex.rate = {rate.num, rate.den};
    // A host counts grids in whole ticks a frame, and asks for frame n at n times that.
    const std::int64_t step = std::max<std::int64_t>(1, (FloorTicks(2, rate.den, rate.num) + 1) / 2);
    for (std::size_t rank = 0; rank < inTimes.size(); ++rank)
    {
        ioIndex.frames[rank].startTicks =
            ioIndex.hasGrid ? static_cast<std::int64_t>(rank) * step
                            : FloorTicks(inTimes[rank] - inTimes[0], mTimeBase.num, mTimeBase.den);
    }
    const std::int64_t start = ioIndex.frames.back().startTicks;
    if (ioIndex.hasGrid)
    {
        ioIndex.endTicks = static_cast<std::int64_t>(inTimes.size()) * step;
    }
    else
    {
        const std::int64_t length = inLastDuration > 0
                                        ? FloorTicks(inLastDuration, mTimeBase.num, mTimeBase.den)
                                        : FloorTicks(1, rate.den, rate.num);
        ioIndex.endTicks = start + std::max<std::int64_t>(length, 1);
    }
    ioIndex.Finish();
}

}
