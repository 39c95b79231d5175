#pragma once

// A real RTSP server on the loopback interface, with a thread of its own, that can go away and come
// back.

#include <string>
#include <thread>

#include <gst/gst.h>
#include <gst/rtsp-server/rtsp-server.h>

namespace testing_support {

/// Serves motion JPEG of 64x48 pixels at rtsp://127.0.0.1:PORT/live.
class RtspServer {
  public:
    static constexpr const char* kWhite = "videotestsrc is-live=true pattern=white";
    static constexpr const char* kBlack = "videotestsrc is-live=true pattern=black";

    explicit RtspServer(const std::string& source = kWhite) { start(source); }
    ~RtspServer() {
        if (m_server != nullptr) {
            stop();
        }
    }
    RtspServer(const RtspServer&) = delete;
    RtspServer& operator=(const RtspServer&) = delete;

    /// Starts serving, at the port of the first time.
    /// @param source what is sent, a GStreamer description
    void start(const std::string& source = kWhite) {
        gst_init(nullptr, nullptr);
        m_context = g_main_context_new();
        m_loop = g_main_loop_new(m_context, FALSE);
        m_server = gst_rtsp_server_new();
        gst_rtsp_server_set_address(m_server, "127.0.0.1");
        gst_rtsp_server_set_service(m_server, std::to_string(m_port).c_str());
        GstRTSPMediaFactory* const factory = gst_rtsp_media_factory_new();
        gst_rtsp_media_factory_set_shared(factory, TRUE);
        const std::string launch =
            "( " + source +
            " ! video/x-raw,format=RGB ! videoconvert ! "
            "video/x-raw,format=I420,colorimetry=(string)1:4:0:0,width=64,height=48,"
            "framerate=25/1 ! jpegenc ! rtpjpegpay name=pay0 pt=26 )";
        gst_rtsp_media_factory_set_launch(factory, launch.c_str());
        GstRTSPMountPoints* const mounts = gst_rtsp_server_get_mount_points(m_server);
        gst_rtsp_mount_points_add_factory(mounts, "/live", factory);
        g_object_unref(mounts);
        m_source = gst_rtsp_server_attach(m_server, m_context);
        m_port = gst_rtsp_server_get_bound_port(m_server);
        m_thread = std::thread([this] {
            g_main_context_push_thread_default(m_context);
            g_main_loop_run(m_loop);
            g_main_context_pop_thread_default(m_context);
        });
    }

    /// Goes away: closes every connection and the port.
    void stop() {
        runInLoop([](gpointer self) -> gboolean {
            auto* const server = static_cast<RtspServer*>(self);
            g_source_destroy(g_main_context_find_source_by_id(server->m_context, server->m_source));
            GList* const clients = gst_rtsp_server_client_filter(
                server->m_server,
                [](GstRTSPServer*, GstRTSPClient*, gpointer) { return GST_RTSP_FILTER_REMOVE; },
                nullptr);
            g_list_free_full(clients, g_object_unref);
            GstRTSPSessionPool* const pool = gst_rtsp_server_get_session_pool(server->m_server);
            GList* const sessions = gst_rtsp_session_pool_filter(
                pool,
                [](GstRTSPSessionPool*, GstRTSPSession*, gpointer) {
                    return GST_RTSP_FILTER_REMOVE;
                },
                nullptr);
            g_list_free_full(sessions, g_object_unref);
            g_object_unref(pool);
            g_main_loop_quit(server->m_loop);
            return G_SOURCE_REMOVE;
        });
        m_thread.join();
        g_object_unref(m_server);
        m_server = nullptr;
        g_main_loop_unref(m_loop);
        g_main_context_unref(m_context);
    }

    [[nodiscard]] std::string uri(const std::string& path = "live",
                                  const std::string& user = "") const {
        return "rtsp://" + user + "127.0.0.1:" + std::to_string(m_port) + "/" + path;
    }

  private:
    void runInLoop(GSourceFunc function) {
        GSource* const source = g_idle_source_new();
        g_source_set_callback(source, function, this, nullptr);
        g_source_attach(source, m_context);
        g_source_unref(source);
    }

    GMainContext* m_context = nullptr;
    GMainLoop* m_loop = nullptr;
    GstRTSPServer* m_server = nullptr;
    guint m_source = 0;
    int m_port = 0; // 0: any free one
    std::thread m_thread;
};

} // namespace testing_support
