// The log file: whatever stands in it is read as lines and fields, and a purge keeps its newest
// lines, as many as the limits say. The first two bytes are the limits; the rest is the file, and
// behind each byte 0xFE a message that is logged.

#include <fstream>
#include <iterator>

#include "core/Logger.h"
#include "tests/fuzz/fuzz_input.h"

using fuzzing::require;

namespace {

constexpr const char* kPath = "./log_file_fuzz.log";

Logger& logger() {
    static auto* const instance = new Logger("fuzz", kPath);
    return *instance;
}

std::string fileText() {
    std::ifstream file(kPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write(const std::string& text) {
    std::ofstream(kPath, std::ios::binary | std::ios::trunc) << text;
}

/// What a purge is to leave of a file.
std::string purged(const std::string& text, int minSize, int maxSize) {
    const std::vector<std::string> all = fuzzing::lines(text);
    if (static_cast<int>(text.size()) < maxSize || all.empty()) {
        return text;
    }
    // From the end on, until what is kept exceeds the lower limit; all of it when it never does so
    // counts for nothing: then the last line alone is kept.
    std::size_t start = all.size() - 1;
    std::size_t kept = all.back().size();
    for (std::size_t i = all.size() - 1; i > 0; --i) {
        kept += all[i - 1].size();
        if (kept > static_cast<std::size_t>(minSize)) {
            start = i - 1;
            break;
        }
    }
    std::string result;
    for (std::size_t i = start; i < all.size(); ++i) {
        result += all[i] + "\n";
    }
    return result;
}

void checkReading(const std::string& text) {
    require(logger().getLogLines() == fuzzing::lines(text),
            "the file's lines are read differently");
    const LogEntries entries = logger().getLogEntriesFromFile();
    std::string plain;
    std::string serialized;
    for (std::string& line : fuzzing::lines(text)) {
        LogEntry entry;
        entry.deserialize(line);
        plain += entry.serializeAsPlainText() + "\n";
        serialized += entry.serialize() + "\n";
    }
    require(entries.size() == fuzzing::lines(text).size(),
            "there are not as many entries as lines");
    require(logger().getPlainLogContents() == plain, "the plain contents are others");
    require(logger().getSerializedLogContents() == serialized,
            "the serialized contents are others");
    require(fileText() == text, "reading has changed the file");
}

void checkMessage(const std::string& message) {
    const std::string before = fileText();
    logger().warning(message);
    const std::string after = fileText();
    require(after.starts_with(before), "a message has changed what stood before it");
    // Deliberate: nothing is escaped, so a message with line ends is several lines.
    require(after.ends_with("|fuzz|warning|" + message + "\n"), "a message is written differently");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzing::Input input(data, size);
    const int minSize = input.byte();
    const int maxSize = input.byte();
    const std::vector<std::string> texts = fuzzing::parts(input.rest(), '\xFE');
    logger().clear();
    logger().setSizeLimits(minSize, maxSize);
    write(texts.front());
    checkReading(texts.front());
    require(logger().getLogFileSize() == static_cast<int>(texts.front().size()),
            "the size is another");

    logger().purge();
    const std::string left = purged(texts.front(), minSize, maxSize);
    require(fileText() == left, "a purge has left something else");
    const bool isDue = static_cast<int>(texts.front().size()) >= maxSize;
    require(logger().getLogEntries().size() == (isDue ? 2U : 0U),
            "a purge has told something else");
    for (std::size_t i = 1; i < texts.size(); ++i) {
        checkMessage(texts[i]);
    }
    logger().clear();
    require(fileText().empty() && logger().getLogEntries().empty(),
            "something is left after clearing");
    return 0;
}
