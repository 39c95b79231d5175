#pragma once

// How the overlay shows what the analysis knows: sizes by stream, colours by state, and the texts
// of the status line. Plain functions of their arguments; drawing is OverlayManager's.

#include <algorithm>
#include <string>

#include "analysis/common_structs.h"
#include "outputs/palette.h"

/// Whether a stream's rotation in degrees exchanges its width and height for the viewer.
inline bool isPortraitRotation(int rotation) {
    return rotation == 90 || rotation == 270;
}

/// Sizes in stream pixels, from the shorter side of the stream.
struct OverlaySizes {
    int lineWidth;
    int fontSize;
};

/// @param width, height the stream's size in pixels, in either order
inline OverlaySizes overlaySizesFor(int width, int height) {
    constexpr double kLineWidthShare = 0.005;
    constexpr double kFontSizeShare = 0.03;
    const int shorter = std::min(width, height);
    return {std::max(3, static_cast<int>(shorter * kLineWidthShare)),
            std::max(16, static_cast<int>(shorter * kFontSizeShare))};
}

/// The palette index of a finding's outline: red asks for attention, green is as it should be,
/// yellow is on the way.
/// @param requirePresent whether presence is what the alert waits for
/// @param lostLong whether the markers have been lost for longer than the alert tolerates
inline int outlineColor(footings footing, bool requirePresent, bool lostLong) {
    if (requirePresent) {
        switch (footing) {
        case in_AOI1_lengthily:
            return kRed;
        case in_AOI1_briefly:
            return kYellow;
        case not_in_AOI:
            return kGreen;
        }
    }
    if (footing == not_in_AOI) {
        return lostLong ? kRed : kYellow;
    }
    return kGreen;
}

/// "Present 59 seconds. ", "Present 1 minute. ", "Present 2 minutes. ".
inline std::string presentText(int seconds) {
    if (seconds > 59) {
        const int minutes = seconds / 60;
        return "Present " + std::to_string(minutes) + (minutes > 1 ? " minutes. " : " minute. ");
    }
    return "Present " + std::to_string(seconds) + " seconds. ";
}

/// "Missing 59 seconds. ", "Missing  minute. ", "Missing  minutes. ".
/// Deliberate: minutes are not counted out, only told from one.
inline std::string missingText(int seconds) {
    if (seconds > 59) {
        return std::string("Missing ") + (seconds / 60 > 1 ? " minutes. " : " minute. ");
    }
    return "Missing " + std::to_string(seconds) + " seconds. ";
}
