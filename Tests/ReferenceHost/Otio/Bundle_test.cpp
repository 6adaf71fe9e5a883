#include "ReferenceHost/Project/Otio/Bundle.h"
#include "ReferenceHost/Project/Otio/FileLocator.h"

#include "Tests/ReferenceHost/Otio/DocumentText.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <zip.h>

namespace
{

using Otio::Bundle;
using Otio::BundleKind;

class Bundles : public testing::Test
{
protected:
    void SetUp() override
    {
        const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
        mRoot = std::filesystem::temp_directory_path() /
                ("otio-bundles-" + std::to_string(::getpid()) + "-" + test->name());
        std::filesystem::create_directories(mRoot);
    }
    void TearDown() override { std::filesystem::remove_all(mRoot); }

    std::string At(const std::string& inName) const { return (mRoot / inName).string(); }

    void Write(const std::string& inName, const std::string& inText) const
    {
        std::filesystem::create_directories((mRoot / inName).parent_path());
        std::ofstream(mRoot / inName, std::ios::binary) << inText;
    }

    // An archive of texts, the document packed and media as they are, unless inPacksAll.
    void WriteArchive(const std::string& inName,
                      const std::vector<std::pair<std::string, std::string>>& inEntries,
                      bool inPacksAll = false) const
    {
        int fault = 0;
        zip_t* const archive = zip_open(At(inName).c_str(), ZIP_CREATE | ZIP_TRUNCATE, &fault);
        ASSERT_NE(archive, nullptr);
        for (const auto& [name, text] : inEntries)
        {
            zip_source_t* const source = zip_source_buffer(archive, text.data(), text.size(), 0);
            const zip_int64_t index = zip_file_add(archive, name.c_str(), source, ZIP_FL_ENC_UTF_8);
            ASSERT_GE(index, 0);
            zip_set_file_compression(archive, static_cast<zip_uint64_t>(index),
                                     inPacksAll || name == "content.otio" ? ZIP_CM_DEFLATE : ZIP_CM_STORE, 0);
        }
        ASSERT_EQ(zip_close(archive), 0);
    }

