#include "ReferenceHost/Project/Otio/Bundle.h"

#include "ReferenceHost/Project/Otio/Document.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <memory>
#include <system_error>
#include <unistd.h>
#include <zip.h>

namespace Otio
{

namespace
{

constexpr const char* kContentName = "content.otio";
constexpr zip_int64_t kMostEntries = 1000000;
constexpr std::size_t kCopyBytes = std::size_t{1} << 20;

struct ArchiveCloser
{
    void operator()(zip_t* inArchive) const noexcept { zip_discard(inArchive); }
};
struct EntryCloser
{
    void operator()(zip_file_t* inEntry) const noexcept { zip_fclose(inEntry); }
};
using ArchivePointer = std::unique_ptr<zip_t, ArchiveCloser>;

bool EndsWith(std::string_view inText, std::string_view inEnd)
{
    return inText.size() >= inEnd.size() && inText.substr(inText.size() - inEnd.size()) == inEnd;
}

std::uint64_t LittleEndian(const unsigned char* inBytes, int inCount)
{
    std::uint64_t value = 0;
    for (int index = inCount - 1; index >= 0; --index)
    {
        value = (value << 8) | inBytes[index];
    }
    return value;
}

// Where the bytes of entries begin, which the archive library doesn't tell: from the directory at the end of
// the archive to the header in front of each entry. The library has checked both by then.
class EntryPlaces
{
public:
    explicit EntryPlaces(const std::string& inPath) : mFile(inPath, std::ios::binary | std::ios::ate)
    {
        mSize = mFile ? static_cast<std::uint64_t>(mFile.tellg()) : 0;
    }

    // By name: those stored as they are, and the names of others.
    void Find(std::map<std::string, FilePart, std::less<>>& outPlaces,
              std::set<std::string, std::less<>>& outPacked)
    {
        std::uint64_t position = 0;
        std::uint64_t count = 0;
        if (!FindDirectory(position, count))
        {
            return;
        }
        for (std::uint64_t entry = 0; entry < count; ++entry)
        {
            std::array<unsigned char, 46> header{};
            if (!Read(position, header.data(), header.size()) || LittleEndian(header.data(), 4) != 0x02014b50)
            {
                break;
            }
            const std::uint64_t nameLength = LittleEndian(header.data() + 28, 2);
            const std::uint64_t extraLength = LittleEndian(header.data() + 30, 2);
            std::string rest(nameLength + extraLength, '\0');
            if (!Read(position + header.size(), rest.data(), rest.size()))
            {
                break;
            }
            const bool isStored =
                AddEntry(header.data(), rest.substr(0, nameLength), rest.substr(nameLength), outPlaces);
            if (!isStored && LittleEndian(header.data() + 10, 2) != 0)
            {
                outPacked.insert(rest.substr(0, nameLength));
            }
            position += header.size() + rest.size() + LittleEndian(header.data() + 32, 2);
        }
    }

private:
    bool Read(std::uint64_t inPosition, void* outBytes, std::size_t inSize)
    {
        if (inPosition > mSize || inSize > mSize - inPosition)
        {
            return false;
        }
        mFile.seekg(static_cast<std::streamoff>(inPosition));
        mFile.read(static_cast<char*>(outBytes), static_cast<std::streamsize>(inSize));
        return static_cast<bool>(mFile);
    }

    bool FindDirectory(std::uint64_t& outPosition, std::uint64_t& outCount)
    {
        constexpr std::uint64_t kRecord = 22;
        const std::uint64_t tail = std::min<std::uint64_t>(mSize, kRecord + 65535);
        std::string bytes(tail, '\0');
        if (tail < kRecord || !Read(mSize - tail, bytes.data(), bytes.size()))
        {
            return false;
        }
        const std::size_t found = bytes.rfind("PK\x05\x06", tail - kRecord);
        if (found == std::string::npos)
        {
            return false;
        }
        const auto* const record = reinterpret_cast<const unsigned char*>(bytes.data() + found);
        outCount = LittleEndian(record + 10, 2);
        outPosition = LittleEndian(record + 16, 4);
        return (outPosition != 0xffffffff && outCount != 0xffff) ||
               FindLargeDirectory(mSize - tail + found, outPosition, outCount);
    }

    // The record of archives beyond 4 GiB.
    bool FindLargeDirectory(std::uint64_t inRecord, std::uint64_t& outPosition, std::uint64_t& outCount)
    {
        std::array<unsigned char, 20> locator{};
        std::array<unsigned char, 56> record{};
        if (inRecord < locator.size() || !Read(inRecord - locator.size(), locator.data(), locator.size()) ||
            LittleEndian(locator.data(), 4) != 0x07064b50 ||
            !Read(LittleEndian(locator.data() + 8, 8), record.data(), record.size()) ||
            LittleEndian(record.data(), 4) != 0x06064b50)
        {
            return false;
        }
        outCount = LittleEndian(record.data() + 32, 8);
        outPosition = LittleEndian(record.data() + 48, 8);
        return true;
    }

