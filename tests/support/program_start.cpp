#include "tests/support/program_start.h"

#include <cstdlib>
#include <iterator>
#include <sstream>

#include <unistd.h>

namespace testing_support {

namespace {

std::string emulator() {
    const char* const words = std::getenv("ZM_EMULATOR");
    return words == nullptr ? "" : words;
}

} // namespace

bool isEmulated() {
    return !emulator().empty();
}

ProgramStart::ProgramStart(const std::vector<std::string>& command) {
    std::istringstream stream(emulator());
    m_words.assign(std::istream_iterator<std::string>(stream), {});
    m_words.insert(m_words.end(), command.begin(), command.end());
    m_arguments.reserve(m_words.size() + 1);
    for (std::string& word : m_words) {
        m_arguments.push_back(word.data());
    }
    m_arguments.push_back(nullptr);
}

void ProgramStart::become() const {
    execvp(m_arguments.front(), m_arguments.data());
}

std::string ProgramStart::shellLine() const {
    std::string line;
    for (const std::string& word : m_words) {
        line += "'" + word + "' ";
    }
    return line;
}

} // namespace testing_support
