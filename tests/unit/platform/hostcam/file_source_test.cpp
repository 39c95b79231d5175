#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include "platform/hostcam/video_source.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/platform/host_camera.h"
#include "tests/unit/platform/media_files.h"

namespace {

using hostcam::Config;
using hostcam::FrameRequest;
using hostcam::Size;
using hostcam::SourceError;
using hostcam::VideoSource;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing_support::TempDir;

constexpr Size kSize{64, 36};

class FileSourceTest : public testing::Test {
  protected:
    [[nodiscard]] std::string path(const std::string& name) const {
        return (m_dir / name).string();
    }

    std::unique_ptr<VideoSource> open(const std::string& source, bool loop = true) {
        Config config;
        config.source = source;
        config.loop = loop;
        return hostcam::openSource(config);
    }

    /// The error that opening gives.
    SourceError errorOf(const std::string& source) {
        try {
            static_cast<void>(open(source));
            return {SourceError::Kind::NoData, "it was opened"};
        } catch (const SourceError& problem) {
            return problem;
        }
    }

    static int greyAt(VideoSource& source, std::uint64_t frame, double rate = 25,
                      milliseconds budget = milliseconds(60'000)) {
        const FrameRequest request{frame, static_cast<double>(frame) / rate, budget};
        const auto picture = source.imageAt(request)->picture(kSize);
        return picture->data()[picture->pitch() * 18 + 32];
    }

    /// What is shown at the frames 0 to count - 1.
    static std::vector<int> greys(VideoSource& source, std::uint64_t count, double rate = 25) {
        std::vector<int> shown;
        for (std::uint64_t frame = 0; frame < count; ++frame) {
            shown.push_back(greyAt(source, frame, rate));
        }
        return shown;
    }

    /// A photo whose grey in the camera's stream is a given one.
    void writeGreyPhoto(const std::string& name, int grey) {
        const auto rgb = static_cast<std::uint8_t>(std::lround((grey - 16) * 255.0 / 219.0));
        testing_support::writePhoto(path(name), kSize, rgb, rgb, rgb);
    }

    testing_support::HostCamera m_camera;
    TempDir m_dir;
};

TEST_F(FileSourceTest, APhotoStays) {
    writeGreyPhoto("photo.ppm", 100);
    const auto source = open(path("photo.ppm"));
    const auto first = source->imageAt({0, 0, milliseconds(500)});
    EXPECT_EQ(source->imageAt({100'000, 4000, milliseconds(500)}), first);
    EXPECT_NEAR(greyAt(*source, 100'000), 100, 1);
}

TEST_F(FileSourceTest, APhotoOfAnotherAspectStandsBetweenBlackBars) {
    testing_support::writePhoto(path("square.ppm"), {300, 300}, 255, 255, 255);
    const auto source = open(path("square.ppm"));
    const auto picture = source->imageAt({0, 0, milliseconds(500)})->picture(kSize);
    const std::uint8_t* const row = picture->data() + 18 * picture->pitch();
    EXPECT_EQ(row[13], 16);
    EXPECT_NEAR(row[14], 235, 1);
    EXPECT_NEAR(row[49], 235, 1);
    EXPECT_EQ(row[50], 16);
}

TEST_F(FileSourceTest, AVideoAtTheCamerasRateShowsPictureForFrame) {
    testing_support::writeGreyVideo(path("video.y4m"), kSize, {100, 101, 102, 103, 104});
    EXPECT_THAT(greys(*open(path("video.y4m")), 5), ElementsAre(100, 101, 102, 103, 104));
}

TEST_F(FileSourceTest, ASlowerVideoRepeatsPictures) {
    testing_support::writeGreyVideo(path("video.y4m"), kSize, {100, 101, 102}, "10:1");
    EXPECT_THAT(greys(*open(path("video.y4m")), 8),
                ElementsAre(100, 100, 100, 101, 101, 102, 102, 102));
}

TEST_F(FileSourceTest, AFasterVideoLeavesPicturesOut) {
    testing_support::writeGreyVideo(path("video.y4m"), kSize, {100, 101, 102, 103, 104, 105},
                                    "50:1");
    EXPECT_THAT(greys(*open(path("video.y4m")), 3), ElementsAre(100, 102, 104));
}

TEST_F(FileSourceTest, OddRatesLoseNoPicture) {
    std::vector<std::uint8_t> all;
    std::vector<int> expected;
    for (int grey = 20; grey < 200; ++grey) {
        all.push_back(static_cast<std::uint8_t>(grey));
        expected.push_back(grey);
    }
    testing_support::writeGreyVideo(path("video.y4m"), kSize, all, "30000:1001");
    EXPECT_EQ(greys(*open(path("video.y4m")), 180, 30000.0 / 1001.0), expected);
}

TEST_F(FileSourceTest, AVideoBeginsAgainAfterItsLastPictureHadItsTime) {
    testing_support::writeGreyVideo(path("video.y4m"), kSize, {100, 101, 102});
    EXPECT_THAT(greys(*open(path("video.y4m")), 8),
                ElementsAre(100, 101, 102, 100, 101, 102, 100, 101));
}

/// What this process has from the allocator, in bytes; 0 under a sanitizer, which has its own.
std::size_t allocated() {
    const struct mallinfo2 all = mallinfo2();
    return all.uordblks + all.hblkhd;
}

std::ptrdiff_t openFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

TEST_F(FileSourceTest, NothingIsKeptOfTheRoundsOfAVideo) {
    constexpr std::uint64_t kRound = 2;
    testing_support::writeGreyVideo(path("video.y4m"), kSize, {50, 90});
    const auto source = open(path("video.y4m"));
    std::uint64_t frame = 0;
    const auto playUntilRound = [&](std::uint64_t round) {
        for (; frame < round * kRound; ++frame) {
            EXPECT_EQ(greyAt(*source, frame), frame % kRound == 0 ? 50 : 90);
        }
    };
    playUntilRound(20);
    const std::size_t before = allocated();
    const std::ptrdiff_t filesBefore = openFiles();
    playUntilRound(170);
    // What one round holds at the moment differs by some hundred thousand bytes.
    EXPECT_LT(allocated(), before + 1'000'000);
    EXPECT_LT(openFiles(), filesBefore + 20);
}

TEST_F(FileSourceTest, WithoutLoopTheLastPictureStays) {
    testing_support::writeGreyVideo(path("video.y4m"), kSize, {100, 101, 102});
    const auto source = open(path("video.y4m"), false);
    EXPECT_THAT(greys(*source, 6), ElementsAre(100, 101, 102, 102, 102, 102));
    EXPECT_EQ(greyAt(*source, 1'000'000), 102);
}

TEST_F(FileSourceTest, AJumpOverManyRoundsShowsTheRightPicture) {
    testing_support::writeGreyVideo(path("video.y4m"), kSize, {100, 101, 102});
    const auto source = open(path("video.y4m"));
    EXPECT_EQ(greyAt(*source, 0), 100);
    EXPECT_EQ(greyAt(*source, 3 * 20 + 2), 102);
}

TEST_F(FileSourceTest, AVideoBeginsAtTheFirstFrameThatIsAskedFor) {
    testing_support::writeGreyVideo(path("video.y4m"), kSize, {100, 101, 102});
    const auto source = open(path("video.y4m"));
    EXPECT_EQ(greyAt(*source, 1000), 100);
    EXPECT_EQ(greyAt(*source, 1001), 101);
}

TEST_F(FileSourceTest, ADecoderThatDoesNotKeepUpPlaysMoreSlowlyAndLosesNothing) {
    testing_support::writeGreyVideo(path("video.y4m"), kSize, {100, 101, 102, 103, 104, 105, 106});
    const auto source = open(path("video.y4m"));
    EXPECT_EQ(greyAt(*source, 0, 25, milliseconds(0)), 100);
    EXPECT_EQ(greyAt(*source, 50, 25, milliseconds(0)), 101) << "time for one picture only";
    EXPECT_EQ(greyAt(*source, 51, 25, milliseconds(0)), 102);
    EXPECT_EQ(greyAt(*source, 52, 25, milliseconds(0)), 103);
}

TEST_F(FileSourceTest, AVideoCutOffInTheMiddlePlaysWhatIsThere) {
    testing_support::writeGreyVideo(path("whole.y4m"), kSize, {100, 101, 102, 103});
    const std::string whole = testing_support::readFile(path("whole.y4m"));
    testing_support::writeFile(path("cut.y4m"), whole.substr(0, whole.size() - 3000));
    EXPECT_THAT(greys(*open(path("cut.y4m")), 6), ElementsAre(100, 101, 102, 100, 101, 102));
}

TEST_F(FileSourceTest, AVideoThatVanishesKeepsItsLastPictureAndWarns) {
    testing_support::writeGreyVideo(path("video.y4m"), kSize, {100, 101, 102});
    const auto source = open(path("video.y4m"));
    EXPECT_EQ(greyAt(*source, 0), 100);
    std::filesystem::remove(path("video.y4m"));
    EXPECT_EQ(greyAt(*source, 4), 102);
    EXPECT_EQ(greyAt(*source, 100), 102);
    const std::vector<std::string> warnings = m_camera.takeWarnings();
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_THAT(warnings[0], HasSubstr(path("video.y4m")));
}

TEST_F(FileSourceTest, AFolderShowsItsPhotosInNameOrderASecondEach) {
    std::filesystem::create_directory(path("photos"));
    writeGreyPhoto("photos/b.ppm", 120);
    writeGreyPhoto("photos/a.ppm", 60);
    writeGreyPhoto("photos/Z.PPM", 180);
    testing_support::writeFile(path("photos/notes.txt"), "not a photo");
    std::filesystem::create_directory(path("photos/folder.jpg"));
    const auto source = open(path("photos"));
    EXPECT_NEAR(greyAt(*source, 0), 180, 1) << "capital letters go first";
    EXPECT_NEAR(greyAt(*source, 24), 180, 1);
    EXPECT_NEAR(greyAt(*source, 25), 60, 1);
    EXPECT_NEAR(greyAt(*source, 49), 60, 1);
    EXPECT_NEAR(greyAt(*source, 50), 120, 1);
    EXPECT_NEAR(greyAt(*source, 75), 180, 1) << "it begins again";
    EXPECT_NEAR(greyAt(*source, 75 * 1000 + 26), 60, 1);
}

TEST_F(FileSourceTest, AFolderWithoutLoopStaysAtItsLastPhoto) {
    std::filesystem::create_directory(path("photos"));
    writeGreyPhoto("photos/1.ppm", 60);
    writeGreyPhoto("photos/2.ppm", 120);
    const auto source = open(path("photos"), false);
    EXPECT_NEAR(greyAt(*source, 0), 60, 1);
    EXPECT_NEAR(greyAt(*source, 30), 120, 1);
    EXPECT_NEAR(greyAt(*source, 1000), 120, 1);
}

TEST_F(FileSourceTest, AnUnreadablePhotoLeavesTheOneBeforeItAndIsWarnedOfOnce) {
    std::filesystem::create_directory(path("photos"));
    testing_support::writeFile(path("photos/0.jpg"), "broken from the beginning");
    writeGreyPhoto("photos/1.ppm", 60);
    testing_support::writeFile(path("photos/2.jpg"), "broken");
    writeGreyPhoto("photos/3.ppm", 120);
    const auto source = open(path("photos"));
    EXPECT_NEAR(greyAt(*source, 0), 60, 1);
    EXPECT_NEAR(greyAt(*source, 25), 60, 1);
    EXPECT_NEAR(greyAt(*source, 50), 120, 1);
    EXPECT_NEAR(greyAt(*source, 75), 60, 1);
    EXPECT_NEAR(greyAt(*source, 100), 60, 1);
    const std::vector<std::string> warnings = m_camera.takeWarnings();
    ASSERT_EQ(warnings.size(), 2U);
    EXPECT_THAT(warnings[0], HasSubstr(path("photos/0.jpg")));
    EXPECT_THAT(warnings[1], HasSubstr(path("photos/2.jpg")));
}

TEST_F(FileSourceTest, AFolderWithoutPhotosIsRefused) {
    std::filesystem::create_directory(path("empty"));
    EXPECT_EQ(errorOf(path("empty")).kind(), SourceError::Kind::Unreadable);
    EXPECT_THAT(errorOf(path("empty")).what(), HasSubstr(path("empty") + ": "));
    std::filesystem::create_directory(path("texts"));
    testing_support::writeFile(path("texts/a.txt"), "a");
    testing_support::writeFile(path("texts/b.jpg"), "b");
    EXPECT_EQ(errorOf(path("texts")).kind(), SourceError::Kind::Unreadable);
    EXPECT_THAT(errorOf(path("texts")).what(), HasSubstr("no photo"));
}

TEST_F(FileSourceTest, AMissingFileIsNotFoundAndNamed) {
    for (const std::string& source :
         {path("nothing.mp4"), path("no/folder"), "file://" + path("nothing.mp4")}) {
        const SourceError error = errorOf(source);
        EXPECT_EQ(error.kind(), SourceError::Kind::NotFound);
        EXPECT_THAT(error.what(), HasSubstr(m_dir.path().string()));
        EXPECT_THAT(error.what(), HasSubstr("No such file"));
    }
}

TEST_F(FileSourceTest, AFileThatMayNotBeReadIsRefused) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root may read every file";
    }
    writeGreyPhoto("photo.ppm", 100);
    chmod(path("photo.ppm").c_str(), 0);
    EXPECT_EQ(errorOf(path("photo.ppm")).kind(), SourceError::Kind::Unreadable);
    EXPECT_THAT(errorOf(path("photo.ppm")).what(), HasSubstr("Permission denied"));
}

TEST_F(FileSourceTest, AFileThatIsNoPictureIsRefusedAndNamed) {
    testing_support::writeFile(path("text.txt"), "This is a text, and not a picture of anything.");
    const SourceError error = errorOf(path("text.txt"));
    EXPECT_EQ(error.kind(), SourceError::Kind::Unreadable);
    EXPECT_THAT(error.what(), HasSubstr(path("text.txt")));
}

TEST_F(FileSourceTest, APipeIsRefused) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(errorOf(path("pipe")).kind(), SourceError::Kind::Unreadable);
    EXPECT_THAT(errorOf(path("pipe")).what(), HasSubstr("neither a file nor a folder"));
}

TEST_F(FileSourceTest, AnUnknownKindOfSourceIsRefusedWithThoseThatAreKnown) {
    for (const char* const source : {"http://camera/video", "gopher://x", "://"}) {
        const SourceError error = errorOf(source);
        EXPECT_THAT(error.what(), HasSubstr(source));
    }
    EXPECT_EQ(errorOf("http://camera/video").kind(), SourceError::Kind::NotSupported);
    EXPECT_THAT(errorOf("http://camera/video").what(), HasSubstr("rtsp"));
}

TEST_F(FileSourceTest, AFileUriAndARelativePathNameFilesToo) {
    const testing_support::WorkingDir here;
    testing_support::writeGreyVideo(here.path() / "my video.y4m", kSize, {100, 101});
    EXPECT_EQ(greyAt(*open("my video.y4m"), 0), 100);
    EXPECT_EQ(greyAt(*open("./my video.y4m"), 0), 100);
    EXPECT_EQ(greyAt(*open("file://" + here.path().string() + "/my%20video.y4m"), 0), 100);
}

} // namespace
