// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A service process: keeps the fault records of all others until SIGTERM or SIGINT.

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <string>

#include "../endSignals.h"
#include "../say.h"
#include "FaultRecords.h"
#include "FaultService.h"

namespace {

struct Options {
  std::string bus = "local:";
  std::string records = "fault-records.log";
};

void declare(CLI::App& app, Options& options) {
  app.add_option("--bus", options.bus, "Bus to join: local: or local:DIR")->capture_default_str();
  app.add_option("--records", options.records, "File to append the records to")
      ->capture_default_str();
}

int serve(const Options& options) {
  FaultRecords records(options.records);
  if (records.tornBytes() > 0) {
    say(stderr, "fault-service: cut off {} bytes of an unfinished record at the end of {}",
        records.tornBytes(), options.records);
  }
  const std::size_t count = records.size();  // from join() on the reception thread changes it
  FaultService service(records);
  service.join(options.bus);
  say(stdout, "ready: {} records in {}, as FaultManagement on {}", count, options.records,
      options.bus);

  waitForEndSignal();
  service.leave();
  say(stdout, "ended: kept {} records, could not keep {}", service.getKept(), service.getLost());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  blockEndSignals();
  Options options;
  CLI::App app("Keeps the fault records that processes file with FaultManagement.");
  try {
    declare(app, options);
    app.parse(argc, argv);
    return serve(options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    say(stderr, "fault-service: {}", error.what());
    return 1;
  }
}
