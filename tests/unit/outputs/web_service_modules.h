#pragma once

// The modules behind the web service, as a test wants them: what the settings answer, and when they
// throw. The events are the real event manager on the event system's stand-in.

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace web_service_modules {

struct World {
    std::string statusText = "Markers ";
    std::string statusCode = "200";
    std::string isPortrait = "0";
    std::string aspectRatio = "16:9";
    std::function<std::string()> parameters = [] { return std::string("<app></app>"); };
    std::function<int(const std::string&)> setPostParameters = [](const std::string&) { return 0; };
    /// What parsing a posted log line gives.
    std::function<std::map<std::string, std::string>(const std::string&)> parse =
        [](const std::string&) { return std::map<std::string, std::string>(); };
    std::vector<std::string> bodies; ///< as given to the two operations above
};

[[nodiscard]] World& world();

/// Puts everything back, declares the alert event anew, and forgets the log and the events.
void reset();

} // namespace web_service_modules
