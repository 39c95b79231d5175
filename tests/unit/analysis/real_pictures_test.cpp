// Marker and chessboard detection on photographs and videos with recorded results of the detector
// library itself: what this application finds must be what the library finds in the same pixels.
//
// The recordings are not part of this repository. They are looked for in the folder that
// ZM_TESTDATA names, or beside the project; without them, or without the programs that decode them,
// the tests are skipped and say so.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "analysis/distance_controller.h"
#include "core/app_state.h"
#include "tests/unit/analysis/detector_doubles.h"
#include "tests/unit/analysis/drawn_scenes.h"
#include "tests/unit/analysis/logged.h"

using namespace testing_support;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

/// The recorded corners are rounded to two decimals; another decoder moves a corner by a pixel.
constexpr float kCornerTolerance = 1.01F;

struct DictionaryName {
    const char* setting;
    const char* recorded;
};
constexpr DictionaryName kDictionaries[] = {{"4x4", "DICT_4X4_50"},
                                            {"5x5", "DICT_5X5_100"},
                                            {"6x6", "DICT_6X6_250"},
                                            {"7x7", "DICT_7X7_1000"}};

/// Ids at the edge of what can be recognised: they come and go with the decoder or with the order
/// of the colour channels, and are not compared.
const std::map<std::string, std::map<std::string, std::set<int>>> kUnstableIds = {
    {"rct_robot_glare.png", {{"4x4", {24}}, {"6x6", {0, 1, 3, 4, 11, 14, 16}}}},
    {"endo_L_000.jpg", {{"4x4", {35}}}},
    {"endo_L_004.jpg", {{"4x4", {38, 48}}}},
    {"endo_L_012.jpg", {{"4x4", {8, 26}}}},
    {"endo_L_016.jpg", {{"4x4", {15}}}},
    {"endo_L_020.jpg", {{"4x4", {20}}}},
    {"endo_L_032.jpg", {{"4x4", {47}}}},
    {"vtest.avi", {{"4x4", {17}}}},
};

bool isUnstable(const std::string& file, const std::string& setting, int id) {
    const auto ofFile = kUnstableIds.find(file);
    if (ofFile == kUnstableIds.end()) {
        return false;
    }
    const auto ofDictionary = ofFile->second.find(setting);
    return ofDictionary != ofFile->second.end() && ofDictionary->second.contains(id);
}

fs::path dataFolder() {
    const char* const named = std::getenv("ZM_TESTDATA");
    return named != nullptr ? fs::path(named) : fs::path(ZM_PROJECT_ROOT) / "../shared/testdata";
}

