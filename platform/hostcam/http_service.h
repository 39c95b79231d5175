#pragma once

// The web endpoint of the process, as the configuration in force wants it. It is there while a
// video stream or overlays are in use: each of them holds it. All functions may be called from any
// thread.

#include <memory>

namespace hostcam {

class HttpService;

/// Starts the endpoint, or shares the one that runs. One that cannot listen is reported once, as a
/// warning, and the application goes on without it.
/// @return to be held while the camera is in use; null when the configuration has it off (port 0)
/// @throws ConfigError
[[nodiscard]] std::shared_ptr<HttpService> openHttpService();

} // namespace hostcam
