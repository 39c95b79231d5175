// Random points and polygons against two independent descriptions of the area test: one that counts
// crossings with the same truncations but in double precision, where every product of two floats is
// exact, and one that adds up angles, for points that no truncation can move across an edge.

#include <cmath>
#include <iostream>
#include <random>

#include <gtest/gtest.h>

#include "analysis/area_of_interest.h"

namespace {

/// The side of the edge that the point lies on: the sign of the truncated cross product.
double side(cv::Point2f from, cv::Point2f to, cv::Point2f p) {
    const auto product = [](float first, float second) {
        const double exact = std::trunc(static_cast<double>(first)) * static_cast<double>(second);
        return std::trunc(static_cast<double>(static_cast<float>(exact)));
    };
    return product(from.x - p.x, to.y - p.y) - product(from.y - p.y, to.x - p.x);
}

/// Counts the edges that cross the point's row downward on one side of it and upward on the other.
bool insideByCrossings(cv::Point2f p, const t_Polygon& poly) {
    std::size_t down = 0;
    std::size_t up = 0;
    for (std::size_t i = 0; i < poly.size(); ++i) {
        const cv::Point2f from = poly[i];
        const cv::Point2f to = poly[(i + 1) % poly.size()];
        const bool fromAbove = from.y <= p.y;
        const bool toAbove = to.y <= p.y;
        if (fromAbove && !toAbove && side(from, to, p) > 0) {
            ++down;
        } else if (!fromAbove && toAbove && side(from, to, p) < 0) {
            ++up;
        }
    }
    return down == up + 1 || up == down + 1;
}

/// The exact winding number, or nothing certain when truncation could move the point over an edge.
bool insideByAngles(cv::Point2f p, const t_Polygon& poly, bool& certain) {
    double turned = 0;
    certain = true;
    for (std::size_t i = 0; i < poly.size(); ++i) {
        const cv::Point2d from = cv::Point2d(poly[i]) - cv::Point2d(p);
        const cv::Point2d to = cv::Point2d(poly[(i + 1) % poly.size()]) - cv::Point2d(p);
        turned += std::atan2(from.cross(to), from.dot(to));
        // A truncated factor is less than 1 too small, a truncated product less than 1.
        certain = certain && std::abs(from.cross(to)) > std::abs(to.x) + std::abs(to.y) + 3;
    }
    return std::abs(std::lround(turned / (2 * M_PI))) == 1;
}

class RandomScene {
  public:
    explicit RandomScene(unsigned seed) : m_random(seed) { std::cout << "seed " << seed << '\n'; }

    /// Vertices and a point on a grid of whole, half or quarter pixels or none, in a small or a
    /// picture-sized field: near misses are common.
    void draw() {
        static constexpr float kFields[] = {12, 60, 2000};
        static constexpr float kGrids[] = {1, 0.5F, 0.25F, 0};
        m_field = kFields[pick(3)];
        m_grid = kGrids[pick(4)];
        polygon.clear();
        for (unsigned n = pick(9); n > 0; --n) {
            polygon.push_back(place());
        }
        point = place();
        if (!polygon.empty() && pick(8) == 0) {
            point.y = polygon.front().y; // in a row with a vertex
        }
    }

    t_Polygon polygon;
    cv::Point2f point;

  private:
    unsigned pick(unsigned choices) {
        return std::uniform_int_distribution<unsigned>(0, choices - 1)(m_random);
    }
    float coordinate() {
        const float value = std::uniform_real_distribution<float>(-2, m_field)(m_random);
        return m_grid == 0 ? value : std::round(value / m_grid) * m_grid;
    }
    cv::Point2f place() {
        const float x = coordinate();
        return {x, coordinate()};
    }

    std::mt19937 m_random;
    float m_field = 0;
    float m_grid = 0;
};

} // namespace

TEST(RandomAreas, AgreeWithCountedCrossingsInSixHundredThousandCases) {
    RandomScene scene(90210);
    const area_of_interest areas;
    int inside = 0;
    for (int i = 0; i < 600000; ++i) {
        scene.draw();
        const bool expected = insideByCrossings(scene.point, scene.polygon);
        inside += expected ? 1 : 0;
        ASSERT_EQ(areas.is_winding_number_nonzero(scene.point, scene.polygon), expected)
            << "case " << i;
    }
    EXPECT_GT(inside, 30000) << "too few points inside to tell anything";
}

TEST(RandomAreas, AgreeWithAddedAnglesWhereTruncationCannotMatter) {
    RandomScene scene(1123);
    area_of_interest areas;
    int certainCases = 0;
    int inside = 0;
    while (certainCases < 200000) {
        scene.draw();
        bool certain = false;
        const bool expected = insideByAngles(scene.point, scene.polygon, certain);
        if (!certain) {
            continue;
        }
        ++certainCases;
        inside += expected ? 1 : 0;
        areas.set_detection(1, scene.polygon);
        ASSERT_EQ(areas.is_detected(1, scene.point), expected) << "case " << certainCases;
    }
    EXPECT_GT(inside, 10000) << "too few points inside to tell anything";
}
