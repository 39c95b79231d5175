#include "platform/hostcam/camera.h"

#include <algorithm>
#include <utility>

namespace hostcam {
namespace {

using std::chrono::milliseconds;
using Clock = Pace::Clock;

/// How long a file may be decoded for one frame before it is played more slowly; by hand, a test
/// wants the right picture, however long it takes.
constexpr milliseconds kBudget{500};
constexpr milliseconds kManualBudget{60000};

/// How soon a wait notices that it was interrupted.
constexpr milliseconds kSlice{50};

struct Shared {
    std::mutex opening; ///< held while a source is opened; taken before mutex
    std::mutex mutex;
    std::weak_ptr<Camera> camera;   // guarded by mutex
    std::weak_ptr<Pace> pace;       // of that camera; guarded by mutex
    bool manual = false;            // guarded by mutex
    std::uint64_t manualNumber = 0; // guarded by mutex
};

/// Never destroyed: platform calls may come from threads that outlive the end of main.
Shared& shared() {
    static auto* const instance = new Shared;
    return *instance;
}

} // namespace

std::shared_ptr<Camera> Camera::open() {
    Shared& all = shared();
    const std::lock_guard opening(all.opening);
    {
        const std::lock_guard lock(all.mutex);
        if (std::shared_ptr<Camera> camera = all.camera.lock()) {
            return camera;
        }
    }
    std::shared_ptr<const Config> config = currentConfig();
    std::unique_ptr<VideoSource> source = openSource(*config);
    const std::lock_guard lock(all.mutex);
    const double rate = config->framerate;
    auto pace =
        all.manual ? std::make_shared<Pace>(rate, all.manualNumber) : std::make_shared<Pace>(rate);
    auto camera = std::make_shared<Camera>(std::move(config), std::move(source), pace);
    all.camera = camera;
    all.pace = pace;
    return camera;
}

Camera::Camera(std::shared_ptr<const Config> config, std::unique_ptr<VideoSource> source,
               std::shared_ptr<Pace> pace)
    : m_config(std::move(config)), m_pace(std::move(pace)), m_source(std::move(source)) {}

Moment Camera::tryLatest() {
    const std::lock_guard lock(m_mutex);
    std::uint64_t number = m_pace->current();
    if (m_moment && number <= m_moment->number) {
        return *m_moment;
    }
    const FrameRequest request{number, static_cast<double>(number) / m_pace->rate(),
                               m_pace->manual() ? kManualBudget : kBudget};
    m_moment = Moment{number, m_pace->timeOf(number), m_source->imageAt(request)};
    return *m_moment;
}

Moment Camera::latest(milliseconds patience, const std::atomic<bool>* interrupted) {
    const Clock::time_point deadline = Clock::now() + patience;
    while (true) {
        try {
            return tryLatest();
        } catch (const SourceError& problem) {
            const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
            const bool ended = interrupted != nullptr && *interrupted;
            if (!problem.passing() || ended || left.count() <= 0) {
                throw;
            }
            m_source->awaitPictures(std::min(left, kSlice));
        }
    }
}

void setManualPace(bool manual) {
    Shared& all = shared();
    const std::lock_guard lock(all.mutex);
    const std::shared_ptr<Pace> pace = all.pace.lock();
    if (pace) {
        pace->setManual(manual);
    }
    if (manual && !all.manual) {
        all.manualNumber = pace ? pace->current() : 0;
    }
    all.manual = manual;
}

void advanceFrames(std::uint64_t frames) {
    Shared& all = shared();
    const std::lock_guard lock(all.mutex);
    if (!all.manual) {
        return;
    }
    all.manualNumber += frames;
    if (const std::shared_ptr<Pace> pace = all.pace.lock()) {
        pace->advance(frames);
    }
}

void resetCamera() {
    Shared& all = shared();
    const std::lock_guard lock(all.mutex);
    if (const std::shared_ptr<Pace> pace = all.pace.lock()) {
        pace->setManual(true); // frozen, for whoever still holds it
    }
    all.camera.reset();
    all.pace.reset();
    all.manual = false;
    all.manualNumber = 0;
    resetConfig();
}

} // namespace hostcam
