// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// This library within one process: two participants, each with its threads.
//
// The service's handler is called by its own participant instead of the process's one, which is the
// client.
#include "bench/harness/harness.h"
#include "bench/systems/ours.h"
#include "velp/bus/Participant.h"
#include "velp/bus/VelpBusProxy.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

using namespace velp::bench;

constexpr char bus[] = "inproc:";

VelpClientMessageResponse responseOf(const VelpClientMessageRequest& request, Answer& answer) {
  const Bytes& asked = request.getPayload();
  VelpClientMessageResponse response(request.getMsgID(), VelpClientMessageResponse::STATUS_OK);
  response.setPayload(answer.to(asked.data(), asked.size()));
  return response;
}

void ask(const Options& options) {
  Answer answer(options.answer);
  velp::Participant service;
  VelpMsgHandler handler(0);
  VelpBusProxy::getInstance()->removeCallBack(handler);
  const auto reply = [&](const VelpClientMessageRequest& request) {
    service.sendTo(request.getText(), responseOf(request, answer));
    return AVAILABLE;
  };
  for (unsigned int id = 0; id != options.ids; ++id) {
    handler.registerRequest(benchID(id), AVAILABLE, reply);
  }
  service.setCallBack(handler);
  service.connect(serviceName(options.number), bus);
  VelpBusProxy::getInstance()->connect(clientName(), bus);
  Client client(options);
  measure(options, [&](const Bytes& request) { return client.exchange(request); });
  service.disconnect();
}

void send(const Options& options) {
  Tally tally(options.count);
  Receiver receiver(tally);
  velp::Participant participant;
  participant.setCallBack(receiver);
  participant.connect(receiverName, bus);
  VelpBusProxy::getInstance()->connect(clientName(), bus);
  VelpMsgSender* sender = VelpMsgSender::getInstance();
  sendWithin(
      options,
      [sender](const Bytes& message) { return sender->sendMsg(receiverName, oneWay(message)); },
      tally);
  participant.disconnect();
}

}  // namespace

int main(int argc, char** argv) {
  return run(argc, argv, {{}, ask, {}, send});
}
