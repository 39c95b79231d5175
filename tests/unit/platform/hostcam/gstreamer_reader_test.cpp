#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/gstreamer_reader.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/platform/media_files.h"

namespace {

using hostcam::DecodedPicture;
using hostcam::PictureReader;
using hostcam::Size;
using hostcam::SourceError;
using std::chrono::milliseconds;
using testing::HasSubstr;
using testing_support::TempDir;
using testing_support::TestPicture;

class PictureReaderTest : public testing::Test {
  protected:
    [[nodiscard]] std::string path(const std::string& name) const {
        return (m_dir / name).string();
    }

    PictureReader reader(const std::string& name) const {
        return PictureReader(hostcam::fileUri(path(name)), path(name));
    }

    /// The error that reading a file's first picture gives.
    SourceError errorOf(const std::string& name) const {
        try {
            PictureReader broken(hostcam::fileUri(path(name)), path(name));
            if (broken.next()) {
                return {SourceError::Kind::NoData, "there was a picture"};
            }
            return {SourceError::Kind::NoData, "there was an end"};
        } catch (const SourceError& problem) {
            return problem;
        }
    }

    TempDir m_dir;
};

TEST_F(PictureReaderTest, WalksAVideoPictureByPictureWithItsBytesUntouched) {
    std::vector<TestPicture> pictures;
    for (unsigned seed = 0; seed < 12; ++seed) {
        pictures.push_back(TestPicture::pattern({64, 36}, seed));
    }
    testing_support::writeVideo(path("video.y4m"), pictures, "10:1");
    PictureReader walk = reader("video.y4m");
    for (unsigned index = 0; index < pictures.size(); ++index) {
        const std::optional<DecodedPicture> picture = walk.next();
        ASSERT_TRUE(picture) << index;
        EXPECT_EQ(picture->size, (Size{64, 36}));
        EXPECT_EQ(picture->time, milliseconds(100) * index);
        EXPECT_EQ(picture->duration, milliseconds(100));
        const auto pixels = picture->image->picture({64, 36});
        EXPECT_EQ(std::vector<std::uint8_t>(pixels->data(), pixels->data() + pixels->bytes()),
                  pictures[index].nv12)
            << index;
    }
    EXPECT_FALSE(walk.next());
    EXPECT_FALSE(walk.next()) << "the end stays";
}

TEST_F(PictureReaderTest, PicturesOutliveTheirReader) {
    testing_support::writeGreyVideo(path("video.y4m"), {64, 36}, {90, 91});
    std::optional<DecodedPicture> picture;
    {
        PictureReader walk = reader("video.y4m");
        picture = walk.next();
    }
    EXPECT_EQ(picture->image->picture({64, 36})->data()[0], 90);
    EXPECT_EQ(picture->image->picture({32, 18})->data()[0], 90);
}

TEST_F(PictureReaderTest, ACompressedVideoHasAllItsPictures) {
    testing_support::runPipeline("videotestsrc num-buffers=37 ! "
                                 "video/x-raw,width=64,height=48,framerate=25/1 ! jpegenc ! "
                                 "avimux ! filesink location=" +
                                 path("video.avi"));
    PictureReader walk = reader("video.avi");
    unsigned count = 0;
    while (walk.next()) {
        ++count;
    }
    EXPECT_EQ(count, 37U);
}

TEST_F(PictureReaderTest, AReaderMayGoBeforeItsVideoHasEnded) {
    testing_support::writeGreyVideo(path("video.y4m"), {64, 36},
                                    std::vector<std::uint8_t>(100, 90));
    for (int pictures = 0; pictures < 5; ++pictures) {
        PictureReader walk = reader("video.y4m");
        for (int picture = 0; picture < pictures; ++picture) {
            EXPECT_TRUE(walk.next());
        }
    }
}

TEST_F(PictureReaderTest, AReaderMayGoBeforeItHasReadAnything) {
    testing_support::writeGreyVideo(path("video.y4m"), {64, 36}, {90, 91});
    for (int round = 0; round < 20; ++round) {
        static_cast<void>(reader("video.y4m"));
    }
}

TEST_F(PictureReaderTest, APhotoIsAVideoOfOnePicture) {
    testing_support::writePhoto(path("photo.ppm"), {50, 30}, 255, 255, 255);
    PictureReader walk = reader("photo.ppm");
    const std::optional<DecodedPicture> picture = walk.next();
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->size, (Size{50, 30}));
    EXPECT_FALSE(walk.next());
}

