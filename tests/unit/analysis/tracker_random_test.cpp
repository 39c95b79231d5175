// Random ticks against an independent description of tracking, in which the detections choose among
// the objects that want them, and distances are compared as whole squares.

#include <algorithm>
#include <cmath>
#include <iostream>
#include <optional>
#include <random>

#include <gtest/gtest.h>

#include "analysis/tracker.h"
#include "tests/unit/analysis/logged.h"
#include "tests/unit/analysis/markers.h"

using testing_support::markerAt;
using testing_support::sameDetection;

namespace {

/// The ids that a tracker counts misses for. It keeps them to itself, so this file is compiled
/// without access control.
std::vector<int> idsWithMisses(const tracker& tested) {
    std::vector<int> ids;
    for (const auto& [id, misses] : tested.m_Disappeared) {
        ids.push_back(id);
    }
    return ids;
}

/// What tracking means, told from the detections' side.
class ReferenceTracker {
  public:
    explicit ReferenceTracker(int allowedMisses) : m_allowedMisses(allowedMisses) {}

    void allowMisses(int misses) { m_allowedMisses = misses; }
    void farAbove(long pixels) { m_farAbove = pixels; }

    const std::vector<std::pair<int, detection>> tick(const std::vector<detection>& seen) {
        std::vector<std::optional<std::size_t>> takerOf(seen.size());
        for (std::size_t k = 0; k < m_known.size() && !seen.empty(); ++k) {
            const std::size_t wanted = nearest(m_known[k], seen);
            std::optional<std::size_t>& taker = takerOf[wanted];
            if (!taker || cost(m_known[k], seen[wanted]) < cost(m_known[*taker], seen[wanted])) {
                taker = k;
            }
        }
        for (Known& known : m_known) {
            ++known.misses;
        }
        for (std::size_t s = 0; s < seen.size(); ++s) {
            if (takerOf[s]) {
                m_known[*takerOf[s]].latest = seen[s];
                m_known[*takerOf[s]].misses = 0;
            }
        }
        std::erase_if(m_known, [&](const Known& known) { return known.misses > m_allowedMisses; });
        for (std::size_t s = 0; s < seen.size(); ++s) {
            if (!takerOf[s]) {
                m_known.push_back({m_nextId++, seen[s], 0});
            }
        }
        std::vector<std::pair<int, detection>> all;
        for (const Known& known : m_known) {
            all.emplace_back(known.id, known.latest);
        }
        return all;
    }

  private:
    struct Known {
        int id;
        detection latest;
        int misses;
    };

    /// The squared distance of the centres; all far pairs cost the same.
    [[nodiscard]] long cost(const Known& known, const detection& seen) const {
        const cv::Point2f between = centre(known.latest) - centre(seen);
        const long squared = std::lround(between.x * between.x + between.y * between.y);
        return squared > m_farAbove * m_farAbove ? 1L << 60 : squared;
    }

    [[nodiscard]] std::size_t nearest(const Known& known,
                                      const std::vector<detection>& seen) const {
        std::size_t best = 0;
        for (std::size_t s = 1; s < seen.size(); ++s) {
            best = cost(known, seen[s]) < cost(known, seen[best]) ? s : best;
        }
        return best;
    }

    /// For the upright rectangles of this test: half-way between two opposite corners, rounded
    /// down.
    static cv::Point2f centre(const detection& marker) {
        const cv::Point2f sum = marker.markerCorners[0] + marker.markerCorners[2];
        return {std::floor(sum.x / 2), std::floor(sum.y / 2)};
    }

    std::vector<Known> m_known; // ascending by id
    int m_nextId = 0;
    int m_allowedMisses;
    long m_farAbove = 100;
};

/// Markers on a coarse grid, so that equal distances and equal places are common.
std::vector<detection> randomMarkers(std::mt19937& random, int mostMarkers) {
    std::uniform_int_distribution<int> count(0, mostMarkers);
    std::uniform_int_distribution<int> cell(1, 40);
    std::uniform_int_distribution<int> classId(0, 999);
    std::uniform_int_distribution<int> step(0, 1);
    const int spacing = step(random) == 0 ? 10 : 25;
    std::vector<detection> markers;
    for (int n = count(random); n > 0; --n) {
        markers.push_back(markerAt(static_cast<float>(spacing * cell(random)),
                                   static_cast<float>(spacing * cell(random)), classId(random)));
    }
    return markers;
}

/// The same markers, moved a little, some lost, some new, in another order.
std::vector<detection> nextFrame(std::mt19937& random, const std::vector<detection>& frame) {
    std::uniform_int_distribution<int> fate(0, 9);
    std::uniform_int_distribution<int> drift(-12, 12);
    std::vector<detection> next = randomMarkers(random, fate(random) < 7 ? 0 : 3);
    for (const detection& marker : frame) {
        if (fate(random) > 1) {
            const cv::Point2f move(static_cast<float>(drift(random)),
                                   static_cast<float>(drift(random)));
            detection moved = marker;
            for (cv::Point2f& corner : moved.markerCorners) {
                corner.x = std::max(0.0F, corner.x + move.x);
                corner.y = std::max(0.0F, corner.y + move.y);
            }
            next.push_back(moved);
        }
    }
    std::shuffle(next.begin(), next.end(), random);
    return next;
}

} // namespace