bool isInstalled(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

/// Reads the output of a decoder as a file.
class Decoder {
  public:
    explicit Decoder(const std::string& command) : m_pipe(popen(command.c_str(), "r")) {}

    [[nodiscard]] bool read(cv::Mat& picture) const {
        const std::size_t bytes = picture.total() * picture.elemSize();
        return m_pipe && std::fread(picture.data, 1, bytes, m_pipe.get()) == bytes;
    }

    /// Two numbers as text, width first; empty when there are none.
    [[nodiscard]] cv::Size readSize() const {
        cv::Size size;
        const bool isSize =
            m_pipe && std::fscanf(m_pipe.get(), "%d %d", &size.width, &size.height) == 2;
        return isSize ? size : cv::Size();
    }

  private:
    struct Closer {
        void operator()(FILE* pipe) const { pclose(pipe); }
    };
    std::unique_ptr<FILE, Closer> m_pipe;
};

/// Decodes a picture to RGB as it was decoded for the recording; empty when that fails.
cv::Mat decodePicture(const fs::path& file) {
    const std::string name = "'" + file.string() + "'";
    cv::Mat picture(Decoder("convert -ping " + name + " -format '%w %h' info:-").readSize(),
                    CV_8UC3);
    const Decoder pixels("convert " + name +
                         " -alpha off -colorspace sRGB -type TrueColor -depth 8 rgb:-");
    return !picture.empty() && pixels.read(picture) ? picture : cv::Mat();
}

json readJson(const fs::path& file) {
    std::ifstream stream(file);
    return json::parse(stream, nullptr, false);
}

std::vector<cv::Point2f> cornersOf(const json& recorded) {
    std::vector<cv::Point2f> corners;
    for (const json& corner : recorded) {
        corners.emplace_back(corner.at(0).get<float>(), corner.at(1).get<float>());
    }
    return corners;
}

/// Whether the list holds this marker, at this place.
bool holds(const std::vector<detection>& markers, const detection& wanted) {
    return std::any_of(markers.begin(), markers.end(), [&wanted](const detection& marker) {
        return marker.classId == wanted.classId &&
               cornersAgree(marker.markerCorners, wanted.markerCorners, kCornerTolerance);
    });
}

class RealPictures : public testing::Test {
  protected:
    void SetUp() override {
        if (!fs::is_directory(dataFolder() / "expected")) {
            GTEST_SKIP() << "there are no recordings in " << dataFolder()
                         << "; set ZM_TESTDATA to the folder that has them";
        }
        for (const char* const program : {"convert", "ffmpeg"}) {
            if (!isInstalled(program)) {
                GTEST_SKIP() << program << " is not installed";
            }
        }
    }

    /// Makes a picture the next frame of an analysis stream of its size.
    void show(const cv::Mat& picture) {
        resetDetectorWorld(picture.cols, picture.rows);
        m_source.picture = picture;
    }

    std::vector<detection> search(const std::string& setting) {
        g_ConfigParams.str_SelectedDictionary = setting;
        return m_detector.detect_markers(m_source);
    }

    /// Compares what is found in one picture with the recording.
    void compare(const fs::path& file) {
        SCOPED_TRACE(file.filename().string());
        const json recorded =
            readJson(dataFolder() / "expected" / (file.filename().string() + ".json"));
        ASSERT_TRUE(recorded.is_object());
        const cv::Mat picture = decodePicture(file);
        ASSERT_FALSE(picture.empty()) << "cannot be decoded";
        show(picture);
        for (const DictionaryName& dictionary : kDictionaries) {
            SCOPED_TRACE(dictionary.setting);
            std::vector<detection> expected;
            for (const json& marker : recorded.at(dictionary.recorded)) {
                expected.push_back({cornersOf(marker.at("corners")), marker.at("id").get<int>()});
            }
            const std::vector<detection> found = search(dictionary.setting);
            compare(file.filename().string(), dictionary.setting, expected, found);
            m_markersSeen += found.size();
        }
        EXPECT_TRUE(logged("error").empty());
    }

    /// Compares all pictures of a folder. @return how many there were
    int compareFolder(const std::string& folder) {
        int pictures = 0;
        for (const fs::directory_entry& entry : fs::directory_iterator(dataFolder() / folder)) {
            compare(entry.path());
            ++pictures;
        }
        return pictures;
    }

    /// Compares the ids of every so-many-th frame of a video with the recording.
    void compareVideo(const std::string& name, int every) {
        const fs::path file = dataFolder() / "video" / name;
        const json recorded = readJson(dataFolder() / "expected" / (name + ".json"));
        ASSERT_TRUE(recorded.is_object());
        const Decoder decoder("ffmpeg -v error -noautorotate -i '" + file.string() +
                              "' -map 0:v:0 -vsync 0 -f rawvideo -pix_fmt rgb24 - </dev/null");
        cv::Mat picture(recorded.at("height").get<int>(), recorded.at("width").get<int>(), CV_8UC3);
        int number = 0;
        for (const json& frame : recorded.at("per_frame")) {
            SCOPED_TRACE("frame " + std::to_string(number));
            ASSERT_TRUE(decoder.read(picture)) << "cannot be decoded";
            if (number++ % every != 0) {
                continue;
            }
            show(picture);
            for (const DictionaryName& dictionary : kDictionaries) {
                SCOPED_TRACE(dictionary.setting);
                std::set<int> expected = frame.at(dictionary.recorded).get<std::set<int>>();
                std::set<int> found;
                for (const detection& marker : search(dictionary.setting)) {
                    found.insert(marker.classId);
                }
                const auto unstable = [&](int id) {
                    return isUnstable(name, dictionary.setting, id);
                };
                std::erase_if(expected, unstable);
                std::erase_if(found, unstable);
                EXPECT_EQ(found, expected);
                m_markersSeen += found.size();
            }
        }
        EXPECT_EQ(number, recorded.at("frame_count").get<int>());
    }

    Distance_Controller m_detector;
    PictureSource m_source;
    std::size_t m_markersSeen = 0;

  private:
    static void compare(const std::string& file, const std::string& setting,
                        const std::vector<detection>& expected,
                        const std::vector<detection>& found) {
        for (const detection& marker : expected) {
            EXPECT_TRUE(isUnstable(file, setting, marker.classId) || holds(found, marker))
                << "id " << marker.classId << " is recorded and not found";
        }
        for (const detection& marker : found) {
            EXPECT_TRUE(isUnstable(file, setting, marker.classId) || holds(expected, marker))
                << "id " << marker.classId << " is found and not recorded";
        }
    }
};

} // namespace

