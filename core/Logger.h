#pragma once

// The application's own log. Every message goes to syslog at once and, through a buffer, to a text
// file that the web page shows. Info messages are written in batches, warnings and errors at once.
// The file is kept between a lower and an upper size by a purge that runs at most once a day.
//
// Any thread may log, flush, read and clear at any time. Each Logger has a lock of its own, which
// outlives it: a message that comes before the object is constructed or after it is destroyed goes
// to syslog only, and the destructor waits for calls that are under way. syslog is called outside
// the lock, because it may block on the system's log daemon.
//
// The logger reports nothing about its own failures: entries that the file cannot take are lost.

#include <cstdint>
#include <ctime>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <syslog.h>

/// How serious a message is. The values index the level words of the file.
enum LogLevel : int { Info = 0, Warning = 1, Error = 2 };

/// One line of the log file.
struct LogEntry {
    std::string _dateTime; ///< local time of creation, "%Y-%m-%d %H:%M:%S"
    std::string _appName;
    std::string _logLevel; ///< "info", "warning" or "error"
    std::string _message;

    LogEntry() = default;
    ~LogEntry() = default;
    LogEntry(const LogEntry&) = default;
    LogEntry(LogEntry&&) = default;
    LogEntry& operator=(const LogEntry&) = default;
    LogEntry& operator=(LogEntry&&) = default;

    /// The line in the file's form, without its newline: the four fields joined by "|". Nothing is
    /// escaped.
    [[nodiscard]] std::string serialize() const { return joined("|"); }

    /// The line in the form for people: the four fields joined by a blank.
    [[nodiscard]] std::string serializeAsPlainText() const { return joined(" "); }

    /// Reads one line of the file.
    /// Deliberate: a message that itself holds "|" comes back as the text after its last "|",
    /// because the file's form escapes nothing.
    /// @param line consumed: what is left of it is the message
    void deserialize(std::string& line) {
        std::string* const fields[] = {&_dateTime, &_appName, &_logLevel};
        std::size_t field = 0;
        std::size_t start = 0;
        for (std::size_t bar = line.find('|'); bar != std::string::npos;
             bar = line.find('|', start)) {
            if (field < std::size(fields)) {
                fields[field]->assign(line, start, bar - start);
            }
            ++field;
            start = bar + 1;
        }
        // In one go: a line may be long and hold little but bars.
        line.erase(0, start);
        _message = line;
    }

  private:
    [[nodiscard]] std::string joined(const char* separator) const {
        return _dateTime + separator + _appName + separator + _logLevel + separator + _message;
    }
};

using LogEntries = std::vector<LogEntry>;

class Logger {
  public:
    /// Starts a log and writes "STARTING " + appName to it as a warning.
    /// @param appName stands in every entry
    /// @param logfilePath opened anew for every access and never held open; need not exist
    Logger(const std::string& appName, const std::string& logfilePath)
        : _appName(appName), _logfilePath(logfilePath), _nextPurgeCheckDate(std::time(nullptr)) {
        Lives::begin(this);
        incrementNextPurgeDate();
        warning("STARTING " + appName);
    }

    /// Writes "STOPPING " + appName and an empty entry, which marks the end of a run, and ends the
    /// log.
    ~Logger() {
        warning("STOPPING " + _appName);
        warning("");
        flush();
        Lives::end(this);
    }

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    /// Logs a message that can wait for its place in the file.
    void info(const std::string& message) {
        addLogEntry(LogLevel::Info, message);
        syslog(LOG_INFO, "%s", message.c_str());
    }

    /// Logs a message and writes it, and all that waited before it, to the file.
    void warning(const std::string& message) {
        addLogEntry(LogLevel::Warning, message);
        syslog(LOG_WARNING, "%s", message.c_str());
        flush();
    }

    /// Like warning(), for failures.
    void error(const std::string& message) {
        addLogEntry(LogLevel::Error, message);
        syslog(LOG_ERR, "%s", message.c_str());
        flush();
    }

    /// Appends an entry to the buffer, without syslog. More than 100 buffered entries are written.
    void addLogEntry(LogLevel level, const std::string& message) {
        Session session(this);
        if (session.alive()) {
            addLogEntryLocked(level, message, session);
        }
    }

    /// Writes the buffered entries to the file, then purges the file if that is due.
    void flush() {
        Session session(this);
        if (session.alive()) {
            flushLocked(session);
        }
    }

    /// The file's lines, without their newlines; none when it cannot be read.
    [[nodiscard]] std::vector<std::string> getLogLines() {
        const Session session(this);
        return session.alive() ? getLogLinesLocked() : std::vector<std::string>();
    }

