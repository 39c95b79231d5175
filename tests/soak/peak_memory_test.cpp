// The most memory that the program ever holds, its libraries included, where pictures are largest.

#include <cstdlib>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "tests/soak/watched_process.h"
#include "tests/support/application_process.h"

using namespace std::chrono_literals;
using namespace testing_support;

namespace {

TEST(PeakMemory, AtFourKStaysWithin150MegabytesWithAnOverlay) {
    constexpr long kMostKilobytes = 150'000;
    const TempDir folder;
    // Noise gives the detector more contours than any scene.
    const std::string photo = folder / "photo.jpg";
    ASSERT_EQ(std::system(("convert -size 3840x2160 xc:gray50 -seed 7 -attenuate 0.2"
                           " +noise Gaussian '" +
                           photo + "'")
                              .c_str()),
              0);
    ApplicationProcess program(ZM_PROGRAM);
    program.configure("camera", "resolutions", "3840x2160");
    program.configure("camera", "source", photo);
    program.configure("viewers", "streams", "1280x720");
    program.storeDemonstrationSettings(3840, 2160);
    program.store("IsRequirePresent", "false"); // no marker is missed after three seconds
    program.start();
    ASSERT_TRUE(program.waitUntil(
        [&] {
            for (const std::string& line : program.journal()) {
                if (line.find(R"(ZerithMarkersAlert")") != std::string::npos &&
                    line.find(R"("active":true)") != std::string::npos) {
                    return true;
                }
            }
            return false;
        },
        60s))
        << program.log() << program.output();
    const WatchedProcess watched(program.pid(), ZM_PROGRAM);
    const Holdings holdings = watched.holdings().value_or(Holdings{});
    std::cout << "at most " << holdings.mostResidentKilobytes / 1000 << " MB\n";
    EXPECT_GT(holdings.mostResidentKilobytes, 0);
    EXPECT_LE(holdings.mostResidentKilobytes, kMostKilobytes);
}

} // namespace
