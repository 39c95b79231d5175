#include "platform/vdostream/stream.h"

#include <algorithm>
#include <utility>

#include "platform/hostcam/nv12.h"
#include "platform/vdostream/failure.h"
#include "platform/vdostream/frame.h"

namespace vdo {
namespace {

using hostcam::BufferPool;
using hostcam::Camera;
using hostcam::Moment;
using hostcam::Pace;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// How long a frame waits for a buffer to come back before it is given up. By hand nothing moves
/// while a test waits, so there is nothing to wait for.
constexpr milliseconds kBufferPatience{500};

/// How long a live source without pictures is waited for.
constexpr milliseconds kSourcePatience{1000};

/// With a manual pace, a test that forgot to make a frame shall not hang.
constexpr seconds kManualPatience{10};

std::string nameOf(unsigned id) {
    return "stream " + std::to_string(id);
}

} // namespace

Stream::Stream(unsigned id, const Values& asked, VdoBufferFinalizer finalizer)
    : m_id(id), m_camera(Camera::open()), m_http(hostcam::openHttpService()),
      m_settings(readSettings(asked, m_camera->config())), m_finalizer(finalizer),
      m_pool(BufferPool::create(id, m_settings.frameBytes(), m_settings.buffers)),
      m_asked(completeSettings(asked, m_settings)), m_framerate(m_settings.framerate) {}

Values Stream::settings() const {
    const std::lock_guard lock(m_mutex);
    return m_asked;
}

Values Stream::info() const {
    const std::lock_guard lock(m_mutex);
    Values info;
    info.setUint32("channel", 1);
    info.setUint32("format", VDO_FORMAT_YUV);
    info.setString("subformat", m_settings.luminanceOnly ? "y800" : "nv12");
    info.setUint32("width", m_settings.frameSize().width);
    info.setUint32("height", m_settings.frameSize().height);
    info.setUint32("pitch", static_cast<std::uint32_t>(m_settings.pitch));
    info.setUint32("rotation", static_cast<std::uint32_t>(m_settings.rotation));
    info.setBoolean("horizontal_flip", m_settings.mirrored);
    info.setUint32("framerate", wholeFramerate(m_framerate));
    info.setUint32("buffer.count", m_settings.buffers);
    return info;
}

void Stream::setFramerate(double framerate) {
    const double limited = limitedFramerate(framerate, m_camera->config());
    const std::lock_guard lock(m_mutex);
    m_framerate = limited;
    m_asked.setUint32("framerate", wholeFramerate(framerate));
}

void Stream::change(const Values& settings) {
    const Values present = this->settings();
    for (const auto& [name, value] : settings.entries()) {
        const auto found = present.entries().find(name);
        const bool same = found != present.entries().end() && found->second == value;
        if (!same && name != "framerate") {
            throw Failure(VDO_ERROR_NOT_SUPPORTED,
                          name + ": only the framerate of a stream can be changed");
        }
    }
    if (const std::optional<std::uint32_t> framerate = settings.uint32("framerate")) {
        setFramerate(*framerate);
    }
}

void Stream::start() {
    const std::lock_guard lock(m_mutex);
    m_everStarted = true;
    if (m_stopped.exchange(false)) {
        m_wanted = m_camera->pace()->current();
        if (m_alarm) {
            m_camera->pace()->setAlarm(m_alarm, m_wanted);
        }
    }
}

void Stream::stop() {
    m_stopped = true;
    m_camera->pace()->interrupt();
    const std::lock_guard lock(m_mutex);
    if (m_alarm) {
        m_camera->pace()->clearAlarm(*m_alarm);
    }
}

int Stream::descriptor() {
    const std::lock_guard lock(m_mutex);
    if (!m_alarm) {
        m_alarm = std::make_shared<hostcam::FrameAlarm>();
        if (!m_stopped) {
            m_camera->pace()->setAlarm(m_alarm, m_wanted);
        }
    }
    return m_alarm->descriptor();
}

void Stream::passOver(std::uint64_t number) {
    const std::lock_guard lock(m_mutex);
    m_wanted = hostcam::frameAfter(number, m_framerate / m_camera->pace()->rate());
    if (m_alarm && !m_stopped) {
        m_camera->pace()->setAlarm(m_alarm, m_wanted);
    }
}

/// @return the frame that is due @throws Failure when none is in time
std::uint64_t Stream::awaitFrame() {
    std::uint64_t wanted = 0;
    {
        const std::lock_guard lock(m_mutex);
        if (m_stopped) {
            throw Failure(VDO_ERROR_CLOSED,
                          nameOf(m_id) + (m_everStarted ? " is stopped" : " is not started"));
        }
        wanted = m_wanted;
    }
    const Pace& pace = *m_camera->pace();
    Pace::Clock::time_point deadline = Pace::Clock::time_point::max();
    if (!m_settings.blocking) {
        deadline = Pace::Clock::now();
    } else if (m_settings.timeout) {
        deadline = Pace::Clock::now() + *m_settings.timeout;
    } else if (pace.manual()) {
        deadline = Pace::Clock::now() + kManualPatience;
    }
    switch (pace.waitFor(wanted, deadline, m_stopped)) {
    case Pace::Wait::Interrupted:
        throw Failure(VDO_ERROR_CLOSED, nameOf(m_id) + " was stopped");
    case Pace::Wait::TimedOut:
        throw Failure(VDO_ERROR_NO_DATA, nameOf(m_id) + ": there is no new frame yet");
    case Pace::Wait::Due:
        break;
    }
    return wanted;
}

VdoFrame* Stream::take() {
    const std::uint64_t wanted = awaitFrame();
    const Pace& pace = *m_camera->pace();
    const bool wait = m_settings.blocking && !pace.manual();
    try {
        std::unique_ptr<BufferPool::Lease> buffer =
            m_pool->take(wait ? kBufferPatience : milliseconds(0));
        if (!buffer) {
            throw Failure(VDO_ERROR_NO_BUFFER_SPACE, nameOf(m_id) + ": all " +
                                                         std::to_string(m_pool->limit()) +
                                                         " buffers are held by the application");
        }
        const Moment moment =
            m_camera->latest(m_settings.blocking ? kSourcePatience : milliseconds(0), &m_stopped);
        draw(*moment.image, buffer->data());
        buffer->setFrame(moment.number);
        passOver(moment.number);
        FrameFacts facts;
        facts.sequence = static_cast<unsigned>(moment.number);
        facts.microseconds = static_cast<std::uint64_t>(moment.microseconds);
        facts.bytes = m_settings.frameBytes();
        return newFrame(std::move(buffer), facts, m_finalizer);
    } catch (...) {
        // The frame is lost, and the next call waits for the next one.
        passOver(std::max(wanted, pace.current()));
        throw;
    }
}

void Stream::draw(const hostcam::Image& image, std::uint8_t* bytes) {
    const std::shared_ptr<const hostcam::Picture> picture = image.picture(m_settings.size);
    hostcam::Nv12Target target = hostcam::targetOf(m_settings.frameSize(), bytes, m_settings.pitch);
    if (m_settings.luminanceOnly) {
        target.uv = nullptr;
    }
    const std::lock_guard lock(m_drawing);
    hostcam::drawTurned(picture->view(), m_settings.rotation, m_settings.mirrored, target,
                        m_scratch);
}

} // namespace vdo
