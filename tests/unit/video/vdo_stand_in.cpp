#include "tests/unit/video/vdo_stand_in.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <vdo-channel.h>
#include <vdo-stream.h>

namespace vdo_stand_in {
namespace {

Service g_service;
std::vector<VdoBuffer*> g_outstandingBuffers;
void* g_offeredList = nullptr;

const char* const kNameKey = "stand-in-name";

void record(const std::string& call) {
    g_service.calls.push_back(call);
}

void recordRelease(gpointer name, GObject* /*object*/) {
    record("release " + *static_cast<const std::string*>(name));
}

void deleteText(gpointer text) {
    delete static_cast<std::string*>(text);
}

/// An object under any of the service's types that records its last release.
template <typename T>
T* makeObject(const char* name) {
    auto* const object = static_cast<GObject*>(g_object_new(G_TYPE_OBJECT, nullptr));
    auto* const text = new std::string(name);
    g_object_set_data_full(object, kNameKey, text, deleteText);
    g_object_weak_ref(object, recordRelease, text);
    return reinterpret_cast<T*>(object);
}

std::string nameOf(const void* object) {
    if (object == nullptr) {
        return "null";
    }
    auto* const text =
        g_object_get_data(static_cast<GObject*>(const_cast<void*>(object)), kNameKey);
    return *static_cast<const std::string*>(text);
}

/// Whether a call must fail; sets its error if it is to have one.
bool fails(const std::string& call, GError** error) {
    const auto planned = g_service.failures.find(call);
    if (planned == g_service.failures.end()) {
        return false;
    }
    if (planned->second.has_value()) {
        g_set_error_literal(error, g_quark_from_static_string("stand-in"), 1,
                            planned->second->c_str());
    }
    return true;
}

/// An argument that must be null, as the record shows it.
std::string unlessNull(const char* name, bool isNull) {
    return isNull ? std::string() : std::string(" with ") + name;
}

} // namespace

Service& service() {
    return g_service;
}

void reset() {
    for (VdoBuffer* buffer : g_outstandingBuffers) {
        g_object_unref(buffer);
    }
    g_outstandingBuffers.clear();
    g_service = {};
}

std::vector<std::string> takeCalls() {
    return std::exchange(g_service.calls, {});
}

} // namespace vdo_stand_in

using namespace vdo_stand_in;

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker makes these
// names.
extern "C" {

void __real_g_free(gpointer memory);
void __wrap_g_free(gpointer memory);

// The application's g_free() calls come here (see the linker option).
void __wrap_g_free(gpointer memory) {
    if (memory != nullptr && memory == g_offeredList) {
        g_offeredList = nullptr;
        record("free list");
    }
    __real_g_free(memory);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

VdoMap* vdo_map_new(void) {
    record("vdo_map_new");
    return makeObject<VdoMap>("map");
}

void vdo_map_set_uint32(VdoMap* self, const gchar* name, guint32 value) {
    record("vdo_map_set_uint32 " + nameOf(self) + " " + name + "=" + std::to_string(value));
}

guint32 vdo_map_get_uint32(const VdoMap* self, const gchar* name, guint32 def) {
    record("vdo_map_get_uint32 " + nameOf(self) + " " + name + " default " + std::to_string(def));
    const auto value = g_service.streamSettings.find(name);
    return value == g_service.streamSettings.end() ? def : value->second;
}

VdoStream* vdo_stream_new(VdoMap* settings, VdoBufferFinalizer fin, GError** error) {
    record("vdo_stream_new " + nameOf(settings) + unlessNull("finalizer", fin == nullptr));
    return fails("vdo_stream_new", error) ? nullptr : makeObject<VdoStream>("stream");
}

gboolean vdo_stream_attach(VdoStream* self, VdoMap* intent, GError** error) {
    record("vdo_stream_attach " + nameOf(self) + unlessNull("intent", intent == nullptr));
    return fails("vdo_stream_attach", error) ? FALSE : TRUE;
}

VdoMap* vdo_stream_get_settings(VdoStream* self, GError** error) {
    record("vdo_stream_get_settings " + nameOf(self));
    return fails("vdo_stream_get_settings", error) ? nullptr : makeObject<VdoMap>("settings");
}

gboolean vdo_stream_start(VdoStream* self, GError** error) {
    record("vdo_stream_start " + nameOf(self));
    return fails("vdo_stream_start", error) ? FALSE : TRUE;
}

VdoBuffer* vdo_stream_get_buffer(VdoStream* self, GError** error) {
    record("vdo_stream_get_buffer " + nameOf(self));
    if (fails("vdo_stream_get_buffer", error)) {
        return nullptr;
    }
    ++g_service.buffersTaken;
    g_outstandingBuffers.push_back(makeObject<VdoBuffer>("buffer"));
    return g_outstandingBuffers.back();
}

gpointer vdo_buffer_get_data(VdoBuffer* self) {
    record("vdo_buffer_get_data " + nameOf(self));
    if (g_service.dataThrows) {
        throw std::runtime_error("no mapping");
    }
    return g_service.frame.empty() ? nullptr : g_service.frame.data();
}

gboolean vdo_stream_buffer_unref(VdoStream* self, VdoBuffer** buffer, GError** error) {
    record("vdo_stream_buffer_unref " + nameOf(self) + " " + nameOf(*buffer));
    if (fails("vdo_stream_buffer_unref", error)) {
        return FALSE;
    }
    ++g_service.buffersHandedBack;
    std::erase(g_outstandingBuffers, *buffer);
    g_object_unref(*buffer);
    *buffer = nullptr;
    return TRUE;
}

VdoChannel* vdo_channel_get(guint channel_nbr, GError** error) {
    record("vdo_channel_get " + std::to_string(channel_nbr));
    return fails("vdo_channel_get", error) ? nullptr : makeObject<VdoChannel>("channel");
}

VdoResolutionSet* vdo_channel_get_resolutions(VdoChannel* self, VdoMap* filter, GError** error) {
    record("vdo_channel_get_resolutions " + nameOf(self) + unlessNull("filter", filter == nullptr));
    if (fails("vdo_channel_get_resolutions", error)) {
        return nullptr;
    }
    const std::size_t count = g_service.offered.size();
    auto* const set = static_cast<VdoResolutionSet*>(
        g_malloc(sizeof(VdoResolutionSet) + count * sizeof(VdoResolution)));
    set->count = count;
    for (std::size_t i = 0; i < count; ++i) {
        set->resolutions[i] = {g_service.offered[i].first, g_service.offered[i].second};
    }
    g_offeredList = set;
    return set;
}

} // extern "C"
