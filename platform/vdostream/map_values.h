#pragma once

// The named values inside a VdoMap, as the library itself uses them. The public vdo_map_ functions
// are for applications: they count as platform calls and can be made to fail, so nothing in here
// goes through them.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <glib.h>

#include "vdo-map.h"

namespace vdo {

struct VariantUnref {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};

/// A shared, unchanging value.
class Value {
  public:
    /// @param value a floating reference is taken over, any other is added to
    explicit Value(GVariant* value) : m_value(g_variant_ref_sink(value)) {}
    Value(const Value& other) : m_value(g_variant_ref(other.get())) {}
    Value(Value&&) noexcept = default;
    Value& operator=(const Value& other) {
        m_value.reset(g_variant_ref(other.get()));
        return *this;
    }
    Value& operator=(Value&&) noexcept = default;
    ~Value() = default;

    [[nodiscard]] GVariant* get() const { return m_value.get(); }
    [[nodiscard]] bool operator==(const Value& other) const {
        return g_variant_equal(get(), other.get()) != FALSE;
    }

  private:
    std::unique_ptr<GVariant, VariantUnref> m_value;
};

/// Named values, each of one type. A copy is independent.
class Values {
  public:
    using Entries = std::map<std::string, Value, std::less<>>;

    [[nodiscard]] Entries& entries() { return m_entries; }
    [[nodiscard]] const Entries& entries() const { return m_entries; }

    [[nodiscard]] bool contains(std::string_view name) const { return find(name) != nullptr; }

    /// The value of a name; null when there is none. Borrowed, valid until the entry changes.
    [[nodiscard]] GVariant* find(std::string_view name) const;

    /// The value of a name if it is there and of a type; null otherwise. Borrowed.
    /// @param type a GVariant type string
    [[nodiscard]] GVariant* find(std::string_view name, const char* type) const;

    void set(const std::string& name, GVariant* value);
    void setUint32(const std::string& name, std::uint32_t value);
    void setBoolean(const std::string& name, bool value);
    void setString(const std::string& name, const std::string& value);

    /// Typed reading. @return nothing when the name is missing
    /// @throws Failure (VDO_ERROR_INVALID_ARGUMENT) when its value is of another type
    [[nodiscard]] std::optional<std::uint32_t> uint32(std::string_view name) const;
    [[nodiscard]] std::optional<bool> boolean(std::string_view name) const;
    [[nodiscard]] std::optional<std::string> string(std::string_view name) const;

    [[nodiscard]] bool operator==(const Values&) const = default;

  private:
    Entries m_entries;
};

/// The values of a map; none for NULL and for what is no map. Borrowed.
[[nodiscard]] const Values& valuesOf(const VdoMap* map);

/// The values of a map that is to be changed; null for NULL and for what is no map. Borrowed.
[[nodiscard]] Values* changeableValues(VdoMap* map);

/// A new map. The caller owns it.
[[nodiscard]] VdoMap* newMap(Values values);

} // namespace vdo
