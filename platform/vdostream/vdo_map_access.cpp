// Reading and writing the entries of a map, one pair of functions for each type.

#include <charconv>
#include <optional>
#include <string>

#include "platform/hostcam/faults.h"
#include "platform/vdostream/map_values.h"

#include "vdo-map.h"

namespace {

GVariant* found(const VdoMap* map, const gchar* name, const char* type) {
    return name == nullptr ? nullptr : vdo::valuesOf(map).find(name, type);
}

/// Takes over a floating value in any case.
void store(VdoMap* map, const gchar* name, GVariant* value) {
    const vdo::Value owned(value);
    vdo::Values* const values = vdo::changeableValues(map);
    if (values != nullptr && name != nullptr) {
        values->entries().insert_or_assign(name, owned);
    }
}

/// A value's bytes as an array: tuples of equal numbers lie in memory one behind the other.
template <typename Number>
Number* arrayIn(GVariant* value, Number* def) {
    return value == nullptr
               ? def
               : const_cast<Number*>(static_cast<const Number*>(g_variant_get_data(value)));
}

/// The value that a fault hands out instead of the map's, when it is one of the type.
template <typename Number>
std::optional<Number> oddNumber(const hostcam::Fault& fault) {
    Number number{};
    const std::string& text = fault.odd ? *fault.odd : std::string();
    const auto [end, result] = std::from_chars(text.data(), text.data() + text.size(), number);
    return result == std::errc{} && end == text.data() + text.size() && !text.empty()
               ? std::optional(number)
               : std::nullopt;
}

/// A numeric getter: the default when its fault says "fail", the fault's odd number if it has one,
/// and the map's value otherwise.
template <typename Number, typename Read>
Number getNumber(const char* call, const VdoMap* map, const gchar* name, const char* type,
                 Number def, const Read& read) {
    if (const std::optional<hostcam::Fault> fault = hostcam::takeFault(call)) {
        if (const std::optional<Number> odd = oddNumber<Number>(*fault)) {
            return *odd;
        }
        if (fault->fail) {
            return def;
        }
    }
    GVariant* const value = found(map, name, type);
    return value == nullptr ? def : read(value);
}

/// A setter: does nothing when its fault says "fail".
void setValue(const char* call, VdoMap* map, const gchar* name, GVariant* value) {
    if (hostcam::mustFail(call)) {
        const vdo::Value released(value);
        return;
    }
    store(map, name, value);
}

} // namespace

guchar vdo_map_get_byte(const VdoMap* self, const gchar* name, guchar def) {
    return getNumber(__func__, self, name, "y", def, g_variant_get_byte);
}

gint16 vdo_map_get_int16(const VdoMap* self, const gchar* name, gint16 def) {
    return getNumber(__func__, self, name, "n", def, g_variant_get_int16);
}

guint16 vdo_map_get_uint16(const VdoMap* self, const gchar* name, guint16 def) {
    return getNumber(__func__, self, name, "q", def, g_variant_get_uint16);
}

gint32 vdo_map_get_int32(const VdoMap* self, const gchar* name, gint32 def) {
    return getNumber(__func__, self, name, "i", def, g_variant_get_int32);
}

guint32 vdo_map_get_uint32(const VdoMap* self, const gchar* name, guint32 def) {
    return getNumber(__func__, self, name, "u", def, g_variant_get_uint32);
}

gint64 vdo_map_get_int64(const VdoMap* self, const gchar* name, gint64 def) {
    return getNumber(__func__, self, name, "x", def, g_variant_get_int64);
}

guint64 vdo_map_get_uint64(const VdoMap* self, const gchar* name, guint64 def) {
    return getNumber(__func__, self, name, "t", def, g_variant_get_uint64);
}

gdouble vdo_map_get_double(const VdoMap* self, const gchar* name, gdouble def) {
    return getNumber(__func__, self, name, "d", def, g_variant_get_double);
}

gboolean vdo_map_get_boolean(const VdoMap* self, const gchar* name, gboolean def) {
    return getNumber(__func__, self, name, "b", def, g_variant_get_boolean);
}

const gchar* vdo_map_get_string(const VdoMap* self, const gchar* name, gsize* size,
                                const gchar* def) {
    GVariant* const value = hostcam::mustFail(__func__) ? nullptr : found(self, name, "s");
    const gchar* const text = value == nullptr ? def : g_variant_get_string(value, nullptr);
    if (size != nullptr) {
        *size = text == nullptr ? 0 : std::char_traits<char>::length(text);
    }
    return text;
}

gchar* vdo_map_dup_string(const VdoMap* self, const gchar* name, const gchar* def) {
    GVariant* const value = hostcam::mustFail(__func__) ? nullptr : found(self, name, "s");
    return g_strdup(value == nullptr ? def : g_variant_get_string(value, nullptr));
}

