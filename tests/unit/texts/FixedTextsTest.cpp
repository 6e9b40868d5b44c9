// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The table of every text that the library prints or sends, with the scene that shows it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <iterator>

#include "scenes.h"
#include "support/fixedTexts.h"
#include "velp/message/SystemMessage.h"
#include "velp/message/VelpClientMessageResponse.h"
#include "velp/runtime/FaultUtil.h"
#include "velp/runtime/VelException.h"
#include "velpmsg/VelpMsgHandler.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {
namespace {

constexpr const char* id = "getEventList(50)";
constexpr auto eventList = VelpClientMessageBase::MSG_GET_EVENT_LIST;

/// A scene and all that it shows, in this order.
struct Row {
  const char* name;
  Shown (*scene)();
  Shown texts;
};

void PrintTo(const Row& row, std::ostream* os) {
  *os << row.name;
}

std::string response(VelpClientMessageResponse::msgStatus_t status) {
  return VelpClientMessageResponse(eventList, status).toString();
}

const std::string badRequest =
    VelpClientMessageRequest(eventList, reinterpret_cast<const unsigned char*>("\5"), 1).toString();

// The record that the fault scene files.
std::string faultRecord() {
  const auto code = static_cast<faultCode_t>(7);
  return SystemMessage(FaultUtil::getSysMsgErrorLogString(code, "disk", true, "full", 0), 10)
      .toString();
}

// What a failure of a condition says.
std::string refused(const char* text) {
  return VelException(EINVAL, text).what();
}

Shown stepsAndTheEmptyTextBehindThem() {
  Shown all(std::begin(texts::steps), std::end(texts::steps));
  all.emplace_back();
  return all;
}

std::vector<Row> sending() {
  return {
      {"PlainSends",
       plainSends,
       {texts::plainRequest, texts::plainRequest,
        filled(texts::plainResponse, response(VelpClientMessageResponse::STATUS_OK)),
        texts::senderStatus, texts::notSet, texts::notSet}},
      {"ResponsesSent",
       responsesSent,
       {texts::responseOK, texts::responseError, texts::responseProgress, texts::stringSet,
        texts::notSet}},
      {"SynchronousRequestAnswered",
       synchronousRequestAnswered,
       {filled(texts::requestSent, "Service", id), texts::progressReceived, texts::progressSeen,
        filled(texts::responseIgnored, "removeData(3)"), filled(texts::finalReceived, "OK")}},
      {"SynchronousRequestRefused",
       synchronousRequestRefused,
       {filled(texts::requestSent, "Nobody", id), texts::requestNotSent}},
      {"SynchronousRequestTimedOut",
       synchronousRequestTimedOut,
       {filled(texts::requestSent, "Service", id),
        filled(texts::responseTimeout, 0, id, "Service")}},
      {"StringFields", stringFields, {filled(texts::badString, badRequest)}},
      {"WrongRequestLength",
       wrongRequestLength,
       {filled(texts::invalidLength, id),
        filled(texts::lengthRefused, filled(texts::wrongLength, 3)),
        filled(texts::wrongLength, 3)}},
      {"FaultFiled",
       faultFiled,
       {filled(texts::faultSent, 1, texts::faultManagement, faultRecord()),
        filled(texts::faultSent, 0, texts::faultManagement, faultRecord()), faultRecord()}},
  };
}

std::vector<Row> handling() {
  return {
      {"StateSetAndNotFound",
       stateSetAndNotFound,
       {filled(texts::stateSet, id, texts::states[INVALID]), filled(texts::idNotFound, id)}},
      {"RequestsReceived",
       requestsReceived,
       {texts::requestNotAvailable, filled(texts::stateSet, id, texts::states[BUSY]),
        filled(texts::requestQueued, "Client"), texts::requestBusy}},
      {"ResponsesReceived",
       responsesReceived,
       {filled(texts::responseDropped, id, "Client"), filled(texts::responseQueued, "Client")}},
      {"BusReports",
       busReports,
       {filled(texts::busInformation, 5, "joined"), filled(texts::busWarning, "odd"),
        filled(texts::busError, 7, "off")}},
      {"WorkerServing",
       workerServing,
       {texts::workerWaits, filled(texts::stateSet, id, texts::states[BUSY]),
        filled(texts::requestQueued, "Client"), filled(texts::workerWoken, 1, 1, 0),
        texts::requestCallback, filled(texts::requestDone, texts::states[AVAILABLE]),
        filled(texts::stateSet, id, texts::states[AVAILABLE]), texts::workerWaits,
        filled(texts::responseQueued, "Client"), filled(texts::workerWoken, 1, 0, 1),
        texts::responseCallback, texts::responseDone, texts::workerWaits, texts::handlerStops,
        filled(texts::workerWoken, 0, 0, 0), texts::handlerStopped, texts::workerThread}},
      {"StateNames",
       stateNames,
       {texts::states[NOT_AVAILABLE], texts::states[AVAILABLE], texts::states[BUSY],
        texts::states[INVALID]}},
  };
}

std::vector<Row> progressAndOthers() {
  return {
      {"ProgressReported",
       progressReported,
       {texts::progressStart, texts::progressStart,
        filled(texts::progressTick, "Requester", id, 15, texts::steps[4]), texts::progressUpdate,
        filled(texts::updateSent, "Requester", texts::steps[17]), texts::progressUpdate,
        filled(texts::updateSent, "Requester", "Halfway"), texts::progressInfo,
        filled(texts::infoSent, "Requester", ""), texts::progressInfo,
        filled(texts::infoSent, "Requester", "Nearly there"), texts::progressStop}},
      {"ProgressRefused",
       progressRefused,
       {texts::updateNotActive, texts::infoNotActive, texts::stillActive}},
      {"StepTextsSent", stepTextsSent, stepsAndTheEmptyTextBehindThem()},
      {"RemovalOfAllEncoded", removalOfAllEncoded, {texts::removeAll}},
      {"ConditionFailures",
       conditionFailures,
       {refused(texts::conditionNotCreated), refused(texts::conditionNotDestroyed),
        refused(texts::conditionNotDestroyed), refused(texts::conditionNotAwaited),
        refused(texts::conditionNotSignalled)}},
  };
}

class FixedTexts : public testing::TestWithParam<Row> {};

TEST_P(FixedTexts, AreShownLetterByLetterAndNothingElse) {
  EXPECT_EQ(GetParam().scene(), GetParam().texts);
}

std::string nameOf(const testing::TestParamInfo<Row>& row) {
  return row.param.name;
}

INSTANTIATE_TEST_SUITE_P(Sending, FixedTexts, testing::ValuesIn(sending()), nameOf);
INSTANTIATE_TEST_SUITE_P(Handling, FixedTexts, testing::ValuesIn(handling()), nameOf);
INSTANTIATE_TEST_SUITE_P(Others, FixedTexts, testing::ValuesIn(progressAndOthers()), nameOf);

// A process of its own, which makes and ends a sender.
[[noreturn]] void liveAndEnd() {
  std::cout.rdbuf(std::cerr.rdbuf());
  VelpMsgSender::getInstance()->traceLevel = 2;
  std::exit(0);
}

TEST(FixedTextsOfTheSendersLife, AreTheLinesOfItsEndAndNoneOfItsBeginning) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");

  EXPECT_EXIT(liveAndEnd(), testing::ExitedWithCode(0),
              testing::Eq(std::string(texts::senderEnds) + '\n' + texts::senderEnds + '\n'));
  EXPECT_EXIT(liveAndEnd(), testing::ExitedWithCode(0),
              testing::Not(testing::HasSubstr(texts::senderMade)));
}

}  // namespace
}  // namespace velp::test
