// How much of each frame of a stream is seen in one frame of a sequence that plays it at another speed.
//
// A sample is what a stream shows at a moment of its own time, as seen by one field of the output. Frame k
// of a stream of T ticks a frame is shown from k T up to, but not at, (k + 1) T. All times are of the media.
//
// Thread-safety: pure functions.
#pragma once

#include "MF/FrameTime.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace MF
{

// The sample's time, and the field of the output that it is for. Ordered by time, then field.
using SampleKey = std::pair<norviktypes::TickTime, norviktypes::FieldType>;
using WeightedSample = std::pair<SampleKey, double>;
using WeightedSamples = std::vector<WeightedSample>;

// No range has more samples than this, whatever the speed: each of them is a frame in memory, and one in a
// hundred cannot be told from one in a thousand.
inline constexpr std::size_t kMostSamplesOfRange = 128;

// outFrameDuration: of one source frame. The spans: how much of the media each field of the output plays,
//
//   span = |speed| * d,  d = ticks of the sequence's frame, or half of them where inFrameTime has fields,
//
// rounded to the nearest tick. inFrameTime is asked for its order alone: it tells moments of the media,
// which are apart by the speed already. Both spans are equal, as fields are. A rate on which no frames can
// be counted is 0 ticks, as is a speed that is no number; no span is longer than kTime_Max.
void CalculateDurationsInMediaTime(const norviktypes::FrameRate& inSourceRate,
                                   const norviktypes::FrameRate& inSequenceRate, const FrameTime& inFrameTime,
                                   double inSpeed, norviktypes::TickTime& outFrameDuration,
                                   norviktypes::TickTime& outFirstFieldSpan,
                                   norviktypes::TickTime& outSecondFieldSpan) noexcept;

// Appends the samples shown from inStart up to inEnd, in the order of time, each at the start of its frame,
// with inFieldType and its covered share of the range:
//
//   weight of k = (min(inEnd, (k + 1) T) - max(inStart, k T)) / (inEnd - inStart)
//
// An empty range is the one moment inStart. Where the range has more than kMostSamplesOfRange frames, every
// m-th is a sample and stands for m, with the least m that will do. Without a rate on which frames can be
// counted, inStart is the one sample.
void GetWeightedSamplesForRange(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                                const norviktypes::FrameRate& inRate, norviktypes::FieldType inFieldType,
                                WeightedSamples& ioSamples);

// Scales the weights to a sum of 1. A sum that is 0 or no number leaves them.
void NormalizeSampleWeights(WeightedSamples& ioSamples) noexcept;

// The two samples around each time: the one shown then, and the one after it. Without a rate on which frames
// can be counted both are the time itself.
void GetSamplesAroundTime(const FrameTime& inTime, const norviktypes::FrameRate& inRate,
                          norviktypes::TickTime& outFirstBefore, norviktypes::TickTime& outFirstAfter,
                          norviktypes::TickTime& outSecondBefore,
                          norviktypes::TickTime& outSecondAfter) noexcept;

// The share of inAfter at inTime, (time - before) / (after - before), held between 0 and 1; 0 where the two
// are not apart.
float CalculateSampleWeight(const norviktypes::TickTime& inTime, const norviktypes::TickTime& inBefore,
                            const norviktypes::TickTime& inAfter) noexcept;

} // namespace MF
