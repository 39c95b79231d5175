#include "platform/hostcam/file_source.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>
#include <set>
#include <vector>

#include "platform/hostcam/gstreamer_reader.h"
#include "platform/hostcam/misuse.h"

namespace hostcam {
namespace {

using Kind = SourceError::Kind;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

/// Containers keep times in whole milliseconds; a picture that is due by that much is due.
constexpr double kTimeGrain = 0.001;

/// The time within a file at a frame of the camera: the first frame asked for is the beginning.
class Playback {
  public:
    double at(double seconds) {
        if (!m_origin) {
            m_origin = seconds;
        }
        return seconds - *m_origin;
    }

    /// Lets the file lag behind.
    void delay(double seconds) { *m_origin += seconds; }

  private:
    std::optional<double> m_origin;
};

class FileSource : public VideoSource {
  public:
    FileSource(std::string path, bool loop)
        : m_path(std::move(path)), m_uri(fileUri(m_path)), m_loop(loop) {
        rewind();
        m_next = m_reader->next();
        if (!m_next) {
            throw SourceError(Kind::Unreadable, m_path + ": there is no picture in it");
        }
        m_first = m_next->time;
        step();
    }

    std::shared_ptr<const Image> imageAt(const FrameRequest& request) override {
        const Clock::time_point giveUp = Clock::now() + request.budget;
        const double now = m_playback.at(request.seconds);
        while (m_next && startOf(*m_next) <= now + kTimeGrain) {
            step();
            if (Clock::now() >= giveUp && m_next && startOf(*m_next) <= now + kTimeGrain) {
                m_playback.delay(now - startOf(*m_current));
                break;
            }
        }
        return m_current->image;
    }

  private:
    /// When a picture of the present round is due, in the file's time.
    [[nodiscard]] double startOf(const DecodedPicture& picture) const {
        return m_round + Seconds(picture.time - m_first).count();
    }

    void rewind() { m_reader = std::make_unique<PictureReader>(m_uri, m_path); }

    /// Makes the next picture the current one and reads one ahead.
    void step() {
        m_current = std::move(m_next);
        ++m_pictures;
        m_next = readNext();
        if (!m_next && m_loop && m_pictures > 1) {
            startRound();
        }
        if (!m_next) {
            m_reader.reset(); // a photo, or a video that has ended: the picture stays
        }
    }

    std::optional<DecodedPicture> readNext() {
        try {
            return m_reader->next();
        } catch (const SourceError& problem) {
            if (!m_warned) {
                warn(std::string(problem.what()) + ": taken as the end of the video");
            }
            m_warned = true;
            return std::nullopt;
        }
    }

    void startRound() {
        m_round = startOf(*m_current) + Seconds(m_current->duration).count();
        m_pictures = 0;
        try {
            rewind();
            m_next = readNext();
        } catch (const SourceError& problem) {
            warn(problem.what());
        }
    }

    const std::string m_path;
    const std::string m_uri;
    const bool m_loop;
    std::unique_ptr<PictureReader> m_reader; ///< null once nothing more is read
    std::optional<DecodedPicture> m_current;
    std::optional<DecodedPicture> m_next; ///< read ahead; none: the current picture stays
    std::chrono::nanoseconds m_first{0};  ///< the time that the file's first picture carries
    double m_round = 0;                   ///< when the present round through the file began
    unsigned m_pictures = 0;              ///< that became current in this round
    bool m_warned = false;
    Playback m_playback;
};

bool isPhotoName(const std::filesystem::path& path) {
    static const auto* const extensions = new std::set<std::string>{
        ".bmp", ".gif", ".jpeg", ".jpg", ".pgm", ".png", ".pnm", ".ppm", ".tif", ".tiff", ".webp"};
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char letter) {
        return static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter);
    });
    return extensions->count(extension) != 0;
}

std::vector<std::string> photosIn(const std::string& folder) {
    std::vector<std::string> photos;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::error_code unknown;
        if (entry->is_regular_file(unknown) && isPhotoName(entry->path())) {
            photos.push_back(entry->path().string());
        }
    }
    if (error) {
        throw SourceError(Kind::Unreadable,
                          folder + ": the folder cannot be read: " + error.message());
    }
    std::sort(photos.begin(), photos.end());
    return photos;
}

class FolderSource : public VideoSource {
  public:
    FolderSource(const std::string& path, bool loop) : m_loop(loop), m_photos(photosIn(path)) {
        while (!m_photos.empty() && !show(0)) {
            m_photos.erase(m_photos.begin());
        }
        if (m_photos.empty()) {
            throw SourceError(Kind::Unreadable, path + ": there is no photo in the folder");
        }
    }

    std::shared_ptr<const Image> imageAt(const FrameRequest& request) override {
        const double seconds = m_playback.at(request.seconds) + kTimeGrain;
        const auto count = static_cast<std::uint64_t>(seconds);
        const std::size_t index =
            m_loop ? count % m_photos.size() : std::min<std::uint64_t>(count, m_photos.size() - 1);
        if (index != m_index) {
            show(index);
        }
        return m_image;
    }

  private:
    /// @return false when the photo cannot be read; the one before it stays then
    bool show(std::size_t index) {
        m_index = index;
        try {
            m_image = readPhoto(m_photos[index]).image;
            return true;
        } catch (const SourceError& problem) {
            if (m_unreadable.insert(m_photos[index]).second) {
                warn(problem.what());
            }
            return false;
        }
    }

    const bool m_loop;
    std::vector<std::string> m_photos;
    std::set<std::string> m_unreadable; ///< those that a line was written about
    std::size_t m_index = 0;
    std::shared_ptr<const Image> m_image;
    Playback m_playback;
};

} // namespace

std::unique_ptr<VideoSource> openFileSource(const std::string& path, bool loop) {
    return std::make_unique<FileSource>(path, loop);
}

std::unique_ptr<VideoSource> openFolderSource(const std::string& path, bool loop) {
    return std::make_unique<FolderSource>(path, loop);
}

} // namespace hostcam
