#include "ReferenceHost/Session/TimelineMedia.h"

#include "ReferenceHost/Project/Otio/Bundle.h"
#include "norvik/utility/Strings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace Session
{

namespace
{

// A descriptor that is closed unless it is let go.
class Descriptor
{
public:
    explicit Descriptor(int inDescriptor) : mDescriptor(inDescriptor) {}
    ~Descriptor()
    {
        if (mDescriptor >= 0)
        {
            ::close(mDescriptor);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const { return mDescriptor; }
    bool IsOpen() const { return mDescriptor >= 0; }
    int Release()
    {
        const int descriptor = mDescriptor;
        mDescriptor = -1;
        return descriptor;
    }

private:
    int mDescriptor;
};

int OpenNamelessFile()
{
    const char* const given = std::getenv("TMPDIR");
    const std::string folder = given == nullptr || *given == '\0' ? "/tmp" : given;
    const int file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file >= 0 || errno != EOPNOTSUPP)
    {
        return file;
    }
    // Some file systems, layered ones among them, give a file no other way than by a name.
    std::string path = folder + "/vrender-XXXXXX";
    const int named = ::mkostemp(path.data(), O_CLOEXEC);
    if (named >= 0)
    {
        ::unlink(path.c_str());
    }
    return named;
}

// What is put where media is missing, of the size of a sequence; empty: the library's card.
BE::IMediaInfoRef StandIn(MissingMedia inMissing, const TVK::Rect& inRect)
{
    if (inMissing == MissingMedia::kCard)
    {
        return {};
    }
    Media::OpenError error;
    return Media::OpenMedia(fmt::format("color:#000000{}:size={}x{}",
                                        inMissing == MissingMedia::kBlack ? "ff" : "00", inRect.Width(),
                                        inRect.Height()),
                            Media::OpenOptions(), error);
}

void ReplaceInItem(Project::ProjectModel& ioProject, const BE::IMediaInfoRef& inStandIn,
                   Project::ClipItem& ioItem)
{
    const norvik::UTF8String name = norvik::utility::UTF16to8(ioItem.mMasterClip->GetName());
    const std::string text(name.begin(), name.end());
    ioItem.mMasterClip = ioProject.GetMasterClip(text, kMissingInstance + text);
    ioItem.mMedia = inStandIn;
}

} // namespace

TimelineMediaOpener::TimelineMediaOpener(const TimelineOptions& inOptions) : mOptions(inOptions) {}

TimelineMediaOpener::~TimelineMediaOpener()
{
    for (const int copy : mCopies)
    {
        ::close(copy);
    }
}

BE::IMediaInfoRef TimelineMediaOpener::Open(const Otio::LocatedMedia& inMedia, std::string& outError)
{
    Media::OpenOptions options;
    options.mDecoderThreads = mOptions.mDecoderThreads;
    options.mCacheBytes = mOptions.mPicturesBytes;
    options.mKeepsLeadIn = mOptions.mKeepsLeadIn;
    Otio::LocatedMedia media = inMedia;
    if (!inMedia.mEntry.empty() && inMedia.mSize == 0)
    {
        if (!Unpack(inMedia, media.mFile, outError))
        {
            return {};
        }
        media.mEntry.clear();
    }
    const BE::IMediaInfoRef opened = Import::OpenLocatedMedia(media, options, outError);
    if (opened && !opened->CreateSourceForStream(MF::kMediaType_Video, 0))
    {
        outError = inMedia.mWanted + ": holds no video";
        return {};
    }
    return opened;
}

// outPath: a name that this process can open as long as the opener holds the copy.
bool TimelineMediaOpener::Unpack(const Otio::LocatedMedia& inMedia, std::string& outPath,
                                 std::string& outError)
{
    Descriptor copy(OpenNamelessFile());
    std::string fault = copy.IsOpen() ? std::string() : std::strerror(errno);
    if (!copy.IsOpen() || !Otio::UnpackEntry(inMedia.mFile, inMedia.mEntry, copy.Get(), fault))
    {
        outError = fmt::format("{}: can't be unpacked from the archive: {}", inMedia.mWanted, fault);
        return false;
    }
    mCopies.reserve(mCopies.size() + 1);
    mCopies.push_back(copy.Release());
    outPath = fmt::format("/proc/self/fd/{}", mCopies.back());
    return true;
}

void ReplaceMissingMedia(Project::ProjectModel& ioProject, MissingMedia inMissing)
{
    for (const Project::SequenceRef& sequence : ioProject.GetSequences())
    {
        const BE::IMediaInfoRef standIn = StandIn(inMissing, sequence->GetFrameRect());
        for (std::size_t track = 0; track < sequence->GetTrackCount(); ++track)
        {
            for (const Project::ItemID id : sequence->GetItems(track))
            {
                Project::ClipItem item;
                const bool isMissing =
                    sequence->GetItem(id, item) && item.mMasterClip && !item.mMedia && !item.mSequence;
                if (isMissing)
                {
                    sequence->ChangeItem(id, [&](Project::ClipItem& ioItem)
                                         { ReplaceInItem(ioProject, standIn, ioItem); });
                }
            }
        }
    }
}

} // namespace Session
