#pragma once

// A host camera and a handle to the application's parameters.

#include <string>
#include <vector>

#include <axsdk/axparameter.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/host_camera.h"

namespace testing_support {

class ParameterTest : public testing::Test {
  protected:
    ~ParameterTest() override { close(); }

    void open(const char* application = "zerith_markers") {
        close();
        handle = ax_parameter_new(application, error.out());
        ASSERT_NE(handle, nullptr) << error.text();
    }

    void close() {
        if (handle != nullptr) {
            ax_parameter_free(handle);
        }
        handle = nullptr;
    }

    /// What a new process sees.
    void reopen() {
        close();
        camera.restart();
        open();
    }

    void set(const std::string& name, const std::string& value) {
        ASSERT_TRUE(ax_parameter_set(handle, name.c_str(), value.c_str(), TRUE, error.out()))
            << error.text();
    }

    [[nodiscard]] std::string get(const std::string& name) {
        gchar* value = nullptr;
        if (ax_parameter_get(handle, name.c_str(), &value, error.out()) == FALSE) {
            return "(" + error.text() + ")";
        }
        std::string text = value;
        g_free(value);
        return text;
    }

    /// The error code that a get leaves.
    [[nodiscard]] int codeOfGet(const std::string& name) {
        (void)get(name);
        return error.code();
    }

    [[nodiscard]] std::vector<std::string> list() {
        GList* const names = ax_parameter_list(handle, error.out());
        std::vector<std::string> result;
        for (const GList* item = names; item != nullptr; item = item->next) {
            result.emplace_back(static_cast<const char*>(item->data));
        }
        g_list_free_full(names, g_free);
        return result;
    }

    HostCamera camera;
    AXParameter* handle = nullptr;
    ErrorSlot error;
};

} // namespace testing_support
