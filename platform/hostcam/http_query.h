#pragma once

// The arguments of a request to the web endpoint, read strictly: what is unknown, repeated or out
// of range is refused with one sentence that names it, so that a page finds out at once.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/hostcam/config.h"
#include "platform/hostcam/viewer_layer.h"

namespace hostcam {

/// Thrown for a request that cannot be answered as it stands: status 400, with its text.
class BadRequest : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Names and values in the order of the request, decoded. No name comes twice.
using QueryArguments = std::vector<std::pair<std::string, std::string>>;

/// Reads what stands behind the question mark.
/// @throws BadRequest for one that is too long, badly encoded, or names something twice
[[nodiscard]] QueryArguments parseQuery(std::string_view query);

/// What a viewer asks for.
struct PictureArguments {
    PictureWish wish;
    unsigned fps = 0;           ///< pictures a second; 0: every frame of the camera
    std::uint64_t pictures = 0; ///< after which the video ends; 0: never
    unsigned seconds = 0;       ///< after which the video ends; 0: never
    double framerate = 25;      ///< the camera's, in which both count
};

/// Reads the arguments of image.cgi or video.cgi. What is not named is as the camera is set up: the
/// first viewer stream, or else the largest resolution.
/// @throws BadRequest
[[nodiscard]] PictureArguments readPictureArguments(const QueryArguments& arguments,
                                                    const Config& config);

} // namespace hostcam
