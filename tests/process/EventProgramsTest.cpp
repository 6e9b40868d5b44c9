// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The event service and its client as programs: outputs and exit statuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "process/ChildProcess.h"
#include "process/PrivateBus.h"

namespace velp::test {
namespace {

using testing::HasSubstr;

struct EventPrograms : testing::Test {
  EventPrograms() {
    std::ofstream file(log);
    file << "2026-11-01 10:00:00 startup archives unpack\n"
            "2026-11-01 10:00:01 upgrade libc6:amd64 2.36-9 2.36-10\n"
            "what is this?\n"
            "2026-11-01 10:00:02 status half-configured libc6:amd64 2.36-10\n";
  }

  std::vector<std::string> program(const std::string& name,
                                   const std::vector<std::string>& options) const {
    std::vector<std::string> command = {VELP_BIN + name, "--bus", bus.address()};
    command.insert(command.end(), options.begin(), options.end());
    return command;
  }

  // Starts the service and runs the client against it; returns the client's exit status.
  int ask(const std::vector<std::string>& serviceOptions,
          const std::vector<std::string>& clientOptions) {
    ChildProcess service(program("event-service", serviceOptions));
    EXPECT_TRUE(service.waitForLine("ready"));
    return askRunning(clientOptions);
  }

  int askRunning(const std::vector<std::string>& options) {
    ChildProcess client(program("event-client", options));
    const int status = client.waitForEnd();
    out = client.out();
    err = client.err();
    return status;
  }

  // Runs the client with its streams as the shell's redirections say.
  int askRunningWith(const std::string& redirections) {
    ChildProcess client(
        {"/bin/sh", "-c",
         "exec " VELP_BIN "event-client --bus " + bus.address() + " " + redirections});
    const int status = client.waitForEnd();
    err = client.err();
    return status;
  }

