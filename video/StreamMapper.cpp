#include "video/StreamMapper.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "core/app_state.h"

namespace {

/// Truncates toward zero. Values that int cannot hold (a size of 1 divides by zero) end at int's
/// limits, what is not a number at zero.
int truncate(float value) {
    constexpr float kTwoPower31 = 2147483648.0F;
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= kTwoPower31) {
        return std::numeric_limits<int>::max();
    }
    if (value < -kTwoPower31) {
        return std::numeric_limits<int>::min();
    }
    return static_cast<int>(value);
}

/// The distance in float between the first and the last of `size` pixels.
float span(int size) {
    return static_cast<float>(size) - 1.0F;
}

/// Width to height.
float ratio(int width, int height) {
    return static_cast<float>(width) / static_cast<float>(height);
}

/// One axis of an extraction: what lies before the cut-away band's end or after the other band's
/// begin goes to the output's edge.
int mapExtracted(int position, float epsilon, float alpha, int inputSize, int outputSize) {
    const auto exact = static_cast<float>(position);
    if (exact < epsilon) {
        return 0;
    }
    if (exact >= static_cast<float>(inputSize) - epsilon) {
        return outputSize - 1;
    }
    return truncate(alpha * (exact - epsilon));
}

/// One axis of an embedding.
int mapEmbedded(int position, float delta, float alpha) {
    return truncate(alpha * static_cast<float>(position) + delta + 0.5F);
}

} // namespace

StreamMapper::StreamMapper(int inputHeight, int inputWidth, int outputHeight, int outputWidth,
                           bool mirrored)
    : HI(inputHeight), WI(inputWidth), HO(outputHeight), WO(outputWidth), isMirrored(mirrored) {}

int StreamMapper::mapY(int y) const {
    return truncate(span(HO) / span(HI) * static_cast<float>(y));
}

// A width is multiplied before it is divided, a coordinate the other way round: in float the two
// differ.
int StreamMapper::mapWidth(int w) const {
    return truncate(static_cast<float>(w) * span(WO) / span(WI));
}

int StreamMapper::mapHeight(int h) const {
    return truncate(static_cast<float>(h) * span(HO) / span(HI));
}

void StreamMapper::getActiveInputRectangle(int& x0, int& y0, int& x1, int& y1) const {
    x0 = 0;
    y0 = 0;
    x1 = WI - 1;
    y1 = HI - 1;
}

void StreamMapper::getActiveOutputRectangle(int& x0, int& y0, int& x1, int& y1) const {
    x0 = 0;
    y0 = 0;
    x1 = WO - 1;
    y1 = HO - 1;
}

int StreamMapper::_mapX(int x) const {
    return truncate(span(WO) / span(WI) * static_cast<float>(x));
}

int StreamMapper::mapX(int x) const {
    const int column = _mapX(x);
    // In 64 bits, because a size of 1 can have sent the column to int's limits.
    return isMirrored ? static_cast<int>(std::int64_t{WO} - column - 1) : column;
}

void StreamMapper::mapPoint(int& x, int& y) const {
    x = mapX(x);
    y = mapY(y);
}

ExtractionMapper::ExtractionMapper(int inputHeight, int inputWidth, int outputHeight,
                                   int outputWidth, bool mirrored)
    : StreamMapper(inputHeight, inputWidth, outputHeight, outputWidth, mirrored) {
    const float inputRatio = ratio(WI, HI);
    const float outputRatio = ratio(WO, HO);
    if (inputRatio >= outputRatio) {
        alpha = span(HO) / span(HI);
        epsilonX = (static_cast<float>(WI) - outputRatio * static_cast<float>(HI)) / 2.0F;
    } else {
        alpha = span(WO) / span(WI);
        epsilonY = (static_cast<float>(HI) - static_cast<float>(WI) / outputRatio) / 2.0F;
    }
}

int ExtractionMapper::mapY(int y) const {
    return mapExtracted(y, epsilonY, alpha, HI, HO);
}

int ExtractionMapper::mapWidth(int w) const {
    return truncate(alpha * static_cast<float>(w));
}

int ExtractionMapper::mapHeight(int h) const {
    return truncate(alpha * static_cast<float>(h));
}

void ExtractionMapper::getActiveInputRectangle(int& x0, int& y0, int& x1, int& y1) const {
    x0 = truncate(epsilonX + 0.5F);
    y0 = truncate(epsilonY + 0.5F);
    x1 = truncate(static_cast<float>(WI) - epsilonX - 0.5F);
    y1 = truncate(static_cast<float>(HI) - epsilonY - 0.5F);
}

int ExtractionMapper::_mapX(int x) const {
    return mapExtracted(x, epsilonX, alpha, WI, WO);
}

EmbeddingMapper::EmbeddingMapper(int inputHeight, int inputWidth, int outputHeight, int outputWidth,
                                 bool mirrored)
    : StreamMapper(inputHeight, inputWidth, outputHeight, outputWidth, mirrored) {
    const float alphaX = span(WO) / span(WI);
    const float alphaY = span(HO) / span(HI);
    // Deliberate: the vertical offset keeps the fraction of the embedded height, the horizontal one
    // is taken from the embedded width in whole pixels.
    if (alphaX < alphaY) {
        alpha = alphaX;
        deltaY = (static_cast<float>(HO) - (alpha * span(HI) + 1.0F)) / 2.0F;
    } else {
        alpha = alphaY;
        const std::int64_t emptyColumns = std::int64_t{WO} - truncate(alpha * span(WI) + 1.0F);
        deltaX = static_cast<float>(emptyColumns) / 2.0F;
    }
}

int EmbeddingMapper::mapY(int y) const {
    return mapEmbedded(y, deltaY, alpha);
}

int EmbeddingMapper::mapWidth(int w) const {
    return truncate(alpha * static_cast<float>(w));
}

int EmbeddingMapper::mapHeight(int h) const {
    return truncate(alpha * static_cast<float>(h));
}

// The whole input, as in the base; stated here because the class answers for both its rectangles.
void EmbeddingMapper::getActiveInputRectangle(int& x0, int& y0, int& x1, int& y1) const {
    StreamMapper::getActiveInputRectangle(x0, y0, x1, y1);
}

void EmbeddingMapper::getActiveOutputRectangle(int& x0, int& y0, int& x1, int& y1) const {
    x0 = mapX(0);
    y0 = mapY(0);
    x1 = mapX(WI - 1);
    y1 = mapY(HI - 1);
}

int EmbeddingMapper::_mapX(int x) const {
    return mapEmbedded(x, deltaX, alpha);
}

std::unique_ptr<StreamMapper> getStreamMapper(int HI, int WI, int HO, int WO, bool isPortrait,
                                              bool isMirrored) {
    float inputRatio = ratio(WI, HI);
    float outputRatio = ratio(WO, HO);
    if (isPortrait) {
        std::swap(inputRatio, outputRatio);
    }
    const bool outputIsNarrower = inputRatio > outputRatio;
    // Deliberate: a sensor of another aspect ratio turns the choice round, equal ratios included.
    if (outputIsNarrower == g_SensorIs16x9) {
        return std::make_unique<ExtractionMapper>(HI, WI, HO, WO, isMirrored);
    }
    return std::make_unique<EmbeddingMapper>(HI, WI, HO, WO, isMirrored);
}
