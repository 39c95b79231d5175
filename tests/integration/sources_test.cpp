// What the camera can be fed with: photos, folders of photos, videos and RTSP, each through the
// real program.

#include <chrono>
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/application_process.h"

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing_support::ApplicationProcess;

namespace {

/// The folder of real photos and videos beside the project; empty when it is not there.
std::filesystem::path realData() {
    const char* const place = std::getenv("ZM_TESTDATA");
    const std::filesystem::path folder =
        place != nullptr ? place : std::filesystem::path(ZM_ROOT) / ".." / "shared" / "testdata";
    return std::filesystem::exists(folder / "MANIFEST.md") ? folder : std::filesystem::path();
}

/// Watches the whole picture for markers of a dictionary.
void watchWholePicture(ApplicationProcess& program, unsigned width, unsigned height,
                       const std::string& dictionary) {
    program.configure("camera", "resolutions",
                      std::to_string(width) + "x" + std::to_string(height));
    program.store("EulaAccepted", "true");
    program.store("IsRequirePresent", "true");
    program.store("SelectedDictionary", dictionary);
    program.store("DisplayNonAOI", "true");
    const std::string w = std::to_string(width + 1);
    const std::string h = std::to_string(height + 1);
    for (const auto& [name, value] : {std::pair<const char*, std::string>{"Detection11x", w},
                                      {"Detection12x", w},
                                      {"Detection12y", h},
                                      {"Detection13y", h}}) {
        program.store(name, value);
    }
}

bool sentIds(const ApplicationProcess& program, const std::string& ids) {
    for (const std::string& line : program.journal()) {
        if (line.find(R"("declared":true)") == std::string::npos &&
            line.find(R"("payload":")" + ids + R"(")") != std::string::npos) {
            return true;
        }
    }
    return false;
}

class RealSource : public testing::Test {
  protected:
    void SetUp() override {
        if (realData().empty()) {
            GTEST_SKIP() << "the real photos and videos are not there (set ZM_TESTDATA)";
        }
    }
};

TEST_F(RealSource, PhotoShowsItsMarkersAsOneDataEvent) {
    ApplicationProcess program(ZM_PROGRAM);
    program.configure("camera", "aspect-ratio", "4:3");
    program.configure("camera", "source", realData() / "images" / "ocv_singlemarkers.jpg");
    watchWholePicture(program, 640, 480, "6x6");
    program.start();
    // Six markers get the tracker's first six ids.
    EXPECT_TRUE(program.waitUntil([&] { return sentIds(program, "0,1,2,3,4,5"); }, 20s))
        << program.log();
}

TEST_F(RealSource, FolderOfPhotosIsShownPhotoByPhoto) {
    ApplicationProcess program(ZM_PROGRAM);
    testing_support::TempDir folder;
    for (const char* name : {"walk_cam0_0000.jpg", "walk_cam0_0050.jpg"}) {
        std::filesystem::copy(realData() / "images" / name, folder / name);
    }
    program.configure("camera", "source", folder.path());
    watchWholePicture(program, 1280, 720, "4x4");
    program.start();
    // The marker is cut off in the first photo and whole in the second.
    EXPECT_TRUE(program.waitUntil([&] { return sentIds(program, "0"); }, 20s)) << program.log();
    EXPECT_TRUE(program.waitUntil([&] { return sentIds(program, ""); }, 20s)) << program.log();
}

TEST_F(RealSource, VideoShowsItsMarker) {
    ApplicationProcess program(ZM_PROGRAM);
    program.configure("camera", "aspect-ratio", "4:3");
    program.configure("camera", "source", realData() / "video" / "handheld_4x4.avi");
    watchWholePicture(program, 640, 480, "4x4");
    program.start();
    EXPECT_TRUE(program.waitUntil([&] { return sentIds(program, "0"); }, 20s)) << program.log();
}

} // namespace
