#include "platform/vdostream/map_values.h"

#include "platform/vdostream/failure.h"

namespace vdo {
namespace {

/// @throws Failure when there is a value of another type
GVariant* findTyped(const Values& values, std::string_view name, const char* type,
                    const char* typeName) {
    GVariant* const value = values.find(name);
    if (value != nullptr && !g_variant_is_of_type(value, G_VARIANT_TYPE(type))) {
        throw Failure(VDO_ERROR_INVALID_ARGUMENT,
                      std::string(name) + ": its value must be a " + typeName);
    }
    return value;
}

} // namespace

GVariant* Values::find(std::string_view name) const {
    const auto found = m_entries.find(name);
    return found == m_entries.end() ? nullptr : found->second.get();
}

GVariant* Values::find(std::string_view name, const char* type) const {
    GVariant* const value = find(name);
    return value != nullptr && g_variant_is_of_type(value, G_VARIANT_TYPE(type)) ? value : nullptr;
}

void Values::set(const std::string& name, GVariant* value) {
    m_entries.insert_or_assign(name, Value(value));
}

void Values::setUint32(const std::string& name, std::uint32_t value) {
    set(name, g_variant_new_uint32(value));
}

void Values::setBoolean(const std::string& name, bool value) {
    set(name, g_variant_new_boolean(value));
}

void Values::setString(const std::string& name, const std::string& value) {
    set(name, g_variant_new_string(value.c_str()));
}

std::optional<std::uint32_t> Values::uint32(std::string_view name) const {
    GVariant* const value = findTyped(*this, name, "u", "uint32");
    return value == nullptr ? std::nullopt : std::optional(g_variant_get_uint32(value));
}

std::optional<bool> Values::boolean(std::string_view name) const {
    GVariant* const value = findTyped(*this, name, "b", "boolean");
    return value == nullptr ? std::nullopt : std::optional(g_variant_get_boolean(value) != FALSE);
}

std::optional<std::string> Values::string(std::string_view name) const {
    GVariant* const value = findTyped(*this, name, "s", "string");
    return value == nullptr ? std::nullopt
                            : std::optional<std::string>(g_variant_get_string(value, nullptr));
}

} // namespace vdo
