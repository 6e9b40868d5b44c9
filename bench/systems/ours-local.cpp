// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// This library between two processes.
#include <sys/stat.h>

#include "bench/harness/harness.h"
#include "bench/systems/ours.h"
#include "velp/bus/VelpBusProxy.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

using namespace velp::bench;

void join(const std::string& name, const Options& options) {
  mkdir(options.address.c_str(), 0700);
  VelpBusProxy::getInstance()->connect(name, "local:" + options.address);
}

void serve(const Options& options) {
  Answer answer(options.answer);
  VelpMsgHandler handler(0);
  const auto reply = [&answer](const VelpClientMessageRequest& request) {
    const Bytes& asked = request.getPayload();
    VelpMsgSender::getInstance()->sendResponseOK(request.getText(), request.getMsgID(),
                                                 answer.to(asked.data(), asked.size()));
    return AVAILABLE;
  };
  for (unsigned int id = 0; id != options.ids; ++id) {
    handler.registerRequest(benchID(id), AVAILABLE, reply);
  }
  join(serviceName(options.number), options);
  serveUntilEnd();
}

void ask(const Options& options) {
  join(clientName(), options);
  Client client(options);
  measure(options, [&](const Bytes& request) { return client.exchange(request); });
}

void count(const Options& options) {
  Tally tally(options.count);
  Receiver receiver(tally);
  VelpBusProxy::getInstance()->setCallBack(receiver);
  join(receiverName, options);
  tally.report();
  VelpBusProxy::getInstance()->removeCallBack(receiver);
}

void send(const Options& options) {
  join(clientName(), options);
  VelpMsgSender* sender = VelpMsgSender::getInstance();
  sendAll(options, [sender](const Bytes& message) {
    return sender->sendMsg(receiverName, oneWay(message));
  });
}

}  // namespace

int main(int argc, char** argv) {
  return run(argc, argv, {serve, ask, count, send});
}
