#include <atomic>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <axoverlay.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/axoverlay/overlay_fixture.h"

namespace {

using hostcam::Size;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing_support::kGreen;
using testing_support::kRed;
using testing_support::OverlayCall;

class AxOverlay : public testing_support::OverlayTest {};

TEST_F(AxOverlay, TheDefaultsAreZeroButForScaling) {
    axoverlay_settings settings;
    axoverlay_init_axoverlay_settings(&settings);
    EXPECT_EQ(settings.render_callback, nullptr);
    EXPECT_EQ(settings.adjustment_callback, nullptr);
    EXPECT_EQ(settings.select_callback, nullptr);
    EXPECT_EQ(settings.backend, 0);
    axoverlay_overlay_data data;
    axoverlay_init_overlay_data(&data);
    EXPECT_EQ(data.anchor_point, AXOVERLAY_ANCHOR_TOP_LEFT);
    EXPECT_EQ(data.postype, AXOVERLAY_TOP_LEFT);
    EXPECT_EQ(data.z_priority, 0);
    EXPECT_EQ(data.colorspace, AXOVERLAY_COLORSPACE_ARGB32);
    EXPECT_EQ(data.scale_to_stream, TRUE);
    EXPECT_EQ(data.width, 0);
}

TEST_F(AxOverlay, OnlyTheCairoBackendIsSupportedAndCanBeAskedForBeforeInit) {
    EXPECT_TRUE(axoverlay_is_backend_supported(AXOVERLAY_CAIRO_IMAGE_BACKEND));
    EXPECT_FALSE(axoverlay_is_backend_supported(AXOVERLAY_OPENGLES_BACKEND));
    EXPECT_FALSE(axoverlay_is_backend_supported(AXOVERLAY_OPEN_BACKEND));
}

TEST_F(AxOverlay, EachViewerStreamIsOfferedOnceAtInit) {
    camera.configure("[camera]\nrotation=90\n[viewers]\nstreams=64x48,32x24:mirrored\n");
    init();
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_EQ(calls[0].stream.camera, 1);
    EXPECT_EQ(calls[0].stream.width, 64);
    EXPECT_EQ(calls[0].stream.height, 48);
    EXPECT_EQ(calls[0].stream.rotation, 90);
    EXPECT_EQ(calls[0].stream.is_mirrored, FALSE);
    EXPECT_EQ(calls[0].stream.type, AXOVERLAY_STREAM_JPEG);
    EXPECT_EQ(calls[1].stream.width, 32);
    EXPECT_EQ(calls[1].stream.is_mirrored, TRUE);
    create(1, 1);
    redraw();
    EXPECT_THAT(callsOf("select"), IsEmpty());
}

TEST_F(AxOverlay, IdsBeginWithOne) {
    init();
    EXPECT_EQ(create(10, 10), 1);
    EXPECT_EQ(create(10, 10), 2);
    EXPECT_THAT(callsOf("render"), IsEmpty()); // making one draws nothing
}

TEST_F(AxOverlay, RedrawAdjustsAndRendersEachOverlayOnEachStreamInTheCallingThread) {
    init();
    const gint id = create(10, 8, AXOVERLAY_BOTTOM_RIGHT, 0.5F, -0.5F);
    const std::thread::id here = std::this_thread::get_id();
    onRender = [&](cairo_t*, const OverlayCall&) { EXPECT_EQ(std::this_thread::get_id(), here); };
    redraw();
    EXPECT_FALSE(error.isSet());
    ASSERT_THAT(calls, SizeIs(4));
    for (std::size_t stream = 0; stream < 2; ++stream) {
        EXPECT_EQ(calls[2 * stream].what, "adjust");
        EXPECT_EQ(calls[2 * stream + 1].what, "render");
        for (std::size_t call = 2 * stream; call < 2 * stream + 2; ++call) {
            EXPECT_EQ(calls[call].id, id);
            EXPECT_EQ(calls[call].stream.id, static_cast<gint>(stream) + 1);
            EXPECT_EQ(calls[call].postype, AXOVERLAY_BOTTOM_RIGHT);
            EXPECT_EQ(calls[call].x, 0.5F);
            EXPECT_EQ(calls[call].y, -0.5F);
            EXPECT_EQ(calls[call].width, 10);
            EXPECT_EQ(calls[call].height, 8);
            EXPECT_EQ(calls[call].userData, this);
        }
    }
}

TEST_F(AxOverlay, WhatAdjustmentLeavesIsWhatIsRendered) {
    init();
    create(1, 1);
    onAdjust = [](OverlayCall& call) {
        call.width = call.stream.width;
        call.height = call.stream.height;
        call.postype = AXOVERLAY_BOTTOM_LEFT;
        call.x = 7;
    };
    redraw();
    const auto renders = callsOf("render");
    ASSERT_THAT(renders, SizeIs(2));
    EXPECT_EQ(renders[0].width, 64);
    EXPECT_EQ(renders[1].height, 24);
    EXPECT_EQ(renders[0].postype, AXOVERLAY_BOTTOM_LEFT);
    EXPECT_EQ(renders[0].x, 7);
    EXPECT_EQ(pixel(0, 63, 47), kRed);
    EXPECT_EQ(pixel(1, 31, 23), kRed);
}

TEST_F(AxOverlay, TheSurfaceIsAsLargeAsTheOverlayAndClearedBeforeEachDrawing) {
    init();
    create(64, 48);
    int round = 0;
    onRender = [&](cairo_t* cairo, const OverlayCall& call) {
        cairo_surface_t* const target = cairo_get_target(cairo);
        EXPECT_EQ(cairo_image_surface_get_format(target), CAIRO_FORMAT_ARGB32);
        EXPECT_GE(cairo_image_surface_get_width(target), call.width);
        EXPECT_GE(cairo_image_surface_get_height(target), call.height);
        const unsigned char* const data = cairo_image_surface_get_data(target);
        EXPECT_EQ(data[0], 0);
        cairo_set_source_rgba(cairo, 1, 0, 0, 1);
        cairo_rectangle(cairo, round, 0, 1, 1);
        cairo_fill(cairo);
    };
    for (; round < 3; ++round) {
        redraw();
        for (int x = 0; x < 3; ++x) {
            EXPECT_EQ(pixel(0, static_cast<unsigned>(x), 0), x == round ? kRed : 0) << round;
        }
    }
}

TEST_F(AxOverlay, RotatedStreamsAreDrawnAsTheViewerSeesThem) {
    camera.configure("[camera]\nrotation=270\n[viewers]\nstreams=64x48\n");
    init();
    create(10, 10, AXOVERLAY_BOTTOM_RIGHT);
    redraw();
    const auto layer = hostcam::overlayLayer(0);
    ASSERT_NE(layer, nullptr);
    EXPECT_EQ(layer->size, (Size{48, 64}));
    EXPECT_EQ(pixel(0, 47, 63), kRed);
    EXPECT_EQ(pixel(0, 37, 63), 0U);
}

TEST_F(AxOverlay, HigherPrioritiesLieOverLowerOnesWithAlpha) {
    init();
    const gint over = create(4, 4, AXOVERLAY_TOP_LEFT, 0, 0, AXOVERLAY_Z_PRIO_HIGH);
    create(8, 8, AXOVERLAY_TOP_LEFT, 0, 0, AXOVERLAY_Z_PRIO_LOW);
    onRender = [&](cairo_t* cairo, const OverlayCall& call) {
        cairo_set_source_rgba(cairo, call.id == over ? 0 : 1, call.id == over ? 1 : 0, 0,
                              call.id == over ? 0.5 : 1);
        cairo_paint(cairo);
    };
    redraw();
    EXPECT_EQ(pixel(0, 6, 6), kRed);
    EXPECT_EQ(pixel(0, 8, 8), 0U);
    const std::uint32_t mixed = pixel(0, 2, 2);
    EXPECT_EQ(mixed >> 24, 0xFFU);
    EXPECT_NEAR((mixed >> 16) & 0xFFU, 127, 2);
    EXPECT_NEAR((mixed >> 8) & 0xFFU, 128, 2);
}

TEST_F(AxOverlay, StreamsThatWereNotSelectedAreNotDrawnOn) {
    selectAnswer = FALSE;
    init();
    create(10, 10);
    redraw();
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(hostcam::overlayLayer(0), nullptr);
}

TEST_F(AxOverlay, DestroyingAnOverlayRedrawsTheOthers) {
    init();
    const gint first = create(4, 4, AXOVERLAY_TOP_LEFT);
    const gint second = create(4, 4, AXOVERLAY_TOP_RIGHT);
    redraw();
    calls.clear();
    axoverlay_destroy_overlay(first, error.out());
    EXPECT_FALSE(error.isSet());
    EXPECT_THAT(callsOf("render"), Each(testing::Field(&OverlayCall::id, second)));
    EXPECT_EQ(pixel(0, 0, 0), 0U);
    EXPECT_EQ(pixel(0, 63, 0), kRed);
    axoverlay_destroy_overlay(second, error.out());
    EXPECT_EQ(hostcam::overlayLayer(0), nullptr);
    axoverlay_destroy_overlay(second, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_ARGUMENT);
    axoverlay_destroy_overlay(0, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_ARGUMENT);
}

TEST_F(AxOverlay, CleanupDestroysEveryOverlayAndAllowsANewInit) {
    init();
    create(4, 4);
    redraw();
    axoverlay_cleanup();
    EXPECT_EQ(hostcam::overlayLayer(0), nullptr);
    init();
    redraw();
    EXPECT_THAT(callsOf("render"), IsEmpty());
    EXPECT_EQ(create(4, 4), 1);
}

TEST_F(AxOverlay, TheLargestResolutionIsTheConfigurationsLargest) {
    init();
    EXPECT_EQ(axoverlay_get_max_resolution_width(1, error.out()), 1920);
    EXPECT_EQ(axoverlay_get_max_resolution_height(AXOVERLAY_DEFAULT_CAMERA_ID, error.out()), 1080);
    EXPECT_FALSE(error.isSet());
    for (const gint unknown : {AXOVERLAY_QUAD_CAMERA_ID, 2, -1}) {
        EXPECT_EQ(axoverlay_get_max_resolution_width(unknown, error.out()), 0);
        EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_ARGUMENT);
        EXPECT_EQ(axoverlay_get_max_resolution_height(unknown, nullptr), 0);
    }
}

