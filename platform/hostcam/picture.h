#pragma once

// The pictures that go from a video source to those who show or analyse them. An Image is one
// moment as the source saw it; it gives a Picture at any size that is asked for, so that several
// consumers at different sizes see the same moment. Both never change once they are made and are
// shared freely.

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>

#include "platform/hostcam/config.h"
#include "platform/hostcam/nv12.h"

namespace hostcam {

/// Memory on a 64-byte boundary, not initialised.
class AlignedBytes {
  public:
    AlignedBytes() = default;
    /// @throws std::bad_alloc
    explicit AlignedBytes(std::size_t size);

    [[nodiscard]] std::uint8_t* data() const { return m_data.get(); }
    [[nodiscard]] std::size_t size() const { return m_size; }

  private:
    struct Free {
        void operator()(std::uint8_t* data) const;
    };
    std::unique_ptr<std::uint8_t, Free> m_data;
    std::size_t m_size = 0;
};

/// A picture in NV12, video range, in one block.
class Picture {
  public:
    /// A picture whose bytes are still to be written. Its pitch is its width, made even.
    explicit Picture(Size size);

    [[nodiscard]] Size size() const { return m_size; }
    [[nodiscard]] std::size_t pitch() const { return m_pitch; }
    [[nodiscard]] const std::uint8_t* data() const { return m_bytes.data(); }
    [[nodiscard]] std::size_t bytes() const { return m_bytes.size(); }
    [[nodiscard]] Nv12View view() const { return viewOf(m_size, m_bytes.data(), m_pitch); }
    [[nodiscard]] Nv12Target target() { return targetOf(m_size, m_bytes.data(), m_pitch); }

  private:
    Size m_size;
    std::size_t m_pitch;
    AlignedBytes m_bytes;
};

/// One moment as a video source saw it. Any thread, several at once.
class Image {
  public:
    Image() = default;
    virtual ~Image() = default;
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    /// The moment at a size, unrotated. Made at the first request for a size and kept for those
    /// that follow (the last few sizes); a thread that asks for a size in the making waits for it.
    /// @param size even
    /// @throws what make() throws; a later request tries again
    [[nodiscard]] std::shared_ptr<const Picture> picture(Size size) const;

  protected:
    /// Makes the picture. Called without a lock that other sizes need.
    [[nodiscard]] virtual std::shared_ptr<const Picture> make(Size size) const = 0;

  private:
    struct Made {
        explicit Made(Size asked) : size(asked) {}
        const Size size;
        std::mutex mutex;
        std::shared_ptr<const Picture> picture; // guarded by mutex
    };
    [[nodiscard]] std::shared_ptr<Made> entry(Size size) const;

    mutable std::mutex m_mutex;
    mutable std::list<std::shared_ptr<Made>> m_made; // guarded by m_mutex; last used first
};

} // namespace hostcam
