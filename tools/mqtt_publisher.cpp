#include "mqtt_publisher.h"

#include <unistd.h>

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
  mosquitto_reconnect_delay_set(mosq_, 1, 30, true);
  // The network thread connects, and reconnects whenever the broker goes away, also when it is not there yet.
  mosquitto_connect_async(mosq_, address_.host.c_str(), address_.port, 30);
  if (mosquitto_loop_start(mosq_) != MOSQ_ERR_SUCCESS) runtime_error("--mqtt: cannot start the MQTT client");
}

MqttPublisher::~MqttPublisher() {
  if (mosq_) {
    mosquitto_disconnect(mosq_);
    mosquitto_loop_stop(mosq_, true);
    mosquitto_destroy(mosq_);
  }
  mosquitto_lib_cleanup();
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
    std::fprintf(stderr, "vorn: mqtt: lost the broker %s:%d; events are queued until it is back\n",
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
