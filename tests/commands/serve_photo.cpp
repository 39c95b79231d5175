// serve_photo FILE: a real RTSP server on the loopback interface that sends a photo as live video.
// It prints its address and serves until a signal ends it.

#include <iostream>
#include <string>

#include <glib-unix.h>
#include <gst/gst.h>
#include <gst/rtsp-server/rtsp-server.h>

namespace {

/// In double quotes of a pipeline description.
std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
        }
        result += c;
    }
    return result + "\"";
}

gboolean quit(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: serve_photo FILE\n";
        return 2;
    }
    gst_init(nullptr, nullptr);
    GstRTSPServer* const server = gst_rtsp_server_new();
    gst_rtsp_server_set_address(server, "127.0.0.1");
    gst_rtsp_server_set_service(server, "0"); // any free port
    GstRTSPMediaFactory* const factory = gst_rtsp_media_factory_new();
    gst_rtsp_media_factory_set_shared(factory, TRUE);
    const std::string launch = "( filesrc location=" + quoted(argv[1]) +
                               " ! decodebin ! imagefreeze is-live=true ! videoconvert"
                               " ! video/x-raw,format=I420,framerate=10/1 ! jpegenc"
                               " ! rtpjpegpay name=pay0 pt=26 )";
    gst_rtsp_media_factory_set_launch(factory, launch.c_str());
    GstRTSPMountPoints* const mounts = gst_rtsp_server_get_mount_points(server);
    gst_rtsp_mount_points_add_factory(mounts, "/live", factory);
    g_object_unref(mounts);
    if (gst_rtsp_server_attach(server, nullptr) == 0) {
        std::cerr << "no port to serve on\n";
        return 1;
    }
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    g_unix_signal_add(SIGTERM, quit, loop);
    std::cout << "rtsp://127.0.0.1:" << gst_rtsp_server_get_bound_port(server) << "/live"
              << std::endl;
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
    g_object_unref(server);
    return 0;
}
