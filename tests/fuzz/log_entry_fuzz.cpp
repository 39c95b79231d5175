// One line of the log file: read, written and read again.

#include <syslog.h>

#include "core/Logger.h"
#include "tests/fuzz/fuzz_input.h"

using fuzzing::require;

namespace {

LogEntry read(std::string line) {
    LogEntry entry;
    entry.deserialize(line);
    require(line == entry._message, "what is left of a line is not its message");
    return entry;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string line = fuzzing::Input(data, size).rest();
    const LogEntry entry = read(line);
    const std::vector<std::string> fields = fuzzing::parts(line, '|');
    require(entry._message == fields.back(), "the message is not what follows the last bar");
    require(entry._dateTime == (fields.size() > 1 ? fields[0] : ""), "the time is another field");
    require(entry._appName == (fields.size() > 2 ? fields[1] : ""), "the name is another field");
    require(entry._logLevel == (fields.size() > 3 ? fields[2] : ""), "the level is another field");
    require(fields.size() != 4 || entry.serialize() == line, "a whole line is written differently");
    const LogEntry again = read(entry.serialize());
    require(again.serialize() == entry.serialize(), "a written line is read differently");
    require(entry.serializeAsPlainText() == entry._dateTime + " " + entry._appName + " " +
                                                entry._logLevel + " " + entry._message,
            "the form for people is not the four fields");
    return 0;
}
