// Live inputs against real servers on the loopback interface: an HTTP/MPEG-TS stream served by ffmpeg (stopped and
// started again mid-run), a pipe into standard input, Ctrl-C, and events to a mosquitto broker that restarts. Every
// server runs on a free port of 127.0.0.1 and every wait is bounded.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <sstream>
#include <vector>

#include "error.h"
#include "json.h"
#include "mqtt_publisher.h"
#include "tool_test_util.h"
#include "video_reader.h"

namespace {

using tool_test::Process;

std::vector<vt::Json> events_in(const std::string &path) {
  EXPECT_EQ(tool_test::schema_failures(path), "");
  std::vector<vt::Json> out;
  const std::string text = tool_test::read_text(path);
  for (size_t pos = 0; pos < text.size();) {
    const size_t nl = text.find('\n', pos);
    if (nl == std::string::npos) break;
    out.push_back(vt::parse_json(text.substr(pos, nl - pos), path));
    pos = nl + 1;
  }
  return out;
}

int64_t count_kind(const std::vector<vt::Json> &events, const std::string &kind) {
  return std::count_if(events.begin(), events.end(), [&](const vt::Json &e) { return e.find("kind")->text == kind; });
}

// The built-in scene as an MPEG-TS file, `frames` long, made once per test.
std::string scene_ts(const std::string &dir, int frames) {
  const std::string path = dir + "/scene.ts";
  EXPECT_EQ(tool_test::run_tool("scene " + path + " --quiet --frames " + std::to_string(frames)).status, 0);
  return path;
}

std::string http_server(const std::string &file, int port, double rate) {
  return "exec ffmpeg -nostdin -loglevel quiet -readrate " + std::to_string(rate) + " -i " + file +
         " -c copy -f mpegts -listen 1 http://127.0.0.1:" + std::to_string(port) + "/scene.ts";
}

TEST(Live, AStreamThatDropsIsReopenedAndTheAnalyticsGoOn) {
  const std::string dir = tool_test::scratch_dir();
  const std::string ts = scene_ts(dir, 150);
  const int port = tool_test::free_port();
  const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/scene.ts";
  auto server = std::make_unique<Process>(http_server(ts, port, 2.0));
  ASSERT_TRUE(tool_test::wait_listening(port, 10));
  Process vorn(std::string(VORN_TOOL_EXE) + " bgsub " + url + " --frames 110 --stall-timeout 3 --reconnect-delay 0.3" +
               " --events " + dir + "/ev.jsonl >" + dir + "/out 2>" + dir + "/err");
  // Served at twice the frame rate: a second after the program connected, the server goes away and comes back a
  // moment later.
  ASSERT_TRUE(tool_test::wait_listening(port, 30, "01"));
  usleep(1000000);
  server->signal(SIGKILL);
  server->wait(5);
  usleep(500000);
  server = std::make_unique<Process>(http_server(ts, port, 2.0));
  ASSERT_EQ(vorn.wait(120), 0) << tool_test::read_text(dir + "/err");
  const std::vector<vt::Json> ev = events_in(dir + "/ev.jsonl");
  ASSERT_EQ(count_kind(ev, "source_lost"), 1) << tool_test::read_text(dir + "/ev.jsonl");
  ASSERT_EQ(count_kind(ev, "source_back"), 1);
  // The model learned once: it kept its state across the gap. All 110 frames were analysed, so reading went on.
  EXPECT_EQ(count_kind(ev, "learned"), 1);
  EXPECT_NE(tool_test::read_text(dir + "/out").find("110 frames in"), std::string::npos) << tool_test::read_text(dir + "/out");
  int64_t lost_at = -1, last = -1;
  double last_time = -1;
  for (const vt::Json &e : ev) {
    const std::string kind = e.find("kind")->text;
    // Live events carry wall-clock time with its offset; numbering and stream time keep growing.
    ASSERT_NE(e.find("wall_time"), nullptr);
    EXPECT_EQ(e.find("wall_time")->text.size(), std::string("2026-11-25T01:16:55.653+00:00").size());
    EXPECT_GE(e.find("frame")->number, last);
    EXPECT_GE(e.find("time")->number, last_time);
    last = static_cast<int64_t>(e.find("frame")->number);
    last_time = e.find("time")->number;
    EXPECT_EQ(e.find("stream_name")->text, url);
    if (kind == "source_lost") {
      lost_at = last;
      EXPECT_EQ(e.find("analytic")->text, "source");
      EXPECT_GT(lost_at, 10);
      EXPECT_LT(lost_at, 110);
    }
    if (kind == "source_back") {
      EXPECT_EQ(last, lost_at);
    }
  }
  server->signal(SIGKILL);
}

TEST(Live, InterruptEndsCleanlyWithOutputsComplete) {
  const std::string dir = tool_test::scratch_dir();
  const std::string ts = scene_ts(dir, 150);
  // Standard input, fed in real time by a pipe; Ctrl-C reaches the whole pipeline as in a terminal.
  // The shell ignores the signal (its children set their own handlers), so its status is the program's.
  Process run("trap '' INT; ffmpeg -nostdin -loglevel quiet -re -i " + ts + " -c copy -f mpegts - | " + VORN_TOOL_EXE +
              " bgsub - --codec mpeg4 --annotate " + dir + "/a.mp4 --events " + dir + "/ev.jsonl >" + dir + "/out 2>" +
              dir + "/err");
  // Interrupted while a motion segment is open.
  for (int i = 0; i < 600 && tool_test::read_text(dir + "/ev.jsonl").find("motion_start") == std::string::npos; ++i)
    usleep(50000);
  run.signal(SIGINT);
  ASSERT_EQ(run.wait(30), 0) << tool_test::read_text(dir + "/err");
  const std::string summary = tool_test::read_text(dir + "/out");
  EXPECT_NE(summary.find("interrupted"), std::string::npos) << summary;
  const std::vector<vt::Json> ev = events_in(dir + "/ev.jsonl");
  // Every motion segment opened was closed, and the annotated video is whole: its frames read back.
  EXPECT_GE(count_kind(ev, "motion_start"), 1);
  EXPECT_EQ(count_kind(ev, "motion_start"), count_kind(ev, "motion_end"));
  vt::VideoReader annotated(dir + "/a.mp4");
  vt::Frame f;
  int64_t n = 0;
  while (annotated.next(f)) ++n;
  EXPECT_GT(n, 25);
  EXPECT_LT(n, 150);
  EXPECT_EQ(annotated.problem(), "");
  EXPECT_NE(summary.find(std::to_string(n) + " frames in"), std::string::npos) << summary;
}

std::string broker(const std::string &dir, int port) {
  std::ofstream conf(dir + "/mosquitto.conf");
  conf << "listener " << port << " 127.0.0.1\nallow_anonymous true\npersistence true\npersistence_location " << dir
       << "/\n";
  conf.close();
  return "exec mosquitto -c " + dir + "/mosquitto.conf >>" + dir + "/broker.log 2>&1";
}

TEST(Mqtt, EventsReachTheBrokerAcrossItsRestart) {
  const std::string dir = tool_test::scratch_dir();
  const std::string ts = scene_ts(dir, 150);
  const int port = tool_test::free_port();
  auto mosq = std::make_unique<Process>(broker(dir, port));
  ASSERT_TRUE(tool_test::wait_listening(port, 10));
  // A subscriber with a lasting session: the broker keeps what arrives for it while it is away.
  const std::string sub = "exec mosquitto_sub -h 127.0.0.1 -p " + std::to_string(port) +
                          " -q 1 -c -i vorn-test-sub -v -t 'site/#' >" + dir + "/got";
  auto subscriber = std::make_unique<Process>(sub);
  usleep(500000);
  Process run("ffmpeg -nostdin -loglevel quiet -readrate 2 -i " + ts + " -c copy -f mpegts - | " + VORN_TOOL_EXE +
              " track - --quiet --mqtt mqtt://127.0.0.1:" + std::to_string(port) + "/site --events " + dir +
              "/ev.jsonl 2>" + dir + "/err");
  // Once the first events went out the broker stops, and comes back a moment later.
  for (int i = 0; i < 600 && tool_test::read_text(dir + "/ev.jsonl").empty(); ++i) usleep(50000);
  mosq->signal(SIGTERM);  // saves the sessions and their queues
  mosq->wait(10);
  usleep(1500000);
  mosq = std::make_unique<Process>(broker(dir, port));
  ASSERT_EQ(run.wait(90), 0) << tool_test::read_text(dir + "/err");
  const std::string err = tool_test::read_text(dir + "/err");
  EXPECT_NE(err.find("vorn: mqtt: the broker 127.0.0.1:" + std::to_string(port) + " is away"), std::string::npos) << err;
  EXPECT_NE(err.find("vorn: mqtt: connected to 127.0.0.1:" + std::to_string(port) + " again"), std::string::npos)
      << err;
  const std::vector<vt::Json> ev = events_in(dir + "/ev.jsonl");
  ASSERT_GT(ev.size(), 4u);
  // Every event arrives once the subscriber is back, each as one JSON object under TOPIC/STREAM/ANALYTIC.
  std::vector<std::string> got;
  for (int i = 0; i < 200; ++i) {
    std::istringstream lines(tool_test::read_text(dir + "/got"));
    got.clear();
    for (std::string line; std::getline(lines, line);) got.push_back(line);
    if (got.size() >= ev.size()) break;
    usleep(50000);
  }
  ASSERT_EQ(got.size(), ev.size()) << tool_test::read_text(dir + "/got");
  std::vector<std::string> sent, received;
  for (const std::string &line : got) {
    EXPECT_EQ(line.rfind("site/-/track {", 0), 0u) << line;
    received.push_back(line.substr(line.find(' ') + 1));
  }
  std::istringstream file(tool_test::read_text(dir + "/ev.jsonl"));
  for (std::string line; std::getline(file, line);) sent.push_back(line);
  std::sort(sent.begin(), sent.end());
  std::sort(received.begin(), received.end());
  EXPECT_EQ(sent, received);
  subscriber->signal(SIGTERM);
  mosq->signal(SIGTERM);
}

TEST(Mqtt, WithoutABrokerTheQueueKeepsTheNewestAndTheRunSaysSo) {
  const int port = tool_test::free_port();
  tool_test::Run r = tool_test::run_tool("bgsub --frames 70 --quiet --events /dev/null --mqtt-queue 1 --mqtt-linger 0.5"
                                         " --mqtt mqtt://127.0.0.1:" + std::to_string(port) + "/site");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("vorn: mqtt: the queue of 1 events is full; the oldest are dropped"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find(" events dropped while the broker was away, 1 not delivered at the end"), std::string::npos)
      << r.err;
  EXPECT_EQ(tool_test::run_tool("track --mqtt mqtt://127.0.0.1/ --frames 1").status, 2);
  EXPECT_EQ(tool_test::run_tool("track --mqtt http://127.0.0.1/x --frames 1").status, 2);
}

}  // namespace