    bool Unpack(const std::string& inName, const std::string& inEntry, std::string& outError) const
    {
        const int file = ::open(At("unpacked").c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
        const bool isDone = Otio::UnpackEntry(At(inName), inEntry, file, outError);
        ::close(file);
        return isDone;
    }

    std::string BytesOf(const std::string& inName, const Otio::FilePart& inPart) const
    {
        std::ifstream file(mRoot / inName, std::ios::binary);
        std::string bytes(inPart.mSize, '\0');
        file.seekg(static_cast<std::streamoff>(inPart.mOffset));
        file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return bytes;
    }

    std::filesystem::path mRoot;
};

TEST_F(Bundles, AreNotNeeded)
{
    Write("edit.otio", "text");
    Bundle bundle;
    Otio::ProblemList problems;
    ASSERT_TRUE(bundle.Open(At("edit.otio"), problems));
    EXPECT_EQ(bundle.Text(), "text");
    EXPECT_EQ(bundle.Kind(), BundleKind::kPlainFile);
    EXPECT_EQ(bundle.Folder(), mRoot.string());
}

TEST_F(Bundles, ThatAreNotThereAreErrors)
{
    for (const char* name : {"none.otio", "none.otioz", "none.otiod"})
    {
        Bundle bundle;
        Otio::ProblemList problems;
        EXPECT_FALSE(bundle.Open(At(name), problems)) << name;
        EXPECT_TRUE(problems.Has("unreadable")) << name;
    }
    std::filesystem::create_directories(mRoot / "empty.otiod");
    Bundle bundle;
    Otio::ProblemList problems;
    EXPECT_FALSE(bundle.Open(At("empty.otiod"), problems));
    EXPECT_TRUE(problems.Has("unreadable"));
}

TEST_F(Bundles, OfFoldersHoldTheirMedia)
{
    Write("edit.otiod/content.otio", "text");
    Write("edit.otiod/media/a b.mov", "x");
    Write("outside.mov", "x");
    std::filesystem::create_symlink(mRoot / "outside.mov", mRoot / "edit.otiod/media/link.mov");
    Bundle bundle;
    Otio::ProblemList problems;
    ASSERT_TRUE(bundle.Open(At("edit.otiod"), problems));
    EXPECT_EQ(bundle.Text(), "text");
    Otio::FileLocator locator({}, bundle, {});
    Otio::MediaReference reference;
    reference.mKind = Otio::MediaKind::kFile;
    reference.mUrl = "media/a%20b.mov";
    EXPECT_EQ(locator.Locate(reference, "/x", problems).mFile, At("edit.otiod/media/a b.mov"));
    EXPECT_TRUE(problems.Problems().empty());
    for (const char* url : {"media/link.mov", "../outside.mov", "media/../../outside.mov"})
    {
        reference.mUrl = url;
        EXPECT_EQ(locator.Locate(reference, "/x", problems).mKind, Otio::MediaKind::kMissing) << url;
    }
    EXPECT_EQ(problems.WarningCount(), 3u);
}

TEST_F(Bundles, OfArchivesHoldTheirMediaWhereItLies)
{
    const std::string movie(100000, 'm');
    WriteArchive("edit.otioz", {{"version.txt", "1.0.0"},
                                {"content.otio", "the document"},
                                {"media/a b.mov", movie},
                                {"media/short.mov", "short"}});
    Bundle bundle;
    Otio::ProblemList problems;
    ASSERT_TRUE(bundle.Open(At("edit.otioz"), problems));
    EXPECT_EQ(bundle.Text(), "the document");
    Otio::FilePart part;
    ASSERT_TRUE(bundle.FindEntry("media/a b.mov", part));
    EXPECT_EQ(BytesOf("edit.otioz", part), movie);
    ASSERT_TRUE(bundle.FindEntry("media/short.mov", part));
    EXPECT_EQ(BytesOf("edit.otioz", part), "short");
    EXPECT_FALSE(bundle.FindEntry("media/none.mov", part));

    Otio::FileLocator locator({}, bundle, {});
    Otio::MediaReference reference;
    reference.mKind = Otio::MediaKind::kFile;
    reference.mUrl = "media/a%20b.mov";
    const Otio::LocatedMedia media = locator.Locate(reference, "/x", problems);
    EXPECT_EQ(media.mFile, At("edit.otioz"));
    EXPECT_EQ(media.mSize, movie.size());
    reference.mUrl = "../edit.otioz";
    EXPECT_EQ(locator.Locate(reference, "/x", problems).mKind, Otio::MediaKind::kMissing);
}

TEST_F(Bundles, PackedMediaOfArchivesIsUnpacked)
{
    std::string movie;
    for (int number = 0; number < 400000; ++number)
    {
        movie += std::to_string(number);
    }
    WriteArchive("edit.otioz", {{"content.otio", "text"}, {"media/a.mov", movie}}, true);
    Bundle bundle;
    Otio::ProblemList problems;
    ASSERT_TRUE(bundle.Open(At("edit.otioz"), problems));
    Otio::FilePart part;
    EXPECT_FALSE(bundle.FindEntry("media/a.mov", part));
    EXPECT_TRUE(bundle.HasPackedEntry("media/a.mov"));
    EXPECT_FALSE(bundle.HasPackedEntry("media/b.mov"));
    Otio::FileLocator locator({}, bundle, {});
    Otio::MediaReference reference;
    reference.mKind = Otio::MediaKind::kFile;
    reference.mUrl = "media/a.mov";
    const Otio::LocatedMedia media = locator.Locate(reference, "/x", problems);
    EXPECT_EQ(media.mEntry, "media/a.mov");
    EXPECT_EQ(media.mSize, 0u);
    std::string error;
    EXPECT_TRUE(Unpack("edit.otioz", "media/a.mov", error)) << error;
    EXPECT_EQ(BytesOf("unpacked", {0, std::filesystem::file_size(mRoot / "unpacked")}), movie);
    EXPECT_FALSE(Unpack("edit.otioz", "media/b.mov", error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(Unpack("none.otioz", "media/a.mov", error));
    EXPECT_FALSE(Otio::UnpackEntry(At("edit.otioz"), "media/a.mov", -1, error)) << "no file to write";
    // Damaged in the middle of its stream.
    std::string bytes = BytesOf("edit.otioz", {0, std::filesystem::file_size(mRoot / "edit.otioz")});
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 0x55);
    Write("damaged.otioz", bytes);
    error.clear();
    EXPECT_FALSE(Unpack("damaged.otioz", "media/a.mov", error));
    EXPECT_FALSE(error.empty());
}

TEST_F(Bundles, OfArchivesHoldImagesOfSequences)
{
    WriteArchive("edit.otioz", {{"content.otio", "text"},
                                {"seq/a1.png", "one"},
                                {"seq/a2.png", "two"},
                                {"seq/b3.png", "x"},
                                {"seq/a4.jpg", "x"},
                                {"seq/a/5.png", "x"},
                                {"a6.png", "six"}});
    Bundle bundle;
    Otio::ProblemList problems;
    ASSERT_TRUE(bundle.Open(At("edit.otioz"), problems));
    Otio::FileLocator locator({}, bundle, {});
    Otio::MediaReference reference;
    reference.mKind = Otio::MediaKind::kImageSequence;
    reference.mImages.mPrefix = "a";
    reference.mImages.mSuffix = ".png";
    for (const char* const folder : {"seq", "seq/"})
    {
        reference.mUrl = folder;
        const Otio::LocatedMedia media = locator.Locate(reference, "/x", problems);
        EXPECT_EQ(media.mKind, Otio::MediaKind::kImageSequence);
        ASSERT_EQ(media.mParts.size(), 2u);
        EXPECT_EQ(media.mParts[0].mName, "a1.png");
        EXPECT_EQ(media.mParts[1].mName, "a2.png");
        EXPECT_EQ(BytesOf("edit.otioz", {media.mParts[1].mOffset, media.mParts[1].mSize}), "two");
    }
    reference.mUrl = "";
    EXPECT_EQ(locator.Locate(reference, "/x", problems).mParts.size(), 1u);
    reference.mUrl = "none";
    EXPECT_EQ(locator.Locate(reference, "/x", problems).mKind, Otio::MediaKind::kMissing);
}

TEST_F(Bundles, WithoutADocumentAreErrors)
{
    WriteArchive("edit.otioz", {{"other.otio", "text"}});
    Write("broken.otioz", "PK\x03\x04 and nothing more");
    Bundle bundle;
    Otio::ProblemList problems;
    EXPECT_FALSE(bundle.Open(At("edit.otioz"), problems));
    EXPECT_TRUE(problems.Has("no-timeline"));
    EXPECT_FALSE(bundle.Open(At("broken.otioz"), problems));
    EXPECT_TRUE(problems.Has("unreadable"));
}

TEST_F(Bundles, OfArchivesThatWereCutOrChangedNeverLeadOutsideOfThem)
{
    WriteArchive("edit.otioz", {{"content.otio", "text"}, {"media/a.mov", std::string(500, 'm')}});
    std::string bytes = BytesOf("edit.otioz", {0, std::filesystem::file_size(mRoot / "edit.otioz")});
    for (std::size_t place = 0; place < bytes.size(); place += 7)
    {
        std::string changed = bytes;
        changed[place] = static_cast<char>(changed[place] ^ 0x81);
        Write("changed.otioz", place % 2 == 0 ? changed : bytes.substr(0, place));
        Bundle bundle;
        Otio::ProblemList problems;
        Otio::FilePart part;
        if (bundle.Open(At("changed.otioz"), problems) && bundle.FindEntry("media/a.mov", part))
        {
            EXPECT_LE(part.mOffset + part.mSize, bytes.size());
        }
    }
}

TEST(Generators, AreTextsOfSyntheticMedia)
{
    Otio::MediaReference reference;
    const auto text = [&](const char* inKind)
    {
        reference.mGenerator = inKind;
        return Otio::GeneratorText(reference);
    };
    EXPECT_EQ(text("SMPTEBars"), "bars:");
    EXPECT_EQ(text("black"), "color:#000000");
    EXPECT_EQ(text("Solid Color"), "color:#000000");
    EXPECT_EQ(text("vrender:bars"), "bars:");
    EXPECT_EQ(text("Rich Text"), "");
    Otio::Parameter color;
    color.mName = "color";
    color.mValue = std::vector<Otio::Scalar>{1.0, 0.5, 0.0};
    reference.mParameters = {color};
    EXPECT_EQ(text("Solid Color"), "color:#ff8000");
    reference.mParameters[0].mValue = std::string("#ff8000");
    EXPECT_EQ(text("Solid Color"), "color:#ff8000");
    reference.mParameters = {{0, "size", std::string("64x48")}, {0, "rate", std::string("50")}};
    EXPECT_EQ(text("vrender:counter"), "counter:size=64x48:rate=50");
}

}
