#include "tests/faults/driven_run.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <new>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/support/fcgi_client.h"

namespace testing_support {
namespace {

constexpr unsigned kWidth = 320;
constexpr unsigned kHeight = 180;
constexpr const char* kSize = "320x180";
constexpr std::chrono::microseconds kLook{100};

RunControl* shareControl(const std::filesystem::path& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    void* memory = MAP_FAILED;
    if (file >= 0 && ftruncate(file, sizeof(RunControl)) == 0) {
        memory = mmap(nullptr, sizeof(RunControl), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    if (file >= 0) {
        close(file);
    }
    if (memory == MAP_FAILED) {
        throw std::runtime_error("cannot share memory in " + path.string());
    }
    return new (memory) RunControl;
}

/// Waits for something that the program does without waiting itself.
template <typename Condition>
bool waitFor(ApplicationProcess& program, Condition condition) {
    const auto until = std::chrono::steady_clock::now() + DrivenRun::kPatience;
    for (unsigned looks = 1; !condition(); ++looks) {
        constexpr unsigned kLooksBetween = 50;
        if (looks % kLooksBetween == 0 &&
            (!program.running() || std::chrono::steady_clock::now() > until)) {
            return condition();
        }
        std::this_thread::sleep_for(kLook);
    }
    return true;
}

std::optional<std::string> ask(const ApplicationProcess& program,
                               const std::map<std::string, std::string>& values,
                               const std::string& body = "") {
    try {
        return FcgiClient::ask(program.socket(), values, body);
    } catch (const std::runtime_error&) {
        return std::nullopt; // nobody listens
    }
}

} // namespace

DrivenRun::DrivenRun() : m_control(shareControl(m_dir / "control")), m_program(ZM_DRIVEN_PROGRAM) {
    m_program.configure("camera", "resolutions", kSize);
    m_program.configure("viewers", "streams", kSize);
    m_program.setEnvironment(RunControl::kVariable, m_dir / "control");
    for (const auto& [name, value] : storedSettings(3)) {
        m_program.store(name, value);
    }
}

DrivenRun::~DrivenRun() {
    munmap(m_control, sizeof(RunControl));
}

void DrivenRun::planFaults(const std::string& faults) {
    m_program.setEnvironment("HOSTCAM_FAULTS", faults);
}

bool DrivenRun::start() {
    m_program.start();
    const bool isRunning = settle();
    m_begin = std::chrono::steady_clock::now();
    return isRunning;
}

std::chrono::nanoseconds DrivenRun::age() const {
    return std::chrono::steady_clock::now() - m_begin + std::chrono::nanoseconds(m_control->ahead);
}

bool DrivenRun::settle() {
    return waitFor(
               m_program,
               [this] { return m_control->isIdle && m_control->skipped >= m_control->allowed; }) &&
           m_program.running();
}

bool DrivenRun::tick(unsigned count, std::chrono::milliseconds stride) {
    m_control->stride = std::chrono::nanoseconds(stride).count();
    m_control->isIdle = false;
    m_control->allowed += count;
    return settle();
}

std::vector<unsigned> DrivenRun::changeFaults(const std::string& faults,
                                              const std::vector<std::string>& counted) {
    faults.copy(m_control->faults, RunControl::kTextSize - 1);
    m_control->faults[std::min(faults.size(), RunControl::kTextSize - 1)] = '\0';
    for (std::size_t i = 0; i < std::min(counted.size(), RunControl::kCalls); ++i) {
        std::strncpy(m_control->counted[i], counted[i].c_str(), sizeof m_control->counted[i] - 1);
    }
    m_control->faultsChanged = true;
    if (!waitFor(m_program, [this] { return !m_control->faultsChanged; })) {
        return std::vector<unsigned>(counted.size(), 0);
    }
    return {m_control->counts, m_control->counts + std::min(counted.size(), RunControl::kCalls)};
}

std::optional<std::string> DrivenRun::get(const std::string& action) const {
    return ask(m_program, {{"REQUEST_METHOD", "GET"}, {"REQUEST_URI", "/api?action=" + action}});
}

std::optional<std::string> DrivenRun::post(const std::string& action,
                                           const std::string& body) const {
    return ask(m_program,
               {{"REQUEST_METHOD", "POST"},
                {"REQUEST_URI", "/api?action=" + action},
                {"CONTENT_LENGTH", std::to_string(body.size())}},
               body);
}

std::string DrivenRun::settings(int seconds) {
    std::string document = "<root><Markers_Present>1</Markers_Present><Markers_Secs>" +
                           std::to_string(seconds) +
                           "</Markers_Secs><DetectionOverlaysOn>1</DetectionOverlaysOn>"
                           "<SelectedDetectionOverlay>" +
                           std::string(kSize) +
                           "</SelectedDetectionOverlay><DisplayNonAOI>1</DisplayNonAOI>"
                           "<Eula>1</Eula><SelectedDictionary>5x5</SelectedDictionary>";
    const int percent[] = {25, 25, 75, 25, 75, 75, 25, 75};
    int index = 0;
    for (const int value : percent) {
        const std::string name = "Detection1_" + std::to_string(index++);
        document += "<" + name + ">" + std::to_string(value) + "</" + name + ">";
    }
    return document + "</root>";
}

std::map<std::string, std::string> DrivenRun::storedSettings(int seconds) {
    auto settings = ApplicationProcess::demonstrationSettings(kWidth, kHeight);
    settings["MarkersSeconds"] = std::to_string(seconds);
    settings["SelectedDetectionOverlay"] = kSize;
    return settings;
}

std::optional<ApplicationProcess::End> DrivenRun::stop() {
    m_program.signal(SIGTERM);
    return m_program.waitForEnd(kPatience);
}

std::vector<bool> DrivenRun::alerts(std::size_t from) const {
    std::vector<bool> alerts;
    const auto journal = m_program.journal();
    for (std::size_t i = from; i < journal.size(); ++i) {
        const std::string& line = journal[i];
        const std::size_t active = line.find(R"("active":)");
        if (active != std::string::npos && line.find(R"("declared":true)") == std::string::npos) {
            alerts.push_back(line.compare(active + 9, 4, "true") == 0);
        }
    }
    return alerts;
}

} // namespace testing_support
