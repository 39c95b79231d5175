#pragma once

// A video service for tests that want to see every call and its arguments, in order, and to decide
// what each call answers. A program that links vdo_stand_in.cpp instead of the camera's library has
// exactly the functions in it that the application's video modules may use; that it links is itself
// a test. Objects are real GObjects, so that a forgotten release is a leak that the address
// sanitizer finds and a release is a line of the record.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vdo_stand_in {

/// How a call fails: with an error of this text, or without an error object.
using Failure = std::optional<std::string>;

struct Service {
    /// What happened, in order: "vdo_map_set_uint32 width=1280", "vdo_stream_attach",
    /// "release stream", ...
    std::vector<std::string> calls;

    /// Calls that fail, by name, until they are taken out again.
    std::map<std::string, Failure> failures;

    /// What the offered channel lists, in order.
    std::vector<std::pair<std::uint32_t, std::uint32_t>> offered;

    /// What vdo_stream_get_settings() answers; keys that are missing give the caller's default.
    std::map<std::string, std::uint32_t> streamSettings;

    /// The bytes of every buffer from now on; empty: the buffer has no data.
    std::vector<std::uint8_t> frame;

    /// vdo_buffer_get_data() throws.
    bool dataThrows = false;

    int buffersTaken = 0;
    int buffersHandedBack = 0;
};

[[nodiscard]] Service& service();

/// A fresh service; buffers that the last test never handed back are released.
void reset();

/// The record so far, emptied.
[[nodiscard]] std::vector<std::string> takeCalls();

} // namespace vdo_stand_in
