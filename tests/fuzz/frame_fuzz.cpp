// A frame of any size and content on its way through the application: converted, cropped and
// scaled, searched for markers, and what was found drawn over a stream of any size.

#include <cstring>
#include <memory>

#include <cairo.h>
#include <opencv2/objdetect/aruco_detector.hpp>

#include "analysis/common_structs.h"
#include "analysis/distance_controller.h"
#include "core/app_state.h"
#include "outputs/overlay_manager.h"
#include "settings/config_params.h"
#include "tests/fuzz/fuzz_input.h"
#include "video/VideoStreamSource.h"
#include "video/imgconverter.h"

using fuzzing::Input;
using fuzzing::require;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned kLongest = 96;

/// A frame in exactly as much memory as its size asks for, so that reading past it is seen. Where a
/// side is odd the half row or column of the chroma counts as a whole one.
Bytes frameBytes(unsigned width, unsigned height, const std::string& content) {
    const std::size_t stride = width + width % 2;
    Bytes frame(std::size_t{width} * height + stride * ((height + 1) / 2), 128);
    for (std::size_t i = 0; i < frame.size() && !content.empty(); ++i) {
        frame[i] = static_cast<std::uint8_t>(content[i % content.size()]);
    }
    return frame;
}

/// Draws a marker into the luma, so that there is something to find.
void drawMarker(Bytes& frame, unsigned width, unsigned height, int id, unsigned side) {
    if (side + 8 > std::min(width, height) || side < 7) {
        return;
    }
    std::fill(frame.begin(),
              frame.begin() + static_cast<std::ptrdiff_t>(std::size_t{width} * height), 255);
    cv::Mat picture;
    const auto dictionary = cv::aruco::getPredefinedDictionary(cv::aruco::DICT_5X5_100);
    cv::aruco::generateImageMarker(dictionary, id, static_cast<int>(side), picture);
    for (unsigned y = 0; y < side; ++y) {
        std::memcpy(&frame[std::size_t{width} * (y + 4) + 4], picture.ptr(static_cast<int>(y)),
                    side);
    }
}

/// Hands out one frame, converted as the camera's stream does it.
class FrameSource : public ImageFrameSource {
  public:
    FrameSource(Bytes& frame, unsigned width, unsigned height)
        : m_frame(frame), m_width(width), m_height(height) {}

    bool getFrame(int requestedHeight, int requestedWidth, int /*rotation*/,
                  std::uint8_t* pOutputPixels) override {
        const auto height = static_cast<unsigned>(requestedHeight);
        const auto width = static_cast<unsigned>(requestedWidth);
        if (height == m_height && width == m_width) {
            convertU8yuvToRGBlibYuv(m_width, m_height, m_frame.data(), pOutputPixels);
            return true;
        }
        return convertCropScaleU8yuvToRGB(m_frame.data(), m_width, m_height, pOutputPixels, width,
                                          height);
    }

  private:
    Bytes& m_frame;
    unsigned m_width;
    unsigned m_height;
};

void checkOtherConversions(Bytes& frame, unsigned width, unsigned height, Input& input) {
    const std::size_t pixels = std::size_t{width} * height;
    Bytes rgb(pixels * 3);
    convertU8yuvToRGBnaive(width, height, frame.data(), rgb.data());
    std::vector<float> real(pixels * 3);
    const auto swing = static_cast<float>(input.upTo(8));
    convertU8yuvToFloat32RGB(width, height, frame.data(), real.data(), swing, 1.0F);
    for (const float value : real) {
        require(value >= 1.0F - swing / 2.0F && value <= 1.0F + swing / 2.0F,
                "a channel is outside its limits");
    }
}

/// Any settings of the analysis.
void chooseSettings(Input& input) {
    const char* const dictionaries[] = {"5x5", "4x4", "6x6", "7x7", "", "8x8"};
    g_ConfigParams.str_SelectedDictionary = dictionaries[input.upTo(5)];
    g_ConfigParams.b_DisplayNonAOI = input.flag();
    g_ConfigParams.b_IsRequirePresent = input.flag();
    g_ConfigParams.i_MarkersSeconds = input.number();
    const bool isWild = input.flag();
    for (int i = 0; i < 8; ++i) {
        g_ConfigParams.i_Detection1[i] =
            isWild ? input.number() : static_cast<int>(input.upTo(kLongest));
    }
}

