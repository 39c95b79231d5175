#include "platform/hostcam/faults.h"

#include <charconv>
#include <cstdlib>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/hostcam/misuse.h"

namespace hostcam {
namespace {

struct Plan {
    Fault fault;
    unsigned seen = 0; ///< calls since the fault was planned
};

/// The planned faults and the call counts of the process. Never destroyed: platform calls may come
/// from threads that outlive the end of main.
struct Plans {
    std::mutex mutex;
    std::vector<Plan> plans;               // guarded by mutex
    std::map<std::string, unsigned> calls; // guarded by mutex

    Plans() {
        if (const char* text = std::getenv("HOSTCAM_FAULTS")) {
            try {
                for (Fault& fault : parse(text)) {
                    plans.push_back({std::move(fault), 0});
                }
            } catch (const std::invalid_argument& problem) {
                // The platform call that asks first is a C function: nothing may be thrown out of
                // it.
                warn(std::string("HOSTCAM_FAULTS is ignored: ") + problem.what());
            }
        }
    }

    static std::vector<Fault> parse(std::string_view text);
};

Plans& plans() {
    static auto* const instance = new Plans;
    return *instance;
}

template <typename Number>
Number toNumber(std::string_view word, std::string_view digits) {
    Number value{};
    const auto [end, result] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (result != std::errc{} || end != digits.data() + digits.size()) {
        throw std::invalid_argument("no number in the fault's \"" + std::string(word) + "\"");
    }
    return value;
}

void applyWord(Fault& fault, const std::string& word) {
    const std::size_t equals = word.find('=');
    const std::string key = word.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
    if (key == "first") {
        fault.first = toNumber<unsigned>(word, value);
        if (fault.first == 0) {
            throw std::invalid_argument("calls are counted from 1, but a fault says \"" + word +
                                        "\"");
        }
    } else if (key == "count") {
        fault.count = value == "forever" ? Fault::kForever : toNumber<unsigned>(word, value);
    } else if (key == "code") {
        fault.code = toNumber<int>(word, value);
    } else if (key == "delay") {
        fault.delay = std::chrono::milliseconds(toNumber<unsigned>(word, value));
    } else if (key == "odd") {
        fault.odd = value;
    } else if (key == "message") {
        fault.message = value;
    } else if (word == "pass") {
        fault.fail = false;
    } else if (word == "noerror") {
        fault.withError = false;
    } else {
        throw std::invalid_argument(
            "unknown word \"" + word +
            "\" in a fault: allowed are first=N, count=N, count=forever, code=N, delay=MS, odd=TEXT, "
            "message=WORD, pass, noerror");
    }
}

std::vector<Fault> Plans::parse(std::string_view text) {
    std::vector<Fault> faults;
    std::istringstream entries{std::string(text)};
    for (std::string entry; std::getline(entries, entry, ';');) {
        std::istringstream words(entry);
        Fault fault;
        if (!(words >> fault.call)) {
            continue;
        }
        for (std::string word; words >> word;) {
            applyWord(fault, word);
        }
        faults.push_back(std::move(fault));
    }
    return faults;
}

} // namespace

void addFault(Fault fault) {
    Plans& all = plans();
    const std::lock_guard lock(all.mutex);
    all.plans.push_back({std::move(fault), 0});
}

void addFaults(std::string_view text) {
    for (Fault& fault : Plans::parse(text)) {
        addFault(std::move(fault));
    }
}

void clearFaults() {
    Plans& all = plans();
    const std::lock_guard lock(all.mutex);
    all.plans.clear();
    all.calls.clear();
}

unsigned callCount(const std::string& call) {
    Plans& all = plans();
    const std::lock_guard lock(all.mutex);
    const auto found = all.calls.find(call);
    return found == all.calls.end() ? 0 : found->second;
}

std::optional<Fault> takeFault(const char* call) {
    Plans& all = plans();
    std::optional<Fault> hit;
    {
        const std::lock_guard lock(all.mutex);
        ++all.calls[call];
        for (Plan& plan : all.plans) {
            if (plan.fault.call != call) {
                continue;
            }
            ++plan.seen;
            const bool due =
                plan.seen >= plan.fault.first && plan.seen - plan.fault.first < plan.fault.count;
            if (due && !hit) {
                hit = plan.fault;
            }
        }
    }
    if (hit && hit->delay.count() > 0) {
        std::this_thread::sleep_for(hit->delay);
    }
    return hit;
}

bool mustFail(const char* call, GQuark domain, GError** error) {
    const std::optional<Fault> fault = takeFault(call);
    if (!fault || !fault->fail) {
        return false;
    }
    if (fault->withError && domain != 0) {
        g_set_error_literal(error, domain, fault->code, fault->message.c_str());
    }
    return true;
}

} // namespace hostcam
