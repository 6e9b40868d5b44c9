// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Asks a service in the same process for something and checks the answer.

#include <velp/bus/Participant.h>
#include <velp/bus/VelpBusProxy.h>
#include <velpmsg/VelpMsgSender.h>

#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr auto getEventList = VelpClientMessageBase::MSG_GET_EVENT_LIST;

// Answers every request with one byte, through a participant of its own.
class Service : public VelpBusProxyCallback {
 public:
  Service() {
    participant.setCallBack(*this);
    participant.connect("Service", "inproc:");
  }
  ~Service() override { participant.removeCallBack(*this); }

  void velpBusProxyCb(const MessageBase*, const std::string& source, const std::string&) override {
    VelpClientMessageResponse response(getEventList, VelpClientMessageResponse::STATUS_OK);
    response.setPayload({42});
    participant.sendTo(source, response);
  }
  void velpBusProxyStatusCb(StatusCBType_t, int, const std::string&) override {}

 private:
  velp::Participant participant;
};

}  // namespace

int main() {
  Service service;
  VelpBusProxy::getInstance()->connect("Client", "inproc:");

  const VelpClientMessageRequest request(getEventList, nullptr, 0);
  VelpClientMessageResponse response;
  const int result =
      VelpMsgSender::getInstance()->sendRequestWaitForResponse("Service", request, response, 20);

  if (result != 0 || response.getPayload() != std::vector<unsigned char>{42}) {
    std::cerr << "result " << result << ", response " << response << "\n";
    return 1;
  }
  return 0;
}
