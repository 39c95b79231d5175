#include "platform/hostcam/live_source.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <sstream>
#include <thread>

#include "platform/hostcam/gstreamer_reader.h"
#include "platform/hostcam/misuse.h"
#include "platform/hostcam/signals_blocked.h"

namespace hostcam {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Kind = SourceError::Kind;

constexpr milliseconds kSlice{100};

std::string inSeconds(milliseconds time) {
    std::ostringstream text;
    text << std::chrono::duration<double>(time).count() << " seconds";
    return text.str();
}

class LiveSource : public VideoSource {
  public:
    LiveSource(const std::string& uri, const LiveTiming& timing)
        : m_uri(uri), m_name(withoutCredentials(uri)), m_timing(timing) {
        {
            const SignalsBlocked blocked;
            m_thread = std::thread([this] { run(); });
        }
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, m_timing.opening, [this] { return m_image || m_trouble; });
        m_opened = !m_trouble;
        if (m_trouble) {
            const SourceError trouble = *m_trouble;
            lock.unlock();
            stop();
            throw SourceError(trouble);
        }
    }

    ~LiveSource() override { stop(); }

    std::shared_ptr<const Image> imageAt(const FrameRequest& /*request*/) override {
        const std::lock_guard lock(m_mutex);
        if (m_trouble) {
            throw SourceError(Kind::Interrupted, m_trouble->what());
        }
        if (!m_image) {
            throw SourceError(Kind::NoData, m_name + ": no picture yet");
        }
        return m_image;
    }

    bool awaitPictures(milliseconds timeout) override {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [this] { return m_image && !m_trouble; });
    }

  private:
    void stop() {
        {
            const std::lock_guard lock(m_mutex);
            m_stopping = true;
        }
        m_changed.notify_all();
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

    [[nodiscard]] bool stopping() {
        const std::lock_guard lock(m_mutex);
        return m_stopping;
    }

    // Only the source's own thread changes what the two functions below look at first.

    void show(const DecodedPicture& picture) {
        if (lost()) {
            warn(m_name + ": pictures come again");
        }
        {
            const std::lock_guard lock(m_mutex);
            m_image = picture.image;
            m_trouble.reset();
        }
        m_changed.notify_all();
    }

    void lose(const SourceError& reason) {
        if (isNews(reason)) {
            warn(std::string(reason.what()) + ": trying again");
        }
        {
            const std::lock_guard lock(m_mutex);
            m_trouble = reason;
        }
        m_changed.notify_all();
    }

    [[nodiscard]] bool lost() {
        const std::lock_guard lock(m_mutex);
        return m_trouble.has_value();
    }

    /// Whether the log does not know of a loss yet. The first failure of all is told to whoever
    /// opens the source.
    [[nodiscard]] bool isNews(const SourceError& reason) {
        const std::lock_guard lock(m_mutex);
        return m_opened && (!m_trouble || std::string_view(m_trouble->what()) != reason.what());
    }

    /// Reads pictures until the source is lost or the camera closed. @return whether any came
    bool readPictures() {
        bool any = false;
        try {
            PictureReader reader(m_uri, m_name, PictureReader::Mode::Live);
            Clock::time_point deadline = Clock::now() + m_timing.firstPicture;
            while (!stopping()) {
                DecodedPicture picture;
                const PictureReader::Step step = reader.read(kSlice, picture);
                if (step == PictureReader::Step::Picture) {
                    show(picture);
                    any = true;
                    deadline = Clock::now() + m_timing.nextPicture;
                } else if (step == PictureReader::Step::End) {
                    throw SourceError(Kind::Interrupted, m_name + ": the stream has ended");
                } else if (Clock::now() >= deadline) {
                    throw SourceError(
                        Kind::Interrupted,
                        m_name + ": no picture for " +
                            inSeconds(any ? m_timing.nextPicture : m_timing.firstPicture));
                }
            }
        } catch (const SourceError& reason) {
            lose(reason);
        } catch (const std::exception& reason) {
            lose(SourceError(Kind::Interrupted, m_name + ": " + reason.what()));
        }
        return any;
    }

    void run() {
        milliseconds pause = m_timing.shortestPause;
        while (!stopping()) {
            const bool any = readPictures();
            pause = any ? m_timing.shortestPause : std::min(pause * 2, m_timing.longestPause);
            std::unique_lock lock(m_mutex);
            m_changed.wait_for(lock, pause, [this] { return m_stopping; });
        }
    }

    const std::string m_uri;
    const std::string m_name;
    const LiveTiming m_timing;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::shared_ptr<const Image> m_image; // guarded by m_mutex; the newest
    std::optional<SourceError> m_trouble; // guarded by m_mutex; why there are no pictures now
    bool m_opened = false;                // guarded by m_mutex; whoever opens it has gone on
    bool m_stopping = false;              // guarded by m_mutex
    std::thread m_thread;
};

} // namespace

std::unique_ptr<VideoSource> openLiveSource(const std::string& uri, const LiveTiming& timing) {
    return std::make_unique<LiveSource>(uri, timing);
}

std::string withoutCredentials(const std::string& uri) {
    const std::size_t scheme = uri.find("://");
    const std::size_t at = uri.rfind('@');
    if (scheme == std::string::npos || at == std::string::npos || at < scheme + 3) {
        return uri;
    }
    const std::size_t begin = scheme + 3;
    const std::string before = uri.substr(begin, at - begin);
    // Deliberate: a password may hold any character, '/' and '@' too, so all that could be one is
    // left out, even where it may be the host and a path with an '@' in it.
    const bool isPath = before.find('/') != std::string::npos &&
                        (before.find(':') == std::string::npos || before.front() == '/');
    return isPath ? uri : uri.substr(0, begin) + uri.substr(at + 1);
}

} // namespace hostcam
