#pragma once

// A node of an element value. A node owns its children; the root belongs to the application or to a
// value.

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <axsdk/axevent.h>

#include "platform/hostcam/live_objects.h"

struct _AXEventElementItem {
    _AXEventElementItem() { hostcam::addLive(hostcam::Kind::EventElementItem, this); }
    ~_AXEventElementItem() { hostcam::removeLive(hostcam::Kind::EventElementItem, this); }
    _AXEventElementItem(const _AXEventElementItem&) = delete;
    _AXEventElementItem& operator=(const _AXEventElementItem&) = delete;

    std::string name;
    std::optional<std::string> nameSpace;
    std::map<std::string, std::string> attributes;
    std::optional<std::string> body;
    std::vector<std::unique_ptr<_AXEventElementItem>> children;
    _AXEventElementItem* parent = nullptr; ///< the owner; null for a root
};

namespace hostcam {

/// A copy with all children, as a root.
[[nodiscard]] std::unique_ptr<AXEventElementItem> copyOf(const AXEventElementItem& node);

/// The node as XML, which is how elements appear in a journal line.
[[nodiscard]] std::string toXml(const AXEventElementItem& node);

/// Whether two trees say the same.
[[nodiscard]] bool sameElement(const AXEventElementItem& a, const AXEventElementItem& b);

} // namespace hostcam
