#pragma once

// A folder, a stopped clock and a file name for the tests of the log.

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/Logger.h"
#include "tests/support/moved_clock.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/core/captured_syslog.h"

class LoggerTest : public testing::Test {
  protected:
    static constexpr std::int64_t kStart = 1'714'571'110; ///< 2024-05-01 13:45:10 UTC
    static constexpr std::int64_t kDay = 86'400;

    LoggerTest() {
        testing_support::MovedClock::set(kStart);
        testing_support::forgetSyslog();
    }
    ~LoggerTest() override { testing_support::MovedClock::release(); }

    [[nodiscard]] std::string path() const { return m_dir / "log.txt"; }
    [[nodiscard]] std::string fileContent() const { return testing_support::readFile(path()); }
    [[nodiscard]] std::vector<std::string> fileLines() const {
        return testing_support::readLines(path());
    }

  private:
    testing_support::TempDir m_dir;
};
