// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The client's side, and one-way messages.
#include "bench/systems/ours.h"

#include <unistd.h>

#include "velpmsg/VelpMsgSender.h"

namespace velp::bench {

namespace {

constexpr unsigned short patience = 20;

bool isBusy(const VelpClientMessageResponse& response) {
  return response.getStatus() == VelpClientMessageResponse::STATUS_ERROR &&
         response.getErrorCode() == VelpClientMessageResponse::ERROR_BUSY;
}

}  // namespace

std::string clientName() {
  return "client-" + std::to_string(getpid());
}

View exchange(const Bytes& request, VelpClientMessageResponse& response) {
  const auto id = benchIDs[numberOf({request.data(), request.size()}) % 2 == 0 ? 0 : 1];
  const VelpClientMessageRequest message(id, request.data(),
                                         static_cast<unsigned int>(request.size()));
  VelpMsgSender* sender = VelpMsgSender::getInstance();
  do {
    if (sender->sendRequestWaitForResponse(serviceName, message, response, patience) != 0) {
      return {};
    }
  } while (isBusy(response));
  return {response.getPayload().data(), response.getPayload().size()};
}

void Receiver::velpBusProxyCb(const MessageBase*, const std::string&, const std::string&) {
  tally.add();
}

void Receiver::velpBusProxyStatusCb(StatusCBType_t, int, const std::string&) {}

VelpClientMessageRequest oneWay(const Bytes& message) {
  return {benchIDs.front(), message.data(), static_cast<unsigned int>(message.size())};
}

}  // namespace velp::bench
