#include "tests/unit/outputs/fcgx_stand_in.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <fcgiapp.h>

namespace {

using fcgx_stand_in::world;

/// The request that was accepted last, as the service sees it.
struct Accepted {
    FCGX_Stream in{};
    FCGX_Stream out{};
    std::vector<std::string> texts;
    std::vector<char*> environment;
    std::string body;
    std::size_t read = 0;
};

std::unique_ptr<Accepted> s_accepted;
pid_t s_process = -1;

void called(const std::string& call) {
    world().calls.push_back(call);
}

} // namespace

namespace fcgx_stand_in {

World& world() {
    static World instance;
    return instance;
}

void thisIsTheProcess() {
    s_process = getpid();
}

void reset() {
    world() = World{};
    s_accepted.reset();
    thisIsTheProcess();
}

Request get(const std::string& uri) {
    return {{{"REQUEST_URI", uri}, {"REQUEST_METHOD", "GET"}}, ""};
}

Request post(const std::string& uri, const std::string& body) {
    return {{{"REQUEST_URI", uri},
             {"REQUEST_METHOD", "POST"},
             {"CONTENT_LENGTH", std::to_string(body.size())}},
            body};
}

} // namespace fcgx_stand_in

int chmod(const char* file, mode_t mode) noexcept {
    called("chmod " + std::string(file) + " " + std::to_string(mode));
    errno = world().chmodError;
    return world().chmodError == 0 ? 0 : -1;
}

unsigned alarm(unsigned seconds) noexcept {
    if (world().hasAlarm) {
        itimerval soon{};
        soon.it_value.tv_usec = 1000L * seconds;
        setitimer(ITIMER_REAL, &soon, nullptr);
    }
    return 0;
}

int FCGX_Init(void) {
    called("FCGX_Init");
    return world().initResult;
}

int FCGX_OpenSocket(const char* path, int backlog) {
    called("FCGX_OpenSocket " + std::string(path) + " " + std::to_string(backlog));
    if (world().endsTheProcess) {
        std::exit(EADDRINUSE);
    }
    if (world().hangsInChildren >= 0 && getpid() != s_process) {
        if (write(world().hangsInChildren, "!", 1) != 1) {
            _exit(1);
        }
        while (true) {
            pause();
        }
    }
    return world().socket;
}

int FCGX_InitRequest(FCGX_Request* /*request*/, int sock, int flags) {
    called("FCGX_InitRequest " + std::to_string(sock) + " " + std::to_string(flags));
    return world().initRequestResult;
}

int FCGX_Accept_r(FCGX_Request* request) {
    called("FCGX_Accept_r");
    if (world().requests.empty()) {
        return -1;
    }
    s_accepted = std::make_unique<Accepted>();
    for (const auto& [name, value] : world().requests.front().parameters) {
        s_accepted->texts.push_back(name + "=" + value);
    }
    for (std::string& text : s_accepted->texts) {
        s_accepted->environment.push_back(text.data());
    }
    s_accepted->environment.push_back(nullptr);
    s_accepted->body = world().requests.front().body;
    world().requests.pop_front();
    world().answers.emplace_back();
    request->in = &s_accepted->in;
    request->out = &s_accepted->out;
    request->envp = s_accepted->environment.data();
    return 0;
}

void FCGX_Finish_r(FCGX_Request* /*request*/) {
    called("FCGX_Finish_r");
}

void FCGX_Free(FCGX_Request* /*request*/, int close) {
    called("FCGX_Free " + std::to_string(close));
}

char* FCGX_GetParam(const char* name, FCGX_ParamArray envp) {
    const std::string prefix = std::string(name) + "=";
    for (; *envp != nullptr; ++envp) {
        if (std::string(*envp).rfind(prefix, 0) == 0) {
            return *envp + prefix.size();
        }
    }
    return nullptr;
}

int FCGX_GetChar(FCGX_Stream* /*stream*/) {
    if (s_accepted->read == s_accepted->body.size()) {
        return EOF;
    }
    return static_cast<unsigned char>(s_accepted->body[s_accepted->read++]);
}

int FCGX_FPrintF(FCGX_Stream* /*stream*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int size = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(static_cast<std::size_t>(size) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    va_end(arguments);
    text.pop_back();
    world().answers.back() += text;
    return size;
}
