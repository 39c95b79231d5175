#pragma once

// What the fuzz targets share. A target is a function that takes any bytes and throws when
// something does not hold. Built with ZM_FUZZ, libFuzzer calls it with inputs that it makes up; in
// every other build kept_inputs.cpp calls it with the inputs that are kept in corpus/ and
// findings/.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

// The names by which libFuzzer knows a target.
extern "C" {

/// Makes what the target needs, once. A target without needs does not define it.
/// @return 0; anything else: the target cannot run on this machine, and what it printed tells why
int LLVMFuzzerInitialize(int* argc, char*** argv);

/// Tries one input. @return 0
/// @throws Finding when something does not hold
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
}

namespace fuzzing {

/// What libFuzzer reports as a crash and GoogleTest as a failure.
class Finding : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

/// @throws Finding
inline void require(bool holds, const char* what) {
    if (!holds) {
        throw Finding(what);
    }
}

/// An input's bytes, taken one after the other. One that is used up goes on with zeros.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : m_data(data), m_left(size) {}

    std::uint8_t byte() {
        if (m_left == 0) {
            return 0;
        }
        --m_left;
        return *m_data++;
    }

    /// A number from 0 to `most`, which is at most 255.
    unsigned upTo(unsigned most) { return byte() % (most + 1); }

    bool flag() { return (byte() & 1U) != 0; }

    /// Any 32 bits.
    int number() {
        std::uint32_t bits = 0;
        for (int i = 0; i < 4; ++i) {
            bits = bits << 8U | byte();
        }
        return static_cast<int>(bits);
    }

    /// All that is left.
    std::string rest() {
        std::string text(reinterpret_cast<const char*>(m_data), m_left);
        m_left = 0;
        return text;
    }

    [[nodiscard]] std::size_t left() const { return m_left; }

  private:
    const std::uint8_t* m_data;
    std::size_t m_left;
};

/// The parts of a text between dividers; of an empty text one empty part.
inline std::vector<std::string> parts(const std::string& text, char divider) {
    std::vector<std::string> result;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = std::min(text.find(divider, begin), text.size());
        result.push_back(text.substr(begin, end - begin));
        if (end == text.size()) {
            return result;
        }
        begin = end + 1;
    }
}

/// The lines of a text, the last one with or without its end.
inline std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result = parts(text, '\n');
    if (result.back().empty()) {
        result.pop_back();
    }
    return result;
}

} // namespace fuzzing
