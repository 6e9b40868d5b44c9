// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The demo as a newcomer runs it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "process/ChildProcess.h"
#include "process/PrivateBus.h"
#include "support/fixedTexts.h"

namespace velp::test {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

struct Demo : testing::Test {
  // A log of the test's own, so that the table is known.
  Demo() {
    std::ofstream(logFile) << "2026-11-01 10:00:00 install tar:amd64 <none> 1.34\n"
                              "2026-11-01 10:00:01 status installed tar:amd64 1.34\n"
                              "a line in another form\n";
  }

  std::vector<std::string> command(const std::string& log) const {
    return {VELP_DEMO, VELP_BIN, log};
  }

  ScratchDirectory logs;
  std::string logFile = logs.getPath() + "/dpkg.log";
  ScratchDirectory temporary;
  std::vector<std::string> environment = {"TMPDIR=" + temporary.getPath()};
};

// What the demo has written from one step's title to the next.
std::string step(const std::string& out, int number) {
  const std::size_t from = out.find("\n" + std::to_string(number) + ". ");
  if (from == std::string::npos) return {};
  return out.substr(from, out.find("\n\n", from) - from);
}

// The last word of the first line with `part` in it.
std::string lastWord(const std::string& text, const std::string& part) {
  const std::size_t at = text.find(part);
  if (at == std::string::npos) return {};
  const std::string line = text.substr(at, text.find('\n', at) - at);
  return line.substr(line.rfind(' ') + 1);
}

void expectReport(const std::string& text) {
  EXPECT_THAT(text, HasSubstr("  Client1 |   0 %  " + std::string(texts::steps[29]) + "\n"));
  for (const char* file : {"packages/apt", "packages/dpkg", "system/kernel", "system/mail"}) {
    EXPECT_THAT(text, HasSubstr("%  Packing " + std::string(file) + ".log\n"));
    EXPECT_THAT(text, HasSubstr("\n  tar     | " + std::string(file) + ".log"));
  }
  const std::size_t busy = text.find("  Client2 | report-client: ReportService is still making");
  EXPECT_LT(text.find("Packing packages/apt.log"), busy);
  EXPECT_LT(busy, text.find("  Client1 | 100 %"));
  EXPECT_THAT(text, HasSubstr("(error 7): try again later\n"));
  EXPECT_THAT(lastWord(text, "  Client1 | archive: "),
              MatchesRegex("/.*/archives/report-[0-9]{8}-[0-9]{6}\\.tar\\.gz"));
  EXPECT_THAT(text, HasSubstr("  Client1 | report-client: ReportService's report is whole\n"));
}

void expectFault(const std::string& text) {
  EXPECT_THAT(text, HasSubstr("ReportService made no report: cannot create an archive in "));
  EXPECT_THAT(text, HasSubstr("No such file or directory (error 11)\n"));
  EXPECT_THAT(text, HasSubstr("  Client1 | archive: "));
  for (const std::string label : {"faults ", "file   "}) {
    const std::string line = "\n  " + label + " | 20[^\n]*Z ReportService code=1001 active=";
    EXPECT_THAT(text, ContainsRegex(line + "1 time=0 source=\"ReportService\" info=\"cannot"));
    EXPECT_THAT(text, ContainsRegex(line + "0 [^\n]*info=\"reports work again\""));
  }
}

void expectKilledReport(const std::string& text) {
  EXPECT_THAT(text, HasSubstr("  Client1 |  26 %  Packing packages/apt.log\n"));
  EXPECT_THAT(text, HasSubstr("ReportService took the request, but was silent for 2 s (-2)\n"));
  EXPECT_THAT(text, ContainsRegex("\n  find    [|] ./.ReportService-report-[-0-9]*.part\n"));
  const std::string restarted = text.substr(std::min(text.find("  find    "), text.size()));
  EXPECT_THAT(restarted, HasSubstr("  report  | removed 1 unfinished of an earlier run\n"));
  EXPECT_THAT(restarted, HasSubstr("  Client1 | archive: "));
}

TEST_F(Demo, ShowsTheAnswerTheRefusalsAndTheTimeOut) {
  ChildProcess demo(command(logFile), environment);

  EXPECT_EQ(demo.waitForEnd(), 0);

  EXPECT_EQ(demo.err(), "");
  EXPECT_THAT(demo.out(), HasSubstr("2026-11-01 10:00:01  installed  tar:amd64     8\n"));
  EXPECT_THAT(demo.out(), HasSubstr("skipped 1 of 3 lines"));
  EXPECT_THAT(demo.out(), HasSubstr("(error 7: busy)"));
  EXPECT_THAT(demo.out(), HasSubstr("(error 1: not available)"));
  EXPECT_THAT(demo.out(), HasSubstr("(-2)"));
  EXPECT_THAT(demo.out(), HasSubstr("(-1)"));
  EXPECT_THAT(demo.out(), HasSubstr("EventService removed 1 events"));
  const std::string end = demo.out().substr(demo.out().find("EventService removed"));
  EXPECT_THAT(end, HasSubstr("2026-11-01 10:00:00  install  tar:amd64     1\n"));
  EXPECT_THAT(end, Not(HasSubstr("installed  tar")));
  EXPECT_THAT(demo.out(), HasSubstr("Everything happened as announced."));
}

TEST_F(Demo, ShowsAReportAFaultAndAKillInTheMiddle) {
  ChildProcess demo(command(logFile), environment);

  EXPECT_EQ(demo.waitForEnd(), 0);

  EXPECT_EQ(demo.err(), "");
  expectReport(step(demo.out(), 8));
  expectFault(step(demo.out(), 9));
  expectKilledReport(step(demo.out(), 10));
}

TEST_F(Demo, LeavesNothingBehind) {
  ChildProcess demo(command(logFile), environment);

  demo.waitForEnd();

  EXPECT_TRUE(temporary.isEmpty());
  EXPECT_TRUE(demo.groupEnds());
}

TEST_F(Demo, LeavesNothingBehindWhenInterrupted) {
  for (const char* moment : {"events  | serving", "Client1 |  26 %", "faults  | ready"}) {
    ChildProcess demo(command(logFile), environment);
    ASSERT_TRUE(demo.waitForLine(moment));

    demo.killGroup(SIGINT);

    EXPECT_EQ(demo.waitForEnd(), 130) << moment;
    EXPECT_TRUE(temporary.isEmpty()) << moment;
    EXPECT_TRUE(demo.groupEnds()) << moment;
    EXPECT_THAT(demo.out(), Not(HasSubstr("Everything happened as announced."))) << moment;
  }
}

TEST_F(Demo, GeneratesALogOnAMachineWithoutOne) {
  ChildProcess demo(command(logs.getPath() + "/none"), environment);

  EXPECT_EQ(demo.waitForEnd(), 0);

  EXPECT_EQ(demo.err(), "");
  EXPECT_THAT(demo.out(), HasSubstr("/none cannot be read: serving a generated log\n"));
  EXPECT_THAT(demo.out(), HasSubstr("2026-11-01 10:05:21  installed  zlib1g:amd64"));
}

TEST_F(Demo, FailsWhenAProgramDoesNotDoAsAnnounced) {
  ChildProcess demo({VELP_DEMO, temporary.getPath(), logFile}, environment);

  EXPECT_EQ(demo.waitForEnd(), 1);

  EXPECT_THAT(demo.err(), HasSubstr("demo: not as announced: events has ended"));
  EXPECT_TRUE(temporary.isEmpty());
}

}  // namespace
}  // namespace velp::test
