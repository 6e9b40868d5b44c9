// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The other side of the sender's messages: a participant that keeps what it is sent.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "velp/bus/Participant.h"
#include "velp/message/VelpClientMessageRequest.h"

namespace velp::test {

constexpr const char* senderBus = "inproc:sender";

/// A participant of the tests' bus. Keeps messages in the order received, and passes requests to a
/// function on its reception thread.
class Peer : private VelpBusProxyCallback {
 public:
  using RequestFunction = std::function<void(const VelpClientMessageRequest&)>;

  explicit Peer(const std::string& name) {
    participant.setCallBack(*this);
    participant.connect(name, senderBus);
  }
  ~Peer() override { leave(); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  /// After this no function given to onRequest() runs any more.
  void leave() {
    participant.removeCallBack(*this);
    participant.disconnect();
  }

  void onRequest(RequestFunction function) {
    std::lock_guard<std::mutex> locker(mutex);
    requestFunction = std::move(function);
  }

  bool sendTo(const std::string& target, const MessageBase& message) {
    return participant.sendTo(target, message);
  }

  /// Takes the oldest message, which must be a Message; waits for it if none is there yet.
  template <typename Message>
  Message next() {
    const std::unique_ptr<MessageBase> message = take();
    const auto* wanted = dynamic_cast<const Message*>(message.get());
    if (wanted == nullptr) throw std::runtime_error("got another message or none in 20 s");
    return *wanted;
  }

 private:
  void velpBusProxyCb(const MessageBase* message, const std::string&, const std::string&) override {
    RequestFunction function;
    {
      std::lock_guard<std::mutex> locker(mutex);
      messages.emplace_back(message->clone());
      function = requestFunction;
    }
    arrived.notify_all();
    const auto* request = dynamic_cast<const VelpClientMessageRequest*>(message);
    if (request != nullptr && function) function(*request);
  }
  void velpBusProxyStatusCb(StatusCBType_t, int, const std::string&) override {}

  std::unique_ptr<MessageBase> take() {
    std::unique_lock<std::mutex> locker(mutex);
    const auto deadline = std::chrono::system_clock::now() + std::chrono::seconds(20);
    if (!arrived.wait_until(locker, deadline, [this] { return !messages.empty(); })) return nullptr;
    std::unique_ptr<MessageBase> first = std::move(messages.front());
    messages.pop_front();
    return first;
  }

  std::mutex mutex;
  std::condition_variable arrived;
  std::deque<std::unique_ptr<MessageBase>> messages;
  RequestFunction requestFunction;
  velp::Participant participant;
};

}  // namespace velp::test
