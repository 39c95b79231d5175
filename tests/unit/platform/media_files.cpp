#include "tests/unit/platform/media_files.h"

#include <fstream>
#include <stdexcept>

#include <gst/gst.h>

#include "tests/support/temp_dir.h"

namespace testing_support {

using hostcam::Size;

TestPicture::TestPicture(Size pictureSize)
    : size(pictureSize), nv12(std::size_t{size.width} * size.height * 3 / 2, 128) {}

TestPicture::TestPicture(Size pictureSize, std::uint8_t grey) : TestPicture(pictureSize) {
    std::fill_n(nv12.begin(), std::size_t{size.width} * size.height, grey);
}

TestPicture TestPicture::pattern(Size size, unsigned seed) {
    TestPicture picture(size);
    unsigned value = 12345 + seed;
    for (std::uint8_t& byte : picture.nv12) {
        value = value * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(16 + (value >> 16) % 220);
    }
    return picture;
}

void writeVideo(const std::filesystem::path& path, const std::vector<TestPicture>& pictures,
                const std::string& rate) {
    const Size size = pictures.at(0).size;
    std::string file = "YUV4MPEG2 W" + std::to_string(size.width) + " H" +
                       std::to_string(size.height) + " F" + rate + " Ip A1:1 C420mpeg2\n";
    for (const TestPicture& picture : pictures) {
        file += "FRAME\n";
        const auto* const bytes = reinterpret_cast<const char*>(picture.nv12.data());
        const std::size_t luminance = std::size_t{size.width} * size.height;
        file.append(bytes, luminance);
        for (const std::size_t plane : {0U, 1U}) {
            for (std::size_t at = luminance + plane; at < picture.nv12.size(); at += 2) {
                file += bytes[at];
            }
        }
    }
    writeFile(path, file);
}

void writeGreyVideo(const std::filesystem::path& path, Size size,
                    const std::vector<std::uint8_t>& greys, const std::string& rate) {
    std::vector<TestPicture> pictures;
    for (const std::uint8_t grey : greys) {
        pictures.emplace_back(size, grey);
    }
    writeVideo(path, pictures, rate);
}

void writePhoto(const std::filesystem::path& path, Size size, std::uint8_t red, std::uint8_t green,
                std::uint8_t blue) {
    std::string file = "P6\n" + toText(size) + "\n255\n";
    file[file.find('x')] = ' ';
    for (std::size_t pixel = 0; pixel < std::size_t{size.width} * size.height; ++pixel) {
        file += static_cast<char>(red);
        file += static_cast<char>(green);
        file += static_cast<char>(blue);
    }
    writeFile(path, file);
}

void runPipeline(const std::string& description) {
    gst_init(nullptr, nullptr);
    GError* error = nullptr;
    GstElement* const pipeline = gst_parse_launch(description.c_str(), &error);
    if (pipeline == nullptr) {
        throw std::runtime_error(description + ": " + error->message);
    }
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstBus* const bus = gst_element_get_bus(pipeline);
    GstMessage* const message = gst_bus_timed_pop_filtered(
        bus, 60 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    const bool done = message != nullptr && GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS;
    if (message != nullptr) {
        gst_message_unref(message);
    }
    gst_object_unref(bus);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    g_clear_error(&error);
    if (!done) {
        throw std::runtime_error(description + ": the pipeline has failed");
    }
}

} // namespace testing_support
