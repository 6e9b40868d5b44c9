// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the sender's tests share: this process as "Client" on a bus with one peer, "Service".
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Peer.h"
#include "support/LogCapture.h"
#include "support/fixedTexts.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/message/SystemMessage.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {

using Request = VelpClientMessageRequest;
using Response = VelpClientMessageResponse;
using Bytes = std::vector<unsigned char>;

constexpr auto eventList = VelpClientMessageBase::MSG_GET_EVENT_LIST;

inline Response makeResponse(VelpClientMessageBase::velpMsgID_t id, Response::msgStatus_t status,
                             const Bytes& payload = {}) {
  Response response(id, status);
  response.setPayload(payload);
  return response;
}

class SenderFixture : public testing::Test {
 protected:
  SenderFixture() { VelpBusProxy::getInstance()->connect("Client", senderBus); }
  ~SenderFixture() override {
    service.leave();
    VelpBusProxy::getInstance()->disconnect();
    sut().traceLevel = 0;
  }

  static VelpMsgSender& sut() { return *VelpMsgSender::getInstance(); }

  /// What the service receives from one call of the sender.
  Response received() { return service.next<Response>(); }

  /// Lets the service answer every request with these, in this order.
  void answerWith(const std::vector<Response>& responses) {
    service.onRequest([this, responses](const Request&) {
      for (const Response& response : responses) service.sendTo("Client", response);
    });
  }

  LogCapture capture;
  Peer service{"Service"};
  const Request request{eventList, nullptr, 0};
  Response response;
};

}  // namespace velp::test
