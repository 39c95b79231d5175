#include <atomic>
#include <memory>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/core/logger_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::forgetSyslog;
using testing_support::syslogLines;

namespace {

/// Logs while the program's objects are constructed and destroyed.
struct EarlyAndLate {
    explicit EarlyAndLate(Logger& logger) : m_logger(logger) { use(); }
    ~EarlyAndLate() { use(); }
    EarlyAndLate(const EarlyAndLate&) = delete;
    EarlyAndLate& operator=(const EarlyAndLate&) = delete;

    void use() {
        m_logger.info("i");
        m_logger.warning("w");
        m_logger.error("e");
        m_logger.addLogEntry(LogLevel::Error, "entry");
        m_logger.flush();
        m_logger.purge();
        m_logger.clear();
        m_logger.setSizeLimits(1, 2);
        m_size = m_logger.getLogFileSize();
        m_lines = m_logger.getLogLines().size() + m_logger.getLogEntries().size() +
                  m_logger.getLogEntriesFromFile().size() +
                  m_logger.getSerializedLogContents().size() +
                  m_logger.getPlainLogContents().size();
        m_date = m_logger.incrementNextPurgeDate();
    }

    Logger& m_logger;
    int m_size = 0;
    std::size_t m_lines = 99;
    std::time_t m_date = 99;
};

} // namespace

namespace {
const EarlyAndLate g_early(g_Logger);
} // namespace
Logger g_Logger("global", "./threads_test_log.txt");

namespace {

const std::vector<std::string> g_syslogAtStart = syslogLines();

TEST(LoggerLife, CallsBeforeConstructionReachSyslogOnly) {
    EXPECT_THAT(g_syslogAtStart, ElementsAre("6|i", "4|w", "3|e", "4|STARTING global"));
    EXPECT_EQ(g_early.m_size, -1);
    EXPECT_EQ(g_early.m_lines, 0U);
    EXPECT_EQ(g_early.m_date, 0);
}

TEST_F(LoggerTest, CallsAfterDestructionReachSyslogOnly) {
    const auto storage =
        std::make_unique<std::aligned_storage_t<sizeof(Logger), alignof(Logger)>>();
    auto* const logger = new (storage.get()) Logger("app", path());
    logger->~Logger();
    const std::string content = fileContent();
    forgetSyslog();
    const EarlyAndLate late(*logger);
    EXPECT_THAT(syslogLines(), ElementsAre("6|i", "4|w", "3|e"));
    EXPECT_EQ(late.m_lines, 0U);
    EXPECT_EQ(late.m_size, -1);
    EXPECT_EQ(fileContent(), content);
}

TEST_F(LoggerTest, SeveralLogsLiveSideBySide) {
    Logger first("first", path());
    {
        Logger second("second", path() + ".2");
        first.info("of the first");
        second.info("of the second");
        EXPECT_EQ(second.getLogEntries().size(), 1U);
    }
    first.info("again");
    EXPECT_EQ(first.getLogEntries().size(), 2U);
    EXPECT_THAT(testing_support::readLines(path() + ".2"), testing::SizeIs(4));
}

TEST_F(LoggerTest, LogThatComesBackAtTheSamePlaceWorks) {
    const auto storage =
        std::make_unique<std::aligned_storage_t<sizeof(Logger), alignof(Logger)>>();
    for (int run = 0; run < 2; ++run) {
        auto* const logger = new (storage.get()) Logger("app", path());
        logger->warning("here");
        logger->~Logger();
    }
    EXPECT_EQ(fileLines().size(), 8U);
}

TEST_F(LoggerTest, ThreadsLogReadAndClearAtTheSameTimeWithoutLosingOrMixingLines) {
    static constexpr int kThreads = 4;
    static constexpr int kMessages = 300;
    Logger logger("app", path());
    std::atomic<bool> isDone{false};
    std::thread reader([&] {
        while (!isDone) {
            const std::string content = logger.getSerializedLogContents();
            EXPECT_TRUE(content.empty() || content.back() == '\n');
            EXPECT_GE(logger.getLogFileSize(), 0);
            EXPECT_LE(logger.getLogEntries().size(), 100U);
        }
    });
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([&logger, t] {
            for (int i = 0; i < kMessages; ++i) {
                const std::string message = std::to_string(t) + ":" + std::to_string(i);
                i % 50 == 0 ? logger.warning(message) : logger.info(message);
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    isDone = true;
    reader.join();

    std::multiset<std::string> messages;
    for (const LogEntry& entry : (logger.flush(), logger.getLogEntriesFromFile())) {
        messages.insert(entry._message);
    }
    EXPECT_EQ(messages.size(), static_cast<std::size_t>(kThreads * kMessages + 1));
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kMessages; ++i) {
            EXPECT_EQ(messages.count(std::to_string(t) + ":" + std::to_string(i)), 1U);
        }
    }
}

TEST_F(LoggerTest, ThreadThatLogsWhileTheLogIsDestroyedEndsUpInSyslog) {
    for (int round = 0; round < 50; ++round) {
        const auto storage =
            std::make_unique<std::aligned_storage_t<sizeof(Logger), alignof(Logger)>>();
        auto* const logger = new (storage.get()) Logger("app", path());
        std::atomic<int> logged{0};
        std::atomic<bool> isDone{false};
        std::thread writer([&] {
            while (!isDone) {
                logger->info("x");
                ++logged;
            }
        });
        while (logged == 0) {
            std::this_thread::yield();
        }
        logger->~Logger();
        const int before = logged;
        while (logged < before + 2) {
            std::this_thread::yield();
        }
        isDone = true;
        writer.join();
    }
    EXPECT_THAT(fileLines().back(), testing::EndsWith("|app|warning|"));
}

} // namespace
