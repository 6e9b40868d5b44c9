// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Each scene sets up what it needs, lets it happen, and leaves nothing behind.
#include "scenes.h"

#include <pthread.h>

#include <array>
#include <cerrno>
#include <functional>
#include <sstream>

#include "support/Latch.h"
#include "support/LogCapture.h"
#include "support/fixedTexts.h"
#include "unit/runtime/PosixFailures.h"
#include "unit/sender/Peer.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/message/SystemMessage.h"
#include "velp/message/VelpClientMessageResponse.h"
#include "velp/runtime/Condition.h"
#include "velp/runtime/MutexLocker.h"
#include "velp/runtime/VelException.h"
#include "velpmsg/VelpMsgHandler.h"
#include "velpmsg/VelpMsgProgressHandler.h"
#include "velpmsg/VelpMsgReqRmData.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {
namespace {

using Request = VelpClientMessageRequest;
using Response = VelpClientMessageResponse;
using Bytes = std::vector<unsigned char>;

constexpr auto eventList = VelpClientMessageBase::MSG_GET_EVENT_LIST;
constexpr unsigned long long never = ~0ULL;

VelpMsgSender& sender() {
  return *VelpMsgSender::getInstance();
}

Request requestOf(const Bytes& payload) {
  return Request(eventList, payload.data(), static_cast<unsigned int>(payload.size()));
}

int ask(const std::string& target, unsigned short timeout) {
  Response response;
  return sender().sendRequestWaitForResponse(target, requestOf({}), response, timeout);
}

struct JoinedReport : VelpBusProxyCallback {
  void velpBusProxyCb(const MessageBase*, const std::string&, const std::string&) override {}
  void velpBusProxyStatusCb(StatusCBType_t, int, const std::string&) override { arrived.arrive(); }
  Latch arrived;
};

// "Client" and "Service" on a bus. The sender gets the report of having joined before it writes.
class Bus {
 public:
  Bus() {
    sender();
    JoinedReport report;
    VelpBusProxy::getInstance()->setCallBack(report);
    VelpBusProxy::getInstance()->connect("Client", senderBus);
    EXPECT_TRUE(report.arrived.waitFor());
    VelpBusProxy::getInstance()->removeCallBack(report);
    sender().traceLevel = 2;
  }
  ~Bus() {
    sender().traceLevel = 0;
    service.leave();
    VelpBusProxy::getInstance()->disconnect();
  }
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  Shown shown(const Shown& more = {}) const {
    Shown all = capture.lines();
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  LogCapture capture;
  Peer service{"Service"};
};

// A handler whose worker has ended: what it is given stays in its queues.
class StoppedHandler {
 public:
  StoppedHandler() {
    sut.stop();
    capture.clear();
  }
  void give(const MessageBase& message) { sut.velpBusProxyCb(&message, "Client", "Service"); }
  Shown shown() const { return capture.lines(); }

