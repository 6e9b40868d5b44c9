// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A complete service: greets everybody who asks.
#include <unistd.h>

#include "velp/bus/VelpBusProxy.h"
#include "velpmsg/VelpMsgHandler.h"
#include "velpmsg/VelpMsgSender.h"

int main(int argc, char** argv) {
  const auto greeting = static_cast<VelpClientMessageBase::velpMsgID_t>(1000);
  VelpMsgHandler handler(0);
  handler.registerRequest(greeting, AVAILABLE, [](const VelpClientMessageRequest& request) {
    const std::string& client = request.getText();
    VelpMsgSender::getInstance()->sendResponseOK(client, greeting, "Hello, " + client + "!", 1);
    return AVAILABLE;
  });
  VelpBusProxy::getInstance()->connect("Greeter", argc > 1 ? argv[1] : "local:");
  pause();
}
