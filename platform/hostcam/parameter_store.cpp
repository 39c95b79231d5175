#include "platform/hostcam/parameter_store.h"

#include <algorithm>

#include "platform/hostcam/misuse.h"

namespace hostcam {
namespace {

constexpr const char* kFileName = "parameters.conf";
constexpr const char* kDeclaredValue = "0";

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
    if (m_held && std::all_of(m_declared.begin(), m_declared.end(), isStored)) {
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
    if (m_waiting.empty() && m_held && stored != nullptr && *stored == value) {
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
    commitUnlocked(std::move(next));
    std::erase(m_declared, known);
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
    std::vector<ParameterFile::Problem> problems;
    ParameterFile next(text, problems);
    const std::string path = m_folder.pathOf(kFileName);
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

std::optional<std::string> ParameterStore::findUnlocked(const std::string& name) const {
    if (const auto camera = m_camera.find(name); camera != m_camera.end()) {
        return camera->second;
    }
    if (const auto waiting = m_waiting.find(name); waiting != m_waiting.end()) {
        return waiting->second;
    }
    if (const std::string* const stored = m_file.find(name)) {
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
    takeUnlocked(std::move(next));
}

void ParameterStore::takeUnlocked(ParameterFile next) {
    std::swap(m_file, next);
    const ParameterFile& before = next;
    for (const std::string& name : m_file.names()) {
        const std::string& value = *m_file.find(name);
        const std::string* const old = before.find(name);
        if (old != nullptr && *old != value) {
            for (const auto& [id, observer] : m_observers) {
                observer(name, value);
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