    /// The file's size in bytes; -1 when it cannot be opened.
    [[nodiscard]] int getLogFileSize() {
        const Session session(this);
        return session.alive() ? getLogFileSizeLocked() : -1;
    }

    /// Cuts a file that has reached the upper size down to its newest lines, whose lengths without
    /// their newlines add up to just over the lower size.
    void purge() {
        Session session(this);
        if (session.alive()) {
            purgeLocked(session);
        }
    }

    /// Now, as entries tell it.
    [[nodiscard]] static std::string getCurrentDateTime() {
        return timeToString(std::time(nullptr));
    }

    /// A time as entries tell it: local, "%Y-%m-%d %H:%M:%S".
    [[nodiscard]] static std::string timeToString(std::time_t time) {
        tzset(); // localtime_r() alone would keep the time zone that the process began with
        std::tm local{};
        char text[80];
        if (localtime_r(&time, &local) == nullptr ||
            std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local) == 0) {
            return "";
        }
        return text;
    }

    /// Puts the next purge check off by one interval, from the date when it was due and not from
    /// now: after a long quiet spell the checks catch up one day at a time.
    /// @return the new date; 0 outside the logger's life
    std::time_t incrementNextPurgeDate() {
        const Session session(this);
        return session.alive() ? incrementNextPurgeDateLocked() : 0;
    }

    /// The file's lines as entries.
    [[nodiscard]] LogEntries getLogEntriesFromFile() {
        const Session session(this);
        return session.alive() ? getLogEntriesFromFileLocked() : LogEntries();
    }

    /// The whole log in the file's form, buffered entries included, a newline behind each entry.
    [[nodiscard]] std::string getSerializedLogContents() {
        return contents([](const LogEntry& entry) { return entry.serialize(); });
    }

    /// The whole log in the form for people, buffered entries included, a newline behind each
    /// entry.
    [[nodiscard]] std::string getPlainLogContents() {
        return contents([](const LogEntry& entry) { return entry.serializeAsPlainText(); });
    }

    /// Empties the buffer and the file.
    void clear() {
        const Session session(this);
        if (session.alive()) {
            _logEntries.clear();
            std::ofstream(_logfilePath, std::ios::trunc).close();
        }
    }

    /// Sets what a purge keeps and what triggers it.
    /// @param minSize bytes of text that a purge keeps, newlines not counted
    /// @param maxSize bytes of the file from which on it is purged
    void setSizeLimits(int minSize, int maxSize) {
        const Session session(this);
        if (session.alive()) {
            _minSize = minSize;
            _maxSize = maxSize;
        }
    }

    /// A copy of the entries that are not in the file yet.
    [[nodiscard]] LogEntries getLogEntries() {
        const Session session(this);
        return session.alive() ? _logEntries : LogEntries();
    }

  private:
    /// Whether a Logger lives at an address, and its lock. Held by the register below and by every
    /// call that is under way, so that it outlives the Logger.
    struct Life {
        std::mutex mutex;
        bool alive = true; // guarded by mutex
    };

    /// The Loggers that live in this process, by address. Asking it touches nothing of the object,
    /// so a call on a Logger outside its lifetime is harmless. Made at the first use and never
    /// destroyed.
    class Lives {
      public:
        static void begin(const Logger* logger) {
            const std::lock_guard lock(mutex());
            table()[logger] = std::make_shared<Life>();
        }

        static void end(const Logger* logger) {
            const std::shared_ptr<Life> life = find(logger);
            const std::lock_guard lifeLock(life->mutex);
            life->alive = false;
            const std::lock_guard lock(mutex());
            table().erase(logger);
        }

        static std::shared_ptr<Life> find(const Logger* logger) {
            const std::lock_guard lock(mutex());
            const auto found = table().find(logger);
            return found == table().end() ? nullptr : found->second;
        }

      private:
        static std::mutex& mutex() {
            static auto* const instance = new std::mutex;
            return *instance;
        }
        static std::map<const Logger*, std::shared_ptr<Life>>& table() {
            static auto* const instance = new std::map<const Logger*, std::shared_ptr<Life>>;
            return *instance;
        }
    };

    /// One call on a Logger: holds its lock and, at the end, sends to syslog what the purge had to
    /// say.
    class Session {
      public:
        explicit Session(const Logger* logger) : m_life(Lives::find(logger)) {
            if (m_life) {
                m_lock = std::unique_lock(m_life->mutex);
            }
        }
        ~Session() {
            if (m_lock.owns_lock()) {
                m_lock.unlock();
            }
            for (const std::string& message : m_infos) {
                syslog(LOG_INFO, "%s", message.c_str());
            }
        }
        Session(const Session&) = delete;
        Session& operator=(const Session&) = delete;

        [[nodiscard]] bool alive() const { return m_life && m_life->alive; }
        void keepForSyslog(std::string message) { m_infos.push_back(std::move(message)); }

      private:
        std::shared_ptr<Life> m_life;
        std::unique_lock<std::mutex> m_lock;
        std::vector<std::string> m_infos;
    };

    // What follows is called with the lock held.

    void addLogEntryLocked(LogLevel level, const std::string& message, Session& session) {
        static constexpr const char* kLevelWords[] = {"info", "warning", "error"};
        static constexpr std::size_t kMaxBufferedEntries = 100;
        LogEntry entry;
        entry._dateTime = getCurrentDateTime();
        entry._appName = _appName;
        entry._logLevel = kLevelWords[static_cast<int>(level)];
        entry._message = message;
        _logEntries.push_back(std::move(entry));
        if (_logEntries.size() > kMaxBufferedEntries) {
            flushLocked(session);
        }
    }

    void flushLocked(Session& session) {
        {
            std::ofstream file(_logfilePath, std::ios::app);
            for (const LogEntry& entry : _logEntries) {
                file << entry.serialize() << '\n';
            }
        }
        _logEntries.clear();
        if (std::time(nullptr) > _nextPurgeCheckDate) {
            purgeLocked(session);
            incrementNextPurgeDateLocked();
        }
    }

    /// Purge messages carry no function name. They may fill the buffer and so flush, and that flush
    /// may purge again: the buffer is empty by then, which ends it.
    void infoWhilePurging(const std::string& message, Session& session) {
        session.keepForSyslog(message);
        addLogEntryLocked(LogLevel::Info, message, session);
    }

    void purgeLocked(Session& session) {
        const int size = getLogFileSizeLocked();
        if (size < _maxSize) {
            return;
        }
        infoWhilePurging(
            "Purging log file. Initial log file size=" + std::to_string(size) + " bytes.", session);
        const std::vector<std::string> lines = getLogLinesLocked();
        if (!lines.empty()) {
            std::ofstream file(_logfilePath, std::ios::trunc);
            for (std::size_t i = firstLineToKeep(lines); i < lines.size(); ++i) {
                file << lines[i] << '\n';
            }
        }
        infoWhilePurging("Purging log file. Final log file size=" +
                             std::to_string(getLogFileSizeLocked()) + " bytes.",
                         session);
    }

    /// Deliberate: when all lines together do not exceed the lower size, only the last one is kept.
    [[nodiscard]] std::size_t firstLineToKeep(const std::vector<std::string>& lines) const {
        const std::size_t last = lines.size() - 1;
        auto kept = static_cast<std::int64_t>(lines[last].size());
        for (std::size_t i = last; i-- > 0;) {
            kept += static_cast<std::int64_t>(lines[i].size());
            if (kept > _minSize) {
                return i;
            }
        }
        return last;
    }

    [[nodiscard]] std::vector<std::string> getLogLinesLocked() const {
        std::ifstream file(_logfilePath);
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    [[nodiscard]] int getLogFileSizeLocked() const {
        std::ifstream file(_logfilePath, std::ios::binary | std::ios::ate);
        return static_cast<int>(file.tellg());
    }

    std::time_t incrementNextPurgeDateLocked() {
        static constexpr std::time_t kSecondsADay = 86400;
        _nextPurgeCheckDate += _purgeCheckInterval * kSecondsADay;
        return _nextPurgeCheckDate;
    }

    [[nodiscard]] LogEntries getLogEntriesFromFileLocked() const {
        LogEntries entries;
        for (std::string& line : getLogLinesLocked()) {
            entries.emplace_back().deserialize(line);
        }
        return entries;
    }

    template <typename ToText>
    [[nodiscard]] std::string contents(ToText toText) {
        Session session(this);
        std::string text;
        if (session.alive()) {
            flushLocked(session);
            for (const LogEntry& entry : getLogEntriesFromFileLocked()) {
                text += toText(entry) + "\n";
            }
        }
        return text;
    }

    std::string _appName;
    std::string _logfilePath;
    LogEntries _logEntries; ///< not in the file yet
    int _minSize = 1048576;
    int _maxSize = 2097152;
    std::time_t _nextPurgeCheckDate;
    int _purgeCheckInterval = 1; ///< days
};

/// The application's log. Defined in core/app_main.cpp; any thread, at any time.
extern Logger g_Logger;
