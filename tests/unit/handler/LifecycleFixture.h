// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the tests of a handler's beginning, end and failures share.
#pragma once

#include <exception>
#include <string>
#include <thread>

#include "HandlerFixture.h"
#include "Registrations.h"
#include "velp/runtime/VelException.h"

namespace velp::test {

const std::string wokenToEndLine = filled(texts::workerWoken, 0, 0, 0);

/// What VelException says with `code` and `text`.
inline std::string errorText(int code, const char* text) {
  return VelException(code, text).what();
}

/// What the exception says that `function` throws.
template <typename Function>
std::string thrownBy(Function function) {
  try {
    function();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "nothing";
}

class Lifecycle : public HandlerFixture {
 protected:
  Lifecycle() { registrations().clear(); }
  ~Lifecycle() override { registrations().clear(); }

  // A handler whose worker is inside the callback of eventList until `mayEnd`.
  void makeServing(unsigned int traceLevel) {
    sut = std::make_unique<VelpMsgHandler>(traceLevel);
    sut->registerRequest(eventList, AVAILABLE, [this](const Request&) {
      served.arrive();
      EXPECT_TRUE(mayEnd.waitFor());
      return INVALID;
    });
    giveRequest(eventList);
    ASSERT_TRUE(served.waitFor());
  }

  // stop() on a thread of its own, which has cleared `running` on return.
  std::thread stopping() {
    std::thread thread([this] { sut->stop(); });
    while (HandlerInside::isRunning(*sut)) std::this_thread::yield();
    return thread;
  }

  Latch mayEnd;
};

}  // namespace velp::test
