// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The least that two processes can do: one thread on each side of a sequenced-packet socket.
#include <cstdlib>
#include <thread>

#include "bench/harness/harness.h"
#include "bench/systems/packets.h"

namespace {

using namespace velp::bench;

void answerAll(const Listener& listener, const Options& options) {
  const int connection = listener.accept();
  Answer answer(options.answer);
  Bytes request;
  while (receiveBytes(connection, request)) {
    sendBytes(connection, answer.to(request.data(), request.size()));
  }
}

void serve(const Options& options) {
  const Listener listener(options.address);
  std::thread service([&] { answerAll(listener, options); });
  serveUntilEnd();
  std::_Exit(0);
}

void ask(const Options& options) {
  const int connection = connectTo(options.address);
  Bytes answer;
  measure(options, [&](const Bytes& request) {
    sendBytes(connection, request);
    return receiveBytes(connection, answer) ? View{answer.data(), answer.size()} : View{};
  });
}

void count(const Options& options) {
  const Listener listener(options.address);
  Tally tally(options.count);
  std::thread receiver([&] {
    const int connection = listener.accept();
    Bytes message;
    while (receiveBytes(connection, message)) tally.add();
  });
  tally.report();
  std::_Exit(0);
}

void send(const Options& options) {
  const int connection = connectTo(options.address);
  sendAll(options, [&](const Bytes& message) {
    sendBytes(connection, message);
    return true;
  });
}

}  // namespace

int main(int argc, char** argv) {
  return run(argc, argv, {serve, ask, count, send});
}