    bool AddEntry(const unsigned char* inHeader, const std::string& inName, const std::string& inExtra,
                  std::map<std::string, FilePart, std::less<>>& ioPlaces)
    {
        const bool isEncrypted = (LittleEndian(inHeader + 8, 2) & 1) != 0;
        std::uint64_t packed = LittleEndian(inHeader + 20, 4);
        std::uint64_t size = LittleEndian(inHeader + 24, 4);
        std::uint64_t offset = LittleEndian(inHeader + 42, 4);
        ReadLargeNumbers(inExtra, size, packed, offset);
        std::array<unsigned char, 30> local{};
        if (isEncrypted || LittleEndian(inHeader + 10, 2) != 0 || packed != size ||
            !Read(offset, local.data(), local.size()) || LittleEndian(local.data(), 4) != 0x04034b50)
        {
            return false;
        }
        const std::uint64_t start =
            offset + local.size() + LittleEndian(local.data() + 26, 2) + LittleEndian(local.data() + 28, 2);
        const bool isThere = size > 0 && start <= mSize && size <= mSize - start;
        if (isThere)
        {
            ioPlaces.try_emplace(inName, FilePart{start, size});
        }
        return isThere;
    }

    // Numbers that don't fit 32 bits follow in a field of their own, in this order.
    static void ReadLargeNumbers(std::string_view inExtra, std::uint64_t& ioSize, std::uint64_t& ioPacked,
                                 std::uint64_t& ioOffset)
    {
        while (inExtra.size() >= 4)
        {
            const auto* const bytes = reinterpret_cast<const unsigned char*>(inExtra.data());
            const std::size_t length = static_cast<std::size_t>(LittleEndian(bytes + 2, 2));
            if (length + 4 > inExtra.size())
            {
                return;
            }
            if (LittleEndian(bytes, 2) == 1)
            {
                std::size_t at = 4;
                for (std::uint64_t* number : {&ioSize, &ioPacked, &ioOffset})
                {
                    if (*number == 0xffffffff && at + 8 <= length + 4)
                    {
                        *number = LittleEndian(bytes + at, 8);
                        at += 8;
                    }
                }
                return;
            }
            inExtra.remove_prefix(length + 4);
        }
    }

