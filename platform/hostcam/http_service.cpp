#include "platform/hostcam/http_service.h"

#include <chrono>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <optional>
#include <string>

#include "platform/hostcam/config.h"
#include "platform/hostcam/http_server.h"
#include "platform/hostcam/misuse.h"

namespace hostcam {

class HttpService {
  public:
    explicit HttpService(const Config& config) {
        HttpOptions options;
        options.address = config.httpAddress;
        options.port = config.httpPort;
        try {
            m_server.emplace(options);
        } catch (const std::exception& problem) {
            warn(problem.what());
        }
    }

    void stop(std::chrono::milliseconds patience) {
        if (m_server) {
            m_server->stop(patience);
        }
    }

  private:
    std::optional<HttpServer> m_server; ///< none when it could not listen
};

namespace {

/// How long the end of the process may take for the endpoint.
constexpr std::chrono::milliseconds kExitPatience{100};

struct Current {
    std::mutex mutex;
    std::weak_ptr<HttpService> service; // guarded by mutex
};

/// Never destroyed: streams may be released after the end of main.
Current& current() {
    static auto* const instance = new Current;
    return *instance;
}

/// Ends the endpoint before the process's global objects go away, which its threads use.
void stopAtExit() {
    std::shared_ptr<HttpService> service;
    {
        const std::lock_guard lock(current().mutex);
        service = current().service.lock();
    }
    if (service) {
        service->stop(kExitPatience);
    }
}

} // namespace

std::shared_ptr<HttpService> openHttpService() {
    const std::shared_ptr<const Config> config = currentConfig();
    if (config->httpPort == 0) {
        return nullptr;
    }
    const std::lock_guard lock(current().mutex);
    std::shared_ptr<HttpService> service = current().service.lock();
    if (!service) {
        static const bool registered = std::atexit(stopAtExit) == 0;
        (void)registered;
        service = std::make_shared<HttpService>(*config);
        current().service = service;
    }
    return service;
}

} // namespace hostcam
