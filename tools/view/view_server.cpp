#include "view_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "error.h"
#include "web_assets.h"

namespace vt {

namespace {

const char *const kJson = "application/json";

// Why `host`:`port` cannot be bound, from a bind of our own (the server library only says that it failed).
std::string bind_failure(const std::string &host, int port) {
  in_addr addr{};
  if (inet_pton(AF_INET, host.c_str(), &addr) != 1) return "'" + host + "' is not an IPv4 address";
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return std::strerror(errno);
  int yes = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_port = htons(static_cast<uint16_t>(port));
  sa.sin_addr = addr;
  std::string why = "the server could not listen";
  if (::bind(fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa) != 0)
    why = errno == EADDRINUSE ? "the port is in use (choose another with --port, or leave --port out for a free one)"
                              : std::strerror(errno);
  close(fd);
  return why;
}

bool read_float(const httplib::Request &req, const char *name, float &out) {
  if (!req.has_param(name)) return false;
  const std::string v = req.get_param_value(name);
  char *end = nullptr;
  out = std::strtof(v.c_str(), &end);
  return !v.empty() && *end == '\0' && std::isfinite(out);
}

bool read_index(const std::string &text, int64_t limit, uint32_t &out) {
  char *end = nullptr;
  errno = 0;
  long long v = std::strtoll(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || errno == ERANGE || v < 0 || v >= limit) return false;
  out = static_cast<uint32_t>(v);
  return true;
}

std::string point_json(uint32_t frame, vorn_point2f p) {
  char b[96];
  std::snprintf(b, sizeof b, "{\"frame\":%u,\"x\":%.2f,\"y\":%.2f}", frame, p.x, p.y);
  return b;
}

}  // namespace

struct ViewServer::Impl {
  ViewContent c;
  httplib::Server http;
  std::string info_json;
};

ViewServer::ViewServer(const ViewContent &content) : impl_(new Impl) {
  Impl &m = *impl_;
  m.c = content;
  // Frames are cached by the browser under this run's token, so that a new run on the same port shows its own.
  const std::string token = std::to_string(std::random_device{}());
  m.info_json = nlohmann::json{{"title", m.c.title},
                                {"width", m.c.width},
                                {"height", m.c.height},
                                {"fps", m.c.fps},
                                {"frames", m.c.frames->size()},
                                {"trajectories", m.c.trajectories->count()},
                                {"token", token}}
                     .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  httplib::Server &s = m.http;
  // Answers go out at once: without this a reply written in two parts waits for the client's delayed ACK
  // (some 40 ms on Linux), longer than a drag answer may take.
  s.set_tcp_nodelay(true);
  // A drag is a stream of small requests: one connection serves them all rather than five each.
  s.set_keep_alive_max_count(100000);
  const ViewContent *c = &m.c;
  const std::string *info = &m.info_json;

  s.Get("/api/info", [info](const httplib::Request &, httplib::Response &res) { res.set_content(*info, kJson); });
  s.Get("/api/events", [c](const httplib::Request &, httplib::Response &res) {
    res.set_content(c->events_json, kJson);
  });
  s.Get(R"(/frame/(\d+)\.jpg)", [c](const httplib::Request &req, httplib::Response &res) {
    uint32_t k = 0;
    if (!read_index(req.matches[1], c->frames->size(), k)) {
      res.status = 404;
      return;
    }
    std::string jpeg = c->frames->jpeg(k);
    if (jpeg.empty()) {
      res.status = 500;
      return;
    }
    res.set_header("Cache-Control", "private, max-age=86400, immutable");
    res.set_content(std::move(jpeg), "image/jpeg");
  });
  s.Get(R"(/api/points/(\d+))", [c](const httplib::Request &req, httplib::Response &res) {
    uint32_t k = 0;
    if (!read_index(req.matches[1], c->frames->size(), k)) {
      res.status = 404;
      return;
    }
    res.set_content(c->trajectories->points_json(k), kJson);
  });
  // Press: the trajectory whose point at the frame is near enough, with its whole path.
  s.Post("/api/down", [c](const httplib::Request &req, httplib::Response &res) {
    uint32_t frame = 0, index = 0;
    float x = 0, y = 0;
    if (!req.has_param("frame") || !read_index(req.get_param_value("frame"), c->frames->size(), frame) ||
        !read_float(req, "x", x) || !read_float(req, "y", y)) {
      res.status = 400;
      return;
    }
    if (c->trajectories->down(frame, x, y, index))
      res.set_content("{\"index\":" + std::to_string(index) + ",\"path\":" + c->trajectories->path_json(index) + "}",
                      kJson);
    else
      res.set_content("{\"index\":null}", kJson);
  });
  // Drag: the frame at which the selected trajectory passes nearest the pointer.
  s.Post("/api/move", [c](const httplib::Request &req, httplib::Response &res) {
    float x = 0, y = 0;
    if (!read_float(req, "x", x) || !read_float(req, "y", y)) {
      res.status = 400;
      return;
    }
    uint32_t frame = 0;
    vorn_point2f p{};
    if (c->trajectories->move(x, y, frame, p)) res.set_content(point_json(frame, p), kJson);
    else res.set_content("{\"frame\":null}", kJson);
  });
  s.Post("/api/up", [c](const httplib::Request &, httplib::Response &res) {
    c->trajectories->up();
    res.set_content("{}", kJson);
  });
  s.Get(R"(/[a-z_]*\.(html|css|js)|/)", [](const httplib::Request &req, httplib::Response &res) {
    const WebAsset *a = find_web_asset(req.path.c_str());
    if (!a) {
      res.status = 404;
      return;
    }
    res.set_header("Cache-Control", "no-cache");
    res.set_content(a->body, std::strlen(a->body), a->type);
  });
}

ViewServer::~ViewServer() = default;

int ViewServer::bind(const std::string &host, int port) {
  Impl &m = *impl_;
  int bound = port;
  if (port == 0) bound = m.http.bind_to_any_port(host);
  else if (!m.http.bind_to_port(host, port)) bound = -1;
  if (bound <= 0) runtime_error("cannot listen on " + host + ":" + std::to_string(port) + ": " + bind_failure(host, port));
  return bound;
}

void ViewServer::run() {
  if (!impl_->http.listen_after_bind()) runtime_error("the web server stopped on a failure");
}

void ViewServer::stop() { impl_->http.stop(); }

}  // namespace vt