TEST_F(AxOverlay, BeforeInitAndAfterCleanupEveryCallFailsInTheDomain) {
    axoverlay_overlay_data data;
    axoverlay_init_overlay_data(&data);
    data.width = data.height = 4;
    axoverlay_palette_color color{};
    for (int round = 0; round < 2; ++round) {
        const auto expectRefused = [&] {
            EXPECT_EQ(error.code(), AXOVERLAY_ERROR_UNEXPECTED);
            EXPECT_STREQ(g_quark_to_string(error.domain()), "axoverlay-error-quark");
            EXPECT_THAT(error.text(), HasSubstr("axoverlay_init comes first"));
        };
        EXPECT_EQ(axoverlay_create_overlay(&data, nullptr, error.out()), 0);
        expectRefused();
        axoverlay_redraw(error.out());
        expectRefused();
        axoverlay_destroy_overlay(1, error.out());
        expectRefused();
        axoverlay_set_overlay_position(1, AXOVERLAY_TOP_LEFT, 0, 0, error.out());
        expectRefused();
        axoverlay_set_overlay_size(1, 4, 4, error.out());
        expectRefused();
        axoverlay_reload_streams(error.out());
        expectRefused();
        EXPECT_EQ(axoverlay_get_max_resolution_width(1, error.out()), 0);
        expectRefused();
        EXPECT_EQ(axoverlay_get_max_resolution_height(1, error.out()), 0);
        expectRefused();
        EXPECT_EQ(axoverlay_get_number_of_palette_colors(error.out()), 0);
        expectRefused();
        axoverlay_get_palette_color(0, &color, error.out());
        expectRefused();
        axoverlay_set_palette_color(0, &color, error.out());
        expectRefused();
        axoverlay_redraw(nullptr);
        axoverlay_cleanup();
        init();
        axoverlay_cleanup();
    }
}

