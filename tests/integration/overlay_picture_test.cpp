// The drawing in the running program's pictures, as a browser fetches them: the outlines of the
// built-in scene's markers in the colour of their state, exactly where the markers truly are, and
// the status line.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <turbojpeg.h>

#include "platform/hostcam/scene.h"
#include "tests/integration/running_service.h"

using testing_support::freePort;
using testing_support::HttpAnswer;
using testing_support::kDone;
using testing_support::ServiceTest;

namespace {

using Corners = std::array<cv::Point2f, 4>;

enum class Paint { none, red, yellow, green, white };

std::ostream& operator<<(std::ostream& out, Paint paint) {
    const char* const names[] = {"none", "red", "yellow", "green", "white"};
    return out << names[static_cast<int>(paint)];
}

/// A picture out of a JPEG file.
class Picture {
  public:
    Picture() = default;
    explicit Picture(const std::string& jpeg) {
        const std::unique_ptr<void, int (*)(void*)> decoder(tjInitDecompress(), tjDestroy);
        const auto* const bytes = reinterpret_cast<const unsigned char*>(jpeg.data());
        int sampling = 0;
        int space = 0;
        if (tjDecompressHeader3(decoder.get(), bytes, jpeg.size(), &m_width, &m_height, &sampling,
                                &space) == 0) {
            m_rgb.resize(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height) *
                         3);
            tjDecompress2(decoder.get(), bytes, jpeg.size(), m_rgb.data(), m_width, 0, m_height,
                          TJPF_RGB, 0);
        }
    }

    [[nodiscard]] int width() const { return m_width; }
    [[nodiscard]] int height() const { return m_height; }

    /// What the overlay has painted at a pixel. Around the scene's markers all is grey; a JPEG has
    /// one colour for four pixels, so that a thin line's is weaker than it was drawn.
    [[nodiscard]] Paint at(int x, int y) const {
        if (x < 0 || y < 0 || x >= m_width || y >= m_height) {
            return Paint::none;
        }
        const std::uint8_t* const pixel = m_rgb.data() + (std::size_t{3} * y * m_width + 3 * x);
        const int red = pixel[0];
        const int green = pixel[1];
        const int blue = pixel[2];
        constexpr int kStrong = 80; // how far a colour stands out
        if (red > 235 && green > 235 && blue > 235) {
            return Paint::white;
        }
        if (red - blue > kStrong && green - blue > kStrong) {
            return Paint::yellow;
        }
        if (red - green > kStrong && red - blue > kStrong) {
            return Paint::red;
        }
        if (green - red > kStrong && green - blue > kStrong) {
            return Paint::green;
        }
        return Paint::none;
    }

    /// Whether a pixel or one beside it is painted so.
    [[nodiscard]] bool isNear(Paint paint, cv::Point2f where, int distance) const {
        const auto x = static_cast<int>(std::lround(where.x));
        const auto y = static_cast<int>(std::lround(where.y));
        for (int dy = -distance; dy <= distance; ++dy) {
            for (int dx = -distance; dx <= distance; ++dx) {
                if (at(x + dx, y + dy) == paint) {
                    return true;
                }
            }
        }
        return false;
    }

    /// How many pixels of a part are painted so. @param to is not part of it
    [[nodiscard]] int count(Paint paint, cv::Point from, cv::Point to) const {
        int pixels = 0;
        for (int y = from.y; y < to.y; ++y) {
            for (int x = from.x; x < to.x; ++x) {
                pixels += at(x, y) == paint ? 1 : 0;
            }
        }
        return pixels;
    }

    [[nodiscard]] int count(Paint paint) const { return count(paint, {0, 0}, {m_width, m_height}); }

  private:
    int m_width = 0;
    int m_height = 0;
    std::vector<std::uint8_t> m_rgb;
};

/// A marker's outline is there when its corners and nearly all of its edges have the colour.
bool isOutlined(const Picture& picture, const Corners& corners, Paint paint) {
    constexpr int kSteps = 20;
    constexpr int kEnough = 4 * kSteps * 9 / 10;
    int found = 0;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        if (!picture.isNear(paint, corners[i], 2)) {
            return false;
        }
        const cv::Point2f edge = corners[(i + 1) % corners.size()] - corners[i];
        for (int step = 0; step < kSteps; ++step) {
            const cv::Point2f where =
                corners[i] + edge * (static_cast<float>(step) / static_cast<float>(kSteps));
            found += picture.isNear(paint, where, 1) ? 1 : 0;
        }
    }
    return found >= kEnough;
}

