// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The loops that measure, and the command line around them.
#include "bench/harness/harness.h"

#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "bench/harness/usage.h"

namespace velp::bench {

namespace {

using nlohmann::json;

constexpr std::chrono::milliseconds lookEvery{10};
constexpr std::int64_t patience = 10'000'000'000;

void addOptions(CLI::App& command, Options& options) {
  command.add_option("ADDRESS", options.address, "a path of this run's own")->required();
  command.add_option("--count", options.count, "measured requests, or messages");
  command.add_option("--warm-up", options.warmUp, "requests before the measured ones");
  command.add_option("--request", options.request, "bytes of a request");
  command.add_option("--answer", options.answer, "bytes of an answer");
  command.add_option("--size", options.size, "bytes of a one-way message");
  command.add_option("--watch", options.watch, "processes whose usage counts too")->delimiter(',');
  command.add_option("--number", options.number, "which of the services this is");
  command.add_option("--services", options.services, "services that the client asks in turn");
  command.add_option("--ids", options.ids, "kinds of request that are known, or used");
  command.add_option("--first-id", options.firstID, "first kind of request that is used");
}

void addRole(CLI::App& app, const char* name, const char* text, Options& options,
             const Role& role) {
  CLI::App* command = app.add_subcommand(name, text);
  addOptions(*command, options);
  command->callback([name, &options, &role] {
    if (!role) throw std::runtime_error(std::string("this system has no role ") + name);
    role(options);
  });
}

void print(const json& object) {
  std::cout << object.dump() + "\n" << std::flush;
}

json describe(const Usage& usage) {
  return {
      {"cpu_ns", usage.cpu}, {"voluntary", usage.voluntary}, {"involuntary", usage.involuntary}};
}

// Asks and says whether the answer is the right one.
bool askOnce(const Options& options, const Exchange& exchange, Bytes& request,
             std::uint64_t number) {
  setNumber(request, number);
  const View answer = exchange(request);
  return answer.size == options.answer &&
         numberOf(answer) == numberOf({request.data(), request.size()});
}

json describeTimes(std::vector<std::int64_t> times) {
  if (times.empty()) return json::object();
  std::sort(times.begin(), times.end());
  const auto at = [&](std::size_t percent) { return times[(times.size() - 1) * percent / 100]; };
  return {{"p50_ns", at(50)}, {"p99_ns", at(99)}, {"max_ns", times.back()}};
}

struct Sending {
  std::int64_t begin = 0;
  std::uint64_t retries = 0;
  Usage usage;
};

Sending sendMessages(const Options& options, const std::function<bool(const Bytes&)>& send) {
  Sending sending;
  Bytes message(options.size, 0x5A);
  const Usage before = usageOf(options.watch);
  sending.begin = now();
  for (std::uint64_t number = 1; number <= options.count; ++number) {
    setNumber(message, number);
    while (!send(message)) {
      ++sending.retries;
      std::this_thread::yield();
    }
  }
  sending.usage = usageOf(options.watch) - before;
  return sending;
}

json describe(const Options& options, const Sending& sending) {
  json result = describe(sending.usage);
  result["begin_ns"] = sending.begin;
  result["sent"] = options.count;
  result["retries"] = sending.retries;
  return result;
}

}  // namespace

int run(int argc, char** argv, const Roles& roles) {
  Options options;
  CLI::App app("One system of the benchmark; bench/compare.py runs them all.");
  app.require_subcommand(1);
  addRole(app, "serve", "answer requests", options, roles.serve);
  addRole(app, "ask", "send requests, one after the other", options, roles.ask);
  addRole(app, "count", "receive one-way messages", options, roles.count);
  addRole(app, "send", "send one-way messages", options, roles.send);
  try {
    app.parse(argc, argv);
    return 0;
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << '\n';
    return 1;
  }
}

void sayReady() {
  // In one piece: the library writes lines of its own, from other threads.
  std::cout << "ready\n" << std::flush;
}

void serveUntilEnd() {
  sayReady();
  char byte = 0;
  while (read(STDIN_FILENO, &byte, 1) > 0) continue;
}

std::int64_t now() {
  timespec time = {};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

std::uint64_t numberOf(View bytes) {
  std::uint64_t number = 0;
  if (bytes.size >= sizeof number) std::memcpy(&number, bytes.data, sizeof number);
  return number;
}

void setNumber(Bytes& bytes, std::uint64_t number) {
  if (bytes.size() >= sizeof number) std::memcpy(bytes.data(), &number, sizeof number);
}

const Bytes& Answer::to(View request) {
  setNumber(bytes, numberOf(request));
  return bytes;
}

void measure(const Options& options, const Exchange& exchange) {
  Bytes request(options.request, 0x5A);
  std::uint64_t errors = 0;
  std::uint64_t number = 0;
  while (number != options.warmUp) errors += !askOnce(options, exchange, request, ++number);
  std::vector<std::int64_t> times(static_cast<std::size_t>(options.count));
  const Usage before = usageOf(options.watch);
  const std::int64_t begin = now();
  std::int64_t last = begin;
  for (std::int64_t& time : times) {
    errors += !askOnce(options, exchange, request, ++number);
    const std::int64_t end = now();
    time = end - last;
    last = end;
  }
  json result = describe(usageOf(options.watch) - before);
  result["count"] = options.count;
  result["elapsed_ns"] = last - begin;
  result["end_ns"] = last;
  result["errors"] = errors;
  result.update(describeTimes(std::move(times)));
  print(result);
}

bool Tally::add() {
  const std::uint64_t total = received.load(std::memory_order_relaxed) + 1;
  if (total == expected) end = now();
  received.store(total, std::memory_order_release);
  return total < expected;
}

// Looks now and then: being told would add to the receiver's work.
void Tally::wait() {
  std::uint64_t seen = 0;
  std::int64_t seenAt = now();
  while (!complete() && now() - seenAt < patience) {
    std::this_thread::sleep_for(lookEvery);
    const std::uint64_t total = received;
    if (total != seen) seenAt = now();
    seen = total;
  }
  if (!complete()) end = seenAt;
}

void Tally::report() {
  const Usage before = usageOf({});
  sayReady();
  wait();
  json result = describe(usageOf({}) - before);
  result["received"] = received.load();
  result["end_ns"] = end.load();
  print(result);
}

void sendAll(const Options& options, const std::function<bool(const Bytes&)>& send) {
  print(describe(options, sendMessages(options, send)));
}

void sendWithin(const Options& options, const std::function<bool(const Bytes&)>& send,
                Tally& tally) {
  const Usage before = usageOf(options.watch);
  const Sending sending = sendMessages(options, send);
  tally.wait();
  json result = describe(options, sending);
  result.update(describe(usageOf(options.watch) - before));
  result["received"] = tally.received.load();
  result["end_ns"] = tally.end.load();
  print(result);
}

}  // namespace velp::bench
