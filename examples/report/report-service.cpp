// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A service process: packs files into archives on request until SIGTERM or SIGINT.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

#include "../endSignals.h"
#include "../say.h"
#include "ReportService.h"

namespace {

struct Options {
  std::string bus = "local:";
  std::string name = "ReportService";
  std::string source = "/var/log";
  std::string output = ".";
  unsigned int tick = 1000;
  std::uint32_t pace = 0;
};

void declare(CLI::App& app, Options& options) {
  app.add_option("--bus", options.bus, "Bus to join: local: or local:DIR")->capture_default_str();
  app.add_option("--name", options.name, "Name on the bus")->capture_default_str();
  app.add_option("--source", options.source,
                 "Directory to pack; clients may ask for one below it, for none outside it")
      ->capture_default_str();
  app.add_option("--output", options.output, "Directory for the archives")->capture_default_str();
  app.add_option("--tick", options.tick, "Milliseconds between signs of life; 0: none")
      ->capture_default_str();
  app.add_option("--pace", options.pace, "KiB of files to pack per second at most; 0: no limit")
      ->capture_default_str();
}

int serve(const Options& options) {
  ReportService service({options.name, options.source, options.output,
                         std::chrono::milliseconds(options.tick), options.pace});
  service.join(options.bus);
  say(stdout, "ready: packs {} into {}, as {} on {}", service.getSource(), service.getOutput(),
      options.name, options.bus);

  waitForEndSignal();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  blockEndSignals();
  Options options;
  CLI::App app("Packs files into archives on request.");
  try {
    declare(app, options);
    app.parse(argc, argv);
    return serve(options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    say(stderr, "report-service: {}", error.what());
    return 1;
  }
}
