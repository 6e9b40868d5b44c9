// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The floor of the library's threads between two processes: four hops, and nothing else.
//
// The client's thread sends; the service's reception thread hands over to its worker; the worker
// answers; the client's reception thread wakes the client's thread.
#include <cstdlib>
#include <thread>

#include "bench/harness/harness.h"
#include "bench/systems/HandOver.h"
#include "bench/systems/packets.h"

namespace {

using namespace velp::bench;

struct Request {
  int connection = -1;
  Bytes bytes;
};

void receiveRequests(int connection, HandOver<Request>& queue) {
  Bytes bytes;
  while (receiveBytes(connection, bytes)) queue.put({connection, bytes});
}

void acceptClients(const Listener& listener, HandOver<Request>& queue) {
  for (;;) std::thread(receiveRequests, listener.accept(), std::ref(queue)).detach();
}

void answerRequests(HandOver<Request>& queue, std::size_t size) {
  Answer answer(size);
  for (;;) {
    const Request request = queue.take();
    sendBytes(request.connection, answer.to(request.bytes.data(), request.bytes.size()));
  }
}

void serve(const Options& options) {
  const Listener listener(options.address);
  HandOver<Request> queue;
  std::thread reception([&] { acceptClients(listener, queue); });
  std::thread worker([&] { answerRequests(queue, options.answer); });
  serveUntilEnd();
  std::_Exit(0);
}

void ask(const Options& options) {
  const int connection = connectTo(options.address);
  Wait<Bytes> wait;
  std::thread reception([&] {
    Bytes bytes;
    while (receiveBytes(connection, bytes)) wait.finish(std::move(bytes));
  });
  measure(options, [&](const Bytes& request) {
    sendBytes(connection, request);
    const Bytes& answer = wait.get();
    return View{answer.data(), answer.size()};
  });
  std::_Exit(0);
}

void count(const Options& options) {
  const Listener listener(options.address);
  Tally tally(options.count);
  std::thread reception([&] {
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
