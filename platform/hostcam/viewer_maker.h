#pragma once

// The maker of viewers' pictures: one thread that takes the camera's frames, blends the overlays
// over them and makes JPEGs, for those who ask. Each picture is asked for by itself, when its
// viewer can take it: what nobody watches, or a slow viewer cannot take, is never made, and a
// picture that several ask for is made once.
//
// The camera is held only while somebody watches.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/hostcam/viewer_jpeg.h"
#include "platform/hostcam/viewer_layer.h"

namespace hostcam {

/// What became of a request.
struct MadePicture {
    std::shared_ptr<const Jpeg> jpeg; ///< null when there is no picture
    std::uint64_t number = 0;         ///< the camera's frame; of the try, when there is no picture
    std::string problem;              ///< why there is none, for people
};

/// A picture that somebody waits for. It is given up when the last who holds it lets go.
struct PictureRequest {
    using Done = std::function<void(const MadePicture&)>;

    PictureWish wish;
    std::uint64_t notBefore = 0; ///< the first frame that will do
    Done done;                   ///< called once at most, in the maker's thread; short
};

/// Any thread.
class PictureMaker {
  public:
    /// Starts the thread. @throws std::system_error
    PictureMaker();

    /// As stop(), with the patience of an end in good order.
    ~PictureMaker();
    PictureMaker(const PictureMaker&) = delete;
    PictureMaker& operator=(const PictureMaker&) = delete;

    /// Asks for a picture: the newest frame that is due, once the first that will do is due.
    /// @return to be held until it is done; never null
    [[nodiscard]] std::shared_ptr<PictureRequest>
    ask(const PictureWish& wish, std::uint64_t notBefore, PictureRequest::Done done);

    /// Held by a viewer from its first to its last picture. The camera stays open meanwhile, and
    /// its frames go on counting.
    [[nodiscard]] std::shared_ptr<const void> watch();

    /// Ends the thread; requests that wait are given up.
    /// @param patience how long to wait for a picture that is being made
    void stop(std::chrono::milliseconds patience);

    /// How many JPEGs were made, for tests.
    [[nodiscard]] std::uint64_t encoded() const;

  private:
    class Work;
    const std::shared_ptr<Work> m_work;
    class Thread;
    const std::unique_ptr<Thread> m_thread;
};

} // namespace hostcam
