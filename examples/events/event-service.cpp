// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A service process: serves the package manager's log as an event list, and removes events, until
// SIGTERM or SIGINT.
#include <SQLiteCpp/Exception.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "../endSignals.h"
#include "../say.h"
#include "EventService.h"
#include "EventStore.h"
#include "PackageLog.h"
#include "velp/runtime/LogUtil.h"

namespace {

struct Options {
  std::string bus = "local:";
  std::string name = "EventService";
  std::string log = "/var/log/dpkg.log";
  std::string store;
  unsigned int delay = 0;
  std::size_t limit = 1000;
  bool generate = false;
};

void declare(CLI::App& app, Options& options) {
  app.add_option("--bus", options.bus, "Bus to join: local: or local:DIR")->capture_default_str();
  app.add_option("--name", options.name, "Name on the bus")->capture_default_str();
  app.add_option("--log", options.log, "Log to serve; unknown lines are counted and skipped")
      ->capture_default_str();
  app.add_option("--store", options.store,
                 "File that keeps the events, so that what was removed stays removed after a "
                 "restart; none: they are kept in memory");
  app.add_option("--delay", options.delay, "Milliseconds to take over each request")
      ->capture_default_str();
  app.add_option("--limit", options.limit, "How many of the latest events to serve")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_flag("--generate", options.generate,
               "Serve a generated log when the log is missing or holds no event");
}

// Whether there is a log to serve; tells on stderr what is odd about it.
bool readLog(const Options& options, PackageLog& log) {
  std::ifstream file(options.log);
  if (file) log = readPackageLog(file);
  if (log.skipped > 0) {
    say(stderr, "event-service: skipped {} of {} lines of {}: unknown form", log.skipped,
        log.skipped + log.events.size(), velp::escaped(options.log));
  }
  if (file.is_open() && !log.events.empty()) return true;

  const char* lacking = file.is_open() ? "holds no event" : "cannot be read";
  if (options.generate) {
    say(stderr, "event-service: {} {}: serving a generated log", velp::escaped(options.log),
        lacking);
    std::istringstream generated(generatePackageLog());
    log = readPackageLog(generated);
    return true;
  }
  if (file.is_open()) return true;
  say(stderr,
      "event-service: {} {}: name another log with --log, or serve a generated one with "
      "--generate",
      velp::escaped(options.log), lacking);
  return false;
}

// How many events the service will answer with; tells on stderr if that is less than `limit`.
std::size_t countServed(const EventStore& store, std::size_t limit) {
  std::vector<VelpMsgReqGetEventList::Event> events = store.events();
  const std::size_t cut = keepMostRecent(events, limit);
  if (cut > 0) {
    say(stderr, "event-service: left out the {} oldest events: a list holds 65,535 bytes", cut);
  }
  return events.size();
}

int serve(const Options& options) {
  PackageLog log;
  if (!readLog(options, log)) return 1;
  EventStore store(options.store);
  store.add(log.events);

  const std::size_t count = countServed(store, options.limit);
  EventService service(store, options.limit, std::chrono::milliseconds(options.delay));
  service.join(options.name, options.bus);
  say(stdout, "ready: {} events, as {} on {}", count, options.name, options.bus);

  waitForEndSignal();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  blockEndSignals();
  Options options;
  CLI::App app("Serves the package manager's log as an event list.");
  try {
    declare(app, options);
    app.parse(argc, argv);
    return serve(options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 1;
  } catch (const SQLite::Exception& error) {
    say(stderr, "event-service: cannot use the store {}: {}", velp::escaped(options.store),
        error.what());
    return 1;
  } catch (const std::exception& error) {
    say(stderr, "event-service: {}", error.what());
    return 1;
  }
}