TEST_F(RealPictures, HoldTheMarkersThatWereRecorded) {
    EXPECT_GE(compareFolder("images"), 1);
    EXPECT_GT(m_markersSeen, 100U) << "the recordings hold hundreds";
}

TEST_F(RealPictures, WithoutKnownMarkersGiveNothingButWhatWasRecorded) {
    EXPECT_GE(compareFolder("negatives"), 1);
    EXPECT_EQ(m_markersSeen, 0U);
}

TEST_F(RealPictures, OfChessboardsGiveTheRecordedCornersAndNoMarkers) {
    int boards = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(dataFolder() / "chessboard")) {
        SCOPED_TRACE(entry.path().filename().string());
        compare(entry.path());
        const json recorded = readJson(dataFolder() / "expected" /
                                       (entry.path().filename().string() + ".chessboard.json"));
        ASSERT_TRUE(recorded.is_object());
        const std::vector<cv::Point2f> corners = m_detector.detect_chessboard(m_source);
        EXPECT_EQ(corners.size(), recorded.at("count").get<std::size_t>());
        EXPECT_TRUE(cornersAgree(corners, cornersOf(recorded.at("corners")), kCornerTolerance));
        boards += recorded.at("found").get<bool>() ? 1 : 0;
    }
    EXPECT_GE(boards, 1);
    EXPECT_EQ(m_markersSeen, 0U);
}

TEST_F(RealPictures, OfAHandheldMarkerShowItInEveryFrame) {
    compareVideo("handheld_4x4.avi", 1);
    EXPECT_EQ(m_markersSeen, 10U);
}

TEST_F(RealPictures, OfABoardOnADeskShowItsMarkersWhereTheyWereRecorded) {
    compareVideo("desk_board_negated.mp4", 3);
    EXPECT_GT(m_markersSeen, 100U);
}

TEST_F(RealPictures, OfAnInvertedBoardShowNothing) {
    compareVideo("desk_board_inverted.mp4", 4);
    EXPECT_EQ(m_markersSeen, 0U);
}

TEST_F(RealPictures, OfMarkersOfAnotherDictionaryShowNothing) {
    compareVideo("old_six_otherdict.avi", 5);
    EXPECT_EQ(m_markersSeen, 0U);
}

TEST_F(RealPictures, OfPeopleAndCarsShowNothing) {
    compareVideo("vtest.avi", 25);
    compareVideo("car_from_above.mp4", 25);
    EXPECT_EQ(m_markersSeen, 0U);
}