GVariant* vdo_map_get_variant(const VdoMap* self, const gchar* name, GVariant* def) {
    if (hostcam::mustFail(__func__) || name == nullptr) {
        return def;
    }
    GVariant* const value = vdo::valuesOf(self).find(name);
    return value == nullptr ? def : value;
}

guint32* vdo_map_get_uint32x2(const VdoMap* self, const gchar* name, guint32 def[2]) {
    return hostcam::mustFail(__func__) ? def : arrayIn(found(self, name, "(uu)"), def);
}

guint32* vdo_map_get_uint32x4(const VdoMap* self, const gchar* name, guint32 def[4]) {
    return hostcam::mustFail(__func__) ? def : arrayIn(found(self, name, "(uuuu)"), def);
}

gdouble* vdo_map_get_doublex4(const VdoMap* self, const gchar* name, gdouble def[4]) {
    return hostcam::mustFail(__func__) ? def : arrayIn(found(self, name, "(dddd)"), def);
}

VdoPair32i vdo_map_get_pair32i(const VdoMap* self, const gchar* name, VdoPair32i def) {
    GVariant* const value = hostcam::mustFail(__func__) ? nullptr : found(self, name, "(ii)");
    if (value != nullptr) {
        g_variant_get(value, "(ii)", &def.val[0], &def.val[1]);
    }
    return def;
}

VdoPair32u vdo_map_get_pair32u(const VdoMap* self, const gchar* name, VdoPair32u def) {
    GVariant* const value = hostcam::mustFail(__func__) ? nullptr : found(self, name, "(uu)");
    if (value != nullptr) {
        g_variant_get(value, "(uu)", &def.val[0], &def.val[1]);
    }
    return def;
}

void vdo_map_set_byte(VdoMap* self, const gchar* name, guchar value) {
    setValue(__func__, self, name, g_variant_new_byte(value));
}

void vdo_map_set_int16(VdoMap* self, const gchar* name, gint16 value) {
    setValue(__func__, self, name, g_variant_new_int16(value));
}

void vdo_map_set_uint16(VdoMap* self, const gchar* name, guint16 value) {
    setValue(__func__, self, name, g_variant_new_uint16(value));
}

void vdo_map_set_int32(VdoMap* self, const gchar* name, gint32 value) {
    setValue(__func__, self, name, g_variant_new_int32(value));
}

void vdo_map_set_uint32(VdoMap* self, const gchar* name, guint32 value) {
    setValue(__func__, self, name, g_variant_new_uint32(value));
}

void vdo_map_set_int64(VdoMap* self, const gchar* name, gint64 value) {
    setValue(__func__, self, name, g_variant_new_int64(value));
}

void vdo_map_set_uint64(VdoMap* self, const gchar* name, guint64 value) {
    setValue(__func__, self, name, g_variant_new_uint64(value));
}

void vdo_map_set_double(VdoMap* self, const gchar* name, gdouble value) {
    setValue(__func__, self, name, g_variant_new_double(value));
}

void vdo_map_set_boolean(VdoMap* self, const gchar* name, gboolean value) {
    setValue(__func__, self, name, g_variant_new_boolean(value));
}

void vdo_map_set_string(VdoMap* self, const gchar* name, const gchar* value) {
    if (hostcam::mustFail(__func__)) {
        return;
    }
    if (value != nullptr) {
        // GVariant texts are UTF-8; other bytes become replacement characters.
        store(self, name, g_variant_new_take_string(g_utf8_make_valid(value, -1)));
    } else if (vdo::Values* const values = vdo::changeableValues(self);
               values != nullptr && name != nullptr) {
        values->entries().erase(name);
    }
}

void vdo_map_set_uint32x2(VdoMap* self, const gchar* name, const guint32 value[2]) {
    if (!hostcam::mustFail(__func__) && value != nullptr) {
        store(self, name, g_variant_new("(uu)", value[0], value[1]));
    }
}

void vdo_map_set_uint32x4(VdoMap* self, const gchar* name, const guint32 value[4]) {
    if (!hostcam::mustFail(__func__) && value != nullptr) {
        store(self, name, g_variant_new("(uuuu)", value[0], value[1], value[2], value[3]));
    }
}

void vdo_map_set_doublex4(VdoMap* self, const gchar* name, const gdouble value[4]) {
    if (!hostcam::mustFail(__func__) && value != nullptr) {
        store(self, name, g_variant_new("(dddd)", value[0], value[1], value[2], value[3]));
    }
}

void vdo_map_set_pair32i(VdoMap* self, const gchar* name, VdoPair32i value) {
    setValue(__func__, self, name, g_variant_new("(ii)", value.val[0], value.val[1]));
}

void vdo_map_set_pair32u(VdoMap* self, const gchar* name, VdoPair32u value) {
    setValue(__func__, self, name, g_variant_new("(uu)", value.val[0], value.val[1]));
}
