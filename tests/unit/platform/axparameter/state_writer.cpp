// A process that writes parameters and events until it is killed, and tells what was acknowledged:
// after each call that has returned it writes one line to standard output, "P name number" or "E
// number".
//
// Arguments: the prefix of its own parameters, the number to begin with, the number to end with (0:
// never).

#include <cstdlib>
#include <string>

#include <unistd.h>

#include <axsdk/axevent.h>
#include <axsdk/axparameter.h>

namespace {

constexpr unsigned kParameters = 5;

[[noreturn]] void fail(const char* what) {
    const std::string line = std::string("FAILED ") + what + "\n";
    (void)!write(STDOUT_FILENO, line.data(), line.size());
    std::_Exit(1);
}

void tell(const std::string& line) {
    const std::string text = line + "\n";
    if (write(STDOUT_FILENO, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        std::_Exit(2);
    }
}

guint declareData(AXEventHandler* handler) {
    AXEventKeyValueSet* const set = ax_event_key_value_set_new();
    guint id = 0;
    ax_event_key_value_set_add_key_values(set, nullptr, "topic0", "tnsaxis", "Writer",
                                          AX_VALUE_TYPE_STRING, "payload", nullptr, "placeholder",
                                          AX_VALUE_TYPE_STRING, nullptr);
    ax_event_key_value_set_mark_as_data(set, "payload", nullptr, nullptr);
    if (ax_event_handler_declare(handler, set, TRUE, &id, nullptr, nullptr, nullptr) == FALSE) {
        fail("declare");
    }
    ax_event_key_value_set_free(set);
    return id;
}

void sendNumber(AXEventHandler* handler, guint id, const std::string& number) {
    AXEventKeyValueSet* const set = ax_event_key_value_set_new();
    ax_event_key_value_set_add_key_value(set, "payload", nullptr, number.c_str(),
                                         AX_VALUE_TYPE_STRING, nullptr);
    AXEvent* const event = ax_event_new2(set, nullptr);
    if (ax_event_handler_send_event(handler, id, event, nullptr) == FALSE) {
        fail("send");
    }
    ax_event_free(event);
    ax_event_key_value_set_free(set);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        fail("arguments");
    }
    const std::string prefix = argv[1];
    const unsigned long first = std::stoul(argv[2]);
    const unsigned long last = std::stoul(argv[3]);
    AXParameter* const parameters = ax_parameter_new("zerith_markers", nullptr);
    if (parameters == nullptr) {
        fail("new");
    }
    for (unsigned number = 0; number < kParameters; ++number) {
        const std::string name = prefix + std::to_string(number);
        GError* error = nullptr;
        if (ax_parameter_add(parameters, name.c_str(), "0", nullptr, &error) == FALSE &&
            error->code != AX_PARAMETER_PARAM_ADDED_ERROR) {
            fail("add");
        }
        g_clear_error(&error);
    }
    AXEventHandler* const handler = ax_event_handler_new();
    const guint id = declareData(handler);
    for (unsigned long count = first; last == 0 || count <= last; ++count) {
        const std::string name = prefix + std::to_string(count % kParameters);
        const std::string number = std::to_string(count);
        if (ax_parameter_set(parameters, name.c_str(), number.c_str(), TRUE, nullptr) == FALSE) {
            fail("set");
        }
        tell("P " + name + " " + number);
        sendNumber(handler, id, prefix + number);
        tell("E " + number);
    }
    ax_event_handler_free(handler);
    ax_parameter_free(parameters);
    return 0;
}
