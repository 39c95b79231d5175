#include "video/StreamManager.h"

#include <array>
#include <limits>
#include <memory>

#include <vdo-channel.h>
#include <vdo-types.h>

#include "core/Logger.h"
#include "core/handles.h"

namespace {

constexpr guint kAnalysisChannel = 1;

using ResolutionSetHandle = std::unique_ptr<VdoResolutionSet, ReleaseWith<g_free>>;

/// Asks the camera for the sizes that channel 1 offers and keeps the one with the best area.
/// @param caller the name that begins the log lines
/// @param bestArea the area to beat
/// @param counts tells of a VdoResolution whether it takes part at all
/// @param beats tells of two areas whether the first replaces the second; strict, so that of equal
///   entries the first stays
/// @returns whether one was found; only then width and height are written
template <typename Counts, typename Beats>
bool searchOfferedSizes(const std::string& caller, std::uint32_t bestArea, Counts counts,
                        Beats beats, unsigned& width, unsigned& height) {
    ErrorSlot error;
    ObjectHandle<VdoChannel> channel(vdo_channel_get(kAnalysisChannel, error.out()));
    if (channel == nullptr) {
        g_Logger.error(caller + ": Failed vdo_channel_get(): " + error.message());
        return false;
    }
    ResolutionSetHandle offered(vdo_channel_get_resolutions(channel.get(), nullptr, error.out()));
    if (offered == nullptr) {
        g_Logger.error(caller + ": Failed vdo_channel_get_resolutions(): " + error.message());
        return false;
    }

    std::uint32_t bestWidth = 0;
    std::uint32_t bestHeight = 0;
    for (gsize i = 0; i < offered->count; ++i) {
        const VdoResolution& entry = offered->resolutions[i];
        const std::uint32_t area = entry.width * entry.height;
        if (counts(entry) && beats(area, bestArea)) {
            bestWidth = entry.width;
            bestHeight = entry.height;
            bestArea = area;
        }
    }
    channel.reset();
    offered.reset();

    if (bestWidth == 0) {
        return false;
    }
    width = bestWidth;
    height = bestHeight;
    return true;
}

bool isSmaller(std::uint32_t area, std::uint32_t bestArea) {
    return area < bestArea;
}

bool isLarger(std::uint32_t area, std::uint32_t bestArea) {
    return area > bestArea;
}

bool isOfClass(const VdoResolution& entry, AspectRatioType aspectRatio) {
    return StreamManager::getAspectRatioType(static_cast<int>(entry.width),
                                             static_cast<int>(entry.height)) == aspectRatio;
}

bool containsModel(const VdoResolution& entry, int modelWidth, int modelHeight) {
    return StreamManager::doesStreamContainModel(
        static_cast<int>(entry.width), static_cast<int>(entry.height), modelWidth, modelHeight);
}

} // namespace

