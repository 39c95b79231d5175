#include "platform/hostcam/parameter_store.h"

#include <algorithm>

#include "platform/hostcam/misuse.h"

namespace hostcam {
namespace {

constexpr const char* kFileName = "parameters.conf";
constexpr const char* kDeclaredValue = "0";

bool isSameFile(const FileStamp& a, const FileStamp& b) {
    return a.device == b.device && a.inode == b.inode;
}

/// Whether a text ends in the middle, as while a program without care writes it.
bool isUnfinished(std::string_view text) {
    return text.empty() || text.back() != '\n';
}

/// What a text that may not be whole adds to what is known: its whole lines hold, what it lacks
/// stays. A last line without its end counts only when nothing else is known of its parameter.
/// @param problems receives what is wrong with the whole lines
ParameterFile merged(const ParameterFile& known, std::string_view text,
                     std::vector<ParameterFile::Problem>& problems) {
    std::vector<ParameterFile::Problem> ofTheTail;
    const std::size_t end = text.rfind('\n') + 1; // 0 without one
    const std::string_view whole = text.substr(0, end);
    const ParameterFile tail(text.substr(end), ofTheTail);
    ParameterFile result = whole.empty() ? ParameterFile() : ParameterFile(whole, problems);
    for (const ParameterFile* const more : {&known, &tail}) {
        for (const std::string& name : more->names()) {
            if (result.find(name) == nullptr) {
                result.set(name, *more->find(name));
            }
        }
    }
    return result;
}

} // namespace

std::map<std::string, std::string> cameraParameters(const Config& config) {
    std::string sizes;
    for (const Size& size : config.resolutions) {
        sizes += (sizes.empty() ? "" : ",") + toText(size);
    }
    return {
        {"root.Brand.Brand", "HostCam"},
        {"root.Brand.ProdFullName", config.product},
        {"root.Brand.ProdNbr", config.product},
        {"root.Brand.ProdShortName", config.product},
        {"root.Brand.ProdType", "Network Camera"},
        {"root.Image.I0.Appearance.Rotation", std::to_string(config.rotation)},
        {"root.Image.NbrOfConfigs", "1"},
        {"root.ImageSource.I0.Sensor.AspectRatio", config.aspectRatio},
        {"root.ImageSource.NbrOfSources", "1"},
        {"root.Properties.Image.Format", "jpeg,mjpeg"},
        {"root.Properties.Image.Resolution", sizes},
        {"root.Properties.Image.Rotation", "0,90,180,270"},
        {"root.Properties.System.SerialNumber", config.serial},
    };
}

ParameterStore::ParameterStore(const Config& config)
    : m_camera(cameraParameters(config)), m_folder(config.stateDirectory) {
    refreshUnlocked();
}

void ParameterStore::declare(const std::vector<std::string>& names) {
    const std::lock_guard lock(m_mutex);
    refreshUnlocked();
    for (const std::string& name : names) {
        const std::string known = checked(name);
        if (std::find(m_declared.begin(), m_declared.end(), known) == m_declared.end()) {
            m_declared.push_back(known);
        }
    }
    const auto isStored = [this](const std::string& name) { return m_file.find(name) != nullptr; };
    if (m_held && m_whole && std::all_of(m_declared.begin(), m_declared.end(), isStored)) {
        return;
    }
    try {
        const FileLock folder = m_folder.lock(kFileName);
        refreshUnlocked();
        commitUnlocked(withDeclaredUnlocked());
    } catch (const FileError& error) {
        if (!m_held) {
            throw;
        }
        warn(error.what());
    }
}

std::string ParameterStore::get(const std::string& name) {
    const std::string known = checked(name);
    const std::lock_guard lock(m_mutex);
    refreshUnlocked();
    return requireUnlocked(known);
}

void ParameterStore::set(const std::string& name, const std::string& value, bool sync) {
    const std::string known = checked(name);
    const std::lock_guard lock(m_mutex);
    refuseCameraParameterUnlocked(known);
    refreshUnlocked();
    (void)requireUnlocked(known);
    if (!sync) {
        m_waiting[known] = value;
        return;
    }
    const std::string* const stored = m_file.find(known);
    if (m_waiting.empty() && m_held && m_whole && stored != nullptr && *stored == value) {
        if (!m_onDisk) {
            m_folder.sync(*m_held, kFileName);
            m_onDisk = true;
        }
        return;
    }
    const FileLock folder = m_folder.lock(kFileName);
    refreshUnlocked();
    (void)requireUnlocked(known);
    ParameterFile next = withDeclaredUnlocked();
    for (const auto& [waiting, text] : m_waiting) {
        // One that was removed meanwhile stays removed.
        if (next.find(waiting) != nullptr) {
            next.set(waiting, text);
        }
    }
    next.set(known, value);
    commitUnlocked(std::move(next));
    m_waiting.clear();
}

void ParameterStore::add(const std::string& name, const std::string& value) {
    const std::string known = checked(name);
    const std::lock_guard lock(m_mutex);
    const auto refuseExisting = [&] {
        if (findUnlocked(known)) {
            throw ParameterError(ParameterError::Reason::Exists,
                                 "the parameter " + known + " is there already");
        }
    };
    refreshUnlocked();
    refuseExisting();
    const FileLock folder = m_folder.lock(kFileName);
    refreshUnlocked();
    refuseExisting();
    ParameterFile next = withDeclaredUnlocked();
    next.set(known, value);
    commitUnlocked(std::move(next));
}

void ParameterStore::remove(const std::string& name) {
    const std::string known = checked(name);
    const std::lock_guard lock(m_mutex);
    refuseCameraParameterUnlocked(known);
    const FileLock folder = m_folder.lock(kFileName);
    refreshUnlocked();
    (void)requireUnlocked(known);
    ParameterFile next = withDeclaredUnlocked();
    next.remove(known);
    // Nobody is told of a removal as of a change back to the declared value.
    std::vector<std::string> declared = m_declared;
    std::erase(m_declared, known);
    try {
        commitUnlocked(std::move(next));
    } catch (...) {
        m_declared.swap(declared);
        throw;
    }
    m_waiting.erase(known);
}

std::vector<std::pair<std::string, std::string>> ParameterStore::list(const std::string& prefix) {
    const std::lock_guard lock(m_mutex);
    refreshUnlocked();
    std::vector<std::pair<std::string, std::string>> result;
    for (const auto& [name, value] : m_camera) {
        if (name.starts_with(prefix)) {
            result.emplace_back(name, value);
        }
    }
    for (const std::string& name : withDeclaredUnlocked().names()) {
        if (name.starts_with(prefix) && !m_camera.contains(name)) {
            result.emplace_back(name, requireUnlocked(name));
        }
    }
    return result;
}

std::uint64_t ParameterStore::addObserver(Observer observer) {
    const std::lock_guard lock(m_mutex);
    m_observers.emplace(m_nextObserver, std::move(observer));
    return m_nextObserver++;
}

void ParameterStore::removeObserver(std::uint64_t id) {
    const std::lock_guard lock(m_mutex);
    m_observers.erase(id);
}

std::string ParameterStore::checked(const std::string& name) {
    std::optional<std::string> known = canonicalName(name);
    if (!known) {
        throw ParameterError(ParameterError::Reason::BadName,
                             "\"" + name +
                                 "\" is no parameter name: letters, digits, _ and - in parts "
                                 "that dots divide");
    }
    return *known;
}

/// Reads the file again when it is not the one that was last read or written.
void ParameterStore::refreshUnlocked() {
    const std::optional<FileStamp> now = m_folder.stamp(kFileName);
    if (!now) {
        // A file that was taken away is written anew with the next change; what it held is still
        // known.
        m_held.reset();
        return;
    }
    if (m_held && *now == m_held->stamp) {
        return;
    }
    std::string text;
    std::optional<HeldFile> held = m_folder.read(kFileName, text);
    if (!held) {
        m_held.reset();
        return;
    }
    const std::string path = m_folder.pathOf(kFileName);
    std::vector<ParameterFile::Problem> problems;
    ParameterFile next = understoodUnlocked(text, *held, problems);
    for (const ParameterFile::Problem& problem : problems) {
        warn(path + ":" + std::to_string(problem.line) + ": " + problem.text);
    }
    for (const auto& [name, value] : m_camera) {
        if (next.find(name) != nullptr) {
            warn(path + ": " + name +
                 " is the camera's own and follows from its configuration; the "
                 "value in the file is ignored");
        }
    }
    m_held = std::move(held);
    m_onDisk = false;
    takeUnlocked(std::move(next));
}

/// What a text that was read says. A file that is not whole is taken as being written, and so is
/// one that was changed in place and lacks something: what is known stays, so that the next change
/// does not write it out of existence. To be without a parameter, a file is put in place at once,
/// as the store itself does it.
ParameterFile ParameterStore::understoodUnlocked(const std::string& text, const HeldFile& held,
                                                 std::vector<ParameterFile::Problem>& problems) {
    m_whole = true;
    const std::string path = m_folder.pathOf(kFileName);
    const bool inPlace = m_held && isSameFile(m_held->stamp, held.stamp);
    if (m_file.names().empty() || (!inPlace && !isUnfinished(text))) {
        return {text, problems};
    }
    if (const std::string before = m_file.text(); before.starts_with(text)) {
        m_whole = before.size() == text.size();
        if (!m_whole) {
            warnUnlessRepeated(path + ": it was cut short; what it held stays known");
        }
        return m_file;
    }
    ParameterFile next = merged(m_file, text, problems);
    std::vector<ParameterFile::Problem> known; // told above
    const ParameterFile asItStands(text, known);
    m_whole = !isUnfinished(text) && next.names().size() == asItStands.names().size();
    if (!m_whole) {
        warnUnlessRepeated(path + ": it seems to be being written; what it lacks stays known");
    }
    return next;
}

std::optional<std::string> ParameterStore::findUnlocked(const std::string& name) const {
    if (const auto camera = m_camera.find(name); camera != m_camera.end()) {
        return camera->second;
    }
    if (const auto waiting = m_waiting.find(name); waiting != m_waiting.end()) {
        return waiting->second;
    }
    return valueUnlocked(m_file, name);
}

/// A parameter's value as a file has it, or as it was declared.
std::optional<std::string> ParameterStore::valueUnlocked(const ParameterFile& file,
                                                         const std::string& name) const {
    if (const std::string* const stored = file.find(name)) {
        return *stored;
    }
    if (std::find(m_declared.begin(), m_declared.end(), name) != m_declared.end()) {
        return kDeclaredValue;
    }
    return std::nullopt;
}

std::string ParameterStore::requireUnlocked(const std::string& name) const {
    std::optional<std::string> value = findUnlocked(name);
    if (!value) {
        throw ParameterError(ParameterError::Reason::Missing, "there is no parameter " + name);
    }
    return *value;
}

void ParameterStore::refuseCameraParameterUnlocked(const std::string& name) const {
    if (m_camera.contains(name)) {
        throw ParameterError(ParameterError::Reason::ReadOnly,
                             "the parameter " + name +
                                 " is the camera's own and cannot be changed");
    }
}

/// The parameters as they would be written now: declared ones that the file lacks are in it.
ParameterFile ParameterStore::withDeclaredUnlocked() const {
    ParameterFile next = m_file;
    for (const std::string& name : m_declared) {
        if (next.find(name) == nullptr) {
            next.set(name, kDeclaredValue);
        }
    }
    return next;
}

/// Brings new parameters to the disk and then takes them over. The folder's lock is held.
void ParameterStore::commitUnlocked(ParameterFile next) {
    HeldFile written = m_folder.replace(kFileName, next.text());
    m_held = std::move(written);
    m_onDisk = true;
    m_whole = true;
    takeUnlocked(std::move(next));
}

/// Takes over new parameters and tells of those whose value is another one now. A declared one that
/// a file lacks has the value that it was declared with.
void ParameterStore::takeUnlocked(ParameterFile next) {
    std::swap(m_file, next);
    const ParameterFile& before = next;
    std::vector<std::string> names = m_file.names();
    for (const std::string& name : m_declared) {
        if (m_file.find(name) == nullptr) {
            names.push_back(name);
        }
    }
    for (const std::string& name : names) {
        const std::optional<std::string> old = valueUnlocked(before, name);
        const std::optional<std::string> value = valueUnlocked(m_file, name);
        if (old && *old != *value) {
            for (const auto& [id, observer] : m_observers) {
                observer(name, *value);
            }
        }
    }
}

std::shared_ptr<ParameterStore> currentParameterStore() {
    struct Current {
        std::mutex mutex;
        std::shared_ptr<const Config> config;
        std::shared_ptr<ParameterStore> store;
    };
    static auto* const current = new Current;
    const std::shared_ptr<const Config> config = currentConfig();
    const std::lock_guard lock(current->mutex);
    if (!current->store || current->config != config) {
        current->store = std::make_shared<ParameterStore>(*config);
        current->config = config;
    }
    return current->store;
}

} // namespace hostcam
