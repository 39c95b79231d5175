#include "platform/hostcam/scene_source.h"

#include <stdexcept>

#include <opencv2/core/utility.hpp>

#include "platform/hostcam/scene.h"

namespace hostcam {
namespace {

class SceneImage : public Image {
  public:
    SceneImage(std::shared_ptr<const Scene> scene, std::uint64_t number)
        : m_scene(std::move(scene)), m_number(number) {}

  protected:
    std::shared_ptr<const Picture> make(Size size) const override {
        const auto picture = std::make_shared<Picture>(size);
        m_scene->render(m_number, size.width, size.height, picture->target().y, picture->pitch());
        return picture;
    }

  private:
    const std::shared_ptr<const Scene> m_scene;
    const std::uint64_t m_number;
};

class SceneSource : public VideoSource {
  public:
    explicit SceneSource(std::shared_ptr<const Scene> scene) : m_scene(std::move(scene)) {}

    std::shared_ptr<const Image> imageAt(const FrameRequest& request) override {
        return std::make_shared<SceneImage>(m_scene, request.number);
    }

  private:
    const std::shared_ptr<const Scene> m_scene;
};

} // namespace

std::unique_ptr<VideoSource> openSceneSource(const Config& config) {
    // This library's OpenCV is its own. Its pool of threads would outlive the camera and take the
    // processors from the application.
    cv::setNumThreads(1);
    SceneOptions options;
    options.seed = config.sceneSeed;
    options.dictionary = config.sceneDictionary;
    options.framerate = config.framerate;
    options.script = storyScript(config.sceneIds);
    try {
        return std::make_unique<SceneSource>(std::make_shared<const Scene>(std::move(options)));
    } catch (const std::invalid_argument& problem) {
        throw SourceError(SourceError::Kind::NotSupported,
                          std::string("the scene cannot be shown: ") + problem.what());
    }
}

} // namespace hostcam
