#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>

#include <sys/resource.h>
#include <sys/wait.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/distance_controller.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/analysis/detector_doubles.h"
#include "tests/unit/analysis/logged.h"

using namespace testing_support;
using testing::ElementsAre;

namespace {

using Bytes =
    std::unique_ptr<unsigned char, decltype([](unsigned char* bytes) { std::free(bytes); })>;

std::vector<unsigned char> countingPicture(int bytes) {
    std::vector<unsigned char> picture(static_cast<std::size_t>(bytes));
    std::iota(picture.begin(), picture.end(), static_cast<unsigned char>(0));
    return picture;
}

} // namespace

TEST(DetectionRectangle, IsTheBoundingBoxWithPlainDifferencesAsExtents) {
    EXPECT_EQ(Distance_Controller::find_detection_rectangle(10, 20, 30, 20, 30, 40, 10, 40),
              cv::Rect(10, 20, 20, 20));
    EXPECT_EQ(Distance_Controller::find_detection_rectangle(50, 5, 90, 45, 45, 80, 7, 33),
              cv::Rect(7, 5, 83, 75));
    EXPECT_EQ(Distance_Controller::find_detection_rectangle(-5, -9, 4, -9, 4, 3, -5, 3),
              cv::Rect(-5, -9, 9, 12));
}

TEST(DetectionRectangle, HasNoExtentAlongAnAxisThatAllPointsShare) {
    EXPECT_EQ(Distance_Controller::find_detection_rectangle(10, 20, 10, 25, 10, 90, 10, 40),
              cv::Rect(10, 20, 0, 70));
    EXPECT_EQ(Distance_Controller::find_detection_rectangle(10, 20, 15, 20, 90, 20, 40, 20),
              cv::Rect(10, 20, 80, 0));
}

TEST(DetectionRectangle, EndsAtTheLargestIntWhereAnExtentIsLarger) {
    constexpr int kMin = std::numeric_limits<int>::min();
    constexpr int kMax = std::numeric_limits<int>::max();
    EXPECT_EQ(Distance_Controller::find_detection_rectangle(kMin, 0, kMax, 0, kMax, kMax, kMin, 7),
              cv::Rect(kMin, 0, kMax, kMax));
}

TEST(Cropping, CopiesTheRectangleRowByRow) {
    std::vector<unsigned char> picture = countingPicture(4 * 3 * 3); // 4 x 3 pixels
    const Bytes crop(Distance_Controller::cropInterleaved(picture.data(), 4, 3, 3, 1, 1, 2, 2));
    const std::vector<unsigned char> expected = {15, 16, 17, 18, 19, 20, 27, 28, 29, 30, 31, 32};
    EXPECT_EQ(std::vector<unsigned char>(crop.get(), crop.get() + 12), expected);
}

TEST(Cropping, CopiesPixelsOfAnyNumberOfChannels) {
    std::vector<unsigned char> picture = countingPicture(5 * 4);
    const Bytes grey(Distance_Controller::cropInterleaved(picture.data(), 5, 4, 1, 3, 2, 2, 2));
    EXPECT_EQ(std::vector<unsigned char>(grey.get(), grey.get() + 4),
              (std::vector<unsigned char>{13, 14, 18, 19}));
}

TEST(Cropping, CopiesTheWholePictureAsItIs) {
    std::vector<unsigned char> picture = countingPicture(7 * 5 * 3);
    const Bytes crop(Distance_Controller::cropInterleaved(picture.data(), 7, 5, 3, 0, 0, 7, 5));
    EXPECT_EQ(std::memcmp(crop.get(), picture.data(), picture.size()), 0);
}