TEST(RandomTracking, FollowsTheReferenceThroughAHundredThousandTicks) {
    constexpr unsigned kSeed = 715;
    std::cout << "seed " << kSeed << '\n';
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<int> misses(0, 3);
    std::uniform_int_distribution<int> far(0, 600);
    std::uniform_int_distribution<int> chance(0, 99);
    testing_support::forgetLog();
    int ticks = 0;
    std::size_t most = 0;
    while (ticks < 120000) {
        const int allowed = misses(random);
        tracker tested;
        tested.init(allowed);
        ReferenceTracker reference(allowed);
        std::vector<detection> frame = randomMarkers(random, 8);
        for (int i = 0; i < 60; ++i, ++ticks) {
            if (chance(random) < 5) {
                const int pixels = far(random);
                tested.set_max_distance(pixels);
                reference.farAbove(pixels);
            }
            if (chance(random) < 2) {
                const int other = misses(random);
                tested.set_max_disappeared(other);
                reference.allowMisses(other);
            }
            frame = chance(random) < 60 ? nextFrame(random, frame) : randomMarkers(random, 8);
            const auto expected = reference.tick(frame);
            const auto actual = tested.track_detections(frame);
            ASSERT_EQ(actual.size(), expected.size()) << "tick " << ticks;
            most = std::max(most, actual.size());
            ASSERT_EQ(idsWithMisses(tested), tested.list_object_keys());
            auto object = actual.begin();
            for (const auto& [id, latest] : expected) {
                ASSERT_EQ(object->first, id) << "tick " << ticks;
                ASSERT_TRUE(sameDetection(object->second, latest)) << "tick " << ticks;
                ++object;
            }
        }
    }
    EXPECT_GT(most, 15U) << "the frames were too empty to tell anything";
    EXPECT_TRUE(testing_support::logged("error").empty());
}

TEST(RandomTracking, OrdersAndChoosesAsRepeatedSearchesForTheSmallestDo) {
    constexpr unsigned kSeed = 4711;
    std::cout << "seed " << kSeed << '\n';
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<std::size_t> size(1, 6);
    std::uniform_int_distribution<int> value(0, 7);
    const tracker tested;
    for (int i = 0; i < 100000; ++i) {
        std::vector<std::vector<float>> matrix(size(random));
        const std::size_t columns = size(random);
        for (std::vector<float>& row : matrix) {
            for (std::size_t c = 0; c < columns; ++c) {
                row.push_back(value(random) == 7 ? 1e12F : static_cast<float>(value(random)) / 2);
            }
        }
        const std::vector<int> rows = tested.min_argsort(matrix);
        const std::vector<int> cols = tested.argmin_rows(matrix, rows);
        ASSERT_EQ(rows.size(), matrix.size());
        ASSERT_EQ(cols.size(), matrix.size());
        // The first cell of the smallest value among the rows left, row by row, is the next pair.
        std::vector<bool> done(matrix.size(), false);
        for (std::size_t k = 0; k < rows.size(); ++k) {
            std::size_t bestRow = matrix.size();
            std::size_t bestCol = 0;
            for (std::size_t r = 0; r < matrix.size(); ++r) {
                for (std::size_t c = 0; c < columns && !done[r]; ++c) {
                    if (bestRow == matrix.size() || matrix[r][c] < matrix[bestRow][bestCol]) {
                        bestRow = r;
                        bestCol = c;
                    }
                }
            }
            done[bestRow] = true;
            ASSERT_EQ(rows[k], static_cast<int>(bestRow)) << "case " << i;
            ASSERT_EQ(cols[k], static_cast<int>(bestCol)) << "case " << i;
        }
    }
}
