// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the benchmark programs of all systems share: options, work, measurement and output.
//
// Each system is one program, bench-SYSTEM, with four roles:
//
//     serve ADDRESS --answer BYTES             "ready", then answers until standard input ends
//     ask ADDRESS --count N --warm-up W --request 32 --answer BYTES --watch PID,...
//                                              W+N requests one after the other; one JSON object
//     count ADDRESS --count N                  "ready", receives N one-way messages; one JSON
//     object send ADDRESS --count N --size 64 --watch PID,...
//                                              sends them; one JSON object
//
// A program hands run() one function for each role. Its own code is only how the system moves
// bytes:
//
//     void serve(const Options& options) {
//       Answer answer(options.answer);
//       ...start a thread or callback: for each request reply with answer.to(data, size)...
//       serveUntilEnd();
//     }
//     void ask(const Options& options) {
//       ...connect...
//       measure(options, [&](const Bytes& request) { ...; return View{reply.data(), reply.size()};
//       });
//     }
//     void count(const Options& options) {
//       Tally tally(options.count);
//       ...start a thread or callback: for each message tally.add()...
//       tally.report();
//     }
//     void send(const Options& options) {
//       sendAll(options, [&](const Bytes& message) { return ...accepted...; });
//       ...flush, leave...
//     }
//     int main(int argc, char** argv) { return run(argc, argv, {serve, ask, count, send}); }
//
// A thread that cannot be ended may be left behind by std::_Exit(0) once the output is written.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velp::bench {

using Bytes = std::vector<unsigned char>;

/// Bytes that belong to somebody else.
struct View {
  const void* data = nullptr;
  std::size_t size = 0;
};

/// The command line. What a role does not need keeps its default.
struct Options {
  std::string address;         ///< a path of this run's own, which does not exist yet
  std::uint64_t count = 1000;  ///< measured requests, or messages
  std::uint64_t warmUp = 0;    ///< requests before the measured ones
  std::size_t request = 32;    ///< bytes of a request
  std::size_t answer = 64;     ///< bytes of an answer; the client checks it
  std::size_t size = 64;       ///< bytes of a one-way message
  std::vector<pid_t> watch;    ///< processes whose usage counts too: services and brokers

  // For a system that is measured as it grows.
  unsigned int number = 0;    ///< which of the services this one is
  unsigned int services = 1;  ///< how many the client asks in turn
  unsigned int ids = 2;       ///< how many kinds of request the service knows, or the client uses
  unsigned int firstID = 0;   ///< the first kind that the client uses
};

using Role = std::function<void(const Options&)>;

/// The roles of a system; one without a function is refused.
struct Roles {
  Role serve;
  Role ask;
  Role count;
  Role send;
};

/// Runs the role that the command line names. Returns main()'s result: an exception becomes a line
/// on standard error and 1.
int run(int argc, char** argv, const Roles& roles);

/// Prints "ready": from now on the program can be asked.
void sayReady();
/// Prints "ready" and waits until standard input ends.
void serveUntilEnd();

/// Nanoseconds of the monotonic clock.
std::int64_t now();

/// The number in the first eight bytes of a request, an answer or a message; 0 in shorter ones.
std::uint64_t numberOf(View bytes);
void setNumber(Bytes& bytes, std::uint64_t number);

/// A service's answer: the size that was asked for, with the number of the request that it answers.
class Answer {
 public:
  explicit Answer(std::size_t size) : bytes(size, 0xA5) {}
  /// The answer to this request, valid until the next one.
  const Bytes& to(View request);
  const Bytes& to(const void* data, std::size_t size) { return to(View{data, size}); }

 private:
  Bytes bytes;
};

/// Sends the request and returns its answer, valid until the next call; an empty one for a failure.
using Exchange = std::function<View(const Bytes& request)>;
/// Asks options.warmUp + options.count times, checks number and size of each answer and prints:
/// count, elapsed_ns, end_ns, p50_ns, p99_ns, max_ns, cpu_ns, voluntary, involuntary, errors. The
/// usage is that of this process and of options.watch while the measured requests ran.
void measure(const Options& options, const Exchange& exchange);

/// Counts one-way messages.
///
/// Threads: add() from one thread at a time, beside report().
class Tally {
 public:
  explicit Tally(std::uint64_t expected) : expected(expected) {}
  /// A message has come. Returns whether more are expected.
  bool add();
  bool complete() const { return received.load() >= expected; }
  /// Prints "ready", waits until all messages have come, or none for ten seconds, and prints
  /// received, end_ns, cpu_ns, voluntary and involuntary (of this process, since "ready").
  void report();

 private:
  friend void sendWithin(const Options& options, const std::function<bool(const Bytes&)>& send,
                         Tally& tally);
  void wait();

  const std::uint64_t expected;
  std::atomic<std::uint64_t> received{0};
  std::atomic<std::int64_t> end{0};
};

/// Sends options.count messages of options.size bytes. `send` returns whether the system has
/// accepted the message; if not, the message is tried again, which is counted. Prints begin_ns,
/// sent, retries, cpu_ns, voluntary and involuntary (of this process and of options.watch).
void sendAll(const Options& options, const std::function<bool(const Bytes&)>& send);
/// The same where the receiver lives in this process: prints received and end_ns also.
void sendWithin(const Options& options, const std::function<bool(const Bytes&)>& send,
                Tally& tally);

}  // namespace velp::bench