/// The scene's markers that stand still: all but those that tell the story and pass by.
const std::vector<int> kStillIds = {23, 1, 2, 3};

class OverlayPictureTest : public ServiceTest {
  protected:
    OverlayPictureTest() : m_port(freePort()) {
        m_program.configure("camera", "resolutions", "1280x720,640x360");
        m_program.configure("scene", "ids", "7,23,42,1,2,3");
        m_program.configure("http", "port", std::to_string(m_port));
        m_program.storeDemonstrationSettings(1280, 720);
    }

    /// Begins with one viewer, whose stream is the one for overlays.
    void beginWithViewer(const std::string& size, const std::string& more = "") {
        m_program.configure("viewers", "streams", size + more);
        m_program.store("SelectedDetectionOverlay", size);
        begin();
    }

    /// Submits settings. The area is the whole picture, or a corner of it in which no marker is.
    void submit(bool requirePresent, bool wholePicture, const std::string& seconds,
                bool outsideToo = true, const std::string& overlayStream = "640x360") {
        std::string document = "<root><Eula>1</Eula><SelectedDictionary>5x5</SelectedDictionary>";
        const auto add = [&](const std::string& name, const std::string& value) {
            document += "<" + name + ">" + value + "</" + name + ">";
        };
        add("Markers_Present", requirePresent ? "1" : "0");
        add("Markers_Secs", seconds);
        add("DisplayNonAOI", outsideToo ? "1" : "0");
        add("DetectionOverlaysOn", overlayStream.empty() ? "0" : "1");
        add("SelectedDetectionOverlay", overlayStream);
        const std::string far = wholePicture ? "100" : "1";
        const std::string corners[] = {"0", "0", far, "0", far, far, "0", far};
        for (std::size_t i = 0; i < std::size(corners); ++i) {
            add("Detection1_" + std::to_string(i), corners[i]);
        }
        ASSERT_EQ(post("set_post_parameters", document + "</root>"), kDone);
    }

    /// The picture that the first viewer sees.
    Picture fetch() {
        m_answer =
            m_client.get("http://127.0.0.1:" + std::to_string(m_port) + "/axis-cgi/jpg/image.cgi");
        return m_answer.status == 200 ? Picture(m_answer.body) : Picture();
    }

    /// The true corners of the markers that stand still, in a picture of the scene of that size.
    static std::vector<Corners> trueCorners(unsigned width, unsigned height) {
        hostcam::SceneOptions options;
        options.script = hostcam::storyScript({7, 23, 42, 1, 2, 3});
        const hostcam::Scene scene(options);
        std::vector<Corners> corners;
        for (const hostcam::SceneMarker& marker : scene.markersAt(0, width, height)) {
            if (std::find(kStillIds.begin(), kStillIds.end(), marker.id) != kStillIds.end()) {
                corners.push_back(marker.corners);
            }
        }
        EXPECT_EQ(corners.size(), kStillIds.size());
        return corners;
    }

    /// Fetches pictures until all of the markers are outlined in a colour. A tick and the picture's
    /// making lie between a setting and its picture.
    void expectOutlines(Paint paint, const std::vector<Corners>& markers) {
        Picture picture;
        const bool seen = m_program.waitUntil(
            [&] {
                picture = fetch();
                return std::all_of(markers.begin(), markers.end(), [&](const Corners& corners) {
                    return isOutlined(picture, corners, paint);
                });
            },
            kPatience);
        EXPECT_TRUE(seen) << paint << " outlines of " << picture.width() << "x" << picture.height()
                          << "; last answer " << m_answer.status << " " << m_answer.problem
                          << "; picture left in " << keepPicture() << "\n"
                          << m_program.log();
    }

    void expectOutlines(Paint paint) { expectOutlines(paint, trueCorners(640, 360)); }

    /// Fetches pictures until one fulfils a condition.
    bool becomes(const std::function<bool(const Picture&)>& condition) {
        return m_program.waitUntil([&] { return condition(fetch()); }, kPatience);
    }

    /// Whether nothing is drawn on the markers.
    static bool isBare(const Picture& picture) {
        const std::vector<Corners> markers = trueCorners(640, 360);
        return picture.width() == 640 &&
               std::none_of(markers.begin(), markers.end(), [&](const Corners& corners) {
                   return std::any_of(corners.begin(), corners.end(), [&](cv::Point2f corner) {
                       return picture.isNear(Paint::red, corner, 2) ||
                              picture.isNear(Paint::yellow, corner, 2) ||
                              picture.isNear(Paint::green, corner, 2);
                   });
               });
    }

