// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The report service and its client killed, ended and obstructed in the middle of a report.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <memory>
#include <string>

#include "process/ReportFixture.h"
#include "support/Recorder.h"
#include "support/fixedTexts.h"
#include "velp/bus/VelpBusProxy.h"

namespace velp::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

struct ReportFailures : ReportPrograms {
  // A service that goes slowly over one file, and a client that waits for its report.
  void begin(const Words& serviceOptions = {"--pace", "1"}) {
    write("big", 64 * 1024);
    service = std::make_unique<ChildProcess>(serviceCommand(serviceOptions));
    ASSERT_TRUE(service->waitForLine("ready"));
    client = std::make_unique<ChildProcess>(watchedClient());
    ASSERT_TRUE(client->waitForLine(packingBegun));
  }

  std::unique_ptr<ChildProcess> service;
  std::unique_ptr<ChildProcess> client;
};

TEST_F(ReportFailures, KilledServiceLeavesATimeOutAndNoArchive) {
  timeout = "1";
  ASSERT_NO_FATAL_FAILURE(begin({"--pace", "1", "--tick", "100"}));

  service->kill(SIGKILL);

  EXPECT_EQ(client->waitForEnd(), 6);
  EXPECT_THAT(client->out(),
              HasSubstr("report-client: ReportService took the request, but was silent for 1 s"));
  EXPECT_THAT(outputs(".tar.gz"), IsEmpty());
  EXPECT_THAT(outputs(".part"), SizeIs(1)) << "nobody was left to remove it";
}

TEST_F(ReportFailures, RestartedServiceRemovesWhatAKilledOneLeftAndServes) {
  ASSERT_NO_FATAL_FAILURE(begin());
  service->kill(SIGKILL);
  service->waitForEnd();

  ChildProcess restarted(serviceCommand());
  ASSERT_TRUE(restarted.waitForLine("removed 1 unfinished of an earlier run"));
  ASSERT_TRUE(restarted.waitForLine("ready"));

  EXPECT_THAT(outputs(".part"), IsEmpty());
  EXPECT_EQ(ask({"--name", "Second"}), 0) << err;
}

TEST_F(ReportFailures, StartingServiceLeavesAloneWhatALivingOneWrites) {
  ASSERT_NO_FATAL_FAILURE(begin());
  PrivateBus otherBus;

  ChildProcess other(serviceCommand());
  EXPECT_EQ(other.waitForEnd(), 1) << "the name is taken";
  Words command = serviceCommand();
  command[2] = otherBus.address();
  ChildProcess another(command);
  ASSERT_TRUE(another.waitForLine("ready"));

  EXPECT_THAT(outputs(".part"), SizeIs(1));
  EXPECT_THAT(another.out(), testing::Not(HasSubstr("removed")));
}

TEST_F(ReportFailures, KilledClientDoesNotKeepTheServiceFromTheNext) {
  ASSERT_NO_FATAL_FAILURE(begin({"--pace", "32"}));

  client->killGroup(SIGKILL);

  ASSERT_TRUE(service->waitForLine("packed 1 files into"));
  ASSERT_TRUE(service->waitForLine("ReportClient has gone, its answer is dropped"));
  EXPECT_EQ(ask({"--name", "Second"}), 0) << err;
  EXPECT_THAT(outputs(".tar.gz"), SizeIs(2));
}

TEST_F(ReportFailures, EndedServiceTellsItsClientAndLeavesNothing) {
  for (const int signal : {SIGTERM, SIGINT}) {
    ASSERT_NO_FATAL_FAILURE(begin());

    service->kill(signal);

    EXPECT_EQ(service->waitForEnd(), 0) << service->err();
    EXPECT_EQ(client->waitForEnd(), 2);
    EXPECT_THAT(client->out(), HasSubstr("  " + steps::cleanup + "\n"));
    EXPECT_THAT(client->out(), HasSubstr("made no report: the report service ends (error 12)\n"));
    EXPECT_THAT(outputs(""), IsEmpty());
  }
}

TEST_F(ReportFailures, InterruptedClientSaysSoAndEndsWithStatus130) {
  for (const int signal : {SIGINT, SIGTERM}) {
    ASSERT_NO_FATAL_FAILURE(begin());

    client->kill(signal);

    EXPECT_EQ(client->waitForEnd(), 130);
    EXPECT_THAT(client->out(), HasSubstr("report-client: no longer waiting for ReportService"));
    service->kill(SIGKILL);
    service->waitForEnd();
  }
}

TEST_F(ReportFailures, FullDiskIsAnErrorThatLeavesNothingAndIsFiled) {
  Recorder faults;
  VelpBusProxy* proxy = VelpBusProxy::getInstance();
  proxy->setCallBack(faults);
  proxy->connect(texts::faultManagement, bus.address());
  write("big/file", 64 * 1024);
  write("small/file", 10);
  ChildProcess limited(
      joined({"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 8; exec \"$@\"", "sh"}, serviceCommand()));
  ASSERT_TRUE(limited.waitForLine("ready"));

  EXPECT_EQ(ask({"big"}), 2);
  EXPECT_THAT(err,
              HasSubstr("made no report: cannot write the archive: File too large (error 11)\n"));
  EXPECT_THAT(outputs(""), IsEmpty());
  EXPECT_EQ(ask({"small"}), 0) << err;
  EXPECT_TRUE(faults.waitForMessages(2));
  proxy->disconnect();
  proxy->removeCallBack(faults);

  const auto records = faults.messages();
  const auto textOf = [&](std::size_t i) { return records.at(i).message->toString(); };
  EXPECT_THAT(textOf(0), HasSubstr("code=1001 active=1 "));
  EXPECT_THAT(textOf(0), HasSubstr("ReportService"));
  EXPECT_THAT(textOf(0), HasSubstr("cannot write the archive: File too large"));
  EXPECT_THAT(textOf(1), HasSubstr("code=1001 active=0 "));
}

TEST_F(ReportFailures, MissingOutputDirectoryIsAnErrorUntilItIsBack) {
  ChildProcess running(serviceCommand());
  ASSERT_TRUE(running.waitForLine("ready"));
  std::filesystem::remove(output);

  EXPECT_EQ(ask(), 2);
  EXPECT_THAT(err, HasSubstr("cannot create an archive in " + output +
                             ": No such file or directory (error 11)\n"));
  std::filesystem::create_directory(output);
  EXPECT_EQ(ask(), 0) << err;
}

TEST_F(ReportFailures, RefusedPathsAreNoFaultOfTheService) {
  ChildProcess running(serviceCommand());
  ASSERT_TRUE(running.waitForLine("ready"));

  EXPECT_EQ(ask({".."}), 2);
  running.kill(SIGTERM);
  running.waitForEnd();

  EXPECT_THAT(running.out(), testing::Not(HasSubstr("sendSysMsgErrorLog")));
}

}  // namespace
}  // namespace velp::test
