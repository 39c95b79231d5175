#pragma once

// One rendering of the overlay on one stream: the outlines and labels of the findings, and the
// status line. OverlayManager makes one for each call of its render callback and forgets it
// afterwards.
//
// Main loop only. A rendering shows the settings and the state of the alert as they were at its
// beginning.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <axoverlay.h>
#include <cairo.h>

#include "analysis/common_structs.h"
#include "analysis/detection_processing.h"
#include "analysis/truncation.h"
#include "core/app_state.h"
#include "core/shared_state.h"
#include "outputs/overlay_manager.h"
#include "outputs/overlay_style.h"
#include "settings/config_params.h"
#include "settings/parameter_io.h"
#include "video/StreamMapper.h"

class OverlayRendering {
  public:
    /// @param cairo draws on the stream's overlay, in pixels as the viewer sees them; borrowed
    /// @param stream borrowed
    OverlayRendering(cairo_t* cairo, const axoverlay_stream_data& stream)
        : m_cairo(cairo), m_stream(stream), m_isPortrait(isPortraitRotation(stream.rotation)),
          m_sizes(overlaySizesFor(stream.width, stream.height)), m_settings(currentConfigParams()),
          m_isLostLong(DetectionProcessing::isMarkerLost() &&
                       DetectionProcessing::getSecsSinceMarkerLost() >
                           m_settings.i_MarkersSeconds) {}

    void draw() {
        setUpCairo();
        m_mapper = makeMapper();
        drawStatusLine(drawFindings());
    }

  private:
    void setUpCairo() const {
        cairo_set_antialias(m_cairo, CAIRO_ANTIALIAS_BEST);
        cairo_select_font_face(m_cairo, "cursive", CAIRO_FONT_SLANT_NORMAL,
                               CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(m_cairo, m_sizes.fontSize);
    }

    /// Maps analysis-stream pixels to pixels of the stream as the viewer sees it.
    [[nodiscard]] std::unique_ptr<StreamMapper> makeMapper() const {
        return getStreamMapper(g_AnalysisStreamHeight, g_AnalysisStreamWidth,
                               m_isPortrait ? m_stream.width : m_stream.height,
                               m_isPortrait ? m_stream.height : m_stream.width, m_isPortrait,
                               m_stream.is_mirrored != FALSE);
    }

    /// Draws the findings that are to be seen.
    /// @return the beginning of the status line.
    /// Deliberate: each finding drawn replaces the text of the one before, so the last one's
    /// survives.
    [[nodiscard]] std::string drawFindings() const {
        const bool requirePresent = m_settings.b_IsRequirePresent;
        std::string text;
        for (const one_find& finding : g_findings) {
            if (finding.footing == not_in_AOI && !m_settings.b_DisplayNonAOI) {
                continue;
            }
            text.clear();
            if (requirePresent && finding.footing != not_in_AOI) {
                text += presentText(finding.seconds);
            }
            drawMarker(finding.detect, outlineColor(finding.footing, requirePresent, m_isLostLong));
        }
        return text;
    }

    /// A marker without its four corners, which the detector does not give, is passed over.
    void drawMarker(const detection& marker, int colorIndex) const {
        if (marker.markerCorners.size() >= 4) {
            drawOutline(marker.markerCorners, colorIndex);
            drawLabel(marker);
        }
    }

    void drawOutline(const std::vector<cv::Point2f>& corners, int colorIndex) const {
        for (std::size_t i = 0; i < 4; ++i) {
            const cv::Point2f& from = corners[i];
            const cv::Point2f& to = corners[(i + 1) % 4];
            OverlayManager::drawLine(m_cairo, *m_mapper, truncateToInt(from.x),
                                     truncateToInt(from.y), truncateToInt(to.x),
                                     truncateToInt(to.y), colorIndex, m_sizes.lineWidth);
        }
    }

    /// Writes the marker's id about its centre: a letter counts as 8 analysis-stream pixels wide.
    void drawLabel(const detection& marker) const {
        const cv::Point2f& first = marker.markerCorners[0];
        const cv::Point2f& opposite = marker.markerCorners[2];
        const float centreX = (first.x + opposite.x) / 2.0F;
        const float centreY = (first.y + opposite.y) / 2.0F;
        const std::string text = std::to_string(marker.classId);
        const auto halfWidth = static_cast<float>(4 * text.size());
        OverlayManager::drawTextNoOutline(m_cairo, *m_mapper, text,
                                          truncateToInt(centreX - halfWidth),
                                          truncateToInt(centreY + 4.0F), kWhite);
    }

    void drawStatusLine(std::string text) const {
        if (!m_settings.b_IsRequirePresent && DetectionProcessing::isMarkerLost()) {
            text += missingText(DetectionProcessing::getSecsSinceMarkerLost());
        }
        text += parameter_io::status_to_string(loadShared(g_StatusCode)) + " : " +
                std::to_string(loadShared(g_ExecutionTime)) + " ms. ";
        cairo_text_extents_t extents;
        cairo_text_extents(m_cairo, text.c_str(), &extents);
        constexpr int kLeft = 10;
        const auto baseline = static_cast<int>(m_isPortrait ? m_stream.width + 5 - extents.height
                                                            : m_stream.height - 2 * extents.height);
        OverlayManager::drawText(m_cairo, text, kLeft, baseline, kWhite);
        OverlayManager::drawTextNoOutline(m_cairo, text, kLeft, baseline, kWhite);
    }

    cairo_t* m_cairo;
    const axoverlay_stream_data& m_stream;
    bool m_isPortrait;
    OverlaySizes m_sizes;
    ConfigParams m_settings;
    bool m_isLostLong; ///< the markers have been lost for longer than the alert tolerates
    std::unique_ptr<StreamMapper> m_mapper;
};
