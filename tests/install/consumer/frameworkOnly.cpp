// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Uses the framework without the messaging library: a message crosses a bus inside the process.

#include <velp/bus/Participant.h>
#include <velp/message/VelpClientMessageRequest.h>

#include <chrono>
#include <future>
#include <string>

namespace {

class Receiver : public VelpBusProxyCallback {
 public:
  void velpBusProxyCb(const MessageBase*, const std::string& source, const std::string&) override {
    received.set_value(source);
  }
  void velpBusProxyStatusCb(StatusCBType_t, int, const std::string&) override {}

  std::promise<std::string> received;
};

}  // namespace

int main() {
  Receiver receiver;
  std::future<std::string> source = receiver.received.get_future();
  velp::Participant target;
  velp::Participant sender;
  target.setCallBack(receiver);
  target.connect("Target", "inproc:");
  sender.connect("Sender", "inproc:");

  const VelpClientMessageRequest request(VelpClientMessageBase::MSG_REMOVE_DATA, nullptr, 0);
  const bool right = sender.sendTo("Target", request) &&
                     source.wait_for(std::chrono::seconds(20)) == std::future_status::ready &&
                     source.get() == "Sender";
  target.removeCallBack(receiver);
  return right ? 0 : 1;
}
