#pragma once

// A strict reader of JSON texts that only says whether a text is one, so that journal lines are
// checked against the format's grammar and not against the code that writes them.

#include <cstddef>
#include <string_view>

#include <glib.h>

namespace testing_support {

class JsonText {
  public:
    explicit JsonText(std::string_view text) : m_text(text) {}

    /// Whether the text is one JSON object, in valid UTF-8, and nothing else.
    [[nodiscard]] bool isObject() {
        m_at = 0;
        return g_utf8_validate(m_text.data(), static_cast<gssize>(m_text.size()), nullptr) !=
                   FALSE &&
               next() == '{' && value() && m_at == m_text.size();
    }

  private:
    [[nodiscard]] int next() const {
        return m_at < m_text.size() ? static_cast<unsigned char>(m_text[m_at]) : -1;
    }
    bool take(char c) {
        if (next() != static_cast<unsigned char>(c)) {
            return false;
        }
        ++m_at;
        return true;
    }
    bool word(std::string_view text) {
        if (!m_text.substr(m_at).starts_with(text)) {
            return false;
        }
        m_at += text.size();
        return true;
    }
    bool digits() {
        const std::size_t start = m_at;
        while (next() >= '0' && next() <= '9') {
            ++m_at;
        }
        return m_at > start;
    }
    bool number() {
        take('-');
        if (!take('0') && !digits()) {
            return false;
        }
        if (take('.') && !digits()) {
            return false;
        }
        if (take('e') || take('E')) {
            if (!take('+')) {
                take('-');
            }
            return digits();
        }
        return true;
    }
    bool escape() {
        if (take('u')) {
            for (int left = 4; left > 0; --left, ++m_at) {
                if (g_ascii_isxdigit(static_cast<gchar>(next())) == FALSE) {
                    return false;
                }
            }
            return true;
        }
        for (const char c : std::string_view("\"\\/bfnrt")) {
            if (take(c)) {
                return true;
            }
        }
        return false;
    }
    bool string() {
        if (!take('"')) {
            return false;
        }
        while (next() >= 0x20) {
            const int c = next();
            ++m_at;
            if (c == '"') {
                return true;
            }
            if (c == '\\' && !escape()) {
                return false;
            }
        }
        return false;
    }
    /// Objects (with names) and arrays.
    bool items(char end, bool named) {
        ++m_at;
        if (take(end)) {
            return true;
        }
        do {
            if ((named && (!string() || !take(':'))) || !value()) {
                return false;
            }
        } while (take(','));
        return take(end);
    }
    // NOLINTNEXTLINE(misc-no-recursion): as deep as the text
    bool value() {
        switch (next()) {
        case '{':
            return items('}', true);
        case '[':
            return items(']', false);
        case '"':
            return string();
        default:
            return word("true") || word("false") || word("null") || number();
        }
    }

    std::string_view m_text;
    std::size_t m_at = 0;
};

} // namespace testing_support
