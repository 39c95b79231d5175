#pragma once

// The start-up module on a host camera. Its main is compiled under the name zerith_main.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/app_main.h"
#include "platform/hostcam/faults.h"
#include "settings/config_params.h"
#include "tests/support/log_lines.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/core/app_main_stand_ins.h"
#include "tests/unit/core/captured_syslog.h"
#include "tests/unit/platform/host_camera.h"

int zerith_main();

namespace testing_support {

/// What syslog had got when the program's objects were constructed and no test had run.
[[nodiscard]] const std::vector<std::string>& syslogAtLoad();

/// A camera of one small resolution, a working directory with a folder for the log, no settings,
/// and the start-up module as it is at load.
class AppMainTest : public testing::Test {
  protected:
    AppMainTest();
    ~AppMainTest() override;

    /// Stores settings as an earlier run would have left them.
    static void store(const std::string& name, const std::string& value);

    /// Has every call of a platform function fail with the text "reason" from now on.
    static void fail(const std::string& call);

    WorkingDir folder;
    HostCamera camera;

    static constexpr const char* kConfiguration = "[camera]\nresolutions=320x180\n[http]\nport=0\n";
};

} // namespace testing_support
