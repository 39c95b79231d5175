// Whole FastCGI records against the real service on its real socket. Whatever a peer sends, the
// service lets go of the connection and answers the next one.
//
// The first byte says what follows: an even one bytes as they go over the wire, an odd one a
// request in words: its method, a blank, its address, a line end, and the body. The answer to such
// a request is whole, and of the form that the web API promises.

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "core/Logger.h"
#include "core/app_state.h"
#include "outputs/fastcgi_service.h"
#include "settings/parameter_controller.h"
#include "settings/parameter_io.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/memory_parameters.h"
#include "tests/support/fcgi_client.h"
#include "tests/support/private_package_folder.h"

using fuzzing::require;
using testing_support::FcgiClient;
using testing_support::PrivatePackageFolder;

namespace {

const std::string& socketPath() {
    static const auto* const path =
        new std::string(PrivatePackageFolder::kHtml / "zerith_markers_fcgi.socket");
    return *path;
}

std::thread* g_thread = nullptr;

/// Takes the highest bit out of every byte, and so all lengths above 127, with which the FastCGI
/// library asks for more memory than there is and then ends its process. In every byte, because
/// where the library takes a record to begin is its own matter: it does not skip all padding.
/// docs/security.md tells who can send such lengths.
std::string withShortLengths(std::string bytes) {
    for (char& byte : bytes) {
        byte = static_cast<char>(static_cast<unsigned char>(byte) & 0x7FU);
    }
    return bytes;
}

/// Sends bytes, says that there are no more, and waits until the service hangs up.
/// @return what it has sent
std::string exchange(const std::string& bytes) {
    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath().copy(address.sun_path, sizeof address.sun_path - 1);
    require(connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
            "the service does not listen any more");
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t now =
            send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (now <= 0) {
            break; // it has hung up already
        }
        sent += static_cast<std::size_t>(now);
    }
    shutdown(connection, SHUT_WR);
    std::string answer;
    char buffer[4096];
    for (;;) {
        constexpr int kPatience = 8000;
        pollfd waiting{connection, POLLIN, 0};
        const int ready = poll(&waiting, 1, kPatience);
        if (ready == 0) {
            close(connection);
            require(false, "the service holds on to a connection that has ended");
        }
        const ssize_t now = recv(connection, buffer, sizeof buffer, 0);
        if (now <= 0) {
            break;
        }
        answer.append(buffer, static_cast<std::size_t>(now));
    }
    close(connection);
    return answer;
}

/// The request's answer out of its records. @return false when it is not whole
bool takeAnswer(const std::string& records, std::string& answer) {
    constexpr std::uint8_t kEnd = 3;
    constexpr std::uint8_t kOutput = 6;
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(records[at]); };
    for (std::size_t at = 0; at + 8 <= records.size();) {
        const std::size_t size = byte(at + 4) * 256U + byte(at + 5);
        if (byte(at + 1) == kEnd) {
            return true;
        }
        if (byte(at + 1) == kOutput) {
            answer += records.substr(at + 8, size);
        }
        at += 8 + size + byte(at + 6);
    }
    return false;
}

void checkRequest(const std::string& words) {
    const std::size_t blank = std::min(words.find(' '), words.size());
    const std::size_t end = std::min(words.find('\n'), words.size());
    const std::string method = words.substr(0, std::min(blank, end));
    const std::string uri = blank < end ? words.substr(blank + 1, end - blank - 1) : "";
    const std::string body = words.substr(std::min(end + 1, words.size()));
    std::map<std::string, std::string> values = {{"REQUEST_METHOD", method}, {"REQUEST_URI", uri}};
    if (method == "POST") {
        values["CONTENT_LENGTH"] = std::to_string(body.size());
    }
    std::string answer;
    require(takeAnswer(exchange(FcgiClient::bytesOf(values, body)), answer),
            "an answer is not whole");
    const std::string_view refusals[] = {"Failed to parse URI", "Failed to parse query",
                                         "Only GET and POST supported"};
    const bool isRefused =
        std::any_of(std::begin(refusals), std::end(refusals),
                    [&](std::string_view refusal) { return answer.starts_with(refusal); });
    require(answer.empty() || isRefused || answer.starts_with("Status: 200 OK\r\n") ||
                answer.starts_with("Status: 400 Bad Request\r\n") || answer.starts_with("\r\n"),
            "an answer has another form");
}

void requireService() {
    std::string answer;
    require(takeAnswer(
                exchange(FcgiClient::bytesOf(
                    {{"REQUEST_METHOD", "GET"}, {"REQUEST_URI", "/?action=get_status_code"}}, "")),
                answer) &&
                answer == "Status: 200 OK\r\nContent-Type: text/plain\r\n\r\n" +
                              parameter_io::get_status_code(),
            "the service does not serve any more");
}

} // namespace

/// The FastCGI library forgets the names that it was to read from a record that belongs to no
/// request and is of a type that it does not know. docs/security.md tells who can send one.
extern "C" const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() { // NOLINT(bugprone-reserved-identifier)
    return "leak:libfcgi.so\n";
}

int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    std::signal(SIGPIPE, SIG_IGN);
    const std::string obstacle = PrivatePackageFolder::make();
    if (!obstacle.empty()) {
        std::fprintf(stderr, "the package folder cannot be made here: %s\n", obstacle.c_str());
        return 1;
    }
    std::filesystem::create_directory("localdata");
    fuzzing::parameters() = fuzzing::factoryParameters();
    g_ParameterController.init_controller("fuzz");
    if (g_FastcgiService.init() != 0) {
        std::fprintf(stderr, "the service cannot be opened\n");
        return 1;
    }
    g_thread = new std::thread([] { g_FastcgiService.run(); });
    // Before the process-wide objects go away.
    std::atexit([] {
        if (g_FastcgiService.stop(std::chrono::seconds(20))) {
            g_thread->join();
        }
    });
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (g_thread == nullptr) {
        std::_Exit(42);
    }
    fuzzing::Input input(data, size);
    if (input.flag()) {
        checkRequest(input.rest());
    } else {
        static_cast<void>(exchange(withShortLengths(input.rest())));
    }
    static unsigned count = 0;
    constexpr unsigned kEvery = 16;
    if (++count % kEvery == 0) {
        requireService();
        g_Logger.clear();
    }
    return 0;
}
