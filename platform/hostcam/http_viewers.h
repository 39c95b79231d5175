#pragma once

// Those who watch through the web endpoint: image.cgi gives one picture, video.cgi one after the
// other. A viewer asks the maker for its next picture when the one before has been handed to the
// system, so that a slow one loses pictures instead of collecting them. *The server's thread*,
// which runs the context given to it.

#include <atomic>
#include <cstddef>
#include <memory>

#include <libsoup/soup.h>

#include "platform/hostcam/http_query.h"
#include "platform/hostcam/viewer_maker.h"

namespace hostcam {

class HttpViewers {
  public:
    /// @param context held as long as a picture may be made
    /// @param limit how many may wait for pictures at the same time
    HttpViewers(std::shared_ptr<GMainContext> context, std::size_t limit);

    /// Answers with one picture.
    void sendImage(SoupServerMessage* message, const PictureArguments& arguments);

    /// Answers with a video.
    void sendVideo(SoupServerMessage* message, const PictureArguments& arguments);

    [[nodiscard]] PictureMaker& maker() { return m_maker; }
    [[nodiscard]] const PictureMaker& maker() const { return m_maker; }

    /// How many wait for pictures. *Any thread.*
    [[nodiscard]] std::size_t count() const { return *m_count; }

  private:
    class Viewer;
    class ImageViewer;
    class VideoViewer;

    template <typename Kind>
    void admit(SoupServerMessage* message, const PictureArguments& arguments);

    const std::shared_ptr<GMainContext> m_context;
    const std::size_t m_limit;
    const std::shared_ptr<std::atomic<std::size_t>> m_count;
    PictureMaker m_maker;
};

} // namespace hostcam
