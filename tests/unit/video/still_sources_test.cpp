// The two sources that stand in for the camera.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/unit/video/logged_lines.h"
#include "video/VideoStreamSource.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;
using testing::IsEmpty;
using video_test::loggedLines;

class StillSources : public testing::Test {
  protected:
    StillSources() { video_test::forgetLog(); }

    /// A file of a picture's bytes, 0, 1, 2, ...
    std::string fileOf(std::size_t bytes) {
        std::string content(bytes, '\0');
        for (std::size_t i = 0; i < bytes; ++i) {
            content[i] = static_cast<char>(i);
        }
        testing_support::writeFile(m_dir / "picture.rgb", content);
        return m_dir / "picture.rgb";
    }

    /// How many files this process holds open.
    static std::ptrdiff_t openFiles() {
        using Entries = std::filesystem::directory_iterator;
        return std::distance(Entries("/proc/self/fd"), Entries());
    }

    testing_support::TempDir m_dir;
};

TEST_F(StillSources, TheConstantSourceFills18BytesFor2x3) {
    ConstantStreamSource source(7);
    Bytes rgb(19, 0xA5);
    EXPECT_TRUE(source.getFrame(2, 3, 0, rgb.data()));
    Bytes expected(18, 7);
    expected.push_back(0xA5);
    EXPECT_EQ(rgb, expected);
}

TEST_F(StillSources, TheConstantSourceIgnoresTheRotation) {
    ConstantStreamSource source(255);
    for (const int rotation : {90, 180, 270, 45}) {
        Bytes rgb(18, 0);
        EXPECT_TRUE(source.getFrame(3, 2, rotation, rgb.data()));
        EXPECT_EQ(rgb, Bytes(18, 255));
    }
}

TEST_F(StillSources, TheConstantSourceWritesNothingForAnEmptySize) {
    ConstantStreamSource source(7);
    Bytes rgb(3, 0xA5);
    EXPECT_TRUE(source.getFrame(0, 1, 0, rgb.data()));
    EXPECT_TRUE(source.getFrame(-1, -1, 0, rgb.data()));
    EXPECT_EQ(rgb, Bytes(3, 0xA5));
}

TEST_F(StillSources, AllSourcesAreCleanAtFirstAndDirtyWhenToldSo) {
    ConstantStreamSource source(7);
    EXPECT_FALSE(source.m_dirty);
    source.setDirty();
    EXPECT_TRUE(source.m_dirty);
    Bytes rgb(3);
    EXPECT_TRUE(source.getFrame(1, 1, 0, rgb.data()));
    EXPECT_TRUE(source.m_dirty) << "only the camera's source has use for the flag";
}

TEST_F(StillSources, TheFileSourceHandsOutTheFilesBytesWhateverTheRotation) {
    ImageFromBinaryFileSource source(2, 3, fileOf(18));
    EXPECT_EQ(source.m_imageHeight, 2);
    EXPECT_EQ(source.m_imageWidth, 3);
    for (const int rotation : {0, 90, 180, 270}) {
        Bytes rgb(19, 0xA5);
        EXPECT_TRUE(source.getFrame(2, 3, rotation, rgb.data()));
        EXPECT_EQ(rgb, (Bytes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 0xA5}));
    }
    EXPECT_THAT(loggedLines(), IsEmpty());
}

TEST_F(StillSources, TheFileSourceReadsNoMoreThanThePicture) {
    ImageFromBinaryFileSource source(1, 1, fileOf(100));
    Bytes rgb(3);
    EXPECT_TRUE(source.getFrame(1, 1, 0, rgb.data()));
    EXPECT_EQ(rgb, (Bytes{0, 1, 2}));
    EXPECT_THAT(loggedLines(), IsEmpty());
}

TEST_F(StillSources, TheFileSourceRefusesAnyOtherSizeAndLogsBoth) {
    // 640 rows of 480 pixels, asked for 480 rows of 640 pixels.
    ImageFromBinaryFileSource source(640, 480, fileOf(640 * 480 * 3));
    Bytes rgb(3, 0xA5);
    EXPECT_FALSE(source.getFrame(480, 640, 0, rgb.data()));
    EXPECT_THAT(
        loggedLines(),
        ElementsAre("error: getFrame: ImageFromBinaryFileSource::getFrame mismatch in image "
                    "dimensions. Expect 480 == 640 and 640 == 480"));
    EXPECT_FALSE(source.getFrame(640, 481, 0, rgb.data()));
    EXPECT_FALSE(source.getFrame(639, 480, 0, rgb.data()));
    EXPECT_EQ(rgb, Bytes(3, 0xA5));
}

TEST_F(StillSources, AFileThatCannotBeOpenedIsLoggedAndGivesABlackPicture) {
    const std::string path = m_dir / "missing.rgb";
    ImageFromBinaryFileSource source(1, 2, path);
    EXPECT_THAT(loggedLines(), ElementsAre("error: ImageFromBinaryFileSource: Failed to open " +
                                           path + ": No such file or directory"));
    Bytes rgb(6, 0xA5);
    EXPECT_TRUE(source.getFrame(1, 2, 0, rgb.data()));
    EXPECT_EQ(rgb, Bytes(6, 0));
}

TEST_F(StillSources, AFileThatEndsEarlyIsLoggedAndItsMissingBytesAreBlack) {
    const std::string path = fileOf(4);
    ImageFromBinaryFileSource source(1, 2, path);
    EXPECT_THAT(loggedLines(),
                ElementsAre("error: ImageFromBinaryFileSource: " + path + " holds 4 of 6 bytes"));
    Bytes rgb(6, 0xA5);
    EXPECT_TRUE(source.getFrame(1, 2, 0, rgb.data()));
    EXPECT_EQ(rgb, (Bytes{0, 1, 2, 3, 0, 0}));
}

TEST_F(StillSources, AFolderInPlaceOfTheFileIsAFileWithoutBytes) {
    const std::string path = m_dir.path();
    ImageFromBinaryFileSource source(1, 1, path);
    EXPECT_THAT(loggedLines(),
                ElementsAre("error: ImageFromBinaryFileSource: " + path + " holds 0 of 3 bytes"));
}

TEST_F(StillSources, TheFileIsClosedOnceItIsRead) {
    const std::string path = fileOf(3);
    const std::ptrdiff_t before = openFiles();
    ImageFromBinaryFileSource source(1, 1, path);
    EXPECT_EQ(openFiles(), before);
}

} // namespace
