// What drawing costs: fifty findings on a large stream beside clearing the same surface, and a
// whole tick with an overlay stream beside the marker detector alone, on the same frame with the
// same library.

#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <axoverlay.h>
#include <cairo.h>

#include "analysis/common_structs.h"
#include "bench/side_by_side.h"
#include "bench/watched_picture.h"
#include "core/handles.h"

namespace {

constexpr double kMostTickRatio = 1.15;
constexpr int kFindings = 50;

/// Markers in rows over the whole picture, each a little turned.
void findMarkers(int count, int width, int height) {
    constexpr int kColumns = 10;
    g_findings.clear();
    for (int i = 0; i < count; ++i) {
        const auto x = static_cast<float>((i % kColumns + 0.3) * width / kColumns);
        const auto y = static_cast<float>((i / kColumns + 0.3) * height * kColumns / count);
        const auto side = static_cast<float>(width) / (2.5F * kColumns);
        detection marker{};
        marker.classId = i;
        marker.markerCorners = {
            {x, y}, {x + side, y + 3}, {x + side - 3, y + side}, {x - 3, y + side - 3}};
        one_find find{};
        find.detect = marker;
        find.footing = static_cast<footings>(i % 3);
        find.seconds = i;
        g_findings.push_back(find);
    }
}

using Surface = std::unique_ptr<cairo_surface_t, ReleaseWith<cairo_surface_destroy>>;
using Context = std::unique_ptr<cairo_t, ReleaseWith<cairo_destroy>>;

void drawFindings(int rounds) {
    constexpr int kWidth = 1920;
    constexpr int kHeight = 1080;
    g_AnalysisStreamWidth = 1280;
    g_AnalysisStreamHeight = 720;
    {
        const auto lock = lockConfigParams();
        g_ConfigParams = ConfigParams{};
        g_ConfigParams.b_DisplayNonAOI = true;
    }
    OverlayManager::m_OverlayID = 1;
    OverlayManager::SetOverlayStreamResolution(kWidth, kHeight);
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kWidth, kHeight));
    axoverlay_stream_data stream{};
    stream.width = kWidth;
    stream.height = kHeight;
    const auto bytes =
        static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get())) * kHeight;
    const auto draw = [&](int findings) {
        return [&, findings] {
            findMarkers(findings, g_AnalysisStreamWidth, g_AnalysisStreamHeight);
            const Context cairo(cairo_create(surface.get()));
            OverlayManager::renderCallback(cairo.get(), OverlayManager::m_OverlayID, &stream,
                                           AXOVERLAY_TOP_LEFT, 0.0F, 0.0F, kWidth, kHeight,
                                           &g_OverlayInfo);
            cairo_surface_flush(surface.get());
        };
    };
    bench::sideBySide("1920x1080 overlay",
                      {{"clear the surface",
                        [&] {
                            cairo_surface_flush(surface.get());
                            std::memset(cairo_image_surface_get_data(surface.get()), 0, bytes);
                            cairo_surface_mark_dirty(surface.get());
                        }},
                       {"draw the status line", draw(0)},
                       {"draw " + std::to_string(kFindings) + " findings", draw(kFindings)}},
                      rounds);
    g_findings.clear();
    OverlayManager::m_OverlayID = 0;
}

bool compareTicks(const std::filesystem::path& folder, int rounds) {
    bench::WatchedPicture watched(folder, 1920, 1080, 4, 2.0, "1280x720");
    const auto ratios = bench::sideBySide(
        "1920x1080, 4 markers, a 1280x720 overlay stream",
        {{"detector", [&] { watched.detectOnly(); }}, {"whole tick", &bench::WatchedPicture::tick}},
        rounds);
    const bool withinLimit = ratios.back() <= kMostTickRatio && watched.detected() == 4;
    std::printf("  %zu markers; tick at most %.2f times the detector: %s\n", watched.detected(),
                kMostTickRatio, withinLimit ? "yes" : "NO");
    bench::sideBySide(
        "the same, without the detector",
        {{"detector", [&] { watched.detectOnly(); }},
         {"the overlay alone", [] { static_cast<void>(g_overlayManager->renderFindings()); }}},
        rounds);
    return withinLimit;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const int rounds = argc > 1 ? std::stoi(argv[1]) : 51;
        const auto folder = std::filesystem::temp_directory_path() / "zerith-render-bench";
        std::filesystem::create_directories(folder);
        bench::tellLibrary();
        drawFindings(rounds);
        const bool fast = compareTicks(folder, rounds);
        std::filesystem::remove_all(folder);
        return fast ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "render_bench: %s\n", problem.what());
        return 2;
    }
}
