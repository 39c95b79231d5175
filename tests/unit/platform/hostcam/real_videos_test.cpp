// Real videos, walked picture by picture. They are not part of the repository: the tests are
// skipped where there are none.

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "platform/hostcam/gstreamer_reader.h"
#include "tests/support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

fs::path testData() {
    const char* const chosen = std::getenv("ZM_TESTDATA"); // NOLINT(concurrency-mt-unsafe)
    return chosen != nullptr ? fs::path(chosen)
                             : fs::path(ZM_ROOT).parent_path() / "shared/testdata";
}

/// A whole number of a JSON file's top level.
unsigned numberIn(const std::string& json, const std::string& key) {
    std::smatch found;
    if (!std::regex_search(json, found, std::regex("\"" + key + "\"\\s*:\\s*(\\d+)"))) {
        ADD_FAILURE() << "there is no " << key;
        return 0;
    }
    return static_cast<unsigned>(std::stoul(found[1]));
}

TEST(RealVideosTest, EveryVideoHasAsManyPicturesAsItsExpectationSays) {
    const fs::path folder = testData() / "video";
    if (!fs::is_directory(folder)) {
        GTEST_SKIP() << "there are no real videos at " << folder
                     << "; ZM_TESTDATA names another folder";
    }
    unsigned videos = 0;
    for (const fs::directory_entry& video : fs::directory_iterator(folder)) {
        const std::string path = video.path().string();
        const std::string expected = testing_support::readFile(
            testData() / "expected" / (video.path().filename().string() + ".json"));
        ASSERT_FALSE(expected.empty()) << path;
        const hostcam::Size size{numberIn(expected, "width"), numberIn(expected, "height")};
        hostcam::PictureReader reader(hostcam::fileUri(path), path);
        unsigned pictures = 0;
        std::chrono::nanoseconds before{-1};
        while (const std::optional<hostcam::DecodedPicture> picture = reader.next()) {
            ++pictures;
            ASSERT_EQ(picture->size, size) << path;
            ASSERT_GT(picture->time, before) << path << ", picture " << pictures;
            before = picture->time;
        }
        EXPECT_EQ(pictures, numberIn(expected, "frame_count")) << path;
        ++videos;
    }
    EXPECT_GT(videos, 0U);
}

} // namespace
