#include "platform/axparameter/parameter_calls.h"

#include <atomic>
#include <string>

#include "platform/hostcam/misuse.h"

namespace hostcam {
namespace {

struct Calls {
    std::mutex oneAtATime;
    std::atomic<int> running{0};
};

Calls& calls() {
    static auto* const instance = new Calls;
    return *instance;
}

thread_local bool t_inCallback = false;

} // namespace

ParameterCall::ParameterCall(const char* name) : m_inCallback(t_inCallback) {
    if (m_inCallback) {
        reportMisuse(std::string(name) + " was called from a parameter's change callback");
        return;
    }
    if (calls().running.fetch_add(1) > 0) {
        reportMisuse(std::string(name) + " was called while another parameter call was running");
    }
    m_lock = std::unique_lock(calls().oneAtATime);
}

ParameterCall::~ParameterCall() {
    if (!m_inCallback) {
        calls().running.fetch_sub(1);
    }
}

InParameterCallback::InParameterCallback() {
    t_inCallback = true;
}

InParameterCallback::~InParameterCallback() {
    t_inCallback = false;
}

} // namespace hostcam