  LogCapture capture;
  VelpMsgHandler sut{2};
};

std::string whatIsThrownBy(PosixCall call, const std::function<void()>& action) {
  const FailingCall failing(call, EINVAL);
  try {
    action();
  } catch (const VelException& error) {
    return error.what();
  }
  return "nothing";
}

}  // namespace

Shown plainSends() {
  Bus bus;
  sender().sendRequest("Service", requestOf({}));
  sender().sendRequest("Service", eventList, nullptr, 0);
  sender().sendResponse("Service", Response(eventList, Response::STATUS_OK));
  sender().velpBusProxyStatusCb(VelpBusProxyCallback::STATUS_ERROR, 5, "text");
  return bus.shown({bus.service.next<Request>().getText(), bus.service.next<Request>().getText()});
}

Shown responsesSent() {
  Bus bus;
  Bytes buf;
  sender().sendResponseOK("Service", eventList, Bytes{1});
  sender().sendResponseError("Service", eventList, Response::ERROR_BUSY, nullptr, 0);
  sender().sendResponseProgress("Service", eventList, 50, 4);
  sender().setString(buf, 1, "text");
  return bus.shown({bus.service.next<Response>().getText()});
}

Shown synchronousRequestAnswered() {
  Bus bus;
  bus.service.onRequest([&bus](const Request&) {
    bus.service.sendTo("Client", Response(eventList, Response::STATUS_PROGRESS));
    bus.capture.waitForLine(texts::progressSeen);
    bus.service.sendTo("Client",
                       Response(VelpClientMessageBase::MSG_REMOVE_DATA, Response::STATUS_OK));
    bus.service.sendTo("Client", Response(eventList, Response::STATUS_OK));
  });
  EXPECT_EQ(ask("Service", 20), 0);
  return bus.shown();
}

Shown synchronousRequestRefused() {
  Bus bus;
  EXPECT_EQ(ask("Nobody", 20), -1);
  return bus.shown();
}

Shown synchronousRequestTimedOut() {
  Bus bus;
  EXPECT_EQ(ask("Service", 0), -2);
  return bus.shown();
}

Shown stringFields() {
  const LogCapture capture;
  VelpMsgSender::getString(requestOf({5}), 0, 1);
  return capture.lines();
}

Shown wrongRequestLength() {
  Bus bus;
  sender().traceLevel = 0;
  Request wrong = requestOf({1, 2, 3});
  wrong.setText("Service");
  EXPECT_FALSE(sender().checkRequestLengthTxErrResponse(wrong, 4));
  return bus.shown({bus.service.next<Response>().getErrorText()});
}

Shown faultFiled() {
  Bus bus;
  Peer faults(texts::faultManagement);
  sender().sendSysMsgErrorLog(static_cast<faultCode_t>(7), "disk", true, "full");
  const std::string received = faults.next<SystemMessage>().toString();
  faults.leave();
  sender().sendSysMsgErrorLog(static_cast<faultCode_t>(7), "disk", true, "full");
  return bus.shown({received});
}

Shown stateSetAndNotFound() {
  StoppedHandler handler;
  handler.sut.setRequestState(eventList, INVALID);
  return handler.shown();
}

Shown requestsReceived() {
  StoppedHandler handler;
  handler.give(requestOf({}));
  handler.sut.registerRequest(eventList, AVAILABLE, [](const Request&) { return AVAILABLE; });
  handler.give(requestOf({}));
  handler.give(requestOf({}));
  return handler.shown();
}

Shown responsesReceived() {
  StoppedHandler handler;
  handler.give(Response(eventList, Response::STATUS_OK));
  handler.sut.registerResponse(eventList, [](const Response&) {});
  handler.give(Response(eventList, Response::STATUS_OK));
  return handler.shown();
}

Shown busReports() {
  StoppedHandler handler;
  handler.sut.velpBusProxyStatusCb(VelpBusProxyCallback::STATUS_INFORMATION, 5, "joined");
  handler.sut.velpBusProxyStatusCb(VelpBusProxyCallback::STATUS_WARNING, 6, "odd");
  handler.sut.velpBusProxyStatusCb(VelpBusProxyCallback::STATUS_ERROR, 7, "off");
  return handler.shown();
}

Shown workerServing() {
  const LogCapture capture;
  std::array<char, 16> name = {};
  VelpMsgHandler sut(2);
  capture.waitForLine(texts::workerWaits);
  sut.registerRequest(eventList, AVAILABLE, [&name](const Request&) {
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return AVAILABLE;
  });
  sut.registerResponse(eventList, [](const Response&) {});
  const Request request = requestOf({});
  const Response response(eventList, Response::STATUS_OK);
  sut.velpBusProxyCb(&request, "Client", "Service");
  capture.waitForLine(texts::workerWaits, 2);
  sut.velpBusProxyCb(&response, "Client", "Service");
  capture.waitForLine(texts::workerWaits, 3);
  sut.stop();
  Shown shown = capture.lines();
  shown.emplace_back(name.data());
  return shown;
}

Shown stateNames() {
  Shown shown;
  for (const requestState_t state : {NOT_AVAILABLE, AVAILABLE, BUSY, INVALID}) {
    std::ostringstream name;
    name << state;
    shown.push_back(name.str());
  }
  return shown;
}

Shown progressReported() {
  const LogCapture capture;
  unsigned long long period = never;
  VelpMsgProgressHandler sut;
  sut.traceLevel = 2;
  sut.start("Requester", eventList, 10, 90, 4, never);
  sut.sendProcessing(1, 2, period);
  sut.update(50, 90, 17);
  sut.update(60, 90, "Halfway");
  sut.updateInfo(34);
  sut.updateInfo("Nearly there");
  sut.stop();
  return capture.lines();
}

Shown progressRefused() {
  const LogCapture capture;
  VelpMsgProgressHandler sut;
  sut.update(50, 90, 17);
  sut.updateInfo(17);
  sut.start("Requester", eventList, 10, 90, 4, never);
  sut.start("Requester", eventList, 10, 90, 4, never);
  return capture.lines();
}

Shown stepTextsSent() {
  Bus bus;
  Shown shown;
  for (unsigned short index = 0; index <= stepTextCount; ++index) {
    sender().sendResponseProgress("Service", eventList, 50, index);
    const Response response = bus.service.next<Response>();
    shown.push_back(VelpMsgSender::getString(response, 1, 1));
  }
  return shown;
}

Shown removalOfAllEncoded() {
  const LogCapture capture;
  (void)VelpMsgReqRmData().getRequest();
  return capture.lines();
}

Shown conditionFailures() {
  Mutex mutex;
  Condition sut;
  const auto wait = [&] {
    const MutexLocker locker(mutex);
    sut.wait(mutex);
  };
  const auto waitInTime = [&] {
    const MutexLocker locker(mutex);
    (void)sut.wait(mutex, 0);
  };
  return {
      whatIsThrownBy(PosixCall::condInit, [] { Condition failing; }),
      whatIsThrownBy(PosixCall::condDestroy, [] { Condition failing; }),
      whatIsThrownBy(PosixCall::condWait, wait),
      whatIsThrownBy(PosixCall::condTimedwait, waitInTime),
      whatIsThrownBy(PosixCall::condSignal, [&] { sut.signal(); }),
  };
}

}  // namespace velp::test