TEST_F(AxOverlay, ASecondInitFailsAndTheFirstGoesOn) {
    init();
    create(4, 4);
    axoverlay_init(nullptr, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_UNEXPECTED);
    redraw();
    EXPECT_THAT(callsOf("render"), SizeIs(2));
}

TEST_F(AxOverlay, SettingsThatCannotWorkAreRefused) {
    axoverlay_settings settings;
    axoverlay_init_axoverlay_settings(&settings);
    axoverlay_init(&settings, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_BACKEND);
    settings.backend = AXOVERLAY_OPENGLES_BACKEND;
    axoverlay_init(&settings, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_BACKEND);
    settings.backend = AXOVERLAY_CAIRO_IMAGE_BACKEND;
    axoverlay_init(&settings, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_ARGUMENT);
    axoverlay_init(nullptr, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_ARGUMENT);
    axoverlay_init_axoverlay_settings(nullptr);
    axoverlay_init_overlay_data(nullptr);
}

TEST_F(AxOverlay, AConfigurationThatIsWrongIsAnErrorThatNamesTheKey) {
    camera.configure("[viewers]\nstreams=huge\n");
    axoverlay_settings settings{};
    settings.backend = AXOVERLAY_CAIRO_IMAGE_BACKEND;
    settings.render_callback = [](gpointer, gint, axoverlay_stream_data*, axoverlay_position_type,
                                  gfloat, gfloat, gint, gint, gpointer) {};
    axoverlay_init(&settings, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_SERVICE_UNAVAILABLE);
    EXPECT_THAT(error.text(), HasSubstr("streams=huge"));
}

