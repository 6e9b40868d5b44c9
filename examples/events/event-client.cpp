// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A client process: asks a service for its event list and prints it, or has events removed.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <string>

#include "../say.h"
#include "EventTable.h"
#include "Removal.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/LogUtil.h"
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
};

struct Options {
  std::string bus = "local:";
  std::string name = "EventClient";
  std::string service = "EventService";
  unsigned short timeout = 5;
  unsigned int id = VelpClientMessageBase::MSG_GET_EVENT_LIST;
  std::size_t last = 1000;
  Removal removal;
};

void declare(CLI::App& app, Options& options) {
  app.add_option("--bus", options.bus, "Bus to join: local: or local:DIR")->capture_default_str();
  app.add_option("--name", options.name, "Own name on the bus")->capture_default_str();
  app.add_option("--service", options.service, "Service to ask")->capture_default_str();
  app.add_option("--timeout", options.timeout, "Seconds to wait for the answer")
      ->capture_default_str();
  app.add_option("--id", options.id, "Message ID of the request")->capture_default_str();
  app.add_option("--last", options.last, "How many of the latest events to print")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  declareRemoval(app, options.removal);
  app.footer(
      "Exit status: 0 answered, 1 usage, no bus or no output, 2 error response,\n"
      "3 no such service, 4 not available, 5 busy, 6 time-out.");
}

Outcome tell(Outcome outcome, const std::string& text) {
  say(stderr, "event-client: {}", text);
  return outcome;
}

Outcome tellError(const Options& options, const VelpClientMessageResponse& response) {
  const std::string service = velp::escaped(options.service);
  const auto code = response.getErrorCode();
  const std::string error = fmt::format("error {}", static_cast<unsigned int>(code));
  switch (code) {
    case VelpClientMessageResponse::ERROR_NOT_AVAILABLE:
      return tell(NOT_AVAILABLE_RESPONSE,
                  fmt::format("{} does not serve requests of ID {} ({}: not available)", service,
                              options.id, error));
    case VelpClientMessageResponse::ERROR_BUSY:
      return tell(BUSY_RESPONSE,
                  fmt::format("{} is still serving an earlier request of ID {} ({}: busy)", service,
                              options.id, error));
    default:
      return tell(ERROR_RESPONSE, fmt::format("{} answered with {}: {}", service, error,
                                              velp::escaped(response.getErrorText())));
  }
}

// What is still buffered would be lost in silence at the end of the process.
Outcome print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    return tell(USAGE, "the answer cannot be written to stdout");
  }
  return ANSWERED;
}

Outcome printAnswer(const Options& options, const VelpClientMessageResponse& response) {
  const std::string service = velp::escaped(options.service);
  if (response.getStatus() == VelpClientMessageResponse::STATUS_ERROR) {
    return tellError(options, response);
  }
  if (options.id == VelpClientMessageBase::MSG_REMOVE_DATA) {
    return print(fmt::format("{} {}\n", service, velp::escaped(response.getString(0, 1))));
  }
  VelpMsgReqGetEventList list;
  if (!list.initFromResponse(response)) {
    return tell(ERROR_RESPONSE, service + " answered, but not with an event list");
  }
  return print(eventTable(list, options.last));
}

VelpClientMessageRequest requestOf(Options& options) {
  if (isWanted(options.removal)) {
    options.id = VelpClientMessageBase::MSG_REMOVE_DATA;
    return requestOf(options.removal);
  }
  return {static_cast<VelpClientMessageBase::velpMsgID_t>(options.id), nullptr, 0};
}

Outcome ask(Options& options) {
  const std::string service = velp::escaped(options.service);
  VelpBusProxy::getInstance()->connect(options.name, options.bus);
  const VelpClientMessageRequest request = requestOf(options);
  VelpClientMessageResponse response;
  switch (VelpMsgSender::getInstance()->sendRequestWaitForResponse(options.service, request,
                                                                   response, options.timeout)) {
    case -1:
      return tell(ABSENT, fmt::format("{} is not on {}, or cannot take the request now (-1)",
                                      service, velp::escaped(options.bus)));
    case -2:
      return tell(TIMED_OUT, fmt::format("{} took the request, but has not answered for {} s (-2)",
                                         service, options.timeout));
    default:
      return printAnswer(options, response);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app(
      "Asks a service for its event list and prints it as a table, or has events removed.");
  try {
    declare(app, options);
    app.parse(argc, argv);
    return ask(options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : USAGE;
  } catch (const std::exception& error) {
    return tell(USAGE, error.what());
  }
}
