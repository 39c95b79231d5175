// follow_status SOCKET: asks the application's web service for its status twice a second and prints
// a line, the code and the service's text, whenever the code has changed. Ends by a signal, or
// when nobody reads what it prints.

#include <chrono>
#include <cstdio>
#include <exception>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/support/fcgi_client.h"

namespace {

constexpr std::chrono::milliseconds kPause{500};

/// The body of an action's answer; nothing while nobody answers.
std::optional<std::string> ask(const std::string& socket, const std::string& action) {
    try {
        const std::map<std::string, std::string> request = {
            {"REQUEST_METHOD", "GET"},
            {"REQUEST_URI", "/local/zerith_markers/zerith_markers.cgi?action=" + action}};
        const auto answer = testing_support::FcgiClient::ask(socket, request);
        const std::size_t head = answer ? answer->find("\r\n\r\n") : std::string::npos;
        return head == std::string::npos ? std::nullopt : std::optional(answer->substr(head + 4));
    } catch (const std::runtime_error&) {
        return std::nullopt; // nobody listens yet, or any more
    }
}

void follow(const std::string& socket) {
    std::string last;
    for (;;) {
        const auto code = ask(socket, "get_status_code");
        if (code && *code != last) {
            const auto text = ask(socket, "get_status_string");
            if (std::printf("%s %s\n", code->c_str(), text.value_or("").c_str()) < 0 ||
                std::fflush(stdout) != 0) {
                return;
            }
            last = *code;
        }
        std::this_thread::sleep_for(kPause);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: follow_status SOCKET\n");
        return 2;
    }
    try {
        follow(argv[1]);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "follow_status: %s\n", problem.what());
        return 1;
    }
}