TEST_F(AxOverlay, TheSettersServeAnInitWithoutSettings) {
    static int s_synced = 0;
    s_synced = 0;
    axoverlay_set_backend("opengles");
    axoverlay_set_stream_select_callback(nullptr);
    axoverlay_set_adjustment_callback(nullptr);
    axoverlay_set_synced_render_callback([](gpointer, gint, axoverlay_stream_data*,
                                            axoverlay_position_type, gfloat, gfloat, gint, gint,
                                            timeval* time, gpointer) {
        EXPECT_GT(time->tv_sec, 0);
        ++s_synced;
    });
    axoverlay_enable_cpu_mem_sync(TRUE);
    axoverlay_init(nullptr, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_BACKEND);
    axoverlay_set_backend("cairo");
    axoverlay_init(nullptr, error.out());
    EXPECT_FALSE(error.isSet()) << error.text();
    create(4, 4);
    redraw();
    EXPECT_EQ(s_synced, 2);
}

TEST_F(AxOverlay, OverlaysThatCannotBeDrawnAreRefused) {
    init();
    EXPECT_EQ(axoverlay_create_overlay(nullptr, nullptr, error.out()), 0);
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_ARGUMENT);
    for (const gint side : {0, -1, 16385, std::numeric_limits<gint>::max()}) {
        EXPECT_EQ(create(side, 4), 0);
        EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_VALUE);
        EXPECT_EQ(create(4, side), 0);
    }
    EXPECT_EQ(create(4, 4, static_cast<axoverlay_position_type>(6)), 0);
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(create(4, 4, AXOVERLAY_CUSTOM_NORMALIZED, std::numeric_limits<float>::quiet_NaN()),
              0);
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_VALUE);
    axoverlay_overlay_data data;
    axoverlay_init_overlay_data(&data);
    data.width = data.height = 4;
    data.colorspace = AXOVERLAY_COLORSPACE_4BIT_PALETTE;
    EXPECT_EQ(axoverlay_create_overlay(&data, nullptr, error.out()), 0);
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_ARGUMENT);
}