    /// How many pixels of the status line are seen: letters 16 pixels high, their feet twice their
    /// height above the lower edge.
    static int statusPixels(const Picture& picture) {
        return picture.count(Paint::white, {8, 315}, {300, 345});
    }

    /// Leaves the last picture for a person to look at.
    std::string keepPicture() {
        const std::string name =
            testing::UnitTest::GetInstance()->current_test_info()->name() + std::string(".jpg");
        std::ofstream(name, std::ios::binary) << m_answer.body;
        return name;
    }

    std::uint16_t m_port;
    testing_support::HttpClient m_client;
    HttpAnswer m_answer;
};

TEST_F(OverlayPictureTest, WithPresenceRequiredTheColourTellsHowLongAMarkerHasStayed) {
    beginWithViewer("640x360");
    submit(true, false, "1000");
    expectOutlines(Paint::green);
    submit(true, true, "1000");
    expectOutlines(Paint::yellow);
    submit(true, true, "1");
    expectOutlines(Paint::red);
}

TEST_F(OverlayPictureTest, WithAbsenceWatchedTheColourTellsWhetherTheMarkersAreMissed) {
    beginWithViewer("640x360");
    submit(false, true, "1000");
    expectOutlines(Paint::green);
    submit(false, false, "1000");
    expectOutlines(Paint::yellow);
    submit(false, false, "1");
    expectOutlines(Paint::red);
}

TEST_F(OverlayPictureTest, MarkersOutsideTheAreaAreDrawnOnlyWhenThatIsWanted) {
    beginWithViewer("640x360");
    submit(true, false, "1000");
    expectOutlines(Paint::green);
    submit(true, false, "1000", false);
    EXPECT_TRUE(becomes([](const Picture& picture) { return isBare(picture); })) << keepPicture();
    submit(true, true, "1000", false);
    expectOutlines(Paint::yellow);
}

TEST_F(OverlayPictureTest, WithOverlaysOffNothingIsDrawn) {
    beginWithViewer("640x360");
    expectOutlines(Paint::green);
    submit(true, true, "1000", true, "");
    EXPECT_TRUE(becomes([](const Picture& picture) {
        return isBare(picture) && statusPixels(picture) == 0;
    })) << keepPicture();
    submit(true, true, "1000", true, "320x180");
    // A stream that is none of those with overlays.
    EXPECT_TRUE(becomes([](const Picture& picture) { return isBare(picture); })) << keepPicture();
    submit(true, true, "1000");
    expectOutlines(Paint::yellow);
}

TEST_F(OverlayPictureTest, TheApplicationsOwnStreamIsDrawnOnWhateverTheSettingsSay) {
    m_program.store("DetectionOverlaysOn", "false");
    beginWithViewer("1280x720");
    expectOutlines(Paint::green, trueCorners(1280, 720));
}

TEST_F(OverlayPictureTest, OnAPortraitCameraTheOutlinesStandOnTheTurnedMarkers) {
    m_program.configure("camera", "rotation", "90");
    beginWithViewer("1280x720");
    submit(true, false, "1000", true, "1280x720");
    std::vector<Corners> turned = trueCorners(1280, 720);
    for (Corners& corners : turned) {
        for (cv::Point2f& corner : corners) {
            corner = {719 - corner.y, corner.x};
        }
    }
    expectOutlines(Paint::green, turned);
    const Picture picture = fetch();
    EXPECT_EQ(picture.width(), 720);
    EXPECT_EQ(picture.height(), 1280);
    // The status line's feet stand less than its height above the lower edge.
    EXPECT_GE(picture.count(Paint::white, {8, 1245}, {300, 1275}), 60) << keepPicture();
}

TEST_F(OverlayPictureTest, ForAMirroredViewerTheOutlinesStandOnTheMirroredMarkers) {
    beginWithViewer("640x360", ":mirrored");
    std::vector<Corners> mirrored = trueCorners(640, 360);
    for (Corners& corners : mirrored) {
        for (cv::Point2f& corner : corners) {
            corner.x = 639 - corner.x;
        }
    }
    expectOutlines(Paint::green, mirrored);
}

TEST_F(OverlayPictureTest, TheStatusLineStandsWhiteAtTheLowerLeft) {
    beginWithViewer("640x360");
    EXPECT_TRUE(becomes([](const Picture& picture) { return statusPixels(picture) >= 60; }))
        << keepPicture();
    const Picture picture = fetch();
    EXPECT_EQ(picture.count(Paint::white, {0, 345}, {300, 360}), 0) << keepPicture();
    EXPECT_EQ(picture.count(Paint::white, {0, 300}, {8, 360}), 0) << keepPicture();
}

} // namespace
