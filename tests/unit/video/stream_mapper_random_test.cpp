// The mappers against a reference that states each of them as one list of formulas, over random
// sizes and points; and against exact arithmetic, within what 32-bit float and truncation may cost.

#include <algorithm>
#include <cmath>
#include <memory>

#include <gtest/gtest.h>

#include "core/app_state.h"
#include "tests/unit/video/random_values.h"
#include "video/StreamMapper.h"

namespace {

using video_test::RandomValues;

enum class Kind { Linear, Extraction, Embedding };

struct Sizes {
    int HI;
    int WI;
    int HO;
    int WO;
    bool mirrored;
};

float toFloat(int value) {
    return static_cast<float>(value);
}
int toInt(float value) {
    return static_cast<int>(std::trunc(value));
}

/// One mapper's answers, all from the sizes. Every intermediate result is a named float.
class Reference {
  public:
    Reference(Kind kind, const Sizes& sizes) : m_kind(kind), m_sizes(sizes) {
        m_lastWI = toFloat(sizes.WI - 1);
        m_lastHI = toFloat(sizes.HI - 1);
        m_lastWO = toFloat(sizes.WO - 1);
        m_lastHO = toFloat(sizes.HO - 1);
        const float rI = toFloat(sizes.WI) / toFloat(sizes.HI);
        const float rO = toFloat(sizes.WO) / toFloat(sizes.HO);
        const float scaleX = m_lastWO / m_lastWI;
        const float scaleY = m_lastHO / m_lastHI;
        if (kind == Kind::Extraction && rI >= rO) {
            const float shown = rO * toFloat(sizes.HI);
            const float cut = toFloat(sizes.WI) - shown;
            m_alpha = scaleY;
            m_bandX = cut / 2;
        } else if (kind == Kind::Extraction) {
            const float shown = toFloat(sizes.WI) / rO;
            const float cut = toFloat(sizes.HI) - shown;
            m_alpha = scaleX;
            m_bandY = cut / 2;
        } else if (kind == Kind::Embedding && scaleX < scaleY) {
            const float span = scaleX * m_lastHI;
            const float covered = span + 1;
            const float empty = toFloat(sizes.HO) - covered;
            m_alpha = scaleX;
            m_bandY = empty / 2;
        } else if (kind == Kind::Embedding) {
            const float span = scaleY * m_lastWI;
            const float covered = span + 1;
            const int empty = sizes.WO - toInt(covered);
            m_alpha = scaleY;
            m_bandX = toFloat(empty) / 2;
        }
    }

    [[nodiscard]] int x(int input) const {
        const int plain = axis(input, m_bandX, m_lastWI, m_lastWO, m_sizes.WI, m_sizes.WO);
        return m_sizes.mirrored ? m_sizes.WO - plain - 1 : plain;
    }

    [[nodiscard]] int y(int input) const {
        return axis(input, m_bandY, m_lastHI, m_lastHO, m_sizes.HI, m_sizes.HO);
    }

    [[nodiscard]] int width(int input) const { return extent(input, m_lastWI, m_lastWO); }
    [[nodiscard]] int height(int input) const { return extent(input, m_lastHI, m_lastHO); }

    void activeInput(int (&r)[4]) const {
        r[0] = 0;
        r[1] = 0;
        r[2] = m_sizes.WI - 1;
        r[3] = m_sizes.HI - 1;
        if (m_kind == Kind::Extraction) {
            const float right = toFloat(m_sizes.WI) - m_bandX;
            const float bottom = toFloat(m_sizes.HI) - m_bandY;
            r[0] = toInt(m_bandX + 0.5F);
            r[1] = toInt(m_bandY + 0.5F);
            r[2] = toInt(right - 0.5F);
            r[3] = toInt(bottom - 0.5F);
        }
    }

    void activeOutput(int (&r)[4]) const {
        r[0] = 0;
        r[1] = 0;
        r[2] = m_sizes.WO - 1;
        r[3] = m_sizes.HO - 1;
        if (m_kind == Kind::Embedding) {
            r[0] = x(0);
            r[1] = y(0);
            r[2] = x(m_sizes.WI - 1);
            r[3] = y(m_sizes.HI - 1);
        }
    }