TEST_F(AxOverlay, ASizeThatAdjustmentSpoilsIsAnErrorAndTheOthersAreDrawn) {
    init();
    const gint bad = create(4, 4, AXOVERLAY_TOP_LEFT);
    create(4, 4, AXOVERLAY_TOP_RIGHT);
    for (const gint side : {0, -5, 1 << 30}) {
        onAdjust = [&](OverlayCall& call) { call.width = call.id == bad ? side : call.width; };
        redraw();
        EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_VALUE);
        EXPECT_EQ(pixel(0, 63, 0), kRed);
        EXPECT_EQ(pixel(0, 0, 0), 0U);
    }
    onAdjust = [](OverlayCall& call) {
        call.postype = AXOVERLAY_CUSTOM_NORMALIZED;
        call.x = 1e30F;
    };
    redraw();
    EXPECT_FALSE(error.isSet());
}

TEST_F(AxOverlay, CallsThatACallbackMustNotMakeFail) {
    init();
    const gint id = create(4, 4);
    std::vector<int> codes;
    onRender = [&](cairo_t*, const OverlayCall&) {
        testing_support::ErrorSlot inner;
        axoverlay_palette_color color{};
        (void)axoverlay_get_max_resolution_width(1, inner.out());
        codes.push_back(inner.code());
        (void)axoverlay_get_max_resolution_height(1, inner.out());
        codes.push_back(inner.code());
        axoverlay_reload_streams(inner.out());
        codes.push_back(inner.code());
        axoverlay_set_overlay_position(id, AXOVERLAY_TOP_RIGHT, 0, 0, inner.out());
        codes.push_back(inner.code());
        axoverlay_set_palette_color(0, &color, inner.out());
        codes.push_back(inner.code());
        axoverlay_redraw(inner.out());
        codes.push_back(inner.code());
        axoverlay_cleanup();
    };
    redraw();
    EXPECT_THAT(codes, SizeIs(12));
    EXPECT_THAT(codes, Each(AXOVERLAY_ERROR_UNEXPECTED));
    EXPECT_THAT(hostcam::misuses(), SizeIs(2));
    EXPECT_NE(hostcam::overlayLayer(0), nullptr);
}

TEST_F(AxOverlay, ACallbackMayMakeAndDestroyOverlays) {
    init();
    const gint first = create(4, 4, AXOVERLAY_TOP_LEFT);
    const gint second = create(4, 4, AXOVERLAY_TOP_RIGHT);
    gint made = 0;
    onRender = [&](cairo_t* cairo, const OverlayCall& call) {
        testing_support::ErrorSlot inner;
        if (call.id == first) {
            made = create(4, 4, AXOVERLAY_BOTTOM_LEFT);
            axoverlay_destroy_overlay(first, inner.out());
            EXPECT_FALSE(inner.isSet());
        }
        cairo_set_source_rgba(cairo, 0, 1, 0, 1);
        cairo_paint(cairo);
    };
    redraw();
    EXPECT_GT(made, second);
    EXPECT_EQ(pixel(0, 0, 0), 0U); // destroyed, and drawn again without it
    EXPECT_EQ(pixel(0, 63, 0), kGreen);
    EXPECT_EQ(pixel(0, 0, 47), kGreen);
}

TEST_F(AxOverlay, PaletteColorsCanBeSetAndRead) {
    init();
    const gint count = axoverlay_get_number_of_palette_colors(error.out());
    EXPECT_EQ(count, 16);
    axoverlay_palette_color color{1, 2, 3, 4, TRUE};
    axoverlay_set_palette_color(count - 1, &color, error.out());
    axoverlay_palette_color read{};
    axoverlay_get_palette_color(count - 1, &read, error.out());
    EXPECT_FALSE(error.isSet());
    EXPECT_EQ(read.green, 2);
    EXPECT_EQ(read.pixelate, TRUE);
    for (const gint index : {-1, count}) {
        axoverlay_get_palette_color(index, &read, error.out());
        EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_ARGUMENT);
        axoverlay_set_palette_color(index, &color, error.out());
        EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_ARGUMENT);
    }
    axoverlay_get_palette_color(0, nullptr, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_ARGUMENT);
    axoverlay_set_palette_color(0, nullptr, nullptr);
}

