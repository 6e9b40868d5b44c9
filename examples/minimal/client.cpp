// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A complete client: asks for a greeting and prints it.
#include <iostream>

#include "velp/bus/VelpBusProxy.h"
#include "velpmsg/VelpMsgSender.h"

int main(int argc, char** argv) {
  const auto greeting = static_cast<VelpClientMessageBase::velpMsgID_t>(1000);
  VelpBusProxy::getInstance()->connect("Newcomer", argc > 1 ? argv[1] : "local:");
  const VelpClientMessageRequest request(greeting, nullptr, 0);
  VelpClientMessageResponse response;
  const int result = VelpMsgSender::getInstance()->sendRequestWaitForResponse(
      "Greeter", request, response, 5);  // 0: answered, -1: no such service, -2: no answer in 5 s
  if (result == 0) std::cout << response.getString(0, 1) << '\n';
  return -result;
}
