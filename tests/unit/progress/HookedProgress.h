// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A progress handler whose sends and timer the test sees, holds back and lets fail.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "TimerHooks.h"
#include "support/Latch.h"
#include "support/LogCapture.h"
#include "velp/message/VelpClientMessageResponse.h"
#include "velpmsg/VelpMsgProgressHandler.h"

namespace velp::test {

constexpr auto eventList = VelpClientMessageBase::MSG_GET_EVENT_LIST;
constexpr auto removeData = VelpClientMessageBase::MSG_REMOVE_DATA;
constexpr unsigned long long never = ~0ULL;

/// Tells whether its lock is taken.
class OpenHandler : public VelpMsgProgressHandler {
 public:
  bool isLocked() {
    if (!mutex.tryLock()) return true;
    mutex.unlock();
    return false;
  }
};

/// What was sent, in words: target, answered ID and percentage, such as "RequesterOfALongName 50
/// 10".
class SentList {
 public:
  void add(const std::string& target, const MessageBase& message) {
    const auto& response = dynamic_cast<const VelpClientMessageResponse&>(message);
    std::lock_guard<std::mutex> locker(mutex);
    sent.push_back(target + " " + std::to_string(response.getAnsweredID()) + " " +
                   std::to_string(response.getProgress()));
    added.arrive();
  }
  std::vector<std::string> all() const {
    std::lock_guard<std::mutex> locker(mutex);
    return sent;
  }
  bool waitFor(unsigned int wanted) const { return added.waitFor(wanted); }

 private:
  mutable std::mutex mutex;
  std::vector<std::string> sent;
  Latch added;
};

class HookedProgress : public testing::Test {
 protected:
  HookedProgress() {
    timerHooks().sendTo = [this](const std::string& target, const MessageBase& message) {
      sent.add(target, message);
      return true;
    };
  }
  ~HookedProgress() override {
    sut.reset();
    timerHooks() = TimerHooks();
  }

  // The name is too long for a string to hold in itself: a tick that read it after its end would
  // read freed memory.
  int start(unsigned long long period = never) {
    return sut->start("RequesterOfALongName", eventList, 10, 90, 4, period);
  }
  VelTimer::timerResult_t tick() {
    unsigned long long period = 1;
    return sut->sendProcessing(0, 0, period);
  }
  /// From now on ticks of the timer wait at their very beginning, before they take the lock.
  void holdTicks() {
    timerHooks().registerTimer = [this](VelTimer& timer, Registration registration) {
      const VelTimer::Callback tick = registration.callback;
      registration.callback = [this, tick](unsigned long long due, unsigned short id,
                                           unsigned long long& period) {
        begun.arrive();
        EXPECT_TRUE(released.waitFor());
        const VelTimer::timerResult_t result = tick(due, id, period);
        ended.arrive();
        return result;
      };
      return registerForReal(timer, registration);
    };
  }

  LogCapture capture;
  SentList sent;
  Latch begun;
  Latch released;
  Latch ended;
  std::unique_ptr<OpenHandler> sut = std::make_unique<OpenHandler>();
};

}  // namespace velp::test
