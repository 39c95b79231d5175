#include <cstdarg>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/hostcam/faults.h"
#include "platform/vdostream/map_values.h"

#include "vdo-map.h"

// A map is a GObject around vdo::Values. What is no map counts as an empty one when it is read, and
// is left alone when it is written; a missing name likewise.

struct _VdoMap {
    GObject parent;
    vdo::Values* values;
};

G_DEFINE_FINAL_TYPE(VdoMap, vdo_map, G_TYPE_OBJECT)

static void vdo_map_init(VdoMap* self) {
    self->values = new vdo::Values;
}

static void vdo_map_finalize(GObject* object) {
    delete VDO_MAP(object)->values;
    G_OBJECT_CLASS(vdo_map_parent_class)->finalize(object);
}

static void vdo_map_class_init(VdoMapClass* klass) {
    G_OBJECT_CLASS(klass)->finalize = vdo_map_finalize;
}

namespace vdo {

const Values& valuesOf(const VdoMap* map) {
    static const auto* const none = new Values;
    return map != nullptr && VDO_IS_MAP(const_cast<VdoMap*>(map)) ? *map->values : *none;
}

Values* changeableValues(VdoMap* map) {
    return map != nullptr && VDO_IS_MAP(map) ? map->values : nullptr;
}

VdoMap* newMap(Values values) {
    auto* const map = static_cast<VdoMap*>(g_object_new(VDO_TYPE_MAP, nullptr));
    *map->values = std::move(values);
    return map;
}

} // namespace vdo

namespace {

using vdo::changeableValues;
using vdo::Values;
using vdo::valuesOf;

/// The names of an argument list, up to its NULL.
std::vector<const gchar*> namesOf(va_list arguments) {
    std::vector<const gchar*> names;
    while (const gchar* name = va_arg(arguments, const gchar*)) {
        names.push_back(name);
    }
    return names;
}

std::vector<const gchar*> namesOf(const gchar* const* names) {
    std::vector<const gchar*> list;
    for (; names != nullptr && *names != nullptr; ++names) {
        list.push_back(*names);
    }
    return list;
}

bool containsAll(const VdoMap* map, const std::vector<const gchar*>& names) {
    for (const gchar* name : names) {
        if (!valuesOf(map).contains(name)) {
            return false;
        }
    }
    return true;
}

/// Both have the name with equal values, or neither has it.
bool entriesEqual(const VdoMap* one, const VdoMap* other, const gchar* name) {
    GVariant* const mine = valuesOf(one).find(name);
    GVariant* const theirs = valuesOf(other).find(name);
    return mine == nullptr || theirs == nullptr ? mine == theirs
                                                : g_variant_equal(mine, theirs) != FALSE;
}

bool allEqual(const VdoMap* one, const VdoMap* other, const std::vector<const gchar*>& names) {
    for (const gchar* name : names) {
        if (!entriesEqual(one, other, name)) {
            return false;
        }
    }
    return true;
}

void removeAll(VdoMap* map, const std::vector<const gchar*>& names) {
    if (Values* const values = changeableValues(map)) {
        for (const gchar* name : names) {
            values->entries().erase(name);
        }
    }
}

VdoMap* filtered(const VdoMap* map, const std::function<bool(const std::string&)>& wanted) {
    Values some;
    for (const auto& [name, value] : valuesOf(map).entries()) {
        if (wanted(name)) {
            some.entries().emplace(name, value);
        }
    }
    return vdo::newMap(std::move(some));
}

VdoMap* filteredByNames(const VdoMap* map, const std::vector<const gchar*>& names) {
    return filtered(map, [&names](const std::string& name) {
        for (const gchar* wanted : names) {
            if (name == wanted) {
                return true;
            }
        }
        return false;
    });
}

} // namespace

VdoMap* vdo_map_new(void) {
    return hostcam::mustFail(__func__) ? nullptr : vdo::newMap({});
}

VdoMap* vdo_map_new_from_variant(GVariant* dict) {
    if (hostcam::mustFail(__func__) || dict == nullptr) {
        return nullptr;
    }
    const vdo::Value owned(dict);
    if (!g_variant_is_of_type(dict, G_VARIANT_TYPE_VARDICT)) {
        return nullptr;
    }
    Values values;
    GVariantIter iterator;
    g_variant_iter_init(&iterator, dict);
    const gchar* name = nullptr;
    GVariant* value = nullptr;
    while (g_variant_iter_loop(&iterator, "{&sv}", &name, &value)) {
        values.set(name, value);
    }
    return vdo::newMap(std::move(values));
}

gboolean vdo_map_empty(const VdoMap* self) {
    return hostcam::mustFail(__func__) || valuesOf(self).entries().empty();
}

gsize vdo_map_size(const VdoMap* self) {
    return hostcam::mustFail(__func__) ? 0 : valuesOf(self).entries().size();
}

void vdo_map_swap(VdoMap* lhs, VdoMap* rhs) {
    if (!hostcam::mustFail(__func__) && changeableValues(lhs) != nullptr &&
        changeableValues(rhs) != nullptr) {
        std::swap(lhs->values, rhs->values);
    }
}

