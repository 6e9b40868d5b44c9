// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the handler's tests share: this process as "Service" on a bus with one peer, "Client".
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "HandlerInside.h"
#include "support/Latch.h"
#include "support/LogCapture.h"
#include "support/fixedTexts.h"
#include "unit/sender/Peer.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/message/SystemMessage.h"
#include "velpmsg/VelpMsgHandler.h"

namespace velp::test {

using Request = VelpClientMessageRequest;
using Response = VelpClientMessageResponse;
using Bytes = std::vector<unsigned char>;
using velpMsgID_t = VelpClientMessageBase::velpMsgID_t;

constexpr auto eventList = VelpClientMessageBase::MSG_GET_EVENT_LIST;
constexpr auto removeData = VelpClientMessageBase::MSG_REMOVE_DATA;
constexpr auto otherID = static_cast<velpMsgID_t>(60);

struct JoinedReport : VelpBusProxyCallback {
  void velpBusProxyCb(const MessageBase*, const std::string&, const std::string&) override {}
  void velpBusProxyStatusCb(StatusCBType_t, int, const std::string&) override { arrived.arrive(); }
  Latch arrived;
};

class HandlerFixture : public testing::Test {
 protected:
  HandlerFixture() {
    // Handlers log the report of having joined: it is awaited here, so that no test meets it.
    JoinedReport report;
    VelpBusProxy::getInstance()->setCallBack(report);
    VelpBusProxy::getInstance()->connect("Service", senderBus);
    EXPECT_TRUE(report.arrived.waitFor());
    VelpBusProxy::getInstance()->removeCallBack(report);
  }
  ~HandlerFixture() override {
    sut.reset();
    client.leave();
    VelpBusProxy::getInstance()->disconnect();
  }

  /// Makes the handler and waits until its worker is on the bus and idle.
  void makeIdle() {
    sut = std::make_unique<VelpMsgHandler>(2);
    EXPECT_TRUE(capture.waitForLine(texts::workerWaits));
  }
  /// Makes the handler without a worker: what it is given stays in its queues.
  void makeStopped(unsigned int traceLevel) {
    sut = std::make_unique<VelpMsgHandler>(traceLevel);
    sut->stop();
    capture.clear();
  }

  /// Gives the handler a message as the bus would.
  void give(const MessageBase& message, const std::string& source = "Client") {
    sut->velpBusProxyCb(&message, source, "Service");
  }
  void giveRequest(velpMsgID_t id) { give(Request(id, nullptr, 0)); }
  void giveResponse(velpMsgID_t id) { give(Response(id, Response::STATUS_OK)); }

  /// Registers a callback that returns `result` and arrives at `served`.
  void serve(velpMsgID_t id, requestState_t result = AVAILABLE) {
    EXPECT_EQ(sut->registerRequest(id, AVAILABLE,
                                   [this, result](const Request&) {
                                     served.arrive();
                                     return result;
                                   }),
              0);
  }
  /// Registers a callback that arrives at `received`.
  void receive(velpMsgID_t id) {
    EXPECT_EQ(sut->registerResponse(id, [this](const Response&) { received.arrive(); }), 0);
  }

  /// What the client receives from the service.
  Response answer() { return client.next<Response>(); }

  LogCapture capture;
  Peer client{"Client"};
  Latch served;
  Latch received;
  std::unique_ptr<VelpMsgHandler> sut;
};

}  // namespace velp::test
