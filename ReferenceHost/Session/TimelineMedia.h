#pragma once

#include "ReferenceHost/Project/Import/DocumentImport.h"
#include "ReferenceHost/Session/TimelineFile.h"

#include <cstddef>
#include <string>
#include <vector>

// Opens the media of one timeline, and puts others where it is missing.
//
// Media that lies in an archive is read there. What is packed in it is unpacked first, to a file without a name,
// which is gone with the opener.
//
// Ownership: the opener outlives the media that it gave.
//
// Thread-safety: one thread at a time.
namespace Session
{

class TimelineMediaOpener final : public Import::IMediaOpener
{
public:
    explicit TimelineMediaOpener(const TimelineOptions& inOptions);
    ~TimelineMediaOpener() override;
    TimelineMediaOpener(const TimelineMediaOpener&) = delete;
    TimelineMediaOpener& operator=(const TimelineMediaOpener&) = delete;

    BE::IMediaInfoRef Open(const Otio::LocatedMedia& inMedia, std::string& outError) override;

private:
    bool Unpack(const Otio::LocatedMedia& inMedia, std::string& outPath, std::string& outError);

    const TimelineOptions mOptions;
    std::vector<int> mCopies; // descriptors
};

// What the instance text of a master clip begins with whose media is missing.
inline constexpr const char* kMissingInstance = "missing:";

// Names the media of all clips without any as missing, and has them show inMissing, as large as their sequence.
void ReplaceMissingMedia(Project::ProjectModel& ioProject, MissingMedia inMissing);

} // namespace Session
