#pragma once

// The process-wide objects that the settings document works on, on a host camera. The overlay's two
// operations are written down instead of done.

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "analysis/area_of_interest.h"
#include "core/app_state.h"
#include "settings/parameter_io.h"
#include "tests/unit/settings/parameter_fixture.h"

namespace testing_support {

/// What OverlayManager was asked for and what it answers.
struct OverlayStandIn {
    std::vector<std::string>
        streamTexts; ///< every text that SetOverlayStreamResolutionFromString got
    std::optional<ConfigParams> settingsAtTheCall; ///< the settings in force at the last of them
    std::vector<std::string> parameterCallsAtTheCall;
    bool isTextRefused = false; ///< throw std::invalid_argument
    std::string resolutions = "640x360,1280x720,";
};
extern OverlayStandIn g_overlayStandIn;

/// A payload that sets every field; elements may be replaced or removed.
class Payload {
  public:
    Payload();
    Payload& with(const std::string& element, const std::string& value);
    Payload& without(const std::string& element);
    [[nodiscard]] std::string text() const;

  private:
    std::vector<std::pair<std::string, std::string>> m_elements;
};

class SettingsDocumentTest : public testing::Test {
  protected:
    SettingsDocumentTest();

    HostCamera camera;
};

} // namespace testing_support
