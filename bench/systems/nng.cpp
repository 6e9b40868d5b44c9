// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// nng: REQ and REP, PUSH and PULL over sockets in the file system, without a limit of sizes.
//
// Who receives does so where nng calls back: waking a thread of one's own costs half as much again.
#include <nng/nng.h>
#include <nng/protocol/pipeline0/pull.h>
#include <nng/protocol/pipeline0/push.h>
#include <nng/protocol/reqrep0/rep.h>
#include <nng/protocol/reqrep0/req.h>

#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/harness/harness.h"

namespace {

using namespace velp::bench;

void check(int result, const char* what) {
  if (result != 0) throw std::runtime_error(std::string(what) + ": " + nng_strerror(result));
}

constexpr int buffered = 1000;  // messages; the default of 0 makes every message wait

using Message = std::unique_ptr<nng_msg, decltype(&nng_msg_free)>;

Message makeMessage(const Bytes& bytes) {
  nng_msg* message = nullptr;
  check(nng_msg_alloc(&message, bytes.size()), "nng_msg_alloc");
  if (!bytes.empty()) std::memcpy(nng_msg_body(message), bytes.data(), bytes.size());
  return {message, nng_msg_free};
}

View bytesOf(const Message& message) {
  return {nng_msg_body(message.get()), nng_msg_len(message.get())};
}

class Socket {
 public:
  explicit Socket(int (*open)(nng_socket*)) {
    check(open(&socket), "open");
    check(nng_socket_set_size(socket, NNG_OPT_RECVMAXSZ, 0), "no limit");
  }
  ~Socket() { nng_close(socket); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  void bind(const std::string& address) {
    check(nng_listen(socket, ("ipc://" + address).c_str(), nullptr, 0), "nng_listen");
  }
  void connect(const std::string& address) {
    check(nng_dial(socket, ("ipc://" + address).c_str(), nullptr, 0), "nng_dial");
  }
  void send(const Bytes& bytes) {
    Message message = makeMessage(bytes);
    check(nng_sendmsg(socket, message.get(), 0), "nng_sendmsg");
    static_cast<void>(message.release());
  }
  nng_socket get() const { return socket; }
  Message receive() {
    nng_msg* message = nullptr;
    check(nng_recvmsg(socket, &message, 0), "nng_recvmsg");
    return {message, nng_msg_free};
  }

 private:
  nng_socket socket = NNG_SOCKET_INITIALIZER;
};

// Answers where nng calls back, so that no thread of its own has to be woken.
class Service {
 public:
  Service(const Socket& socket, std::size_t size) : answer(size) {
    check(nng_ctx_open(&context, socket.get()), "nng_ctx_open");
    check(nng_aio_alloc(
              &operation, [](void* self) { static_cast<Service*>(self)->goOn(); }, this),
          "nng_aio_alloc");
    nng_ctx_recv(context, operation);
  }

 private:
  void goOn() {
    if (nng_aio_result(operation) != 0) return;
    nng_msg* message = answering ? nullptr : nng_aio_get_msg(operation);
    answering = !answering;
    if (message == nullptr) return nng_ctx_recv(context, operation);
    const Message request(message, nng_msg_free);
    nng_aio_set_msg(operation, makeMessage(answer.to(bytesOf(request))).release());
    nng_ctx_send(context, operation);
  }

  nng_ctx context = NNG_CTX_INITIALIZER;
  nng_aio* operation = nullptr;
  Answer answer;
  bool answering = false;
};

void serve(const Options& options) {
  Socket socket(nng_rep0_open);
  const Service service(socket, options.answer);
  socket.bind(options.address);
  serveUntilEnd();
  std::_Exit(0);
}

void ask(const Options& options) {
  Socket socket(nng_req0_open);
  socket.connect(options.address);
  Message answer(nullptr, nng_msg_free);
  measure(options, [&](const Bytes& request) {
    socket.send(request);
    answer = socket.receive();
    return bytesOf(answer);
  });
}

// Counts where nng calls back.
class Counter {
 public:
  Counter(const Socket& socket, std::uint64_t expected) : tally(expected), socket(socket.get()) {
    check(nng_aio_alloc(
              &operation, [](void* self) { static_cast<Counter*>(self)->goOn(); }, this),
          "nng_aio_alloc");
    nng_recv_aio(this->socket, operation);
  }
  Tally tally;

 private:
  void goOn() {
    if (nng_aio_result(operation) != 0) return;
    const Message message(nng_aio_get_msg(operation), nng_msg_free);
    tally.add();
    nng_recv_aio(socket, operation);
  }

  const nng_socket socket;
  nng_aio* operation = nullptr;
};

void count(const Options& options) {
  Socket socket(nng_pull0_open);
  Counter counter(socket, options.count);
  socket.bind(options.address);
  counter.tally.report();
  std::_Exit(0);
}

// Closing would drop what is on its way, so the receiver leaves first.
void send(const Options& options) {
  Socket socket(nng_push0_open);
  std::promise<void> left;
  const auto tell = [](nng_pipe, nng_pipe_ev, void* promise) {
    static_cast<std::promise<void>*>(promise)->set_value();
  };
  check(nng_pipe_notify(socket.get(), NNG_PIPE_EV_REM_POST, tell, &left), "nng_pipe_notify");
  check(nng_socket_set_int(socket.get(), NNG_OPT_SENDBUF, buffered), "send-buffer");
  socket.connect(options.address);
  sendAll(options, [&](const Bytes& message) {
    socket.send(message);
    return true;
  });
  left.get_future().wait();
}

}  // namespace

int main(int argc, char** argv) {
  return run(argc, argv, {serve, ask, count, send});
}