AspectRatioType StreamManager::getAspectRatioType(int width, int height) {
    // Divided in 32-bit float, compared in double: what lies nearest to a bound depends on both.
    const double ratio = static_cast<float>(width) / static_cast<float>(height);
    if (1.7 < ratio && ratio < 1.8) {
        return WIDESCREEN;
    }
    if (1.2 < ratio && ratio < 1.4) {
        return FULLSCREEN;
    }
    if (0.9 < ratio && ratio < 1.1) {
        return SQUARE;
    }
    return ASPECT_RATIO_INVALID;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes the text by value.
AspectRatioType StreamManager::convertAspectRatio(std::string str_aspect_ratio) {
    if (str_aspect_ratio == "16:9") {
        return WIDESCREEN;
    }
    if (str_aspect_ratio == "4:3") {
        return FULLSCREEN;
    }
    if (str_aspect_ratio == "1:1") {
        return SQUARE;
    }
    return ASPECT_RATIO_INVALID;
}

bool StreamManager::isPortrait() const {
    return m_CameraRotation == 90 || m_CameraRotation == 270;
}

void StreamManager::setCameraRotation(int rotation) {
    m_CameraRotation = rotation;
}

Resolution StreamManager::getResolution() const {
    return isPortrait() ? Resolution(m_StreamHeight, m_StreamWidth)
                        : Resolution(m_StreamWidth, m_StreamHeight);
}

Resolution StreamManager::getResolutionAxis() const {
    return Resolution(m_StreamWidth, m_StreamHeight);
}

bool StreamManager::doesStreamContainModel(int stream_width, int stream_height, int model_width,
                                           int model_height) {
    return stream_width >= model_width && stream_height >= model_height;
}

bool StreamManager::findSmallestContainingStream(int modelWidth, int modelHeight,
                                                 AspectRatioType aspectRatio, unsigned& streamWidth,
                                                 unsigned& streamHeight) {
    g_Logger.info("findSmallestContainingStream: modelWidth=" + std::to_string(modelWidth) +
                  ", modelHeight=" + std::to_string(modelHeight) +
                  ", aspectRatio=" + std::to_string(aspectRatio));
    return searchOfferedSizes(
        "findSmallestContainingStream", std::numeric_limits<std::uint32_t>::max(),
        [=](const VdoResolution& entry) {
            return isOfClass(entry, aspectRatio) && containsModel(entry, modelWidth, modelHeight);
        },
        isSmaller, streamWidth, streamHeight);
}

bool StreamManager::findLargestNotContainingStream(int modelWidth, int modelHeight,
                                                   AspectRatioType aspectRatio,
                                                   unsigned& streamWidth, unsigned& streamHeight) {
    return searchOfferedSizes(
        "findLargestNotContainingStream", 0,
        [=](const VdoResolution& entry) {
            return isOfClass(entry, aspectRatio) && !containsModel(entry, modelWidth, modelHeight);
        },
        isLarger, streamWidth, streamHeight);
}

bool StreamManager::chooseResolution(unsigned landscapeModelWidth, unsigned landscapeModelHeight,
                                     unsigned& chosenWidth, unsigned& chosenHeight) {
    struct Step {
        bool (*find)(int, int, AspectRatioType, unsigned&, unsigned&);
        AspectRatioType aspectRatio;
        const char* found;
    };
    static constexpr std::array<Step, 6> kPreferences = {{
        {findSmallestContainingStream, WIDESCREEN, "a 16:9 stream that contains"},
        {findLargestNotContainingStream, WIDESCREEN, "a 16:9 stream that does not contain"},
        {findSmallestContainingStream, FULLSCREEN, "a 4:3 stream that contains"},
        {findLargestNotContainingStream, FULLSCREEN, "a 4:3 stream that does not contain"},
        {findSmallestContainingStream, SQUARE, "a 1:1 stream that contains"},
        {findLargestNotContainingStream, SQUARE, "a 1:1 stream that does not contain"},
    }};
    const int modelWidth = static_cast<int>(landscapeModelWidth);
    const int modelHeight = static_cast<int>(landscapeModelHeight);
    for (const Step& step : kPreferences) {
        if (step.find(modelWidth, modelHeight, step.aspectRatio, chosenWidth, chosenHeight)) {
            g_Logger.info(std::string("chooseResolution: Found ") + step.found +
                          " the model WxH=" + Resolution(chosenWidth, chosenHeight).to_string());
            return true;
        }
    }
    g_Logger.error("chooseResolution: Failed to find a suitable stream for model WxH=" +
                   Resolution(landscapeModelWidth, landscapeModelHeight).to_string());
    return false;
}

bool StreamManager::chooseMaxResolution(AspectRatioType aspectRatio) {
    const bool found = searchOfferedSizes(
        "chooseMaxResolution", 0,
        [=](const VdoResolution& entry) { return isOfClass(entry, aspectRatio); }, isLarger,
        m_StreamWidth, m_StreamHeight);
    if (found) {
        g_Logger.info("chooseMaxResolution: Found a stream with the largest area WxH=" +
                      getResolutionAxis().to_string());
    }
    return found;
}
