// A small RTSP server on the loopback interface for the plugin's tests and examples: serves one launch line at
// rtsp://127.0.0.1:PORT/cam on a free port (printed as the first line of standard output) and stops after a
// number of seconds.
//   rtsp_serve SECONDS 'LAUNCH LINE ending in a payloader named pay0'
#include <gst/gst.h>
#include <gst/rtsp-server/rtsp-server.h>

#include <cstdio>
#include <cstdlib>
#include <string>

static gboolean stop(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop *>(loop));
  return G_SOURCE_REMOVE;
}

int main(int argc, char **argv) {
  gst_init(&argc, &argv);
  if (argc != 3 || std::atoi(argv[1]) <= 0) {
    std::fprintf(stderr, "usage: rtsp_serve SECONDS 'LAUNCH LINE with a payloader named pay0'\n");
    return 2;
  }
  GMainLoop *loop = g_main_loop_new(nullptr, FALSE);
  GstRTSPServer *server = gst_rtsp_server_new();
  gst_rtsp_server_set_address(server, "127.0.0.1");
  gst_rtsp_server_set_service(server, "0");  // a free port, chosen by the system
  GstRTSPMediaFactory *factory = gst_rtsp_media_factory_new();
  gst_rtsp_media_factory_set_launch(factory, (std::string("( ") + argv[2] + " )").c_str());
  gst_rtsp_media_factory_set_shared(factory, TRUE);
  GstRTSPMountPoints *mounts = gst_rtsp_server_get_mount_points(server);
  gst_rtsp_mount_points_add_factory(mounts, "/cam", factory);
  g_object_unref(mounts);
  if (gst_rtsp_server_attach(server, nullptr) == 0) {
    std::fprintf(stderr, "rtsp_serve: cannot listen on 127.0.0.1\n");
    return 1;
  }
  std::printf("rtsp://127.0.0.1:%d/cam\n", gst_rtsp_server_get_bound_port(server));
  std::fflush(stdout);
  g_timeout_add_seconds(guint(std::atoi(argv[1])), stop, loop);
  g_main_loop_run(loop);
  g_object_unref(server);
  g_main_loop_unref(loop);
  return 0;
}
