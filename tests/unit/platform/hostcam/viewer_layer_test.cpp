#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/hostcam/nv12.h"
#include "platform/hostcam/viewer_layer.h"

namespace {

using hostcam::Config;
using hostcam::layerFor;
using hostcam::OverlayLayer;
using hostcam::PictureWish;
using hostcam::Size;

constexpr std::uint32_t kInk = 0xFF00FF00;

/// Where the one dot of a layer is.
struct Dot {
    std::uint32_t x;
    std::uint32_t y;
    bool operator==(const Dot&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Dot& dot) {
    return out << "(" << dot.x << ", " << dot.y << ")";
}

std::optional<Dot> dotIn(const OverlayLayer& layer) {
    for (std::uint32_t y = 0; y < layer.size.height; ++y) {
        for (std::uint32_t x = 0; x < layer.size.width; ++x) {
            if (layer.pixels[std::size_t{y} * layer.size.width + x] == kInk) {
                return Dot{x, y};
            }
        }
    }
    return std::nullopt;
}

class ViewerLayerTest : public testing::Test {
  protected:
    ~ViewerLayerTest() override { hostcam::publishOverlayLayers({}); }

    /// Puts a layer with a dot over the next viewer stream.
    void addViewer(Size size, bool mirrored, Size layerSize, Dot dot) {
        config.viewers.push_back({size, mirrored});
        auto layer = std::make_shared<OverlayLayer>();
        layer->size = layerSize;
        layer->pixels.resize(std::size_t{layerSize.width} * layerSize.height);
        layer->pixels[std::size_t{dot.y} * layerSize.width + dot.x] = kInk;
        layer->serial = config.viewers.size();
        m_layers.push_back(layer);
        hostcam::publishOverlayLayers(m_layers);
    }

    [[nodiscard]] std::optional<Dot> dot(const PictureWish& wish) const {
        const auto layer = layerFor(wish, config);
        EXPECT_NE(layer, nullptr);
        return layer ? dotIn(*layer) : std::nullopt;
    }

    Config config = [] {
        Config empty;
        empty.viewers.clear();
        return empty;
    }();

  private:
    std::vector<std::shared_ptr<const OverlayLayer>> m_layers;
};

TEST_F(ViewerLayerTest, AViewerStreamGetsItsOwnLayerAsItIs) {
    addViewer({40, 20}, false, {40, 20}, {3, 5});
    addViewer({20, 10}, false, {20, 10}, {1, 2});
    EXPECT_EQ(layerFor({{40, 20}}, config), hostcam::overlayLayer(0));
    EXPECT_EQ(layerFor({{20, 10}}, config), hostcam::overlayLayer(1));
}

TEST_F(ViewerLayerTest, OfTwoStreamsOfOneSizeTheMirroringDecides) {
    addViewer({40, 20}, true, {40, 20}, {3, 5});
    addViewer({40, 20}, false, {40, 20}, {1, 2});
    EXPECT_EQ(layerFor({{40, 20}, 0, true}, config), hostcam::overlayLayer(0));
    EXPECT_EQ(layerFor({{40, 20}, 0, false}, config), hostcam::overlayLayer(1));
}

TEST_F(ViewerLayerTest, AnotherSizeOfTheSameAspectGetsTheLargestStreamsLayerScaled) {
    addViewer({20, 10}, false, {20, 10}, {0, 0});
    addViewer({80, 40}, false, {80, 40}, {0, 0});
    const auto layer = layerFor({{160, 80}}, config);
    ASSERT_NE(layer, nullptr);
    EXPECT_EQ(layer->size, (Size{160, 80}));
    EXPECT_EQ(layer->serial, 2U);
    EXPECT_GT(layer->pixels[0] >> 24, 0xE0U) << "smoothed a little";
    EXPECT_EQ(layer->pixels[8], 0U);
}

TEST_F(ViewerLayerTest, AnotherAspectGetsNoOverlay) {
    addViewer({80, 40}, false, {80, 40}, {0, 0});
    EXPECT_EQ(layerFor({{80, 60}}, config), nullptr);
}

TEST_F(ViewerLayerTest, OverlaysCanBeLeftOut) {
    addViewer({80, 40}, false, {80, 40}, {0, 0});
    EXPECT_EQ(layerFor({{80, 40}, 0, false, false}, config), nullptr);
}

TEST_F(ViewerLayerTest, ThereIsNoneBeforeTheFirstRedraw) {
    config.viewers.push_back({{80, 40}, false});
    EXPECT_EQ(layerFor({{80, 40}}, config), nullptr);
}

struct Turn {
    int camera;    ///< the camera's rotation
    bool mirrored; ///< the stream
    int wanted;    ///< the wish's rotation
    bool flipped;  ///< the wish's mirroring
};

class TurnedLayerTest : public ViewerLayerTest, public testing::WithParamInterface<Turn> {};

/// Where a viewer sees a point of the sensor.
Dot seen(Dot point, Size sensor, int rotation, bool mirrored) {
    Size size = sensor;
    for (int turned = 0; turned < rotation; turned += 90) {
        point = {size.height - 1 - point.y, point.x};
        size = {size.height, size.width};
    }
    return mirrored ? Dot{size.width - 1 - point.x, point.y} : point;
}

TEST_P(TurnedLayerTest, WhatIsDrawnStaysOnWhatItWasDrawnOver) {
    const auto [camera, mirrored, wanted, flipped] = GetParam();
    const Size sensor{40, 20};
    const Dot point{3, 5};
    config.rotation = camera;
    addViewer(sensor, mirrored, hostcam::turnedSize(sensor, camera),
              seen(point, sensor, camera, mirrored));
    EXPECT_EQ(dot({sensor, wanted, flipped}), seen(point, sensor, wanted, flipped));
}

std::vector<Turn> allTurns() {
    std::vector<Turn> turns;
    for (const int camera : {0, 90, 180, 270}) {
        for (const int wanted : {0, 90, 180, 270}) {
            for (const int flips : {0, 1, 2, 3}) {
                turns.push_back({camera, (flips & 1) != 0, wanted, (flips & 2) != 0});
            }
        }
    }
    return turns;
}

INSTANTIATE_TEST_SUITE_P(Turns, TurnedLayerTest, testing::ValuesIn(allTurns()),
                         [](const auto& one) {
                             const Turn& turn = one.param;
                             return std::to_string(turn.camera) + (turn.mirrored ? "m" : "") + "_" +
                                    std::to_string(turn.wanted) + (turn.flipped ? "m" : "");
                         });

} // namespace
