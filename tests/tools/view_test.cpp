// `vorn view` refuses bad input before serving, with one message and exit status: a missing video, a trajectory
// file the recorder's loader refuses or of a longer video, events of another video, a port in use, and a bad
// command line.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

#include "tool_test_util.h"

namespace {

using tool_test::run_tool;

void expect_failure(const tool_test::Run &r, int status, const std::string &part) {
  EXPECT_EQ(r.status, status) << r.err;
  EXPECT_NE(r.err.find(part), std::string::npos) << r.err;
  EXPECT_EQ(r.out, "");  // the address is printed only once the server listens
}

TEST(View, BadInputStopsWithAMessage) {
  const std::string dir = tool_test::scratch_dir();
  expect_failure(run_tool("view --quiet " + dir + "/missing.mp4"), 1, "input '" + dir + "/missing.mp4' does not exist");

  // Trajectories: a file cut short, and a good file recorded over more frames than the video gives.
  ASSERT_EQ(run_tool("trajectories --quiet --frames 40 --save " + dir + "/t.vbct").status, 0);
  const std::string whole = tool_test::read_text(dir + "/t.vbct");
  std::ofstream(dir + "/cut.vbct", std::ios::binary) << whole.substr(0, whole.size() - 3);
  expect_failure(run_tool("view --quiet @scene --frames 40 --trajectories " + dir + "/cut.vbct"), 1,
                 "'" + dir + "/cut.vbct' is not a trajectory recording of this video");
  expect_failure(run_tool("view --quiet @scene --frames 30 --trajectories " + dir + "/t.vbct"), 1,
                 "recorded over 40 frames, but built-in scene has 30: they belong to another video");
  expect_failure(run_tool("view --quiet @scene --frames 40 --trajectories " + dir + "/none.vbct"), 1,
                 "cannot read the trajectories '" + dir + "/none.vbct'");

  // Events: the scene runs at 25 frames a second, so frame 10 is at 0.4 s; a frame past the end or another time
  // means another video. Line 2 is the culprit in both files.
  const std::string good = R"({"stream":0,"frame":10,"time":0.400,"analytic":"guard","kind":"trigger"})" "\n";
  std::ofstream(dir + "/late.jsonl") << good << R"({"frame":40,"time":1.600,"analytic":"a","kind":"k"})" "\n";
  std::ofstream(dir + "/slow.jsonl") << good << R"({"frame":20,"time":2.000,"analytic":"a","kind":"k"})" "\n";
  std::ofstream(dir + "/junk.jsonl") << good << "{\"frame\":20}\n";
  const std::string view = "view --quiet @scene --frames 40 --trajectories " + dir + "/t.vbct --events " + dir;
  expect_failure(run_tool(view + "/late.jsonl"), 1,
                 dir + "/late.jsonl:2: an event at frame 40, but built-in scene has 40 frames: these are the events "
                 "of another video");
  expect_failure(run_tool(view + "/slow.jsonl"), 1,
                 dir + "/slow.jsonl:2: an event at frame 20, 2.000 s, but that frame of built-in scene is at 0.800 s");
  expect_failure(run_tool(view + "/junk.jsonl"), 1, dir + "/junk.jsonl:2: not an event of `vorn` (no number \"time\")");

  // The command line.
  expect_failure(run_tool("view a.mp4 b.mp4"), 2, "view: give one video (found 2)");
  expect_failure(run_tool("view a.mp4 --port 0"), 2, "--port: '0' is not a whole number in 1..65535");
  expect_failure(run_tool("view a.mp4 --colour red"), 2, "view: unknown option '--colour'");
  // With no video the demo's outputs are shown; in a directory without them the message says how to make them.
  const std::string cmd = "cd " + dir + " && " + VORN_TOOL_EXE + " view >" + dir + "/o 2>" + dir + "/e";
  const int raw = std::system(cmd.c_str());
  EXPECT_EQ(WEXITSTATUS(raw), 1);
  EXPECT_NE(tool_test::read_text(dir + "/e").find("run `make demo`"), std::string::npos);
}

TEST(View, PortInUseIsNamed) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa), 0);
  ASSERT_EQ(listen(fd, 1), 0);
  socklen_t len = sizeof sa;
  getsockname(fd, reinterpret_cast<sockaddr *>(&sa), &len);
  const std::string port = std::to_string(ntohs(sa.sin_port));
  expect_failure(run_tool("view --quiet @scene --frames 20 --port " + port), 1,
                 "cannot listen on 127.0.0.1:" + port + ": the port is in use");
  close(fd);
}

}  // namespace
