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

std::vector<std::string> namesOf(unsigned int count) {
  std::vector<std::string> names;
  for (unsigned int number = 0; number != count; ++number) names.push_back(serviceName(number));
  return names;
}

}  // namespace

std::string serviceName(unsigned int number) {
  return "service-" + std::to_string(number);
}

std::string clientName() {
  return "client-" + std::to_string(getpid());
}

Client::Client(const Options& options) : services(namesOf(options.services)), options(options) {}

View Client::exchange(const Bytes& request) {
  const std::uint64_t number = numberOf({request.data(), request.size()});
  const std::string& service = services[static_cast<std::size_t>(number % services.size())];
  const auto turn = static_cast<unsigned int>(number / services.size() % options.ids);
  const VelpClientMessageRequest message(benchID(options.firstID + turn), request.data(),
                                         static_cast<unsigned int>(request.size()));
  VelpMsgSender* sender = VelpMsgSender::getInstance();
  do {
    if (sender->sendRequestWaitForResponse(service, message, response, patience) != 0) return {};
  } while (isBusy(response));
  return {response.getPayload().data(), response.getPayload().size()};
}

void Receiver::velpBusProxyCb(const MessageBase*, const std::string&, const std::string&) {
  tally.add();
}

void Receiver::velpBusProxyStatusCb(StatusCBType_t, int, const std::string&) {}

VelpClientMessageRequest oneWay(const Bytes& message) {
  return {benchID(0), message.data(), static_cast<unsigned int>(message.size())};
}

}  // namespace velp::bench