namespace {

TEST(Mqtt, AddressesAndTopicLevels) {
  vt::MqttAddress a = vt::parse_mqtt_url("mqtt://broker.local/site/gate", "--mqtt");
  EXPECT_EQ(a.host, "broker.local");
  EXPECT_EQ(a.port, 1883);
  EXPECT_EQ(a.topic, "site/gate");
  a = vt::parse_mqtt_url("mqtt://[::1]:1884/t", "--mqtt");
  EXPECT_EQ(a.host, "::1");
  EXPECT_EQ(a.port, 1884);
  a = vt::parse_mqtt_url("mqtt://10.0.0.2:8883/t", "--mqtt");
  EXPECT_EQ(a.host, "10.0.0.2");
  EXPECT_EQ(a.port, 8883);
  for (const char *bad : {"mqtt://h/", "mqtt://h", "mqtt://:1883/t", "mqtt://h:0/t", "mqtt://h:x/t", "mqtt://h/a/#",
                          "tcp://h/t"}) {
    try {
      vt::parse_mqtt_url(bad, "--mqtt");
      ADD_FAILURE() << bad << " accepted";
    } catch (const vt::ToolError &e) {
      EXPECT_EQ(e.code(), vt::kExitUsage) << bad;
      EXPECT_EQ(std::string(e.what()).rfind("--mqtt: ", 0), 0u) << e.what();
    }
  }
  EXPECT_EQ(vt::topic_level("rtsp://10.0.0.7/live"), "rtsp:__10.0.0.7_live");
  EXPECT_EQ(vt::topic_level("a+b#c\n"), "a_b_c_");
  EXPECT_EQ(vt::topic_level(""), "_");
}

}  // namespace
