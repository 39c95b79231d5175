#include "tests/support/application_process.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/private_package_folder.h"
#include "tests/support/program_start.h"

namespace testing_support {
namespace {

constexpr const char* kGroup = "root.Zerith_markers.";
constexpr std::chrono::milliseconds kPollInterval{5};

void redirect(const std::filesystem::path& file, int descriptor) {
    const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (opened >= 0) {
        dup2(opened, descriptor);
    }
}

/// Whether a process may have a package folder of its own here. Tried once, in a process that ends.
bool canHaveFolders() {
    static const bool can = [] {
        const pid_t child = fork();
        if (child == 0) {
            _exit(PrivatePackageFolder::make().empty() ? 0 : 1);
        }
        int status = 1;
        return child > 0 && waitpid(child, &status, 0) == child && status == 0;
    }();
    return can;
}

/// Waits for the turn of this program among all of this machine.
/// @return the descriptor that holds it
int takeTurn() {
    const auto file = std::filesystem::temp_directory_path() / "zerith-markers-tests.lock";
    const int turn = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (turn < 0 || flock(turn, LOCK_EX) != 0) {
        throw std::runtime_error("cannot lock " + file.string());
    }
    return turn;
}

} // namespace

ApplicationProcess::ApplicationProcess(std::string program) : m_program(std::move(program)) {
    std::filesystem::create_directories(packageDir() / "localdata");
    std::filesystem::create_directories(stateDir());
    writeFile(packageDir() / "package.conf", "PACKAGENAME=\"Zerith Markers\"\n"
                                             "APPNAME=\"zerith_markers\"\n"
                                             "APPMAJORVERSION=\"1\"\n"
                                             "APPMINORVERSION=\"0\"\n"
                                             "APPMICROVERSION=\"0\"\n");
    configure("state", "directory", stateDir());
    configure("http", "port", "0");
}

ApplicationProcess::~ApplicationProcess() {
    if (running()) {
        signal(SIGKILL);
        (void)reap(0);
    }
    if (m_turn >= 0) {
        close(m_turn);
    }
}

void ApplicationProcess::configure(const std::string& group, const std::string& key,
                                   const std::string& value) {
    m_configuration[group][key] = value;
}

void ApplicationProcess::setEnvironment(const std::string& name, const std::string& value) {
    m_environment[name] = value;
}

void ApplicationProcess::store(const std::string& name, const std::string& value) {
    std::ofstream file(stateDir() / "parameters.conf", std::ios::app);
    file << kGroup << name << '=' << value << '\n';
}

std::map<std::string, std::string> ApplicationProcess::demonstrationSettings(unsigned width,
                                                                             unsigned height) {
    const std::string left = std::to_string(width / 4);
    const std::string right = std::to_string(width * 3 / 4);
    const std::string top = std::to_string(height / 4);
    const std::string bottom = std::to_string(height * 3 / 4);
    return {{"EulaAccepted", "true"},
            {"IsRequirePresent", "true"},
            {"MarkersSeconds", "3"},
            {"SelectedDictionary", "5x5"},
            {"DisplayNonAOI", "true"},
            {"DetectionOverlaysOn", "true"},
            {"SelectedDetectionOverlay", "1280x720"},
            {"Detection10x", left},
            {"Detection10y", top},
            {"Detection11x", right},
            {"Detection11y", top},
            {"Detection12x", right},
            {"Detection12y", bottom},
            {"Detection13x", left},
            {"Detection13y", bottom}};
}

void ApplicationProcess::storeDemonstrationSettings(unsigned width, unsigned height) {
    for (const auto& [name, value] : demonstrationSettings(width, height)) {
        store(name, value);
    }
}

void ApplicationProcess::writeConfiguration() const {
    std::string text;
    for (const auto& [group, keys] : m_configuration) {
        text += "[" + group + "]\n";
        for (const auto& [key, value] : keys) {
            text += key + "=" + value + "\n";
        }
    }
    writeFile(m_dir / "hostcam.conf", text);
}

void ApplicationProcess::start() {
    if (running()) {
        throw std::logic_error("the program runs already");
    }
    writeConfiguration();
    const bool hasFolder = canHaveFolders();
    if (!hasFolder && m_turn < 0) {
        m_turn = takeTurn();
    }
    m_end.reset();
    m_journalLinesBefore = journal().size();
    const ProgramStart program({m_program});
    const std::string config = m_dir / "hostcam.conf";
    const std::filesystem::path output = m_dir / "output";
    // The child begins with the mask that its parent has while it forks.
    sigset_t termination;
    sigset_t before;
    sigemptyset(&termination);
    sigaddset(&termination, SIGTERM);
    pthread_sigmask(m_blockTermination ? SIG_BLOCK : SIG_UNBLOCK, &termination, &before);
    m_pid = fork();
    if (m_pid != 0) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    if (m_pid < 0) {
        throw std::runtime_error("fork failed");
    }
    if (m_pid == 0) {
        setenv("HOSTCAM_CONFIG", config.c_str(), 1);
        for (const auto& [name, value] : m_environment) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        redirect(output, STDOUT_FILENO);
        redirect(output, STDERR_FILENO);
        if (hasFolder && !PrivatePackageFolder::make().empty()) {
            _exit(126);
        }
        if (chdir(packageDir().c_str()) == 0) {
            program.become();
        }
        _exit(127);
    }
}

void ApplicationProcess::signal(int number) const {
    if (m_pid > 0) {
        kill(m_pid, number);
    }
}

std::optional<ApplicationProcess::End> ApplicationProcess::reap(int options) {
    if (m_pid <= 0) {
        return m_end;
    }
    int status = 0;
    if (waitpid(m_pid, &status, options) == m_pid) {
        m_pid = -1;
        if (m_turn >= 0) {
            close(m_turn);
            m_turn = -1;
        }
        m_end = WIFEXITED(status) ? End{true, WEXITSTATUS(status)} : End{false, WTERMSIG(status)};
    }
    return m_end;
}

bool ApplicationProcess::running() {
    (void)reap(WNOHANG);
    return m_pid > 0;
}

std::optional<ApplicationProcess::End>
ApplicationProcess::waitForEnd(std::chrono::milliseconds deadline) {
    const auto until = std::chrono::steady_clock::now() + deadline;
    while (running() && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(kPollInterval);
    }
    return m_end;
}

bool ApplicationProcess::waitUntil(const std::function<bool()>& condition,
                                   std::chrono::milliseconds deadline) {
    const auto until = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (!running() || std::chrono::steady_clock::now() >= until) {
            return condition();
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    return true;
}

/// Whether the main thread would take a SIGTERM now, as the kernel tells it.
bool ApplicationProcess::isOpenForTermination() const {
    const std::string task = std::to_string(m_pid);
    for (const std::string& line : readLines("/proc/" + task + "/task/" + task + "/status")) {
        if (line.starts_with("SigBlk:")) {
            const auto blocked =
                std::stoull(line.substr(std::string_view("SigBlk:").size()), nullptr, 16);
            return (blocked >> (SIGTERM - 1) & 1U) == 0;
        }
    }
    return false;
}

bool ApplicationProcess::waitForMainLoop(std::chrono::milliseconds deadline) {
    // Start-up opens it too, but for moments only; and before its first line the program has not
    // closed it.
    constexpr int kEnough = 3;
    int seen = 0;
    return waitUntil(
        [&] {
            const bool started = journal().size() >= m_journalLinesBefore + 2;
            seen = started && isOpenForTermination() ? seen + 1 : 0;
            return seen >= kEnough;
        },
        deadline);
}

std::filesystem::path ApplicationProcess::socket() const {
    const std::filesystem::path path = PrivatePackageFolder::kHtml / "zerith_markers_fcgi.socket";
    if (!canHaveFolders()) {
        return path;
    }
    // As the process itself sees its files.
    return "/proc/" + std::to_string(m_pid) + "/root" + path.string();
}

std::string ApplicationProcess::log() const {
    return readFile(packageDir() / "localdata" / "MarkersLog.txt");
}

bool ApplicationProcess::logHolds(const std::string& text) const {
    return log().find(text) != std::string::npos;
}

std::vector<std::string> ApplicationProcess::journal() const {
    return readLines(stateDir() / "events.jsonl");
}

std::optional<std::string> ApplicationProcess::stored(const std::string& name) const {
    std::optional<std::string> value;
    for (const std::string& line : readLines(stateDir() / "parameters.conf")) {
        const std::string start = kGroup + name + "=";
        if (line.starts_with(start)) {
            value = line.substr(start.size());
        }
    }
    return value;
}

std::string ApplicationProcess::output() const {
    return readFile(m_dir / "output");
}

} // namespace testing_support
