#include "platform/hostcam/event_publisher.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "platform/hostcam/config.h"
#include "platform/hostcam/event_journal.h"

namespace hostcam {
namespace {

/// Never destroyed: events may come from threads that outlive the end of main.
struct Publisher {
    std::mutex mutex;
    std::shared_ptr<const Config> config;  // guarded by mutex: the one that the journal belongs to
    std::unique_ptr<EventJournal> journal; // guarded by mutex
    std::vector<EventObserver*> observers; // guarded by mutex
};

Publisher& publisher() {
    static auto* const instance = new Publisher;
    return *instance;
}

} // namespace

void publishEvent(const EventRecord& record) {
    const std::shared_ptr<const Config> config = currentConfig();
    const std::string line = toJson(record);
    Publisher& all = publisher();
    const std::lock_guard lock(all.mutex);
    if (!all.journal || all.config != config) {
        all.journal.reset();
        all.journal = std::make_unique<EventJournal>(config->stateDirectory);
        all.config = config;
    }
    all.journal->append(line);
    for (EventObserver* const observer : all.observers) {
        observer->onEvent(record);
    }
}

void addEventObserver(EventObserver& observer) {
    Publisher& all = publisher();
    const std::lock_guard lock(all.mutex);
    all.observers.push_back(&observer);
}

void removeEventObserver(EventObserver& observer) {
    Publisher& all = publisher();
    const std::lock_guard lock(all.mutex);
    std::erase(all.observers, &observer);
}

} // namespace hostcam
