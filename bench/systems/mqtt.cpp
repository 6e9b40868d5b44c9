// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// MQTT 5 through mosquitto: quality of service 0 over a socket in the file system. A request names
// the topic of its response and carries data that finds it again.
//
// One thread does everything: it sends directly, and receives when the socket is readable.
#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/harness/harness.h"

namespace {

using namespace velp::bench;

constexpr const char* topic = "velp/bench";
constexpr int keepAlive = 3600;  // seconds
constexpr int withoutPort = 0;   // the address is a path
constexpr int atMostOnce = 0;    // quality of service
constexpr int packetsPerLook = 100;

void check(int result, const char* what) {
  if (result != MOSQ_ERR_SUCCESS) {
    throw std::runtime_error(std::string(what) + ": " + mosquitto_strerror(result));
  }
}

// The properties of one message.
class Properties {
 public:
  Properties() = default;
  ~Properties() { mosquitto_property_free_all(&list); }
  Properties(const Properties&) = delete;
  Properties& operator=(const Properties&) = delete;
  void setResponseTopic(const char* name) {
    check(mosquitto_property_add_string(&list, MQTT_PROP_RESPONSE_TOPIC, name), "response topic");
  }
  void setCorrelation(const void* data, std::uint16_t size) {
    check(mosquitto_property_add_binary(&list, MQTT_PROP_CORRELATION_DATA, data, size),
          "correlation data");
  }
  const mosquitto_property* get() const { return list; }

 private:
  mosquitto_property* list = nullptr;
};

class Client {
 public:
  using OnMessage = std::function<void(View bytes, const mosquitto_property* properties)>;

  explicit Client(const std::string& address) : client(mosquitto_new(nullptr, true, this)) {
    if (client == nullptr) throw std::runtime_error("mosquitto_new");
    check(mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5), "version 5");
    mosquitto_connect_v5_callback_set(
        client, [](mosquitto*, void* self, int, int, const mosquitto_property*) {
          static_cast<Client*>(self)->acknowledged = true;
        });
    mosquitto_subscribe_v5_callback_set(
        client, [](mosquitto*, void* self, int, int, const int*, const mosquitto_property*) {
          static_cast<Client*>(self)->acknowledged = true;
        });
    mosquitto_message_v5_callback_set(
        client, [](mosquitto*, void* self, const mosquitto_message* message,
                   const mosquitto_property* properties) {
          static_cast<Client*>(self)->onMessage(
              {message->payload, static_cast<std::size_t>(message->payloadlen)}, properties);
        });
    check(mosquitto_connect(client, address.c_str(), withoutPort, keepAlive), "mosquitto_connect");
    waitForAcknowledgement();
  }
  ~Client() {
    mosquitto_disconnect(client);
    mosquitto_destroy(client);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // From now on messages of the topic arrive.
  void subscribe(const char* name, OnMessage handler) {
    onMessage = std::move(handler);
    check(mosquitto_subscribe(client, nullptr, name, atMostOnce), "mosquitto_subscribe");
    waitForAcknowledgement();
  }

  void publish(const char* name, const Bytes& bytes, const Properties& properties) {
    check(mosquitto_publish_v5(client, nullptr, name, static_cast<int>(bytes.size()), bytes.data(),
                               atMostOnce, false, properties.get()),
          "mosquitto_publish_v5");
  }

  // Waits, then handles what has come and sends what had to wait.
  void look() {
    const short events = mosquitto_want_write(client) ? POLLIN | POLLOUT : POLLIN;
    pollfd ready = {mosquitto_socket(client), events, 0};
    if (poll(&ready, 1, -1) < 0) throw std::runtime_error("poll");
    if ((ready.revents & ~POLLOUT) != 0) {
      check(mosquitto_loop_read(client, packetsPerLook), "mosquitto_loop_read");
    }
    if (mosquitto_want_write(client))
      check(mosquitto_loop_write(client, 1), "mosquitto_loop_write");
  }

  bool wantsToWrite() const { return mosquitto_want_write(client); }

 private:
  void waitForAcknowledgement() {
    while (!acknowledged) look();
    acknowledged = false;
  }

  mosquitto* const client;
  OnMessage onMessage;
  bool acknowledged = false;
};

void reply(Client& client, const Bytes& answer, const mosquitto_property* request) {
  char* name = nullptr;
  void* data = nullptr;
  std::uint16_t size = 0;
  mosquitto_property_read_string(request, MQTT_PROP_RESPONSE_TOPIC, &name, false);
  mosquitto_property_read_binary(request, MQTT_PROP_CORRELATION_DATA, &data, &size, false);
  const std::unique_ptr<char, decltype(&std::free)> nameOwner(name, std::free);
  const std::unique_ptr<void, decltype(&std::free)> dataOwner(data, std::free);
  if (name == nullptr || data == nullptr) return;
  Properties properties;
  properties.setCorrelation(data, size);
  client.publish(name, answer, properties);
}

void serve(const Options& options) {
  Client client(options.address);
  Answer answer(options.answer);
  client.subscribe(topic, [&](View request, const mosquitto_property* properties) {
    reply(client, answer.to(request), properties);
  });
  std::thread([&] {
    for (;;) client.look();
  }).detach();
  serveUntilEnd();
  std::_Exit(0);
}

bool answers(const mosquitto_property* properties, std::uint64_t number) {
  void* data = nullptr;
  std::uint16_t size = 0;
  mosquitto_property_read_binary(properties, MQTT_PROP_CORRELATION_DATA, &data, &size, false);
  const std::unique_ptr<void, decltype(&std::free)> owner(data, std::free);
  return size == sizeof number && std::memcmp(data, &number, size) == 0;
}

void ask(const Options& options) {
  Client client(options.address);
  const std::string responses = std::string(topic) + "/" + std::to_string(getpid());
  std::uint64_t number = 0;
  Bytes answer;
  bool answered = false;
  client.subscribe(responses.c_str(), [&](View bytes, const mosquitto_property* properties) {
    if (!answers(properties, number)) return;
    const auto* begin = static_cast<const unsigned char*>(bytes.data);
    answer.assign(begin, begin + bytes.size);
    answered = true;
  });
  measure(options, [&](const Bytes& request) {
    ++number;
    Properties properties;
    properties.setResponseTopic(responses.c_str());
    properties.setCorrelation(&number, sizeof number);
    client.publish(topic, request, properties);
    answered = false;
    while (!answered) client.look();
    return View{answer.data(), answer.size()};
  });
}

void count(const Options& options) {
  Client client(options.address);
  Tally tally(options.count);
  client.subscribe(topic, [&](View, const mosquitto_property*) { tally.add(); });
  std::thread([&] {
    for (;;) client.look();
  }).detach();
  tally.report();
  std::_Exit(0);
}

// What the socket does not take at once waits in the library, so look after it before it piles up.
void send(const Options& options) {
  Client client(options.address);
  const Properties none;
  sendAll(options, [&](const Bytes& message) {
    while (client.wantsToWrite()) client.look();
    client.publish(topic, message, none);
    return true;
  });
  while (client.wantsToWrite()) client.look();
}

}  // namespace

int main(int argc, char** argv) {
  return run(argc, argv, {serve, ask, count, send});
}
