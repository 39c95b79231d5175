#include "platform/hostcam/viewer_maker.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <limits>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "platform/hostcam/camera.h"
#include "platform/hostcam/ending_thread.h"
#include "platform/hostcam/misuse.h"
#include "platform/hostcam/nv12.h"
#include "platform/hostcam/picture.h"
#include "platform/hostcam/viewer_picture.h"

namespace hostcam {
namespace {

using std::chrono::milliseconds;
using Request = std::shared_ptr<PictureRequest>;

/// How long a live source without a picture is waited for.
constexpr milliseconds kSourcePatience{1000};

/// How long an end in good order waits for a picture in the making.
constexpr milliseconds kEndPatience{2000};

/// JPEGs that are kept for those who ask for the same moment.
constexpr std::size_t kJpegsKept = 4;

} // namespace

/// What the thread works on. Shared with it, so that it may outlive the maker.
class PictureMaker::Work {
  public:
    void run() {
        while (const std::optional<std::uint64_t> wanted = awaitRequest()) {
            try {
                carryOut(*wanted);
            } catch (const std::exception& problem) {
                // A camera that does not open, or a system that is out of something.
                failAll(problem.what());
            }
        }
        release();
    }

    Request add(const PictureWish& wish, std::uint64_t notBefore, PictureRequest::Done done) {
        auto request =
            std::make_shared<PictureRequest>(PictureRequest{wish, notBefore, std::move(done)});
        const std::lock_guard lock(m_mutex);
        m_requests.push_back(request);
        wakeUnlocked();
        return request;
    }

    void addWatcher(int change) {
        const std::lock_guard lock(m_mutex);
        m_watchers += change;
        wakeUnlocked();
    }

    void stop() {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
        wakeUnlocked();
    }

    [[nodiscard]] std::uint64_t encoded() const { return m_encoded; }

  private:
    /// A JPEG with what went into it.
    struct Kept {
        PictureWish wish;
        std::shared_ptr<const Image> image;
        std::uint64_t layer; ///< its serial; 0 for none
        std::shared_ptr<const Jpeg> jpeg;
    };

    void wakeUnlocked() {
        m_news = true;
        m_changed.notify_all();
        if (m_pace) {
            m_pace->interrupt();
        }
    }

    /// @return the first frame that anybody waits for; nothing: the end
    std::optional<std::uint64_t> awaitRequest() {
        std::unique_lock lock(m_mutex);
        while (!m_stopping) {
            m_news = false;
            std::erase_if(m_requests, [](const auto& request) { return request.expired(); });
            std::optional<std::uint64_t> first;
            for (const std::weak_ptr<PictureRequest>& known : m_requests) {
                if (const Request request = known.lock()) {
                    first = std::min(first.value_or(request->notBefore), request->notBefore);
                }
            }
            if (first) {
                return first;
            }
            if (m_watchers == 0 && m_camera) {
                // The last one's camera may have much to end; nobody shall wait for that.
                lock.unlock();
                release();
                lock.lock();
                continue;
            }
            m_changed.wait(lock, [this] { return m_news.load(); });
        }
        return std::nullopt;
    }

    void release() {
        m_kept.clear();
        {
            const std::lock_guard lock(m_mutex);
            m_pace.reset();
        }
        m_camera.reset();
    }

    /// @throws what the camera throws
    void carryOut(std::uint64_t wanted) {
        if (!m_camera) {
            m_camera = Camera::open();
            const std::lock_guard lock(m_mutex);
            m_pace = m_camera->pace();
        }
        const auto forEver = Pace::Clock::time_point::max();
        if (m_camera->pace()->waitFor(wanted, forEver, m_news) == Pace::Wait::Due) {
            makePictures();
        }
    }

    /// Takes out the requests for which a frame will do.
    std::vector<Request> takeDue(std::uint64_t number) {
        std::vector<Request> due;
        const std::lock_guard lock(m_mutex);
        std::erase_if(m_requests, [&](const std::weak_ptr<PictureRequest>& known) {
            Request request = known.lock();
            const bool isDue = request && request->notBefore <= number;
            if (isDue) {
                due.push_back(std::move(request));
            }
            return isDue || known.expired();
        });
        return due;
    }

    static void finish(const std::vector<Request>& requests, const MadePicture& made) {
        for (const Request& request : requests) {
            request->done(made);
        }
    }

    void failAll(const std::string& problem) {
        finish(takeDue(std::numeric_limits<std::uint64_t>::max()), {nullptr, 0, problem});
    }

