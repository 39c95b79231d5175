// The parameter library against its contract. Uses one parameter of the application's own, which it
// makes and removes.

#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <axsdk/axparameter.h>

#include "platform/check/check.h"

namespace platform_check {
namespace {

constexpr const char* kScratch = "PlatformCheck";
constexpr const char* kMissing = "PlatformCheckMissing";

struct Change {
    int count = 0;
    std::string name;
    std::string value;
};

void noteChange(const gchar* name, const gchar* value, gpointer data) {
    auto& change = *static_cast<Change*>(data);
    ++change.count;
    change.name = name;
    change.value = value;
}

class Parameters {
  public:
    Parameters(const Subject& its, Report& to) : subject(its), report(to) {}

    void run() {
        checkDomain();
        handle = ax_parameter_new(subject.application.c_str(), error.out());
        if (!PLATFORM_CHECK("the application's parameters are opened",
                            handle != nullptr && !error.isSet())) {
            return;
        }
        ax_parameter_remove(handle, kScratch,
                            nullptr); // what a check that was interrupted has left
        checkAdding();
        checkValues();
        checkSync();
        checkMissing();
        checkList();
        checkCallbacks();
        checkCamera();
        checkPersistence();
        if (subject.isHost()) {
            checkHost();
        } else {
            report.skip("null and garbage arguments, names and file of the host camera",
                        "no host camera");
        }
        PLATFORM_CHECK("a parameter is removed",
                       ax_parameter_remove(handle, kScratch, error.out()));
        PLATFORM_CHECK("a removed parameter is gone", !read(kScratch) && isMissingError());
        ax_parameter_free(handle);
    }

  private:
    [[nodiscard]] std::optional<std::string> read(const char* name) {
        gchar* value = nullptr;
        if (ax_parameter_get(handle, name, &value, error.out()) == FALSE) {
            return std::nullopt;
        }
        std::string text = value;
        g_free(value);
        return text;
    }
    [[nodiscard]] bool write(const char* name, const char* value, gboolean sync = TRUE) {
        return ax_parameter_set(handle, name, value, sync, error.out()) != FALSE;
    }
    [[nodiscard]] bool isMissingError() const {
        return error.is(AX_PARAMETER_ERROR, AX_PARAMETER_PARAM_EXIST_ERROR);
    }

    void checkDomain() {
        PLATFORM_CHECK("there is an error domain", AX_PARAMETER_ERROR != 0);
        PLATFORM_CHECK("code 12 means that a parameter does not exist",
                       AX_PARAMETER_PARAM_EXIST_ERROR == 12);
        PLATFORM_CHECK("code 13 means that a parameter is there already",
                       AX_PARAMETER_PARAM_ADDED_ERROR == 13);
    }

    void checkAdding() {
        PLATFORM_CHECK("a parameter is added",
                       ax_parameter_add(handle, kScratch, "first", nullptr, error.out()));
        PLATFORM_CHECK("it has its initial value", read(kScratch) == "first");
        PLATFORM_CHECK("adding it again fails",
                       !ax_parameter_add(handle, kScratch, "second", nullptr, error.out()));
        PLATFORM_CHECK("... with code 13",
                       error.is(AX_PARAMETER_ERROR, AX_PARAMETER_PARAM_ADDED_ERROR));
        PLATFORM_CHECK("... and leaves its value", read(kScratch) == "first");
        PLATFORM_CHECK("a failing call takes no error argument",
                       !ax_parameter_add(handle, kScratch, "x", nullptr, nullptr));
        PLATFORM_CHECK("it is removed", ax_parameter_remove(handle, kScratch, error.out()));
        PLATFORM_CHECK("without an initial value it is added with the empty text",
                       ax_parameter_add(handle, kScratch, nullptr, "hidden:string", error.out()) &&
                           read(kScratch) == "");
    }

    void checkValues() {
        for (const char* value : {"true", "4294967295", "1280x720", "4x4 dictionary",
                                  "\xC3\xA4\xE2\x82\xAC = & <>\"'"}) {
            PLATFORM_CHECK(std::string("the value ") + value + " comes back as it was set",
                           write(kScratch, value) && read(kScratch) == value);
        }
        PLATFORM_CHECK("no value means the empty text",
                       write(kScratch, nullptr) && read(kScratch) == "");
    }

    void checkSync() {
        PLATFORM_CHECK("a value is set without sync", write(kScratch, "later", FALSE));
        PLATFORM_CHECK("a value is set with sync after it",
                       write(kScratch, "now") && read(kScratch) == "now");
    }

    void checkMissing() {
        gchar* value = nullptr;
        PLATFORM_CHECK("a missing parameter cannot be read",
                       !ax_parameter_get(handle, kMissing, &value, error.out()));
        PLATFORM_CHECK("... with code 12", isMissingError());
        PLATFORM_CHECK("... nor set", !write(kMissing, "1") && isMissingError());
        PLATFORM_CHECK("... nor removed",
                       !ax_parameter_remove(handle, kMissing, error.out()) && isMissingError());
    }

