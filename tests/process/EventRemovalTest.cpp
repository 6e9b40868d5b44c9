// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Removing events from a running event service, by its client and by strangers.
#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>
#include <string>
#include <vector>

#include "process/ChildProcess.h"
#include "process/PrivateBus.h"
#include "velpmsg/VelpMsgReqGetEventList.h"
#include "velpmsg/VelpMsgReqRmData.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {
namespace {

using testing::HasSubstr;
using Response = VelpClientMessageResponse;

struct EventRemoval : testing::Test {
  EventRemoval() {
    std::ofstream(log) << "2026-11-01 10:00:00 install tar:amd64 <none> 1\n"
                          "2026-11-01 10:00:01 install bash:amd64 <none> 1\n"
                          "2026-11-01 10:00:02 remove tar:amd64 1 <none>\n"
                          "2026-11-01 10:00:03 purge tar:amd64 1 <none>\n";
  }

  std::vector<std::string> serviceCommand() const {
    return {VELP_BIN "event-service", "--bus", bus.address(), "--log", log, "--store", store};
  }

  int runClient(const std::vector<std::string>& options) {
    std::vector<std::string> command = {VELP_BIN "event-client", "--bus", bus.address()};
    command.insert(command.end(), options.begin(), options.end());
    ChildProcess client(command);
    const int status = client.waitForEnd();
    out = client.out();
    err = client.err();
    return status;
  }

  // The error that the service answers these bytes with.
  Response answerTo(const std::vector<unsigned char>& payload) {
    const VelpClientMessageRequest request(VelpClientMessageBase::MSG_REMOVE_DATA, payload.data(),
                                           static_cast<unsigned int>(payload.size()));
    Response response;
    EXPECT_EQ(VelpMsgSender::getInstance()->sendRequestWaitForResponse("EventService", request,
                                                                       response, 20),
              0);
    return response;
  }

  PrivateBus bus;
  ScratchDirectory files;
  std::string log = files.getPath() + "/dpkg.log";
  std::string store = files.getPath() + "/events.db";
  std::string out;
  std::string err;
};

TEST_F(EventRemoval, TakesEventsOfARangeAndOfATextOffTheList) {
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready: 4 events"));

  EXPECT_EQ(runClient({"--remove-range", "20261101100000-20261101100000", "--remove-text",
                       "purge=", "--remove-text", "bash"}),
            0);
  EXPECT_EQ(out, "EventService removed 3 events\n");

  EXPECT_EQ(runClient({}), 0);
  EXPECT_EQ(out,
            "TIME                 ACTION  SUBJECT    CODE\n"
            "2026-11-01 10:00:02  remove  tar:amd64     3\n");
}

TEST_F(EventRemoval, TakesAllEventsOffTheList) {
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));

  EXPECT_EQ(runClient({"--remove-all"}), 0);
  EXPECT_THAT(out, HasSubstr("EventService removed 4 events\n"));

  EXPECT_EQ(runClient({}), 0);
  EXPECT_EQ(out, "TIME  ACTION  SUBJECT  CODE\n");
}

TEST_F(EventRemoval, SurvivesAKilledServiceOnceItWasAnswered) {
  {
    ChildProcess service(serviceCommand());
    ASSERT_TRUE(service.waitForLine("ready"));
    EXPECT_EQ(runClient({"--remove-text", "tar"}), 0);
    service.kill(SIGKILL);
    EXPECT_EQ(service.waitForEnd(), -SIGKILL);
  }
  std::ofstream(log, std::ios::app) << "2026-11-01 10:00:04 install tar:amd64 <none> 2\n";

  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready: 2 events"));
  EXPECT_EQ(runClient({"--last", "1"}), 0);

  EXPECT_THAT(out, HasSubstr("2026-11-01 10:00:04  install  tar:amd64     1\n"));
}

TEST_F(EventRemoval, RefusesWhatItDoesNotUnderstandAndRemovesNothing) {
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));
  const Joined joined(bus.address());

  EXPECT_EQ(answerTo({}).getErrorCode(), Response::ERROR_WRONG_LENGTH);
  EXPECT_EQ(answerTo({1, 0, 1, 0, 1, 2, 3}).getErrorCode(), Response::ERROR_WRONG_LENGTH);
  EXPECT_EQ(answerTo({1, 255, 255}).getErrorText(), "the payload ends before what it announces");
  EXPECT_EQ(static_cast<unsigned int>(answerTo({2, 0, 0}).getErrorCode()), 100u);
  EXPECT_EQ(answerTo({2, 0, 0}).getErrorText(),
            "mode 2 is unknown: 0 removes all, 1 what the spans tell");
  EXPECT_EQ(static_cast<unsigned int>(answerTo({1, 0, 2, 1, 1, 't', 7}).getErrorCode()), 101u);

  EXPECT_EQ(answerTo({1, 0, 1, 1, 3, 't', 'a', 'r'}).getString(0, 1), "removed 3 events");
}

TEST_F(EventRemoval, IsRefusedWithTheReasonWhenTheStoreFails) {
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));
  const Joined joined(bus.address());
  // Another process holds the database for writing.
  SQLite::Database other(store, SQLite::OPEN_READWRITE);
  other.exec("BEGIN EXCLUSIVE");

  const Response response = answerTo({0});

  EXPECT_EQ(static_cast<unsigned int>(response.getErrorCode()), 102u);
  EXPECT_EQ(response.getErrorText(), "database is locked");
}

TEST_F(EventRemoval, EndsWithStatus1WhenItIsAskedForWrongly) {
  EXPECT_EQ(runClient({"--remove-range", "9-3"}), 1);
  EXPECT_THAT(err, HasSubstr("\"9-3\" is no range: write two numbers, the smaller first"));
  EXPECT_EQ(runClient({"--remove-range", "1-x"}), 1);
  EXPECT_EQ(runClient({"--remove-range", "7"}), 1);
  EXPECT_EQ(runClient({"--remove-text", std::string(256, 'a')}), 1);
  EXPECT_THAT(err, HasSubstr("1 to 255 characters"));
  EXPECT_EQ(runClient({"--remove-all", "--remove-text", "a"}), 1);
}

TEST_F(EventRemoval, IsNotServedFromAFileThatIsNoStore) {
  std::ofstream(store) << "this is no database at all, but long enough to be looked at as one";

  ChildProcess service(serviceCommand());

  EXPECT_EQ(service.waitForEnd(), 1);
  EXPECT_THAT(service.err(), HasSubstr("event-service: cannot use the store " + store));
}

}  // namespace
}  // namespace velp::test
