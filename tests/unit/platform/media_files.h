#pragma once

// Small photos and videos made by a test.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform/hostcam/config.h"

namespace testing_support {

/// A picture in NV12, rows without padding.
struct TestPicture {
    explicit TestPicture(hostcam::Size pictureSize);

    /// A picture of one grey.
    TestPicture(hostcam::Size pictureSize, std::uint8_t grey);

    /// A picture in which neighbouring pixels differ, of values that a video may have.
    static TestPicture pattern(hostcam::Size size, unsigned seed = 0);

    [[nodiscard]] std::uint8_t y(std::size_t column, std::size_t row) const {
        return nv12[row * size.width + column];
    }
    [[nodiscard]] std::uint8_t u(std::size_t column, std::size_t row) const {
        return nv12[(size.height + row) * size.width + 2 * column];
    }
    [[nodiscard]] std::uint8_t v(std::size_t column, std::size_t row) const {
        return nv12[(size.height + row) * size.width + 2 * column + 1];
    }

    hostcam::Size size;
    std::vector<std::uint8_t> nv12;
};

/// Writes an uncompressed video: what is read from it are the very same bytes.
/// @param rate frames a second, as a fraction: "25:1"
void writeVideo(const std::filesystem::path& path, const std::vector<TestPicture>& pictures,
                const std::string& rate = "25:1");

/// A video whose frames have one grey each.
void writeGreyVideo(const std::filesystem::path& path, hostcam::Size size,
                    const std::vector<std::uint8_t>& greys, const std::string& rate = "25:1");

/// Writes a photo in RGB (PPM) of one colour.
void writePhoto(const std::filesystem::path& path, hostcam::Size size, std::uint8_t red,
                std::uint8_t green, std::uint8_t blue);

/// Runs a GStreamer pipeline to its end. @throws std::runtime_error when it fails
void runPipeline(const std::string& description);

} // namespace testing_support