    std::ifstream mFile;
    std::uint64_t mSize = 0;
};

}

bool Bundle::Open(const std::string& inPath, ProblemList& ioProblems)
{
    mPath = inPath;
    std::error_code fault;
    if (std::filesystem::is_directory(inPath, fault))
    {
        mKind = BundleKind::kFolder;
        mFolder = inPath;
        return ReadTextFile(inPath + "/" + kContentName, ioProblems);
    }
    if (EndsWith(inPath, ".otioz"))
    {
        mKind = BundleKind::kArchive;
        return OpenArchive(ioProblems);
    }
    mFolder = std::filesystem::path(inPath).parent_path().string();
    return ReadTextFile(inPath, ioProblems);
}

bool Bundle::FindEntry(std::string_view inName, FilePart& outPart) const
{
    const auto found = mEntries.find(inName);
    if (found == mEntries.end())
    {
        return false;
    }
    outPart = found->second;
    return true;
}

bool Bundle::HasPackedEntry(std::string_view inName) const
{
    return mPacked.find(inName) != mPacked.end();
}

std::vector<NamedPart> Bundle::FindEntries(const std::string& inFolder, std::string_view inPrefix,
                                           std::string_view inSuffix) const
{
    const std::string folder = inFolder.empty() || inFolder.back() == '/' ? inFolder : inFolder + "/";
    const std::string beginning = folder + std::string(inPrefix);
    std::vector<NamedPart> parts;
    for (auto entry = mEntries.lower_bound(beginning); entry != mEntries.end(); ++entry)
    {
        const std::string& name = entry->first;
        if (name.compare(0, beginning.size(), beginning) != 0)
        {
            break;
        }
        if (name.find('/', folder.size()) == std::string::npos && EndsWith(name, inSuffix))
        {
            parts.push_back({name.substr(folder.size()), entry->second.mOffset, entry->second.mSize});
        }
    }
    return parts;
}

bool Bundle::IsInside(const std::string& inPath) const
{
    // Files elsewhere were chosen by the user, in a media folder or by a mapping.
    if (mKind != BundleKind::kFolder || inPath.compare(0, mFolder.size() + 1, mFolder + "/") != 0)
    {
        return true;
    }
    std::error_code fault;
    const std::filesystem::path folder = std::filesystem::canonical(mFolder, fault);
    const std::filesystem::path file = fault ? folder : std::filesystem::canonical(inPath, fault);
    const auto [end, rest] = std::mismatch(folder.begin(), folder.end(), file.begin(), file.end());
    return !fault && end == folder.end();
}

bool Bundle::ReadTextFile(const std::string& inPath, ProblemList& ioProblems)
{
    std::ifstream file(inPath, std::ios::binary | std::ios::ate);
    const std::streamoff size = file ? static_cast<std::streamoff>(file.tellg()) : -1;
    std::error_code fault;
    if (size < 0 || std::filesystem::is_directory(inPath, fault))
    {
        ioProblems.Fail("unreadable", "", fmt::format("\"{}\" can't be read", inPath));
        return false;
    }
    if (static_cast<std::uint64_t>(size) > kMostBytes)
    {
        ioProblems.Fail("too-large", "", fmt::format("\"{}\" is longer than {} bytes", inPath, kMostBytes));
        return false;
    }
    mText.resize(static_cast<std::size_t>(size));
    file.seekg(0);
    file.read(mText.data(), size);
    if (!file)
    {
        ioProblems.Fail("unreadable", "", fmt::format("\"{}\" can't be read to its end", inPath));
        return false;
    }
    return true;
}

bool Bundle::OpenArchive(ProblemList& ioProblems)
{
    const auto fail = [&](const char* inKind, const std::string& inText)
    {
        ioProblems.Fail(inKind, "", fmt::format("\"{}\" {}", mPath, inText));
        return false;
    };
    int fault = 0;
    const ArchivePointer archive(zip_open(mPath.c_str(), ZIP_RDONLY, &fault));
    if (archive == nullptr)
    {
        zip_error_t error;
        zip_error_init_with_code(&error, fault);
        const std::string text = zip_error_strerror(&error);
        zip_error_fini(&error);
        return fail("unreadable", "is no archive that can be read: " + text);
    }
    if (zip_get_num_entries(archive.get(), 0) > kMostEntries)
    {
        return fail("too-large", fmt::format("has more than {} entries", kMostEntries));
    }
    zip_stat_t facts;
    zip_stat_init(&facts);
    if (zip_stat(archive.get(), kContentName, 0, &facts) != 0 || (facts.valid & ZIP_STAT_SIZE) == 0)
    {
        return fail("no-timeline", fmt::format("holds no {}", kContentName));
    }
    if (facts.size > kMostBytes)
    {
        return fail("too-large", fmt::format("holds a document longer than {} bytes", kMostBytes));
    }
    const std::unique_ptr<zip_file_t, EntryCloser> entry(zip_fopen(archive.get(), kContentName, 0));
    mText.resize(static_cast<std::size_t>(facts.size));
    if (entry == nullptr ||
        zip_fread(entry.get(), mText.data(), facts.size) != static_cast<zip_int64_t>(facts.size))
    {
        return fail("unreadable", fmt::format("has a damaged {}", kContentName));
    }
    EntryPlaces(mPath).Find(mEntries, mPacked);
    return true;
}

bool UnpackEntry(const std::string& inPath, const std::string& inName, int inFile, std::string& outError)
{
    const ArchivePointer archive(zip_open(inPath.c_str(), ZIP_RDONLY, nullptr));
    const std::unique_ptr<zip_file_t, EntryCloser> entry(
        archive == nullptr ? nullptr : zip_fopen(archive.get(), inName.c_str(), ZIP_FL_ENC_RAW));
    if (entry == nullptr)
    {
        outError = archive == nullptr ? "the archive can't be read" : zip_strerror(archive.get());
        return false;
    }
    std::vector<char> buffer(kCopyBytes);
    for (std::uint64_t done = 0;;)
    {
        const zip_int64_t got = zip_fread(entry.get(), buffer.data(), buffer.size());
        done += got > 0 ? static_cast<std::uint64_t>(got) : 0;
        if (got < 0 || done > kMostUnpackedBytes)
        {
            outError = got < 0 ? zip_file_strerror(entry.get())
                               : fmt::format("it is longer than {} bytes", kMostUnpackedBytes);
            return false;
        }
        if (got == 0 || ::write(inFile, buffer.data(), static_cast<std::size_t>(got)) != got)
        {
            outError = got == 0 ? std::string() : std::strerror(errno);
            return got == 0;
        }
    }
}

}