  private:
    [[nodiscard]] int axis(int input, float band, float lastIn, float lastOut, int sizeIn,
                           int sizeOut) const {
        const float position = toFloat(input);
        if (m_kind == Kind::Linear) {
            const float scale = lastOut / lastIn;
            const float mapped = scale * position;
            return toInt(mapped);
        }
        if (m_kind == Kind::Embedding) {
            const float scaled = m_alpha * position;
            const float moved = scaled + band;
            return toInt(moved + 0.5F);
        }
        const float end = toFloat(sizeIn) - band;
        if (position < band) {
            return 0;
        }
        if (position >= end) {
            return sizeOut - 1;
        }
        const float inside = position - band;
        return toInt(m_alpha * inside);
    }

    [[nodiscard]] int extent(int input, float lastIn, float lastOut) const {
        if (m_kind == Kind::Linear) {
            const float product = toFloat(input) * lastOut;
            return toInt(product / lastIn);
        }
        return toInt(m_alpha * toFloat(input));
    }

    Kind m_kind;
    Sizes m_sizes;
    float m_lastWI = 0;
    float m_lastHI = 0;
    float m_lastWO = 0;
    float m_lastHO = 0;
    float m_alpha = 1;
    float m_bandX = 0;
    float m_bandY = 0;
};

/// Sizes of all kinds: like a camera's, arbitrary, and tiny.
Sizes randomSizes(RandomValues& random) {
    static const std::vector<std::pair<int, int>> kCamera = {
        {1080, 1920}, {720, 1280}, {360, 640}, {480, 640},   {1920, 1080}, {600, 800},
        {960, 1280},  {450, 800},  {270, 480}, {2160, 3840}, {1024, 1280}, {1280, 1280}};
    const auto one = [&random]() -> std::pair<int, int> {
        switch (random.between(0, 2)) {
        case 0:
            return random.oneOf(kCamera);
        case 1:
            return {random.between(2, 4000), random.between(2, 4000)};
        default:
            return {random.between(2, 60), random.between(2, 60)};
        }
    };
    const auto [HI, WI] = one();
    const auto [HO, WO] = one();
    return {HI, WI, HO, WO, random.coin()};
}

/// A coordinate mostly inside the picture, sometimes outside it.
int randomPosition(RandomValues& random, int size) {
    return random.between(0, 9) == 0 ? random.between(-size, 2 * size)
                                     : random.between(0, size - 1);
}

void expectSame(const StreamMapper& mapper, const Reference& reference, const Sizes& sizes,
                RandomValues& random) {
    const int x = randomPosition(random, sizes.WI);
    const int y = randomPosition(random, sizes.HI);
    ASSERT_EQ(mapper.mapX(x), reference.x(x));
    ASSERT_EQ(mapper.mapY(y), reference.y(y));
    ASSERT_EQ(mapper.mapWidth(x), reference.width(x));
    ASSERT_EQ(mapper.mapHeight(y), reference.height(y));
    int pointX = x;
    int pointY = y;
    mapper.mapPoint(pointX, pointY);
    ASSERT_EQ(pointX, reference.x(x));
    ASSERT_EQ(pointY, reference.y(y));
    int actual[4];
    int expected[4];
    mapper.getActiveInputRectangle(actual[0], actual[1], actual[2], actual[3]);
    reference.activeInput(expected);
    ASSERT_TRUE(std::ranges::equal(actual, expected));
    mapper.getActiveOutputRectangle(actual[0], actual[1], actual[2], actual[3]);
    reference.activeOutput(expected);
    ASSERT_TRUE(std::ranges::equal(actual, expected));
}

std::string describe(const Sizes& sizes) {
    return std::to_string(sizes.WI) + "x" + std::to_string(sizes.HI) + " onto " +
           std::to_string(sizes.WO) + "x" + std::to_string(sizes.HO) +
           (sizes.mirrored ? " mirrored" : "");
}

TEST(StreamMapperRandom, EachKindAnswersLikeTheReference) {
    RandomValues random(2401);
    for (int i = 0; i < 1'000'000; ++i) {
        const Sizes sizes = randomSizes(random);
        const StreamMapper linear(sizes.HI, sizes.WI, sizes.HO, sizes.WO, sizes.mirrored);
        const ExtractionMapper extraction(sizes.HI, sizes.WI, sizes.HO, sizes.WO, sizes.mirrored);
        const EmbeddingMapper embedding(sizes.HI, sizes.WI, sizes.HO, sizes.WO, sizes.mirrored);
        ASSERT_NO_FATAL_FAILURE(expectSame(linear, Reference(Kind::Linear, sizes), sizes, random))
            << "linear, " << describe(sizes);
        ASSERT_NO_FATAL_FAILURE(
            expectSame(extraction, Reference(Kind::Extraction, sizes), sizes, random))
            << "extraction, " << describe(sizes);
        ASSERT_NO_FATAL_FAILURE(
            expectSame(embedding, Reference(Kind::Embedding, sizes), sizes, random))
            << "embedding, " << describe(sizes);
    }
}

/// The choice, by cross-multiplication in 64 bits wherever float can tell the two ratios apart.
Kind referenceChoice(const Sizes& sizes, bool isPortrait, bool sensorIs16x9) {
    const float ratioIn = toFloat(sizes.WI) / toFloat(sizes.HI);
    const float ratioOut = toFloat(sizes.WO) / toFloat(sizes.HO);
    const float left = isPortrait ? ratioOut : ratioIn;
    const float right = isPortrait ? ratioIn : ratioOut;
    if (sensorIs16x9) {
        return left > right ? Kind::Extraction : Kind::Embedding;
    }
    return left > right ? Kind::Embedding : Kind::Extraction;
}

TEST(StreamMapperRandom, TheChosenMapperAnswersLikeTheReference) {
    RandomValues random(2402);
    int extractions = 0;
    int equalRatios = 0;
    constexpr int kCases = 1'000'000;
    for (int i = 0; i < kCases; ++i) {
        Sizes sizes = randomSizes(random);
        if (random.between(0, 9) == 0) {
            const int factor = random.between(1, 3);
            sizes.HO = sizes.HI * factor;
            sizes.WO = sizes.WI * factor;
            ++equalRatios;
        }
        const bool isPortrait = random.coin();
        g_SensorIs16x9 = random.coin();
        const auto mapper =
            getStreamMapper(sizes.HI, sizes.WI, sizes.HO, sizes.WO, isPortrait, sizes.mirrored);
        const Kind kind = referenceChoice(sizes, isPortrait, g_SensorIs16x9);
        ASSERT_EQ(dynamic_cast<ExtractionMapper*>(mapper.get()) != nullptr,
                  kind == Kind::Extraction)
            << describe(sizes);
        ASSERT_NO_FATAL_FAILURE(expectSame(*mapper, Reference(kind, sizes), sizes, random))
            << describe(sizes) << (isPortrait ? " portrait" : "")
            << (g_SensorIs16x9 ? " on 16:9" : "");
        extractions += kind == Kind::Extraction ? 1 : 0;
    }
    g_SensorIs16x9 = true;
    EXPECT_GT(extractions, kCases / 3);
    EXPECT_LT(extractions, kCases * 2 / 3);
    EXPECT_GT(equalRatios, kCases / 20);
}

TEST(StreamMapperRandom, MapsPointsOfTheShownPartWithinAPixelOfExactArithmetic) {
    RandomValues random(2403);
    for (int i = 0; i < 200'000; ++i) {
        Sizes sizes = randomSizes(random);
        sizes.mirrored = false;
        const int x = random.between(0, sizes.WI - 1);
        const double alphaX = (sizes.WO - 1.0) / (sizes.WI - 1.0);
        const double alphaY = (sizes.HO - 1.0) / (sizes.HI - 1.0);

        const EmbeddingMapper embedding(sizes.HI, sizes.WI, sizes.HO, sizes.WO, false);
        const double scale = std::min(alphaX, alphaY);
        const double middle = (sizes.WO - 1.0) / 2.0;
        const double embedded = middle + scale * (x - (sizes.WI - 1.0) / 2.0);
        ASSERT_NEAR(embedding.mapX(x), embedded, 1.01) << describe(sizes) << " x " << x;

        const ExtractionMapper extraction(sizes.HI, sizes.WI, sizes.HO, sizes.WO, false);
        const double cutRatio = static_cast<double>(sizes.WO) / sizes.HO;
        const double band = std::max(0.0, (sizes.WI - cutRatio * sizes.HI) / 2.0);
        if (band > 0.0 && x > band && x < sizes.WI - band - 0.01) {
            ASSERT_NEAR(extraction.mapX(x), alphaY * (x - band) - 0.5, 0.51)
                << describe(sizes) << " x " << x;
        }
    }
}

} // namespace
