// Feeds any bytes to the reader of documents, all the way to a timeline. What it looks for are crashes, sanitizer
// reports, hangs, and memory beyond all proportion; problems of documents are what the reader is for.
//
//     cmake --preset fuzz && cmake --build --preset fuzz
//     build/fuzz/bin/Otio_fuzz -max_len=65536 -rss_limit_mb=2048 new-finds Fuzzers/Corpus/Otio \
//         Tests/ReferenceHost/Otio/Documents

#include "ReferenceHost/Project/Otio/Resolve.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace
{

// A world in which every file is there, and each tells something else.
class AnyMedia final : public Otio::IMediaLocator
{
public:
    Otio::LocatedMedia Locate(const Otio::MediaReference& inReference, const std::string&,
                              Otio::ProblemList&) override
    {
        Otio::LocatedMedia media;
        media.mKind = inReference.mKind;
        media.mFile = inReference.mUrl;
        media.mImages = inReference.mImages;
        return media;
    }
    bool GetFacts(const Otio::LocatedMedia& inMedia, Otio::MediaFacts& outFacts) override
    {
        const std::size_t size = inMedia.mFile.size();
        outFacts.mDuration = norviktypes::TickTime(static_cast<std::int64_t>(size) * 10584000000);
        outFacts.mStartTimecode = outFacts.mDuration * static_cast<int>(size % 3);
        outFacts.mRate = norviktypes::FrameRate::FromRational(static_cast<std::int64_t>(size % 60), 1);
        return size % 5 != 1;
    }
};

}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inBytes, std::size_t inSize)
{
    if (inSize == 0)
    {
        return 0;
    }
    Otio::DocumentOptions options;
    options.mOutOfRange = static_cast<Otio::OutOfRange>(inBytes[inSize - 1] % 3);
    Otio::ProblemList problems;
    const std::string_view text(reinterpret_cast<const char*>(inBytes), inSize);
    const Otio::Document document = Otio::ReadDocument(text, problems);
    for (const Otio::TimelineObject& timeline : document.mTimelines)
    {
        AnyMedia media;
        Otio::ResolveTimeline(document, timeline, options, media, problems);
    }
    return 0;
}
