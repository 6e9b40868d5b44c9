// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// D-Bus: method calls by sd-bus through a bus. One-way messages are calls that want no reply.
//
// Messages are filled in place, and one thread does everything, as sd-bus wants it.
#include <systemd/sd-bus.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "bench/harness/harness.h"

namespace {

using namespace velp::bench;

constexpr const char* serviceName = "velp.bench.Service";
constexpr const char* path = "/velp/bench";
constexpr const char* interface = "velp.bench";
constexpr std::uint64_t forEver = UINT64_MAX;
constexpr std::uint64_t flushEvery = 64;

using Bus = std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)>;
using Message = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

int check(int result, const char* what) {
  if (result < 0) throw std::system_error(-result, std::generic_category(), what);
  return result;
}

Bus connectTo(const std::string& address) {
  sd_bus* bus = nullptr;
  check(sd_bus_new(&bus), "sd_bus_new");
  Bus owner(bus, sd_bus_flush_close_unref);
  check(sd_bus_set_address(bus, address.c_str()), "sd_bus_set_address");
  check(sd_bus_set_bus_client(bus, 1), "sd_bus_set_bus_client");
  check(sd_bus_start(bus), "sd_bus_start");
  return owner;
}

void append(sd_bus_message* message, const Bytes& bytes) {
  void* space = nullptr;
  check(sd_bus_message_append_array_space(message, 'y', bytes.size(), &space), "append");
  if (!bytes.empty()) std::memcpy(space, bytes.data(), bytes.size());
}

View bytesOf(sd_bus_message* message) {
  View bytes;
  check(sd_bus_message_read_array(message, 'y', &bytes.data, &bytes.size), "read");
  return bytes;
}

Message call(sd_bus* bus, const char* member, const Bytes& bytes) {
  sd_bus_message* message = nullptr;
  check(sd_bus_message_new_method_call(bus, &message, serviceName, path, interface, member),
        "sd_bus_message_new_method_call");
  Message owner(message, sd_bus_message_unref);
  append(message, bytes);
  return owner;
}

int reply(sd_bus_message* request, void* answer, sd_bus_error* /*error*/) {
  sd_bus_message* message = nullptr;
  check(sd_bus_message_new_method_return(request, &message), "sd_bus_message_new_method_return");
  const Message owner(message, sd_bus_message_unref);
  append(message, static_cast<Answer*>(answer)->to(bytesOf(request)));
  return check(sd_bus_send(nullptr, message, nullptr), "sd_bus_send");
}

int tell(sd_bus_message* message, void* tally, sd_bus_error* /*error*/) {
  if (bytesOf(message).size > 0) static_cast<Tally*>(tally)->add();
  return 1;
}

const sd_bus_vtable vtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Ask", "ay", "ay", reply, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Tell", "ay", "", tell, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

void offer(sd_bus* bus, void* data) {
  check(sd_bus_add_object_vtable(bus, nullptr, path, interface, vtable, data), "vtable");
  check(sd_bus_request_name(bus, serviceName, 0), "sd_bus_request_name");
}

void dispatch(sd_bus* bus) {
  for (;;) {
    if (check(sd_bus_process(bus, nullptr), "sd_bus_process") == 0) {
      check(sd_bus_wait(bus, forEver), "sd_bus_wait");
    }
  }
}

void serve(const Options& options) {
  const Bus bus = connectTo(options.address);
  Answer answer(options.answer);
  offer(bus.get(), &answer);
  std::thread(dispatch, bus.get()).detach();
  serveUntilEnd();
  std::_Exit(0);
}

void ask(const Options& options) {
  const Bus bus = connectTo(options.address);
  Message answer(nullptr, sd_bus_message_unref);
  measure(options, [&](const Bytes& bytes) {
    const Message request = call(bus.get(), "Ask", bytes);
    sd_bus_message* message = nullptr;
    check(sd_bus_call(bus.get(), request.get(), 0, nullptr, &message), "sd_bus_call");
    answer.reset(message);
    return bytesOf(message);
  });
}

void count(const Options& options) {
  const Bus bus = connectTo(options.address);
  Tally tally(options.count);
  offer(bus.get(), &tally);
  std::thread(dispatch, bus.get()).detach();
  tally.report();
  std::_Exit(0);
}

// What the socket does not take at once waits in the library, so look to that now and then.
void send(const Options& options) {
  const Bus bus = connectTo(options.address);
  std::uint64_t sent = 0;
  sendAll(options, [&](const Bytes& bytes) {
    const Message message = call(bus.get(), "Tell", bytes);
    check(sd_bus_message_set_expect_reply(message.get(), 0), "sd_bus_message_set_expect_reply");
    check(sd_bus_send(bus.get(), message.get(), nullptr), "sd_bus_send");
    if (++sent % flushEvery == 0) check(sd_bus_flush(bus.get()), "sd_bus_flush");
    return true;
  });
}

}  // namespace

int main(int argc, char** argv) {
  return run(argc, argv, {serve, ask, count, send});
}