gboolean vdo_map_contains(const VdoMap* self, const gchar* name) {
    return !hostcam::mustFail(__func__) && name != nullptr && valuesOf(self).contains(name);
}

gboolean vdo_map_contains_va(const VdoMap* self, ...) {
    va_list arguments;
    va_start(arguments, self);
    const std::vector<const gchar*> names = namesOf(arguments);
    va_end(arguments);
    return !hostcam::mustFail(__func__) && containsAll(self, names);
}

gboolean vdo_map_contains_strv(const VdoMap* self, const gchar* const* names) {
    return !hostcam::mustFail(__func__) && containsAll(self, namesOf(names));
}

gboolean vdo_map_entry_equals(const VdoMap* self, const VdoMap* map, const gchar* name) {
    return !hostcam::mustFail(__func__) && name != nullptr && entriesEqual(self, map, name);
}

gboolean vdo_map_entry_updates(const VdoMap* self, const VdoMap* map, const gchar* name) {
    return !hostcam::mustFail(__func__) && name != nullptr && valuesOf(map).contains(name) &&
           !entriesEqual(self, map, name);
}

gboolean vdo_map_equals(const VdoMap* self, const VdoMap* map) {
    return !hostcam::mustFail(__func__) && valuesOf(self) == valuesOf(map);
}

gboolean vdo_map_equals_va(const VdoMap* self, const VdoMap* map, ...) {
    va_list arguments;
    va_start(arguments, map);
    const std::vector<const gchar*> names = namesOf(arguments);
    va_end(arguments);
    return !hostcam::mustFail(__func__) && allEqual(self, map, names);
}

gboolean vdo_map_equals_strv(const VdoMap* self, const VdoMap* map, const gchar* const* names) {
    return !hostcam::mustFail(__func__) && allEqual(self, map, namesOf(names));
}

void vdo_map_remove(VdoMap* self, const gchar* name) {
    if (!hostcam::mustFail(__func__) && name != nullptr) {
        removeAll(self, {name});
    }
}

void vdo_map_remove_va(VdoMap* self, ...) {
    va_list arguments;
    va_start(arguments, self);
    const std::vector<const gchar*> names = namesOf(arguments);
    va_end(arguments);
    if (!hostcam::mustFail(__func__)) {
        removeAll(self, names);
    }
}

void vdo_map_remove_strv(VdoMap* self, const gchar* const* names) {
    if (!hostcam::mustFail(__func__)) {
        removeAll(self, namesOf(names));
    }
}

void vdo_map_clear(VdoMap* self) {
    Values* const values = changeableValues(self);
    if (!hostcam::mustFail(__func__) && values != nullptr) {
        values->entries().clear();
    }
}

VdoMap* vdo_map_filter_prefix(const VdoMap* self, const gchar* prefix) {
    if (hostcam::mustFail(__func__)) {
        return nullptr;
    }
    const std::string start = prefix == nullptr ? "" : prefix;
    return filtered(self, [&start](const std::string& name) { return name.starts_with(start); });
}

VdoMap* vdo_map_filter_va(const VdoMap* self, ...) {
    va_list arguments;
    va_start(arguments, self);
    const std::vector<const gchar*> names = namesOf(arguments);
    va_end(arguments);
    return hostcam::mustFail(__func__) ? nullptr : filteredByNames(self, names);
}

VdoMap* vdo_map_filter_strv(const VdoMap* self, const gchar* const* names) {
    return hostcam::mustFail(__func__) ? nullptr : filteredByNames(self, namesOf(names));
}

void vdo_map_merge(VdoMap* self, const VdoMap* map) {
    Values* const values = changeableValues(self);
    if (hostcam::mustFail(__func__) || values == nullptr || self == map) {
        return;
    }
    for (const auto& [name, value] : valuesOf(map).entries()) {
        values->entries().insert_or_assign(name, value);
    }
}

void vdo_map_copy_value(VdoMap* self, const gchar* src, const gchar* dst) {
    Values* const values = changeableValues(self);
    if (hostcam::mustFail(__func__) || values == nullptr || src == nullptr || dst == nullptr) {
        return;
    }
    if (GVariant* const value = values->find(src)) {
        values->set(dst, value);
    }
}

GVariant* vdo_map_to_variant(const VdoMap* self) {
    if (hostcam::mustFail(__func__)) {
        return nullptr;
    }
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    for (const auto& [name, value] : valuesOf(self).entries()) {
        g_variant_builder_add(&builder, "{sv}", name.c_str(), value.get());
    }
    return g_variant_builder_end(&builder);
}

void vdo_map_dump(const VdoMap* self) {
    if (hostcam::mustFail(__func__)) {
        return;
    }
    for (const auto& [name, value] : valuesOf(self).entries()) {
        gchar* const text = g_variant_print(value.get(), TRUE);
        std::printf("%s: %s\n", name.c_str(), text);
        g_free(text);
    }
    std::fflush(stdout);
}