    void makePictures() {
        Moment moment;
        try {
            moment = m_camera->latest(kSourcePatience, &m_stopping);
        } catch (const SourceError& problem) {
            const std::uint64_t number = m_camera->pace()->current();
            finish(takeDue(number), {nullptr, number, problem.what()});
            return;
        }
        std::vector<Request> due = takeDue(moment.number);
        while (!due.empty() && !m_stopping) {
            const PictureWish wish = due.front()->wish;
            const auto others = std::stable_partition(
                due.begin(), due.end(), [&](const Request& one) { return one->wish == wish; });
            const std::vector<Request> same(due.begin(), others);
            due.erase(due.begin(), others);
            finish(same, madeOf(moment, wish));
        }
    }

    MadePicture madeOf(const Moment& moment, const PictureWish& wish) {
        try {
            return {jpegOf(moment, wish), moment.number, ""};
        } catch (const std::exception& problem) {
            warnUnlessRepeated(std::string("no picture for a viewer: ") + problem.what());
            return {nullptr, moment.number, problem.what()};
        }
    }

    std::shared_ptr<const Jpeg> jpegOf(const Moment& moment, const PictureWish& wish) {
        const std::shared_ptr<const OverlayLayer> layer = layerFor(wish, m_camera->config());
        const std::uint64_t serial = layer ? layer->serial : 0;
        const auto known = std::find_if(m_kept.begin(), m_kept.end(),
                                        [&](const Kept& kept) { return kept.wish == wish; });
        if (known != m_kept.end() && known->image == moment.image && known->layer == serial) {
            return known->jpeg;
        }
        if (known != m_kept.end()) {
            m_kept.erase(known);
        } else if (m_kept.size() == kJpegsKept) {
            m_kept.erase(m_kept.begin());
        }
        m_kept.push_back({wish, moment.image, serial, encode(*moment.image, wish, layer.get())});
        return m_kept.back().jpeg;
    }

    std::shared_ptr<const Jpeg> encode(const Image& image, const PictureWish& wish,
                                       const OverlayLayer* layer) {
        const Size size = turnedSize(wish.size, wish.rotation);
        if (!m_picture || m_picture->planes().size != size) {
            m_picture.emplace(size);
        }
        const std::shared_ptr<const Picture> frame = image.picture(wish.size);
        if (wish.rotation == 0 && !wish.mirrored) {
            widen(frame->view(), m_picture->planes());
        } else {
            Picture turned(size);
            drawTurned(frame->view(), wish.rotation, wish.mirrored, turned.target(), m_scratch);
            widen(turned.view(), m_picture->planes());
        }
        if (layer != nullptr) {
            blendOver(*layer, m_picture->planes());
        }
        if (!m_encoder) {
            m_encoder.emplace();
        }
        std::shared_ptr<const Jpeg> jpeg = m_encoder->encode(m_picture->planes(), wish.quality);
        ++m_encoded;
        return jpeg;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::weak_ptr<PictureRequest>> m_requests; // guarded by m_mutex
    std::shared_ptr<Pace> m_pace; // of the camera, to be interrupted; guarded by m_mutex
    int m_watchers = 0;           // guarded by m_mutex
    std::atomic<bool> m_news{false};
    std::atomic<bool> m_stopping{false};
    std::atomic<std::uint64_t> m_encoded{0};

    // Only the thread's.
    std::shared_ptr<Camera> m_camera;
    std::vector<Kept> m_kept;
    std::optional<ViewerPicture> m_picture;
    std::optional<JpegEncoder> m_encoder;
    std::vector<std::uint8_t> m_scratch;
};

class PictureMaker::Thread : public EndingThread {};

PictureMaker::PictureMaker()
    : m_work(std::make_shared<Work>()), m_thread(std::make_unique<Thread>()) {
    m_thread->start([work = m_work] { work->run(); });
}

PictureMaker::~PictureMaker() {
    stop(kEndPatience);
}

std::shared_ptr<PictureRequest> PictureMaker::ask(const PictureWish& wish, std::uint64_t notBefore,
                                                  PictureRequest::Done done) {
    return m_work->add(wish, notBefore, std::move(done));
}

std::shared_ptr<const void> PictureMaker::watch() {
    m_work->addWatcher(1);
    return {m_work.get(), [work = m_work](const void*) { work->addWatcher(-1); }};
}

void PictureMaker::stop(milliseconds patience) {
    m_work->stop();
    m_thread->leave(patience);
}

std::uint64_t PictureMaker::encoded() const {
    return m_work->encoded();
}

} // namespace hostcam
