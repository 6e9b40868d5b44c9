// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The floor of the library's threads within one process: the same four hops, each a queue.
//
// The bytes are copied once where a transport would copy them, and moved from there on.
#include <cstdlib>
#include <thread>

#include "bench/harness/harness.h"
#include "bench/systems/HandOver.h"

namespace {

using namespace velp::bench;

void serveWithin(HandOver<Bytes>& requests, HandOver<Bytes>& answers, std::size_t size) {
  static HandOver<Bytes> work;
  std::thread([&requests] {
    for (;;) work.put(requests.take());
  }).detach();
  std::thread([&answers, size] {
    Answer answer(size);
    for (;;) {
      const Bytes request = work.take();
      answers.put(answer.to(request.data(), request.size()));
    }
  }).detach();
}

void ask(const Options& options) {
  HandOver<Bytes> requests;
  HandOver<Bytes> answers;
  Wait<Bytes> wait;
  serveWithin(requests, answers, options.answer);
  std::thread reception([&] {
    for (;;) wait.finish(answers.take());
  });
  measure(options, [&](const Bytes& request) {
    requests.put(request);
    const Bytes& answer = wait.get();
    return View{answer.data(), answer.size()};
  });
  std::_Exit(0);
}

void send(const Options& options) {
  HandOver<Bytes> messages;
  Tally tally(options.count);
  std::thread reception([&] {
    for (;;) {
      messages.take();
      tally.add();
    }
  });
  sendWithin(
      options, [&](const Bytes& message) { return messages.put(message); }, tally);
  std::_Exit(0);
}

}  // namespace

int main(int argc, char** argv) {
  return run(argc, argv, {{}, ask, {}, send});
}
