// The texts of sizes and aspect ratios: the overlay streams', the host camera's, and what the
// camera says of its sensor. A text either changes nothing or sets a size that is written and read
// again.

#include "outputs/overlay_manager.h"
#include "platform/hostcam/config.h"
#include "tests/fuzz/fuzz_input.h"
#include "video/StreamManager.h"

using fuzzing::require;

namespace {

Resolution overlaySize() {
    return {g_OverlayInfo.overlayStreamWidth, g_OverlayInfo.overlayStreamHeight};
}

Resolution anonymizedSize() {
    return {g_OverlayInfo.anonymizedStreamWidth, g_OverlayInfo.anonymizedStreamHeight};
}

void checkOverlayStream(const std::string& text) {
    OverlayManager::SetOverlayStreamResolution(12, 34);
    OverlayManager::SetAnonymizedStreamResolution(56, 78);
    bool isTaken = true;
    try {
        OverlayManager::SetOverlayStreamResolutionFromString(text);
    } catch (const std::logic_error&) {
        isTaken = false;
    }
    const std::string size = overlaySize().to_string();
    require(isTaken || size == "12x34", "a refused text has changed the size");
    require(anonymizedSize().to_string() == "56x78", "another stream's size has changed");
    if (!isTaken) {
        return;
    }
    OverlayManager::SetAnonymizedStreamResolutionFromString(text);
    require(anonymizedSize().to_string() == size, "the same text is two sizes");
    // A negative number, which no stream has as its size, does not come back.
    constexpr unsigned kMostInt = 2147483647U;
    if (overlaySize().width <= kMostInt && overlaySize().height <= kMostInt) {
        OverlayManager::SetOverlayStreamResolutionFromString(size);
        require(overlaySize().to_string() == size, "a size that was written is read differently");
    }
}

void checkHostCamera(const std::string& text) {
    if (text.find('\n') != std::string::npos) {
        return; // more than one key
    }
    try {
        const hostcam::Config config = hostcam::parseConfig(
            "[camera]\nresolutions=" + text + "\n[viewers]\nstreams=" + text + "\n", "fuzz");
        require(!config.resolutions.empty(), "there is no size");
        require(config.resolutions.size() == config.viewers.size(), "there are not as many sizes");
        for (const hostcam::Size& size : config.resolutions) {
            require(size.width >= 2 && size.height >= 2 && size.width <= 16384 &&
                        size.height <= 16384 && size.width % 2 == 0 && size.height % 2 == 0,
                    "a size is outside its limits");
        }
    } catch (const hostcam::ConfigError&) {
        return;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzzing::Input(data, size).rest();
    checkOverlayStream(text);
    checkHostCamera(text);
    const AspectRatioType ratio = StreamManager::convertAspectRatio(text);
    require((ratio == WIDESCREEN) == (text == "16:9") && (ratio == FULLSCREEN) == (text == "4:3") &&
                (ratio == SQUARE) == (text == "1:1"),
            "a text names another aspect ratio");
    const auto broker = hostcam::parseBroker(text);
    require(!broker || (broker->port > 0 && broker->port < 65536 && !broker->host.empty()),
            "a broker is outside its limits");
    return 0;
}
