// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// NATS: requests and publications through a server on the loopback interface.
//
// Requests and answers leave at once instead of with the next flush; one-way messages are gathered.
#include <nats/nats.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/harness/harness.h"

namespace {

using namespace velp::bench;

constexpr const char* subject = "velp.bench";
constexpr std::int64_t patience = 20'000;  // milliseconds
constexpr int unlimited = -1;

void check(natsStatus status, const char* what) {
  if (status != NATS_OK) {
    throw std::runtime_error(std::string(what) + ": " + natsStatus_GetText(status));
  }
}

using Connection = std::unique_ptr<natsConnection, decltype(&natsConnection_Destroy)>;
using Message = std::unique_ptr<natsMsg, decltype(&natsMsg_Destroy)>;

Connection connectTo(const std::string& address, bool sendAtOnce) {
  natsOptions* raw = nullptr;
  check(natsOptions_Create(&raw), "natsOptions_Create");
  const std::unique_ptr<natsOptions, decltype(&natsOptions_Destroy)> options(raw,
                                                                             natsOptions_Destroy);
  check(natsOptions_SetURL(raw, address.c_str()), "natsOptions_SetURL");
  check(natsOptions_SetSendAsap(raw, sendAtOnce), "natsOptions_SetSendAsap");
  natsConnection* connection = nullptr;
  check(natsConnection_Connect(&connection, raw), "natsConnection_Connect");
  return {connection, natsConnection_Destroy};
}

View bytesOf(const natsMsg* message) {
  return {natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))};
}

// The server knows of it when this returns.
void subscribe(natsConnection* connection, natsMsgHandler handler, void* data) {
  natsSubscription* subscription = nullptr;
  check(natsConnection_Subscribe(&subscription, connection, subject, handler, data), "subscribe");
  check(natsSubscription_SetPendingLimits(subscription, unlimited, unlimited), "no limits");
  check(natsConnection_Flush(connection), "natsConnection_Flush");
}

void reply(natsConnection* connection, natsSubscription* /*subscription*/, natsMsg* raw,
           void* answer) {
  const Message request(raw, natsMsg_Destroy);
  const Bytes& bytes = static_cast<Answer*>(answer)->to(bytesOf(raw));
  check(natsConnection_Publish(connection, natsMsg_GetReply(raw), bytes.data(),
                               static_cast<int>(bytes.size())),
        "natsConnection_Publish");
}

void tell(natsConnection* /*connection*/, natsSubscription* /*subscription*/, natsMsg* raw,
          void* tally) {
  const Message message(raw, natsMsg_Destroy);
  static_cast<Tally*>(tally)->add();
}

void serve(const Options& options) {
  const Connection connection = connectTo(options.address, true);
  Answer answer(options.answer);
  subscribe(connection.get(), reply, &answer);
  serveUntilEnd();
  std::_Exit(0);
}

void ask(const Options& options) {
  const Connection connection = connectTo(options.address, true);
  Message answer(nullptr, natsMsg_Destroy);
  measure(options, [&](const Bytes& request) {
    natsMsg* message = nullptr;
    check(natsConnection_Request(&message, connection.get(), subject, request.data(),
                                 static_cast<int>(request.size()), patience),
          "natsConnection_Request");
    answer.reset(message);
    return bytesOf(message);
  });
}

void count(const Options& options) {
  const Connection connection = connectTo(options.address, false);
  Tally tally(options.count);
  subscribe(connection.get(), tell, &tally);
  tally.report();
  std::_Exit(0);
}

void send(const Options& options) {
  const Connection connection = connectTo(options.address, false);
  sendAll(options, [&](const Bytes& message) {
    check(natsConnection_Publish(connection.get(), subject, message.data(),
                                 static_cast<int>(message.size())),
          "natsConnection_Publish");
    return true;
  });
  check(natsConnection_FlushTimeout(connection.get(), patience), "natsConnection_FlushTimeout");
}

}  // namespace

int main(int argc, char** argv) {
  return run(argc, argv, {serve, ask, count, send});
}