void requirePlausible(const std::vector<detection>& found, int width, int height) {
    for (const detection& marker : found) {
        require(marker.classId >= 0 && marker.classId < 1000, "an id is outside its limits");
        require(marker.markerCorners.size() == 4, "a marker has other than four corners");
        for (const cv::Point2f& corner : marker.markerCorners) {
            // A corner may be refined to a little beyond the picture.
            require(corner.x > -8.0F && corner.y > -8.0F &&
                        corner.x < static_cast<float>(width) + 8.0F &&
                        corner.y < static_cast<float>(height) + 8.0F,
                    "a corner is far outside of the picture");
        }
    }
}

struct DestroySurface {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
struct DestroyContext {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};

/// Draws the findings on a stream of any size, at any rotation.
void render(Input& input) {
    axoverlay_stream_data stream{};
    stream.width = static_cast<int>(input.upTo(kLongest));
    stream.height = static_cast<int>(input.upTo(kLongest));
    stream.rotation = static_cast<int>(input.upTo(3)) * 90;
    stream.is_mirrored = input.flag() ? TRUE : FALSE;
    const bool isTurned = stream.rotation == 90 || stream.rotation == 270;
    const int width = isTurned ? stream.height : stream.width;
    const int height = isTurned ? stream.width : stream.height;
    const std::unique_ptr<cairo_surface_t, DestroySurface> surface(
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
    const std::unique_ptr<cairo_t, DestroyContext> context(cairo_create(surface.get()));
    OverlayManager::m_OverlayID = 1;
    OverlayManager::SetOverlayStreamResolution(static_cast<unsigned>(stream.width),
                                               static_cast<unsigned>(stream.height));
    OverlayManager::renderCallback(context.get(), 1, &stream, AXOVERLAY_TOP_LEFT, 0, 0, width,
                                   height, &g_OverlayInfo);
    require(cairo_status(context.get()) == CAIRO_STATUS_SUCCESS, "drawing has broken the picture");

    const RenderingContext other{context.get(),
                                 static_cast<float>(input.number()),
                                 static_cast<float>(input.number()) / 65536.0F,
                                 static_cast<float>(input.number()) / 65536.0F,
                                 input.flag(),
                                 width};
    const int at = input.number();
    const int color = static_cast<int>(input.byte());
    OverlayManager::drawRectangle(other, {at, input.number(), input.number(), input.number()},
                                  color, 3, input.flag());
    OverlayManager::drawCross(other, at, input.number(), static_cast<int>(input.byte()), color, 3);
    OverlayManager::drawLine(other, at, input.number(), input.number(), input.number(), color, 3);
    require(cairo_status(context.get()) == CAIRO_STATUS_SUCCESS, "a shape has broken the picture");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const unsigned width = input.upTo(kLongest);
    const unsigned height = input.upTo(kLongest);
    g_AnalysisStreamWidth =
        input.flag() ? static_cast<int>(width) : static_cast<int>(input.upTo(kLongest));
    g_AnalysisStreamHeight =
        input.flag() ? static_cast<int>(height) : static_cast<int>(input.upTo(kLongest));
    chooseSettings(input);
    Input drawing = input;
    const int markerId = static_cast<int>(input.upTo(99));
    const unsigned side = input.byte();
    const bool isWild = input.flag();
    const int seconds = input.number();
    Bytes frame = frameBytes(width, height, input.rest());
    drawMarker(frame, width, height, markerId, side);
    checkOtherConversions(frame, width, height, drawing);

    FrameSource source(frame, width, height);
    const std::vector<detection> found = g_DistanceController.find_markers(source);
    requirePlausible(found, g_AnalysisStreamWidth, g_AnalysisStreamHeight);
    g_findings.clear();
    for (const detection& marker : found) {
        g_findings.push_back(
            {marker.get_centroid(), marker, 1, static_cast<footings>(seconds & 1), seconds});
    }
    if (isWild) {
        // What no detector says.
        detection marker;
        marker.classId = drawing.number();
        for (int i = 0; i < 4; ++i) {
            const auto x = static_cast<float>(drawing.number());
            marker.markerCorners.emplace_back(x, static_cast<float>(drawing.number()));
        }
        g_findings.push_back({marker.get_centroid(), marker, 2, in_AOI1_lengthily, seconds});
    }
    render(drawing);
    return 0;
}
