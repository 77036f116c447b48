#include "mqtt_publisher.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <mosquitto.h>

#include "error.h"

namespace vt {

namespace {

// Messages handed to libmosquitto and not yet acknowledged, at most: the rest wait in our own queue, where the
// bound applies.
constexpr int64_t kMaxInFlight = 200;

}  // namespace

MqttAddress parse_mqtt_url(const std::string &url, const std::string &what) {
  const std::string scheme = "mqtt://";
  if (url.compare(0, scheme.size(), scheme) != 0) usage_error(what + ": '" + url + "' is not mqtt://HOST[:PORT]/TOPIC");
  const std::string rest = url.substr(scheme.size());
  const size_t slash = rest.find('/');
  if (slash == std::string::npos || slash + 1 >= rest.size())
    usage_error(what + ": '" + url + "' names no topic (mqtt://HOST[:PORT]/TOPIC)");
  MqttAddress a;
  a.topic = rest.substr(slash + 1);
  std::string host = rest.substr(0, slash), port;
  // [v6:address]:port, or name:port
  const size_t close = host[0] == '[' ? host.find(']') : std::string::npos;
  const size_t colon = host.find(':', close == std::string::npos ? 0 : close);
  if (colon != std::string::npos) {
    port = host.substr(colon + 1);
    host = host.substr(0, colon);
  }
  if (close != std::string::npos) host = host.substr(1, close - 1);
  if (host.empty()) usage_error(what + ": '" + url + "' names no host");
  if (colon != std::string::npos) {
    char *end = nullptr;
    long p = std::strtol(port.c_str(), &end, 10);
    if (port.empty() || *end || p < 1 || p > 65535) usage_error(what + ": '" + port + "' is not a port number");
    a.port = static_cast<int>(p);
  }
  a.host = host;
  if (a.topic.find_first_of("+#") != std::string::npos) usage_error(what + ": a topic to publish to holds no '+' or '#'");
  return a;
}

std::string topic_level(const std::string &name) {
  std::string out = name;
  for (char &c : out)
    if (c == '/' || c == '+' || c == '#' || static_cast<unsigned char>(c) < 0x20) c = '_';
  return out.empty() ? "_" : out;
}

MqttPublisher::MqttPublisher(const std::string &url, size_t queue_limit)
    : address_(parse_mqtt_url(url, "--mqtt")), limit_(queue_limit) {
  mosquitto_lib_init();
  const std::string id = "vorn-" + std::to_string(getpid());
  mosq_ = mosquitto_new(id.c_str(), true, this);
  if (!mosq_) runtime_error("--mqtt: cannot create an MQTT client");
  mosquitto_connect_callback_set(mosq_, on_connect);
  mosquitto_disconnect_callback_set(mosq_, on_disconnect);
  mosquitto_publish_callback_set(mosq_, on_publish);
  mosquitto_threaded_set(mosq_, true);  // publish() comes from the streams' threads
  thread_ = std::thread([this] { network(); });
}

MqttPublisher::~MqttPublisher() {
  closing_.store(true);
  if (thread_.joinable()) thread_.join();
  if (mosq_) mosquitto_destroy(mosq_);
  mosquitto_lib_cleanup();
}

void MqttPublisher::network() {
  bool have_socket = false, first = true;
  double delay = 1.0;
  auto pause = [this](double seconds) {
    for (double waited = 0; waited < seconds && !closing_.load(); waited += 0.05)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
  };
  while (!closing_.load()) {
    if (!have_socket) {
      const int rc = first ? mosquitto_connect(mosq_, address_.host.c_str(), address_.port, 30) : mosquitto_reconnect(mosq_);
      if (rc != MOSQ_ERR_SUCCESS) {
        on_disconnect(mosq_, this, rc);  // warns once per outage
        first = false;
        pause(delay);
        delay = std::min(delay * 2, 30.0);
        continue;
      }
      first = false;
      have_socket = true;
    }
    const int rc = mosquitto_loop(mosq_, 100, 1);
    if (rc == MOSQ_ERR_SUCCESS) {
      std::lock_guard<std::mutex> lock(mu_);
      if (connected_) delay = 1.0;
      continue;
    }
    have_socket = false;  // the disconnect callback ran, or the socket broke without one
    on_disconnect(mosq_, this, rc == MOSQ_ERR_NO_CONN ? MOSQ_ERR_CONN_LOST : rc);
    pause(delay);
    delay = std::min(delay * 2, 30.0);
  }
  if (have_socket) {
    mosquitto_disconnect(mosq_);
    for (int i = 0; i < 10 && mosquitto_loop(mosq_, 50, 1) == MOSQ_ERR_SUCCESS; ++i) {
    }
  }
}

void MqttPublisher::on_connect(mosquitto *, void *self, int rc) {
  auto *p = static_cast<MqttPublisher *>(self);
  std::lock_guard<std::mutex> lock(p->mu_);
  if (rc != 0) return;
  if (p->warned_) std::fprintf(stderr, "vorn: mqtt: connected to %s:%d again\n", p->address_.host.c_str(), p->address_.port);
  p->connected_ = true;
  p->warned_ = false;
  p->pump_locked();
}

void MqttPublisher::on_disconnect(mosquitto *, void *self, int rc) {
  auto *p = static_cast<MqttPublisher *>(self);
  std::lock_guard<std::mutex> lock(p->mu_);
  p->connected_ = false;
  if (rc != 0 && !p->warned_) {
    std::fprintf(stderr, "vorn: mqtt: the broker %s:%d is away; events are queued until it is back\n",
                 p->address_.host.c_str(), p->address_.port);
    p->warned_ = true;
  }
}

void MqttPublisher::on_publish(mosquitto *, void *self, int) {
  auto *p = static_cast<MqttPublisher *>(self);
  std::lock_guard<std::mutex> lock(p->mu_);
  if (p->in_flight_ > 0) --p->in_flight_;
  ++p->delivered_;
  p->pump_locked();
}

void MqttPublisher::pump_locked() {
  while (connected_ && !queue_.empty() && in_flight_ < kMaxInFlight) {
    const auto &m = queue_.front();
    int rc = mosquitto_publish(mosq_, nullptr, m.first.c_str(), static_cast<int>(m.second.size()), m.second.data(), 1,
                               false);
    if (rc != MOSQ_ERR_SUCCESS) {
      if (rc == MOSQ_ERR_NO_CONN) connected_ = false;
      return;
    }
    ++in_flight_;
    queue_.pop_front();
  }
}

void MqttPublisher::publish(const std::string &subtopic, const std::string &payload) {
  std::lock_guard<std::mutex> lock(mu_);
  queue_.emplace_back(address_.topic + "/" + subtopic, payload);
  if (queue_.size() > limit_) {
    queue_.pop_front();
    if (dropped_++ == 0)
      std::fprintf(stderr, "vorn: mqtt: the queue of %zu events is full; the oldest are dropped (counted at the end)\n",
                   limit_);
  }
  pump_locked();
}

int64_t MqttPublisher::close(double seconds) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (;;) {
    {
      std::lock_guard<std::mutex> lock(mu_);
      pump_locked();
      if ((queue_.empty() && in_flight_ == 0) || std::chrono::steady_clock::now() >= until)
        return static_cast<int64_t>(queue_.size()) + in_flight_;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

int64_t MqttPublisher::dropped() const {
  std::lock_guard<std::mutex> lock(mu_);
  return dropped_;
}

int64_t MqttPublisher::delivered() const {
  std::lock_guard<std::mutex> lock(mu_);
  return delivered_;
}

}  // namespace vt