    void checkList() {
        GList* const names = ax_parameter_list(handle, error.out());
        bool isListed = false;
        for (const GList* item = names; item != nullptr; item = item->next) {
            const std::string name = static_cast<const char*>(item->data);
            isListed = isListed || name == kScratch || name.ends_with(std::string(".") + kScratch);
        }
        PLATFORM_CHECK("the application's parameters are listed",
                       names != nullptr && !error.isSet() && isListed);
        g_list_free_full(names, g_free);
    }

    void checkCallbacks() {
        Change change;
        PLATFORM_CHECK(
            "a change callback is registered",
            ax_parameter_register_callback(handle, kScratch, noteChange, &change, error.out()));
        PLATFORM_CHECK("a change is told by the main loop and not by the call",
                       write(kScratch, "changed") && change.count == 0);
        PLATFORM_CHECK("... with the parameter's name and new value",
                       runLoopUntil([&] { return change.count > 0; }) &&
                           change.name.ends_with(kScratch) && change.value == "changed");
        PLATFORM_CHECK("a change without sync is told with a later one with sync",
                       write(kScratch, "waiting", FALSE) && write(kScratch, "final") &&
                           runLoopUntil([&] { return change.value == "final"; }));
        ax_parameter_unregister_callback(handle, kScratch);
        const int before = change.count;
        PLATFORM_CHECK("an unregistered callback is told nothing",
                       write(kScratch, "silent") && quietLoop() && change.count == before);
    }

    /// What waits for the loop is done.
    static bool quietLoop() {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        return true;
    }

    void checkCamera() {
        const auto product = read("root.Brand.ProdShortName");
        PLATFORM_CHECK("the camera tells its short product name", product && !product->empty());
        const auto rotation = read("root.Image.I0.Appearance.Rotation");
        PLATFORM_CHECK("the camera tells its rotation", rotation == "0" || rotation == "90" ||
                                                            rotation == "180" || rotation == "270");
        const auto ratio = read("root.ImageSource.I0.Sensor.AspectRatio");
        PLATFORM_CHECK("the camera tells its sensor's aspect ratio, or that it does not know it",
                       ratio ? ratio->find(':') != std::string::npos : isMissingError());
    }

    void checkPersistence() {
        PLATFORM_CHECK("a value is set to be read by another handle", write(kScratch, "kept"));
        ax_parameter_free(handle);
        handle = ax_parameter_new(subject.application.c_str(), error.out());
        PLATFORM_CHECK("a closed handle can be opened again", handle != nullptr);
        PLATFORM_CHECK("... and finds the value", read(kScratch) == "kept");
    }

    void checkHost() {
        const std::string group = "root.Zerith_markers.";
        const bool isOurs = subject.application == "zerith_markers";
        if (isOurs) {
            PLATFORM_CHECK("host: a full name means the same parameter",
                           read((group + kScratch).c_str()) == "kept");
            PLATFORM_CHECK("host: ... in either letter case",
                           read("root.zerith_markers.PlatformCheck") == "kept");
            PLATFORM_CHECK("host: the package's parameters are there",
                           read("EulaAccepted") && read("Detection33y"));
            PLATFORM_CHECK("host: the parameter file has the value",
                           fileHas(group + kScratch + "=kept"));
        }
        PLATFORM_CHECK("host: a value of two lines comes back",
                       write(kScratch, "two\nlines\\") && read(kScratch) == "two\nlines\\");
        PLATFORM_CHECK("host: the camera's own parameters cannot be set",
                       !write("root.Image.I0.Appearance.Rotation", "90") &&
                           error.is(AX_PARAMETER_ERROR, AX_PARAMETER_PARAM_SET_ERROR));
        gchar untouched = 'u';
        gchar* value = &untouched;
        PLATFORM_CHECK("host: a failed read leaves the value alone",
                       !ax_parameter_get(handle, kMissing, &value, error.out()) &&
                           value == &untouched);
        PLATFORM_CHECK("host: an application without a name has no parameters",
                       ax_parameter_new(nullptr, error.out()) == nullptr && error.isSet());
        PLATFORM_CHECK("host: a missing handle is an error",
                       !ax_parameter_get(nullptr, kScratch, &value, error.out()) && error.isSet());
        PLATFORM_CHECK("host: a missing name is an error",
                       !ax_parameter_get(handle, nullptr, &value, error.out()) && error.isSet());
        ax_parameter_free(nullptr);
    }

    [[nodiscard]] bool fileHas(const std::string& wanted) const {
        std::ifstream file(*subject.hostState / "parameters.conf");
        for (std::string line; std::getline(file, line);) {
            if (line == wanted) {
                return true;
            }
        }
        return false;
    }

    const Subject& subject;
    Report& report;
    Error error;
    AXParameter* handle = nullptr;
};

} // namespace

void checkParameters(const Subject& subject, Report& report) {
    Parameters(subject, report).run();
}

} // namespace platform_check
