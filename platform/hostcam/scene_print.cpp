// Printed things: cardboard, crates, and markers on cards.

#include <cmath>
#include <stdexcept>

#include <opencv2/imgproc.hpp>

#include "platform/hostcam/scene_texture.h"

namespace hostcam {

namespace {

// Paper and ink as a camera sees them: neither is fully white or black.
constexpr int kPaper = 226;
constexpr int kInk = 30;

// The black square's side in texels is a whole number of these for every bit.
constexpr int kTexelsAcross = 480;

// By how many pixels the printed square is larger on each side than its corners say. A corner is
// the middle of the outermost black pixel, so that the edge must lie beyond it, and well before the
// middle of the next one. In the middle of that range, with the lens's blur, the outline that the
// detector's threshold cuts out runs through the corners at every turn of the marker (measured: 0.2
// loses corners that the blur rounds off, 0.4 picks up neighbours at 45 degrees).
constexpr double kPrintedBeyond = 0.28;

/// How many texels the black square's side has.
int sideOf(const cv::aruco::Dictionary& dictionary) {
    const int modules = dictionary.markerSize + 2;
    return modules * (kTexelsAcross / modules);
}

/// How far a surface that reaches so far beyond the marker's middle goes beyond its edge.
int marginFor(int side, double reach) {
    return cvRound(reach * side) - side / 2;
}

/// An empty card. Paper is never quite even.
cv::Mat blankCard(cv::RNG& random, int side) {
    const int size = side + 2 * marginFor(side, kCardReach);
    cv::Mat grain;
    clouds(random, {size, size}, 3, 4).convertTo(grain, CV_8UC1, 1.6, 5);
    cv::cvtColor(grain, grain, cv::COLOR_GRAY2RGB);
    cv::Mat card(size, size, CV_8UC3, cv::Scalar::all(kPaper));
    card -= grain;
    cv::rectangle(card, {0, 0, size, size}, cv::Scalar(150, 150, 146), side / 160 + 1);
    return card;
}

void stamp(cv::Mat& surface, const std::string& text, cv::Point place, double height,
           const cv::Scalar& ink) {
    const double scale = height / 22;
    cv::putText(surface, text, place, cv::FONT_HERSHEY_DUPLEX, scale, ink,
                std::max(1, cvRound(scale * 1.6)), cv::LINE_AA);
}

/// An arrow that says which side goes up.
void stampArrow(cv::Mat& surface, cv::Point foot, int height, const cv::Scalar& ink) {
    const int w = height / 3;
    const std::vector<cv::Point> arrow{
        {foot.x - w / 3, foot.y},          {foot.x - w / 3, foot.y - height / 2},
        {foot.x - w, foot.y - height / 2}, {foot.x, foot.y - height},
        {foot.x + w, foot.y - height / 2}, {foot.x + w / 3, foot.y - height / 2},
        {foot.x + w / 3, foot.y}};
    cv::fillPoly(surface, std::vector<std::vector<cv::Point>>{arrow}, ink, cv::LINE_AA);
}

/// Edges of a crate catch less light and are worn.
void darkenEdges(cv::Mat& surface) {
    const int width = std::max(2, surface.cols / 90);
    for (int i = 0; i < width; ++i) {
        const double keep = 0.72 + 0.28 * i / width;
        const cv::Rect ring(i, i, surface.cols - 2 * i, surface.rows - 2 * i);
        for (const cv::Rect side : {cv::Rect(ring.x, ring.y, ring.width, 1),
                                    cv::Rect(ring.x, ring.br().y - 1, ring.width, 1),
                                    cv::Rect(ring.x, ring.y, 1, ring.height),
                                    cv::Rect(ring.br().x - 1, ring.y, 1, ring.height)}) {
            cv::Mat line = surface(side);
            line.convertTo(line, -1, keep);
        }
    }
}

} // namespace

cv::aruco::Dictionary sceneDictionary(const std::string& name) {
    if (name == "4x4") {
        return cv::aruco::getPredefinedDictionary(cv::aruco::DICT_4X4_50);
    }
    if (name == "5x5") {
        return cv::aruco::getPredefinedDictionary(cv::aruco::DICT_5X5_100);
    }
    if (name == "6x6") {
        return cv::aruco::getPredefinedDictionary(cv::aruco::DICT_6X6_250);
    }
    if (name == "7x7") {
        return cv::aruco::getPredefinedDictionary(cv::aruco::DICT_7X7_1000);
    }
    throw std::invalid_argument("scene: the dictionary \"" + name +
                                "\" is unknown: allowed are 4x4, 5x5, 6x6 and 7x7");
}

cv::Matx33d PrintedMarker::mapTo(const SceneQuad& corners) const {
    return mapBetween(cornersOf(marker), grown(corners, kPrintedBeyond));
}

cv::Mat cardboard(cv::RNG& random, cv::Size size) {
    cv::Mat surface = mottled(random, size, {186, 148, 106}, 5, 2.5);
    // The flutes between the liners show as faint upright lines.
    const int pitch = std::max(4, size.width / 64);
    for (int x = 0; x < size.width; x += pitch) {
        cv::Mat flute = surface(cv::Rect(x, 0, std::min(pitch / 2, size.width - x), size.height));
        flute.convertTo(flute, -1, 0.975);
    }
    return surface;
}

cv::Mat crateSide(cv::RNG& random, cv::Size size, bool stamped) {
    cv::Mat surface = cardboard(random, size);
    const int tape = size.width / 9;
    cv::Mat strip = surface(cv::Rect((size.width - tape) / 2, 0, tape, size.height / 4));
    strip.convertTo(strip, -1, 0.8, 34);
    if (stamped) {
        const cv::Scalar ink(74, 62, 56);
        for (const double x : {0.70, 0.84}) {
            stampArrow(surface, {cvRound(x * size.width), cvRound(0.9 * size.height)},
                       size.height / 7, ink);
        }
        stamp(surface, "KEEP DRY", {size.width / 12, cvRound(0.88 * size.height)},
              size.height / 16.0, ink);
    }
    darkenEdges(surface);
    return surface;
}

MarkerPrinter::MarkerPrinter(std::uint32_t seed, const std::string& dictionary)
    : m_dictionary(sceneDictionary(dictionary)) {
    cv::RNG random(seed * 0x9e3779b97f4a7c15ULL + 4);
    const int side = sideOf(m_dictionary);
    m_card = blankCard(random, side);
    const int front = side + 2 * marginFor(side, kCrateReach);
    m_crateFront = crateSide(random, {front, front}, false);
    const int place = (front - m_card.cols) / 2;
    m_card.copyTo(m_crateFront(cv::Rect(place, place, m_card.cols, m_card.rows)));
}

PrintedMarker MarkerPrinter::onCard(int id) const {
    return onSurface(m_card, id);
}

PrintedMarker MarkerPrinter::onCrate(int id) const {
    return onSurface(m_crateFront, id);
}

PrintedMarker MarkerPrinter::onSurface(const cv::Mat& blank, int id) const {
    const int side = sideOf(m_dictionary);
    cv::Mat marker;
    m_dictionary.generateImageMarker(id, side, marker);
    marker.convertTo(marker, CV_8UC1, (kPaper - kInk) / 255.0, kInk);
    cv::cvtColor(marker, marker, cv::COLOR_GRAY2RGB);
    cv::Mat surface = blank.clone();
    const int margin = (blank.cols - side) / 2;
    cv::Mat place = surface(cv::Rect(margin, margin, side, side));
    cv::min(place, marker, place); // the paper's grain stays where there is no ink
    const double share = static_cast<double>(side) / blank.cols;
    return {SceneTexture(surface), {(1 - share) / 2, (1 - share) / 2, share, share}};
}

} // namespace hostcam
