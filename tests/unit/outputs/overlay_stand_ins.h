#pragma once

// Stands in at link time for everything around OverlayManager: the overlay service and the camera's
// channels, with just the functions that it calls, and the modules that tell it about the analysis
// and the settings. It writes down the calls of the service, fails those it is told to, and counts
// what was handed out and not released.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <axoverlay.h>

namespace overlay_stand_ins {

/// A channel's sizes in its order; nothing for a channel that does not tell them.
using ChannelSizes = std::optional<std::vector<std::pair<std::uint32_t, std::uint32_t>>>;

struct World {
    // The overlay service.
    std::vector<std::string> calls;   ///< with arguments, for example "axoverlay_destroy_overlay 5"
    std::vector<std::string> failing; ///< functions that set an error "broken"
    bool isBackendSupported = true;
    int createdId = 5;
    axoverlay_settings settings{};    ///< as given to axoverlay_init()
    axoverlay_overlay_data overlay{}; ///< as given to axoverlay_create_overlay()
    gpointer userData = nullptr;      ///< as given to axoverlay_create_overlay()

    // The camera.
    std::vector<ChannelSizes> channels; ///< none: there is no list
    std::string aspectRatio = "16:9";
    int liveObjects = 0; ///< channels and lists of sizes that are not released

    // The analysis.
    bool isMarkerLost = false;
    int secondsSinceLost = 0;
};

/// The world in force; tests change it freely.
[[nodiscard]] World& world();

/// Puts everything back: the world, the stream sizes, the overlay's id, the user shapes, the
/// findings, the settings, the status and the sizes of the analysis. Forgets the log.
void reset();

} // namespace overlay_stand_ins