  PrivateBus bus;
  std::string log = bus.getPath() + "/dpkg.log";
  std::string out;
  std::string err;
};

TEST_F(EventPrograms, PrintTheEventsAsAnAlignedTable) {
  EXPECT_EQ(ask({"--log", log}, {}), 0);

  EXPECT_EQ(out,
            "TIME                 ACTION           SUBJECT      CODE\n"
            "2026-11-01 10:00:00  startup          archives        7\n"
            "2026-11-01 10:00:01  upgrade          libc6:amd64     2\n"
            "2026-11-01 10:00:02  half-configured  libc6:amd64     8\n");
  EXPECT_EQ(err, "");
}

TEST_F(EventPrograms, PrintOnlyTheLastEventsWhenAsked) {
  EXPECT_EQ(ask({"--log", log}, {"--last", "1"}), 0);

  EXPECT_EQ(out,
            "TIME                 ACTION           SUBJECT      CODE\n"
            "2026-11-01 10:00:02  half-configured  libc6:amd64     8\n");
}

TEST_F(EventPrograms, CountTheLinesTheySkip) {
  ChildProcess service(program("event-service", {"--log", log}));
  ASSERT_TRUE(service.waitForLine("ready: 3 events"));
  service.kill(SIGTERM);
  service.waitForEnd();

  EXPECT_EQ(service.err(), "event-service: skipped 1 of 4 lines of " + log + ": unknown form\n");
}

TEST_F(EventPrograms, CutAListThatWouldNotFitAndSaySo) {
  std::ofstream file(log);
  for (int i = 0; i < 3000; ++i) file << "2026-11-01 10:00:00 install package:amd64 <none> 1\n";
  file.close();

  // Each event takes 39 bytes and a blank: 1,638 of them fit.
  ChildProcess service(program("event-service", {"--log", log, "--limit", "3000"}));
  ASSERT_TRUE(service.waitForLine("ready: 1638 events"));
  service.kill(SIGTERM);
  service.waitForEnd();

  EXPECT_THAT(service.err(), HasSubstr("left out the 1362 oldest events"));
}

TEST_F(EventPrograms, EndCleanlyOnSigtermAlsoInTheMiddleOfARequest) {
  for (const int signal : {SIGTERM, SIGINT}) {
    ChildProcess service(program("event-service", {"--log", log, "--delay", "600000"}));
    ASSERT_TRUE(service.waitForLine("ready"));
    ChildProcess client(program("event-client", {"--timeout", "60"}));
    ASSERT_TRUE(service.waitForLine("serving EventClient"));

    service.kill(signal);

    EXPECT_EQ(service.waitForEnd(), 0);
    EXPECT_EQ(client.waitForEnd(), 0) << "the request in progress is finished";
  }
}

TEST_F(EventPrograms, GiveUpWithoutALogAndSayWhatToDo) {
  ChildProcess service(program("event-service", {"--log", bus.getPath() + "/none"}));

  EXPECT_EQ(service.waitForEnd(), 1);
  EXPECT_THAT(service.err(), HasSubstr("/none cannot be read: name another log with --log"));
}

TEST_F(EventPrograms, ServeAGeneratedLogWhenAskedTo) {
  EXPECT_EQ(ask({"--log", bus.getPath() + "/none", "--generate"}, {}), 0);

  EXPECT_THAT(out, HasSubstr("2026-11-01 10:00:00  install    bash:amd64          1\n"));
}

TEST_F(EventPrograms, PrintTheHeaderAloneForALogWithoutEvents) {
  std::ofstream file(log, std::ios::trunc);
  file.close();

  EXPECT_EQ(ask({"--log", log}, {}), 0);
  EXPECT_EQ(out, "TIME  ACTION  SUBJECT  CODE\n");
}

TEST_F(EventPrograms, ExplainEveryOutcomeAndGiveItAStatus) {
  ChildProcess service(program("event-service", {"--log", log, "--delay", "600000"}));
  ASSERT_TRUE(service.waitForLine("ready"));

  EXPECT_EQ(askRunning({"--service", "Nobody"}), 3);
  EXPECT_THAT(err, HasSubstr("Nobody is not on " + bus.address()));
  EXPECT_EQ(askRunning({"--id", "77"}), 4);
  EXPECT_THAT(err, HasSubstr("does not serve requests of ID 77 (error 1: not available)"));
  EXPECT_EQ(askRunning({"--timeout", "1"}), 6);
  EXPECT_THAT(err, HasSubstr("has not answered for 1 s (-2)"));
  EXPECT_EQ(askRunning({}), 5);
  EXPECT_THAT(err, HasSubstr("still serving an earlier request of ID 50 (error 7: busy)"));
}

TEST_F(EventPrograms, EndWithStatus1OnUsageErrors) {
  EXPECT_EQ(askRunning({"--no-such-option"}), 1);
  EXPECT_EQ(askRunning({"--timeout", "-1"}), 1);
  EXPECT_EQ(askRunning({"--last", "-1"}), 1);
  EXPECT_THAT(err, HasSubstr("--last"));
  EXPECT_EQ(askRunning({"--name", "not a name"}), 1);
  EXPECT_EQ(askRunning({"--help"}), 0);
}

TEST_F(EventPrograms, TakeNoNegativeLimit) {
  ChildProcess service(program("event-service", {"--log", log, "--limit", "-1"}));

  EXPECT_EQ(service.waitForEnd(), 1);
  EXPECT_THAT(service.err(), HasSubstr("--limit"));
}

TEST_F(EventPrograms, EscapeTheNamesThatTheyRepeat) {
  EXPECT_EQ(askRunning({"--service", "No\x1b[2J\nbody"}), 3);
  EXPECT_THAT(err, HasSubstr("No\\x1b[2J\\x0abody is not on "));

  ChildProcess service(program("event-service", {"--log", "/no\nlog"}));
  EXPECT_EQ(service.waitForEnd(), 1);
  EXPECT_THAT(service.err(), HasSubstr("/no\\x0alog cannot be read"));
}

TEST_F(EventPrograms, SayWhenTheAnswerCannotBeWritten) {
  ChildProcess service(program("event-service", {"--log", log}));
  ASSERT_TRUE(service.waitForLine("ready"));

  for (const char* nowhere : {">/dev/full", ">&-"}) {
    EXPECT_EQ(askRunningWith(nowhere), 1) << nowhere;
    EXPECT_EQ(err, "event-client: the answer cannot be written to stdout\n") << nowhere;
  }
}

TEST_F(EventPrograms, KeepTheirStatusWithoutAnyStream) {
  EXPECT_EQ(askRunningWith("<&- >&- 2>&-"), 3);

  ChildProcess service({"/bin/sh", "-c", "exec " VELP_BIN "event-service --log /none 2>&-"});
  EXPECT_EQ(service.waitForEnd(), 1);
}

TEST_F(EventPrograms, RefuseANameThatIsTaken) {
  ChildProcess service(program("event-service", {"--log", log}));
  ASSERT_TRUE(service.waitForLine("ready"));

  EXPECT_EQ(askRunning({"--name", "EventService"}), 1);
  EXPECT_THAT(err, HasSubstr(std::to_string(service.getPid())));
}

}  // namespace
}  // namespace velp::test
