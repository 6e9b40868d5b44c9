// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the progress handler's tests share: this process as "Service" on a bus with one requester.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "support/Latch.h"
#include "support/LogCapture.h"
#include "support/fixedTexts.h"
#include "unit/sender/Peer.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/message/SystemMessage.h"
#include "velp/message/VelpClientMessageResponse.h"
#include "velpmsg/VelpMsgProgressHandler.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {

using Bytes = std::vector<unsigned char>;
using Response = VelpClientMessageResponse;

constexpr auto eventList = VelpClientMessageBase::MSG_GET_EVENT_LIST;
constexpr auto removeData = VelpClientMessageBase::MSG_REMOVE_DATA;
/// A period that no test lives to see the end of: ticks come from tick() alone.
constexpr unsigned long long never = ~0ULL;

/// The progress response that the sender makes of a step.
inline Response stepResponse(VelpClientMessageBase::velpMsgID_t id, unsigned char percent,
                             unsigned short index) {
  const std::string text = index < stepTextCount ? stepTexts[index] : "";
  Bytes payload{percent, static_cast<unsigned char>(text.size())};
  payload.insert(payload.end(), text.begin(), text.end());
  payload.push_back(static_cast<unsigned char>(index >> 8));
  payload.push_back(static_cast<unsigned char>(index));
  Response response(id, Response::STATUS_PROGRESS);
  response.setPayload(payload);
  return response;
}

/// The progress response that the sender makes of a text.
inline Response textResponse(VelpClientMessageBase::velpMsgID_t id, unsigned char percent,
                             const std::string& text) {
  Bytes payload{percent, static_cast<unsigned char>(text.size())};
  payload.insert(payload.end(), text.begin(), text.end());
  Response response(id, Response::STATUS_PROGRESS);
  response.setPayload(payload);
  return response;
}

/// Proves that time passes for the timers: another one has ticked often enough.
inline void awaitOtherTicks(unsigned int ticks) {
  Latch latch;
  VelTimer timer;
  const auto arrive = [&latch](unsigned long long, unsigned short, unsigned long long&) {
    latch.arrive();
    return VelTimer::TIMER_CONTINUE;
  };
  ASSERT_NE(timer.registerTimer(arrive, 1, 0, true), 0);
  ASSERT_TRUE(latch.waitFor(ticks));
}

class ProgressFixture : public testing::Test {
 protected:
  ProgressFixture() { VelpBusProxy::getInstance()->connect("Service", senderBus); }
  ~ProgressFixture() override {
    requester.leave();
    VelpBusProxy::getInstance()->disconnect();
  }

  /// Starts the handler for an event list, at 10 percent and in step 4 ("Copy data").
  int start(unsigned long long period = never) {
    return sut.start("Requester", eventList, 10, 90, 4, period);
  }
  /// Starts it and takes the response that the start sends.
  void started(unsigned long long period = never) {
    EXPECT_EQ(start(period), 0);
    EXPECT_EQ(received(), stepResponse(eventList, 10, 4));
  }
  VelTimer::timerResult_t tick() { return sut.sendProcessing(1, 2, period); }

  /// The next response that reaches the requester.
  Response received() { return requester.next<Response>(); }
  /// Expects one response after the other with these percentages.
  void expectSteps(const Bytes& percents, unsigned short index) {
    for (const unsigned char percent : percents) {
      EXPECT_EQ(received(), stepResponse(eventList, percent, index));
    }
  }
  /// Fails when something has reached the requester that was not taken.
  void expectNothingReceived() {
    EXPECT_TRUE(VelpMsgSender::getInstance()->sendMsg("Requester", SystemMessage("end", 1)));
    EXPECT_NO_THROW(requester.next<SystemMessage>());
  }

  /// Takes whatever has reached the requester by now.
  void drain() {
    EXPECT_TRUE(VelpMsgSender::getInstance()->sendMsg("Requester", SystemMessage("end", 1)));
    try {
      while (true) received();
    } catch (const std::runtime_error&) {
      // No response: that was the end.
    }
  }

  LogCapture capture;
  Peer requester{"Requester"};
  unsigned long long period = 3;
  VelpMsgProgressHandler sut;
};

}  // namespace velp::test
