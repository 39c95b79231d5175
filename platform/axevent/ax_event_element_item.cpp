// Element items of the host camera's axevent library.

#include <algorithm>

#include "platform/axevent/element_item.h"
#include "platform/axevent/event_errors.h"
#include "platform/hostcam/faults.h"
#include "platform/hostcam/misuse.h"

namespace {

using hostcam::EventFailure;
using hostcam::requireArgument;

AXEventElementItem& checkedNode(AXEventElementItem* node, const char* what = "the element item") {
    requireArgument(node, what);
    if (!hostcam::isLive(hostcam::Kind::EventElementItem, node)) {
        throw EventFailure(AX_EVENT_ERROR_INVALID_ARGUMENT, std::string(what) + " is none");
    }
    return *node;
}

gchar* duplicate(const std::optional<std::string>& text) {
    return text ? g_strdup(text->c_str()) : nullptr;
}

gboolean run(GError** error, const std::function<void()>& body) {
    return hostcam::runEventCall(error, AX_EVENT_ERROR_GENERIC, body);
}

std::string escaped(const std::string& text) {
    gchar* const raw = g_markup_escape_text(text.data(), static_cast<gssize>(text.size()));
    std::string result = raw;
    g_free(raw);
    return result;
}

} // namespace

namespace hostcam {

std::unique_ptr<AXEventElementItem> copyOf(const AXEventElementItem& node) {
    auto copy = std::make_unique<AXEventElementItem>();
    copy->name = node.name;
    copy->nameSpace = node.nameSpace;
    copy->attributes = node.attributes;
    copy->body = node.body;
    for (const auto& child : node.children) {
        copy->children.push_back(copyOf(*child));
        copy->children.back()->parent = copy.get();
    }
    return copy;
}

std::string toXml(const AXEventElementItem& node) {
    const std::string name = (node.nameSpace ? *node.nameSpace + ":" : "") + node.name;
    std::string result = "<" + name;
    for (const auto& [key, value] : node.attributes) {
        result += " " + key + "=\"" + escaped(value) + "\"";
    }
    if (!node.body && node.children.empty()) {
        return result + "/>";
    }
    result += ">" + escaped(node.body.value_or(""));
    for (const auto& child : node.children) {
        result += toXml(*child);
    }
    return result + "</" + name + ">";
}

bool sameElement(const AXEventElementItem& a, const AXEventElementItem& b) {
    return a.name == b.name && a.nameSpace == b.nameSpace && a.attributes == b.attributes &&
           a.body == b.body &&
           std::equal(a.children.begin(), a.children.end(), b.children.begin(), b.children.end(),
                      [](const auto& x, const auto& y) { return sameElement(*x, *y); });
}

} // namespace hostcam

AXEventElementItem* ax_event_element_item_new(const gchar* name, const gchar* name_space) {
    if (hostcam::mustFail(__func__) || name == nullptr || *name == '\0') {
        return nullptr;
    }
    auto node = std::make_unique<AXEventElementItem>();
    node->name = name;
    node->nameSpace = hostcam::optionalText(name_space);
    return node.release();
}

void ax_event_element_item_free(AXEventElementItem* node) {
    if (hostcam::mustFail(__func__) || node == nullptr) {
        return;
    }
    if (!hostcam::isLive(hostcam::Kind::EventElementItem, node) || node->parent != nullptr) {
        hostcam::reportMisuse("ax_event_element_item_free was called with an item that is none or "
                              "belongs to another item");
        return;
    }
    delete node;
}

gboolean ax_event_element_item_get_name(AXEventElementItem* node, gchar** name, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const AXEventElementItem& item = checkedNode(node);
        *requireArgument(name, "the place for the name") = g_strdup(item.name.c_str());
    });
}

gboolean ax_event_element_item_get_name_space(AXEventElementItem* node, gchar** name_space,
                                              GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const AXEventElementItem& item = checkedNode(node);
        *requireArgument(name_space, "the place for the namespace") = duplicate(item.nameSpace);
    });
}

gboolean ax_event_element_item_set_attributes(AXEventElementItem* node, GHashTable* attributes,
                                              GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        AXEventElementItem& item = checkedNode(node);
        std::map<std::string, std::string> copies;
        GHashTableIter at{};
        gpointer key = nullptr;
        gpointer value = nullptr;
        if (attributes != nullptr) {
            g_hash_table_iter_init(&at, attributes);
            while (g_hash_table_iter_next(&at, &key, &value) != FALSE) {
                requireArgument(key, "an attribute's name");
                requireArgument(value, "an attribute's value");
                copies[static_cast<const char*>(key)] = static_cast<const char*>(value);
            }
        }
        item.attributes.swap(copies);
    });
}

gboolean ax_event_element_item_get_attributes(AXEventElementItem* node, GHashTable** attributes,
                                              GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const AXEventElementItem& item = checkedNode(node);
        requireArgument(attributes, "the place for the attributes");
        GHashTable* const table = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
        for (const auto& [key, value] : item.attributes) {
            g_hash_table_insert(table, g_strdup(key.c_str()), g_strdup(value.c_str()));
        }
        *attributes = table;
    });
}

gboolean ax_event_element_item_set_body(AXEventElementItem* node, const gchar* body,
                                        GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] { checkedNode(node).body = hostcam::optionalText(body); });
}

gboolean ax_event_element_item_get_body(AXEventElementItem* node, gchar** body, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const AXEventElementItem& item = checkedNode(node);
        *requireArgument(body, "the place for the body") = duplicate(item.body);
    });
}

gboolean ax_event_element_item_add_child(AXEventElementItem* node, AXEventElementItem* child,
                                         GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        AXEventElementItem& item = checkedNode(node);
        AXEventElementItem& added = checkedNode(child, "the child");
        if (added.parent != nullptr) {
            throw EventFailure(AX_EVENT_ERROR_INVALID_ARGUMENT, "the child has a parent already");
        }
        for (const AXEventElementItem* above = &item; above != nullptr; above = above->parent) {
            if (above == &added) {
                throw EventFailure(AX_EVENT_ERROR_INVALID_ARGUMENT,
                                   "an element item cannot be below itself");
            }
        }
        item.children.emplace_back(&added);
        added.parent = &item;
    });
}

gboolean ax_event_element_item_get_first_child(AXEventElementItem* parent,
                                               AXEventElementItem** child, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const AXEventElementItem& item = checkedNode(parent);
        requireArgument(child, "the place for the child");
        *child = item.children.empty() ? nullptr : item.children.front().get();
    });
}

gboolean ax_event_element_item_get_next_child(AXEventElementItem* child,
                                              AXEventElementItem** sibling, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const AXEventElementItem& item = checkedNode(child);
        requireArgument(sibling, "the place for the next child");
        *sibling = nullptr;
        if (item.parent == nullptr) {
            return;
        }
        const auto& all = item.parent->children;
        const auto here = std::find_if(all.begin(), all.end(),
                                       [&](const auto& other) { return other.get() == &item; });
        if (std::next(here) != all.end()) {
            *sibling = std::next(here)->get();
        }
    });
}
