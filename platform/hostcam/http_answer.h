#pragma once

// Answers to a request of the web endpoint. *The server's thread.*

#include <string>

#include <libsoup/soup.h>

namespace hostcam {

/// Answers with text.
/// @param status as HTTP counts it
inline void answerText(SoupServerMessage* message, unsigned status, const std::string& text,
                       const char* type = "text/plain") {
    soup_server_message_set_status(message, status, nullptr);
    soup_message_headers_replace(soup_server_message_get_response_headers(message), "Cache-Control",
                                 "no-store");
    soup_server_message_set_response(message, type, SOUP_MEMORY_COPY, text.data(), text.size());
}

} // namespace hostcam
