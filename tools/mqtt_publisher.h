// Events to an MQTT broker through libmosquitto: one JSON object per message, QoS 1, under TOPIC/STREAM/ANALYTIC.
// The analysis never waits for the broker: messages are queued (bounded; the oldest are dropped and counted when
// it is full) while the broker is away, and a network thread of its own connects, and reconnects whenever the
// broker is away (also when it is not there at the start), 1 s after a failure, doubling to 30 s.
#ifndef VORN_TOOLS_MQTT_PUBLISHER_H
#define VORN_TOOLS_MQTT_PUBLISHER_H

#include <cstdint>
#include <atomic>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

struct mosquitto;

namespace vt {

struct MqttAddress {
  std::string host;
  int port = 1883;
  std::string topic;
};

// Parses mqtt://HOST[:PORT]/TOPIC; throws a usage error naming `what`.
MqttAddress parse_mqtt_url(const std::string &url, const std::string &what);

// A topic level made from a name: '/', '+', '#' and control characters become '_'.
std::string topic_level(const std::string &name);

class MqttPublisher {
 public:
  MqttPublisher(const std::string &url, size_t queue_limit);  // starts connecting; throws on a bad URL
  ~MqttPublisher();
  MqttPublisher(const MqttPublisher &) = delete;
  MqttPublisher &operator=(const MqttPublisher &) = delete;

  // Queues one message for TOPIC/`subtopic` and sends what the connection allows; never blocks on the network.
  void publish(const std::string &subtopic, const std::string &payload);
  // Waits up to `seconds` until everything queued was acknowledged, then disconnects. Returns how many messages
  // were not delivered (still queued or unacknowledged).
  int64_t close(double seconds);

  int64_t dropped() const;
  int64_t delivered() const;

 private:
  static void on_connect(mosquitto *, void *self, int rc);
  static void on_disconnect(mosquitto *, void *self, int rc);
  static void on_publish(mosquitto *, void *self, int mid);
  void pump_locked();
  void network();  // the network thread

  std::thread thread_;
  std::atomic<bool> closing_{false};
  MqttAddress address_;
  size_t limit_;
  mosquitto *mosq_ = nullptr;
  mutable std::mutex mu_;
  std::deque<std::pair<std::string, std::string>> queue_;  // (topic, payload) not yet handed to libmosquitto
  bool connected_ = false, warned_ = false;
  int64_t in_flight_ = 0, dropped_ = 0, delivered_ = 0;
};

}  // namespace vt

#endif
