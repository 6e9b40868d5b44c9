// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// ZeroMQ: REQ and REP, PUSH and PULL over sockets in the file system, options as they come.
#include <zmq.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/harness/harness.h"

namespace {

using namespace velp::bench;

int check(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string(what) + ": " + zmq_strerror(zmq_errno()));
  return result;
}

// Its end waits until everything that was sent is gone.
class Socket {
 public:
  explicit Socket(int type)
      : context(zmq_ctx_new(), zmq_ctx_term), socket(zmq_socket(context.get(), type), zmq_close) {}
  void bind(const std::string& address) {
    check(zmq_bind(get(), ("ipc://" + address).c_str()), "zmq_bind");
  }
  void connect(const std::string& address) {
    check(zmq_connect(get(), ("ipc://" + address).c_str()), "zmq_connect");
  }
  void send(const Bytes& bytes) {
    check(zmq_send(get(), bytes.data(), bytes.size(), 0), "zmq_send");
  }
  void* get() const { return socket.get(); }

 private:
  using Handle = std::unique_ptr<void, int (*)(void*)>;
  const Handle context;
  const Handle socket;
};

class Message {
 public:
  Message() { zmq_msg_init(&message); }
  ~Message() { zmq_msg_close(&message); }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
  View receiveFrom(const Socket& socket) {
    check(zmq_msg_recv(&message, socket.get(), 0), "zmq_msg_recv");
    return {zmq_msg_data(&message), zmq_msg_size(&message)};
  }

 private:
  zmq_msg_t message = {};
};

void answerRequests(Socket& socket, std::size_t size) {
  Answer answer(size);
  Message request;
  for (;;) socket.send(answer.to(request.receiveFrom(socket)));
}

void serve(const Options& options) {
  Socket socket(ZMQ_REP);
  socket.bind(options.address);
  std::thread([&] { answerRequests(socket, options.answer); }).detach();
  serveUntilEnd();
  std::_Exit(0);
}

void ask(const Options& options) {
  Socket socket(ZMQ_REQ);
  socket.connect(options.address);
  Message answer;
  measure(options, [&](const Bytes& request) {
    socket.send(request);
    return answer.receiveFrom(socket);
  });
}

void count(const Options& options) {
  Socket socket(ZMQ_PULL);
  socket.bind(options.address);
  Tally tally(options.count);
  std::thread([&] {
    Message message;
    while (message.receiveFrom(socket).size > 0) tally.add();
  }).detach();
  tally.report();
  std::_Exit(0);
}

void send(const Options& options) {
  Socket socket(ZMQ_PUSH);
  socket.connect(options.address);
  sendAll(options, [&](const Bytes& message) {
    socket.send(message);
    return true;
  });
}

}  // namespace

int main(int argc, char** argv) {
  return run(argc, argv, {serve, ask, count, send});
}
