// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A client process: asks a service for a report and shows how far it is. The main thread waits for
// signals, of which one says that the asking thread has the outcome; so Ctrl-C ends it at any time.
#include <fmt/format.h>
#include <limits.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <future>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "../say.h"
#include "ProgressDisplay.h"
#include "ReportProtocol.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/LogUtil.h"
#include "velpmsg/VelpMsgHandler.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

// What the exit status says.
enum Outcome : int {
  ANSWERED = 0,
  USAGE = 1,  // also: the bus cannot be joined, or the answer not be written
  ERROR_RESPONSE = 2,
  ABSENT = 3,
  NOT_AVAILABLE_RESPONSE = 4,
  BUSY_RESPONSE = 5,
  TIMED_OUT = 6,
  INTERRUPTED = 130,
};

constexpr int outcomeSignal = SIGUSR1;

struct Options {
  std::string bus = "local:";
  std::string name = "ReportClient";
  std::string service = "ReportService";
  unsigned short timeout = 5;
  bool log = false;
  std::string path;
};

void declare(CLI::App& app, Options& options) {
  app.add_option("--bus", options.bus, "Bus to join: local: or local:DIR")->capture_default_str();
  app.add_option("--name", options.name, "Own name on the bus")->capture_default_str();
  app.add_option("--service", options.service, "Service to ask")->capture_default_str();
  app.add_option("--timeout", options.timeout, "Seconds to wait for an answer or news of progress")
      ->capture_default_str();
  app.add_flag("--log", options.log, "Write the library's log to standard error");
  app.add_option("PATH", options.path,
                 "Directory to pack, inside the service's root; without it, the whole root")
      ->check([](const std::string& path) {
        return path.size() < PATH_MAX ? std::string() : std::string("The path is too long");
      });
  app.footer(
      "Exit status: 0 the archive is there, 1 usage, no bus or no output, 2 error response,\n"
      "3 no such service, 4 not available, 5 busy, 6 time-out, 130 interrupted.");
}

Outcome tell(Outcome outcome, const std::string& text) {
  say(stderr, "report-client: {}", text);
  return outcome;
}

Outcome tellError(const Options& options, const VelpClientMessageResponse& response) {
  const std::string service = velp::escaped(options.service);
  switch (response.getErrorCode()) {
    case VelpClientMessageResponse::ERROR_NOT_AVAILABLE:
      return tell(NOT_AVAILABLE_RESPONSE, service + " makes no reports (error 1)");
    case VelpClientMessageResponse::ERROR_BUSY:
      return tell(BUSY_RESPONSE,
                  service + " is still making an earlier report (error 7): try again later");
    default:
      return tell(ERROR_RESPONSE, fmt::format("{} made no report: {} (error {})", service,
                                              velp::escaped(response.getErrorText()),
                                              static_cast<unsigned int>(response.getErrorCode())));
  }
}

Outcome printAnswer(const Options& options, const VelpClientMessageResponse& response) {
  const std::string service = velp::escaped(options.service);
  if (response.getStatus() == VelpClientMessageResponse::STATUS_ERROR) {
    return tellError(options, response);
  }
  Report report;
  if (!readReport(response, report)) {
    return tell(ERROR_RESPONSE, service + " answered, but not with a report");
  }
  const std::string answer = fmt::format("archive: {}\nsize: {} bytes\nfiles: {}\n",
                                         velp::escaped(report.archive), report.size, report.files);
  // What is still buffered would be lost in silence at the end of the process.
  if (std::fputs(answer.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    return tell(USAGE, "the answer cannot be written to stdout");
  }
  const std::string missing =
      report.unreadable == 0
          ? std::string(" is whole")
          : fmt::format(" lacks {} unreadable files or directories", report.unreadable);
  return tell(ANSWERED, service + "'s report" + missing);
}

/// Shows the progress of one request, from its own thread, while another one waits for the answer.
class Listener {
 public:
  Listener(const std::string& service, ProgressDisplay& display)
      : service(service), display(display), handler(0) {
    handler.registerResponse(MSG_PACK,
                             [this](const VelpClientMessageResponse& response) { take(response); });
  }

  /// Waits until all progress that came before the final response is shown. It is under way: the
  /// bus gives each response to the waiting thread and to this one.
  void awaitFinal() { final.get_future().wait_for(std::chrono::seconds(5)); }

 private:
  void take(const VelpClientMessageResponse& response) {
    if (response.getText() != service) return;
    if (response.getStatus() == VelpClientMessageResponse::STATUS_PROGRESS) {
      display.show(response.getProgress(), response.getProgressText());
    } else if (!finished) {
      finished = true;
      final.set_value();
    }
  }

  const std::string service;
  ProgressDisplay& display;
  std::promise<void> final;
  bool finished = false;
  VelpMsgHandler handler;  // last: its worker uses the members above
};

Outcome ask(const Options& options, ProgressDisplay& display) {
  Listener listener(options.service, display);
  VelpBusProxy::getInstance()->connect(options.name, options.bus);
  std::vector<unsigned char> payload = packRequestPayload(options.path);
  const VelpClientMessageRequest request(MSG_PACK, payload.data(),
                                         static_cast<unsigned int>(payload.size()));
  VelpClientMessageResponse response;
  const int result = VelpMsgSender::getInstance()->sendRequestWaitForResponse(
      options.service, request, response, options.timeout);
  if (result == 0) listener.awaitFinal();
  display.finish();
  const std::string service = velp::escaped(options.service);
  switch (result) {
    case -1:
      return tell(ABSENT, fmt::format("{} is not on {}, or cannot take the request now (-1)",
                                      service, velp::escaped(options.bus)));
    case -2:
      return tell(TIMED_OUT, fmt::format("{} took the request, but was silent for {} s (-2)",
                                         service, options.timeout));
    default:
      return printAnswer(options, response);
  }
}

Outcome askOrExplain(const Options& options, ProgressDisplay& display) {
  try {
    return ask(options, display);
  } catch (const std::exception& error) {
    return tell(USAGE, error.what());
  }
}

// Blocked before any other thread exists, so that every thread inherits it and sigwait() gets them.
sigset_t awaitedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, outcomeSignal}) sigaddset(&signals, number);
  return signals;
}

// Standard output is for the answer alone.
void moveLog(bool wanted) {
  std::cout.rdbuf(wanted ? std::cerr.rdbuf() : nullptr);
}

int run(const Options& options) {
  moveLog(options.log);
  const sigset_t signals = awaitedSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  ProgressDisplay display;
  Outcome outcome = USAGE;
  std::thread asking([&options, &display, &outcome] {
    outcome = askOrExplain(options, display);
    kill(getpid(), outcomeSignal);
  });
  int received = 0;
  sigwait(&signals, &received);
  if (received == outcomeSignal) {
    asking.join();
    return outcome;
  }
  display.finish();
  tell(INTERRUPTED, "no longer waiting for " + velp::escaped(options.service) +
                        ", which goes on with the report");
  std::fflush(nullptr);
  // The asking thread cannot be ended: without destructors, nothing is taken from under it.
  _exit(INTERRUPTED);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Asks a service for an archive of files and shows how far it is.");
  try {
    declare(app, options);
    app.parse(argc, argv);
    return run(options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : USAGE;
  }
}