TEST_F(PictureReaderTest, AMissingFileIsNotFound) {
    const SourceError error = errorOf("nothing.mp4");
    EXPECT_EQ(error.kind(), SourceError::Kind::NotFound);
    EXPECT_THAT(error.what(), HasSubstr(path("nothing.mp4")));
}

TEST_F(PictureReaderTest, AFileThatIsNoPictureIsUnreadableAndNamed) {
    testing_support::writeFile(path("text.txt"), "This is a text, and not a picture of anything.");
    testing_support::writeFile(path("empty.jpg"), "");
    testing_support::writeFile(path("noise.mp4"), std::string(5000, '\x5a'));
    for (const char* name : {"text.txt", "empty.jpg", "noise.mp4"}) {
        const SourceError error = errorOf(name);
        EXPECT_EQ(error.kind(), SourceError::Kind::Unreadable) << error.what();
        EXPECT_THAT(error.what(), HasSubstr(path(name)));
        EXPECT_GT(std::string(error.what()).size(), path(name).size() + 5) << "no reason is given";
    }
}

TEST_F(PictureReaderTest, ASoundWithoutPicturesIsUnreadable) {
    testing_support::runPipeline("audiotestsrc num-buffers=5 ! wavenc ! filesink location=" +
                                 path("sound.wav"));
    EXPECT_EQ(errorOf("sound.wav").kind(), SourceError::Kind::Unreadable)
        << errorOf("sound.wav").what();
}

TEST_F(PictureReaderTest, AVideoWithSoundGivesItsPictures) {
    testing_support::runPipeline(
        "avimux name=mux ! filesink location=" + path("both.avi") +
        " videotestsrc num-buffers=20 ! video/x-raw,width=64,height=48,framerate=25/1 ! jpegenc ! "
        "queue ! mux. audiotestsrc num-buffers=20 ! queue ! mux.");
    PictureReader walk = reader("both.avi");
    unsigned count = 0;
    while (walk.next()) {
        ++count;
    }
    EXPECT_EQ(count, 20U);
}

TEST_F(PictureReaderTest, ATruncatedPhotoGivesAnErrorOrWhatIsThere) {
    testing_support::runPipeline("videotestsrc num-buffers=1 pattern=snow ! "
                                 "video/x-raw,width=640,height=480 ! jpegenc ! filesink location=" +
                                 path("photo.jpg"));
    const std::string whole = testing_support::readFile(path("photo.jpg"));
    ASSERT_GT(whole.size(), 1000U);
    for (const std::size_t size : {std::size_t{2}, std::size_t{100}, whole.size() / 2}) {
        testing_support::writeFile(path("cut.jpg"), whole.substr(0, size));
        const SourceError error = errorOf("cut.jpg"); // what matters: it comes back
        EXPECT_STRNE(error.what(), "") << size;
    }
}

TEST_F(PictureReaderTest, NamesWithUnusualCharactersAreRead) {
    const std::string name = "a photo #1, 100% \xc3\xa4?.ppm";
    testing_support::writePhoto(path(name), {16, 16}, 0, 0, 0);
    EXPECT_EQ(hostcam::readPhoto(path(name)).size, (Size{16, 16}));
}

struct Colour {
    std::string name;
    std::uint8_t red, green, blue;
    int y, u, v;
};

class ColourTest : public testing::TestWithParam<Colour> {
  protected:
    void expectColour(const std::string& path, Size size) {
        const Colour& colour = GetParam();
        const auto pixels = hostcam::readPhoto(path).image->picture(size);
        const std::size_t middle =
            pixels->pitch() * (size.height / 2) + std::size_t{size.width} / 2;
        const std::size_t uv =
            pixels->pitch() * (size.height + size.height / 4) + std::size_t{size.width} / 4 * 2;
        EXPECT_NEAR(pixels->data()[middle], colour.y, 2);
        EXPECT_NEAR(pixels->data()[uv], colour.u, 2);
        EXPECT_NEAR(pixels->data()[uv + 1], colour.v, 2);
    }

