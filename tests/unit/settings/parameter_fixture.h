#pragma once

// A host camera, an opened parameter_controller and an empty log for the tests of the settings.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/hostcam/faults.h"
#include "platform/hostcam/misuse.h"
#include "settings/parameter_controller.h"
#include "tests/support/log_lines.h"
#include "tests/unit/platform/host_camera.h"
#include "tests/unit/settings/recorded_parameter_calls.h"

namespace testing_support {

/// The parameters of the package, in the order in which settings are loaded and saved.
inline const std::vector<std::string> kSettingsOrder = {"DetectionOverlaysOn",
                                                        "SelectedDetectionOverlay",
                                                        "IsRequirePresent",
                                                        "DisplayNonAOI",
                                                        "EulaAccepted",
                                                        "SelectedDictionary",
                                                        "Detection10x",
                                                        "Detection10y",
                                                        "Detection11x",
                                                        "Detection11y",
                                                        "Detection12x",
                                                        "Detection12y",
                                                        "Detection13x",
                                                        "Detection13y",
                                                        "Detection20x",
                                                        "Detection20y",
                                                        "Detection21x",
                                                        "Detection21y",
                                                        "Detection22x",
                                                        "Detection22y",
                                                        "Detection23x",
                                                        "Detection23y",
                                                        "Detection30x",
                                                        "Detection30y",
                                                        "Detection31x",
                                                        "Detection31y",
                                                        "Detection32x",
                                                        "Detection32y",
                                                        "Detection33x",
                                                        "Detection33y",
                                                        "MarkersSeconds",
                                                        "Markers0x",
                                                        "Markers0y",
                                                        "Markers1x",
                                                        "Markers1y",
                                                        "Markers2x",
                                                        "Markers2y",
                                                        "Markers3x",
                                                        "Markers3y"};

class ParameterControllerTest : public testing::Test {
  protected:
    ParameterControllerTest() {
        controller.init_controller("zerith_markers");
        forget();
    }
    ~ParameterControllerTest() override { EXPECT_EQ(hostcam::misuses().size(), 0U); }

    /// Forgets what was logged and called so far.
    static void forget() {
        forgetLog();
        forgetParameterCalls();
    }

    /// Has calls of a platform function fail with the text "reason".
    static void failNext(const std::string& call, unsigned count = 1, int code = 9) {
        hostcam::Fault fault;
        fault.call = call;
        fault.count = count;
        fault.code = code;
        fault.message = "reason";
        hostcam::addFault(fault);
    }

    /// Has one call fail without an error object.
    static void failNextSilently(const std::string& call) {
        hostcam::Fault fault;
        fault.call = call;
        fault.withError = false;
        hostcam::addFault(fault);
    }

    HostCamera camera;
    parameter_controller controller;
};

} // namespace testing_support