TEST_F(AxOverlay, ReloadingOffersNewStreamsOnly) {
    init();
    create(4, 4);
    calls.clear();
    axoverlay_reload_streams(error.out());
    EXPECT_THAT(callsOf("select"), IsEmpty());
    camera.configure("[viewers]\nstreams=64x48,16x16\n");
    axoverlay_reload_streams(error.out());
    EXPECT_THAT(callsOf("select"), SizeIs(1));
    redraw();
    EXPECT_EQ(callsOf("render").back().stream.width, 16);
}

TEST_F(AxOverlay, EachCallFailsWithThePlannedFault) {
    hostcam::addFaults("axoverlay_is_backend_supported; axoverlay_init code=6000");
    EXPECT_FALSE(axoverlay_is_backend_supported(AXOVERLAY_CAIRO_IMAGE_BACKEND));
    axoverlay_settings settings{};
    axoverlay_init(&settings, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_SERVICE_UNAVAILABLE);
    init();
    const gint id = create(4, 4);
    hostcam::addFaults(
        "axoverlay_create_overlay code=4000; axoverlay_redraw code=2000; axoverlay_destroy_overlay code=7000;"
        "axoverlay_get_max_resolution_width code=1000; axoverlay_get_max_resolution_height noerror");
    EXPECT_EQ(create(4, 4), 0);
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_GENERIC);
    redraw();
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INTERNAL);
    EXPECT_EQ(error.text(), "injected fault");
    EXPECT_THAT(calls, IsEmpty());
    axoverlay_destroy_overlay(id, error.out());
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_BACKEND);
    EXPECT_EQ(axoverlay_get_max_resolution_width(1, error.out()), 0);
    EXPECT_EQ(error.code(), AXOVERLAY_ERROR_INVALID_VALUE);
    EXPECT_EQ(axoverlay_get_max_resolution_height(1, error.out()), 0);
    EXPECT_FALSE(error.isSet());
    redraw();
    EXPECT_THAT(callsOf("render"), SizeIs(2));
}

TEST_F(AxOverlay, FinishedLayersCanBeReadWhileNewOnesAreDrawn) {
    init();
    create(64, 48);
    std::atomic<bool> done{false};
    std::uint64_t last = 0;
    bool allOneColour = true;
    std::thread reader([&] {
        while (!done) {
            const auto layer = hostcam::overlayLayer(0);
            if (!layer) {
                continue;
            }
            EXPECT_GE(layer->serial, last);
            last = layer->serial;
            for (const std::uint32_t value : layer->pixels) {
                allOneColour = allOneColour && value == layer->pixels.front();
            }
        }
    });
    int round = 0;
    onRender = [&](cairo_t* cairo, const OverlayCall&) {
        cairo_set_source_rgba(cairo, round % 2, (round + 1) % 2, 0, 1);
        cairo_paint(cairo);
    };
    for (; round < 200; ++round) {
        redraw();
    }
    done = true;
    reader.join();
    EXPECT_TRUE(allOneColour);
    EXPECT_EQ(pixel(0, 0, 0), kRed);
}

TEST_F(AxOverlay, DrawingThatFailsInTheApplicationIsSaidAloud) {
    init();
    create(4, 4);
    onRender = [](cairo_t* cairo, const OverlayCall&) { cairo_restore(cairo); };
    redraw();
    EXPECT_FALSE(error.isSet());
    EXPECT_THAT(camera.takeWarnings(), ElementsAre(HasSubstr("drawing failed")));
}

} // namespace
