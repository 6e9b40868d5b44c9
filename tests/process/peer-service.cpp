// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// peer-service NAME ADDRESS: the numbered service, and one that answers ID 60 after 8 s of
// progress.
#include <unistd.h>

#include <string>

#include "process/NumberedService.h"
#include "velp/runtime/VelTimer.h"

namespace {

constexpr auto slowID = static_cast<VelpClientMessageBase::velpMsgID_t>(60);

// Three progress responses, 2 s apart, and the final response 2 s after the last.
class SlowRequest {
 public:
  explicit SlowRequest(VelpMsgHandler& handler) : handler(handler) {
    handler.registerRequest(slowID, AVAILABLE, [this](const VelpClientMessageRequest& request) {
      return start(request);
    });
  }

 private:
  requestState_t start(const VelpClientMessageRequest& request) {
    client = request.getText();
    ticks = 0;
    const auto tick = [this](auto...) { return this->tick(); };
    return timer.registerTimer(tick, 2000, 0, true) != 0 ? BUSY : NOT_AVAILABLE;
  }

  VelTimer::timerResult_t tick() {
    VelpMsgSender* sender = VelpMsgSender::getInstance();
    ++ticks;
    if (ticks <= 3) {
      sender->sendResponseProgress(client, slowID, static_cast<unsigned char>(ticks * 25),
                                   std::string("step"));
      return VelTimer::TIMER_CONTINUE;
    }
    handler.setRequestState(slowID, AVAILABLE);
    sender->sendResponseOK(client, slowID, std::string("done"), 1);
    return VelTimer::TIMER_STOP;
  }

  VelpMsgHandler& handler;
  // Written by the worker before it registers the timer, then used by the timer's thread alone.
  std::string client;
  int ticks = 0;
  VelTimer timer;
};

}  // namespace

int main(int, char** argv) {
  velp::test::NumberedService service;
  const SlowRequest slow(service.getHandler());
  VelpBusProxy::getInstance()->connect(argv[1], argv[2]);
  std::puts("ready");
  std::fflush(stdout);
  pause();
}
