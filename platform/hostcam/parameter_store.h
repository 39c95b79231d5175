#pragma once

// The camera's parameters: those of applications, which are kept in the state folder's
// parameters.conf, and those of the camera itself, which follow from its configuration and cannot
// be changed. The parameter library and the web endpoint read and write them here.
//
// A change that was acknowledged is on the disk. The file belongs to everybody: before each use the
// store looks whether another process or a person has changed it, and reads it again; a lock on the
// folder keeps two processes from writing over each other's changes. A file that is found empty,
// cut off or in the middle of being written takes no setting away.
//
// Names are full names ("root.Group.Name"). All functions may be called from any thread.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/hostcam/config.h"
#include "platform/hostcam/parameter_file.h"
#include "platform/hostcam/state_folder.h"

namespace hostcam {

/// Thrown for what a caller may not or cannot do with a parameter. The text names the parameter.
class ParameterError : public std::runtime_error {
  public:
    enum class Reason { BadName, Missing, Exists, ReadOnly };

    ParameterError(Reason reason, const std::string& text)
        : std::runtime_error(text), m_reason(reason) {}

    [[nodiscard]] Reason reason() const { return m_reason; }

  private:
    Reason m_reason;
};

/// The camera's own parameters, as its configuration makes them.
[[nodiscard]] std::map<std::string, std::string> cameraParameters(const Config& config);

class ParameterStore {
  public:
    /// Told of each change, with the full name and the new value, in order, by the thread that made
    /// or found the change. It must be short and not call the store.
    using Observer = std::function<void(const std::string& name, const std::string& value)>;

    /// Reads the parameter file, if there is one. Lines that are not understood are reported as
    /// warnings with file and number.
    /// @throws FileError for a folder or a file that cannot be used
    explicit ParameterStore(const Config& config);

    /// Makes parameters that are missing, with the value "0", as an application's package declares
    /// them. When there is a file that cannot be written just now, they exist all the same and are
    /// written with the next change.
    /// @param names full names, in the order in which they are made
    /// @throws FileError when there is no file and none can be made
    void declare(const std::vector<std::string>& names);

    /// A parameter's value. @throws ParameterError (BadName, Missing), FileError
    [[nodiscard]] std::string get(const std::string& name);

    /// Changes a value.
    /// @param sync true: this change, and those that wait, are on the disk when the call returns,
    /// and observers are told; a change to the value that is stored already costs no write. false:
    /// the change waits for the next call with true; until then it is what get() tells.
    /// @throws ParameterError (BadName, Missing, ReadOnly), FileError; nothing is changed then
    void set(const std::string& name, const std::string& value, bool sync);

    /// Makes a parameter. @throws ParameterError (BadName, Exists: its value stays), FileError
    void add(const std::string& name, const std::string& value);

    /// Removes a parameter. One that the package declares is there again after the next start.
    /// @throws ParameterError (BadName, Missing, ReadOnly), FileError
    void remove(const std::string& name);

    /// Names and values of all parameters whose name begins with a text, the camera's own first.
    /// @throws FileError
    [[nodiscard]] std::vector<std::pair<std::string, std::string>> list(const std::string& prefix);

    /// Has an observer told of changes. @return for removeObserver()
    std::uint64_t addObserver(Observer observer);

    /// Ends that; when this returns, the observer is not being told anything.
    void removeObserver(std::uint64_t id);

  private:
    /// The name as it is kept. @throws ParameterError (BadName)
    static std::string checked(const std::string& name);

    // All of these need m_mutex held.
    void refreshUnlocked();
    ParameterFile understoodUnlocked(const std::string& text, const HeldFile& held,
                                     std::vector<ParameterFile::Problem>& problems);
    std::optional<std::string> findUnlocked(const std::string& name) const;
    std::optional<std::string> valueUnlocked(const ParameterFile& file,
                                             const std::string& name) const;
    std::string requireUnlocked(const std::string& name) const;
    void refuseCameraParameterUnlocked(const std::string& name) const;
    ParameterFile withDeclaredUnlocked() const;
    void commitUnlocked(ParameterFile next);
    void takeUnlocked(ParameterFile next);

    const std::map<std::string, std::string> m_camera;
    std::mutex m_mutex;
    StateFolder m_folder;                // guarded by m_mutex
    ParameterFile m_file;                // guarded by m_mutex
    std::optional<HeldFile> m_held;      // guarded by m_mutex: the content that m_file has
    bool m_onDisk = false;               // guarded by m_mutex: m_held was brought to the disk
    bool m_whole = true;                 // guarded by m_mutex: m_held has all that m_file has
    std::vector<std::string> m_declared; // guarded by m_mutex
    std::map<std::string, std::string> m_waiting;  // guarded by m_mutex: changed without sync
    std::map<std::uint64_t, Observer> m_observers; // guarded by m_mutex
    std::uint64_t m_nextObserver = 1;              // guarded by m_mutex
};

/// The store of the configuration in force. One that is held lives on when the configuration is
/// reset.
/// @throws ConfigError, FileError
[[nodiscard]] std::shared_ptr<ParameterStore> currentParameterStore();

} // namespace hostcam