TEST(Cropping, AgreesWithTheLibrarysOwnRegions) {
    constexpr unsigned kSeed = 5;
    std::cout << "seed " << kSeed << '\n';
    std::mt19937 random(kSeed);
    const auto upTo = [&random](int most) {
        return std::uniform_int_distribution(0, most)(random);
    };
    for (int i = 0; i < 5000; ++i) {
        const int width = 1 + upTo(40);
        const int height = 1 + upTo(30);
        std::vector<unsigned char> bytes(static_cast<std::size_t>(width * height * 3));
        for (unsigned char& byte : bytes) {
            byte = static_cast<unsigned char>(upTo(255));
        }
        const int x = upTo(width - 1);
        const int y = upTo(height - 1);
        const cv::Rect place(x, y, 1 + upTo(width - x - 1), 1 + upTo(height - y - 1));
        const cv::Mat expected = cv::Mat(height, width, CV_8UC3, bytes.data())(place).clone();
        const Bytes crop(Distance_Controller::cropInterleaved(bytes.data(), width, height, 3, x, y,
                                                              place.width, place.height));
        ASSERT_EQ(std::memcmp(crop.get(), expected.data, expected.total() * 3), 0) << "case " << i;
    }
}

TEST(PixelDump, IsAnAsciiPgmOfTheFirstChannelInFieldsOfFour) {
    const TempDir folder;
    const std::string path = folder / "dump.pgm";
    unsigned char pixels[] = {0, 1, 2, 10, 11, 12, 255, 3, 4, 7, 8, 9, 100, 0, 0, 99, 0, 0};
    const Distance_Controller detector;
    detector.writePixelBuffer(path, pixels, 3, 2);
    EXPECT_EQ(readFile(path), " P2\n 3 2\n 255\n   0  10 255\n   7 100  99\n");
}

TEST(PixelDump, ReplacesAFile) {
    const TempDir folder;
    const std::string path = folder / "dump.pgm";
    writeFile(path, std::string(1000, 'x'));
    unsigned char pixels[] = {5, 0, 0};
    const Distance_Controller detector;
    detector.writePixelBuffer(path, pixels, 1, 1);
    EXPECT_EQ(readFile(path), " P2\n 1 1\n 255\n   5\n");
}

TEST(PixelDump, TellsWhichFileCannotBeWritten) {
    resetDetectorWorld(640, 480);
    unsigned char pixels[] = {5, 0, 0};
    const Distance_Controller detector;
    forgetLog();
    detector.writePixelBuffer("/no/such/folder/dump.pgm", pixels, 1, 1);
    EXPECT_THAT(logged("error"),
                ElementsAre("writePixelBuffer: unable to write /no/such/folder/dump.pgm"));
}

TEST(ShellCommand, AnswersWithAllThatItWroteToItsStandardOutput) {
    EXPECT_EQ(exec("echo one; echo two"), "one\ntwo\n");
    EXPECT_EQ(exec("printf 'no newline'"), "no newline");
    EXPECT_EQ(exec("true"), "");
    EXPECT_EQ(exec("echo lost >&2; echo kept; exit 3"), "kept\n") << "whatever its status";
}

TEST(ShellCommand, MayWriteMoreThanFitsOnePiece) {
    EXPECT_EQ(exec("i=0; while [ $i -lt 1000 ]; do printf x; i=$((i+1)); done"),
              std::string(1000, 'x'));
    for (const int length : {126, 127, 128, 129, 254, 255}) {
        const std::string text(static_cast<std::size_t>(length), 'y');
        EXPECT_EQ(exec(("printf '%s\\n' " + text).c_str()), text + "\n");
    }
}

TEST(ShellCommand, LeavesNoProcessBehind) {
    EXPECT_EQ(exec("echo done"), "done\n");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "every child was waited for";
}

TEST(ShellCommand, ThrowsWhenItCannotBeStarted) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 3; // no descriptor left for a pipe
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    std::string thrown;
    try {
        exec("echo never");
    } catch (const std::runtime_error& error) {
        thrown = error.what();
    }
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(thrown, "popen() failed!");
}

TEST(Quads, HoldTheirCornersInTheGivenOrder) {
    const Quad quad(1, 2, 3, 4, 5, 6, 7, 8);
    EXPECT_THAT((std::vector<float>{quad.x0, quad.y0, quad.x1, quad.y1, quad.x2, quad.y2, quad.x3,
                                    quad.y3}),
                ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
}