    TempDir m_dir;
};

TEST_P(ColourTest, APhotoInRgbBecomesTheVideoRangeOfBt601AtAnySize) {
    const Colour& colour = GetParam();
    for (const Size size : {Size{64, 48}, Size{1280, 720}}) {
        const std::string path = (m_dir / "photo.ppm").string();
        testing_support::writePhoto(path, size, colour.red, colour.green, colour.blue);
        expectColour(path, size);
    }
}

TEST_P(ColourTest, AJpegOfFullRangeBecomesTheVideoRangeOfBt601) {
    const Colour& colour = GetParam();
    const std::string photo = (m_dir / "photo.ppm").string();
    const std::string path = (m_dir / "photo.jpg").string();
    testing_support::writePhoto(photo, {1280, 720}, colour.red, colour.green, colour.blue);
    testing_support::runPipeline("filesrc location=" + photo +
                                 " ! pnmdec ! videoconvert ! jpegenc quality=100 ! "
                                 "filesink location=" +
                                 path);
    expectColour(path, {1280, 720});
}

INSTANTIATE_TEST_SUITE_P(PictureReaderTest, ColourTest,
                         testing::Values(Colour{"white", 255, 255, 255, 235, 128, 128},
                                         Colour{"black", 0, 0, 0, 16, 128, 128},
                                         Colour{"grey", 128, 128, 128, 126, 128, 128},
                                         Colour{"red", 255, 0, 0, 81, 90, 240},
                                         Colour{"green", 0, 255, 0, 145, 54, 34},
                                         Colour{"blue", 0, 0, 255, 41, 240, 110}),
                         [](const auto& test) { return test.param.name; });

TEST_F(PictureReaderTest, AGreyPhotoKeepsItsGrey) {
    for (const int grey : {0, 255}) {
        testing_support::writeFile(
            path("grey.pgm"), "P5\n64 48\n255\n" + std::string(64 * 48, static_cast<char>(grey)));
        testing_support::runPipeline("filesrc location=" + path("grey.pgm") +
                                     " ! pnmdec ! videoconvert ! video/x-raw,format=GRAY8 ! "
                                     "pngenc ! filesink location=" +
                                     path("grey.png"));
        for (const char* name : {"grey.pgm", "grey.png"}) {
            const auto pixels = hostcam::readPhoto(path(name)).image->picture({64, 48});
            EXPECT_NEAR(pixels->data()[100], grey == 0 ? 16 : 235, 1) << name;
        }
    }
}

/// A JPEG with a tag that says how the picture would have to be turned to stand upright.
std::string withOrientation(const std::string& jpeg, char orientation) {
    std::string exif("\xff\xe1\x00\x22"
                     "Exif\0\0"
                     "MM\0*\0\0\0\x08"
                     "\0\x01"
                     "\x01\x12\0\x03\0\0\0\x01\0",
                     4 + 6 + 8 + 2 + 9);
    exif += orientation;
    exif += std::string("\0\0\0\0\0\0", 6);
    return jpeg.substr(0, 2) + exif + jpeg.substr(2);
}

TEST_F(PictureReaderTest, AnOrientationTagIsNotApplied) {
    testing_support::runPipeline("videotestsrc num-buffers=1 ! video/x-raw,width=64,height=48 ! "
                                 "jpegenc ! filesink location=" +
                                 path("plain.jpg"));
    const auto plain = hostcam::readPhoto(path("plain.jpg"));
    for (const char orientation : {'\1', '\3', '\6', '\10'}) {
        testing_support::writeFile(
            path("tagged.jpg"),
            withOrientation(testing_support::readFile(path("plain.jpg")), orientation));
        const auto tagged = hostcam::readPhoto(path("tagged.jpg"));
        ASSERT_EQ(tagged.size, (Size{64, 48}));
        const auto one = plain.image->picture({64, 48});
        const auto other = tagged.image->picture({64, 48});
        EXPECT_TRUE(std::equal(one->data(), one->data() + one->bytes(), other->data()));
    }
}

} // namespace
