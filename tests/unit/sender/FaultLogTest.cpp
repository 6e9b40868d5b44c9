// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Fault records: what the fault management receives, and the line about each.
#include <chrono>
#include <future>
#include <sstream>

#include "SenderFixture.h"
#include "velp/runtime/FaultUtil.h"
#include "velp/runtime/MutexLocker.h"

namespace velp::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

constexpr auto code = static_cast<faultCode_t>(4711);

class FaultLog : public SenderFixture {
 protected:
  ~FaultLog() override { faults.leave(); }

  static bool send(const std::string& text1 = "disk", const std::string& text2 = "no space") {
    return sut().sendSysMsgErrorLog(code, text1, true, text2);
  }
  static SystemMessage record(const std::string& text) { return SystemMessage(text, 10); }
  // The line about `message`, sent or not.
  static std::string line(bool sent, const SystemMessage& message) {
    return filled(texts::faultSent, sent ? 1 : 0, texts::faultManagement, message);
  }

  static std::string lineStart(bool sent) {
    return filled(texts::faultSent, sent ? 1 : 0, texts::faultManagement, "");
  }

  Peer faults{texts::faultManagement};
};

using FaultLogQuirk = FaultLog;

TEST_F(FaultLog, ReachesTheFaultManagementAsASystemMessageWithNumber10) {
  EXPECT_TRUE(send());

  const auto message = faults.next<SystemMessage>();
  EXPECT_EQ(message.getKind(), 0x80u);
  EXPECT_EQ(message.getContext(), 0u);
  EXPECT_EQ(message.getNumber(), 10u);
}

TEST_F(FaultLog, CarriesTheTextThatIsMadeOfItsArgumentsInTheirOrderWithTimeZero) {
  EXPECT_TRUE(sut().sendSysMsgErrorLog(code, "disk", true, "no space"));
  EXPECT_EQ(faults.next<SystemMessage>().getText(),
            FaultUtil::getSysMsgErrorLogString(code, "disk", true, "no space", 0));

  EXPECT_TRUE(sut().sendSysMsgErrorLog(static_cast<faultCode_t>(0), "fan", false, ""));
  EXPECT_EQ(faults.next<SystemMessage>().getText(),
            "code=0 active=0 time=0 source=\"fan\" info=\"\"");
}

TEST_F(FaultLogQuirk, NulCharacterCutsTheRecordShort) {
  EXPECT_TRUE(send("disk", std::string("be\0hind\0", 8)));

  const std::string cut = "code=4711 active=1 time=0 source=\"disk\" info=\"be";
  EXPECT_EQ(faults.next<SystemMessage>(), record(cut));
  EXPECT_THAT(capture.lines(), ElementsAre(line(true, record(cut))));
}

TEST_F(FaultLog, IsCutAtANulCharacterInTheFirstText) {
  EXPECT_TRUE(send(std::string("\0disk", 5), "no space"));

  EXPECT_EQ(faults.next<SystemMessage>(), record("code=4711 active=1 time=0 source=\""));
}

TEST_F(FaultLog, WritesOneInformationLineAtEveryTraceLevel) {
  for (std::uint32_t level = 0; level < 4; ++level) {
    sut().traceLevel = level;
    capture.clear();

    EXPECT_TRUE(send());

    EXPECT_THAT(capture.lines(), ElementsAre(line(true, faults.next<SystemMessage>())));
  }
}

TEST_F(FaultLog, LineEndsInTheMessageAsItsOperatorWritesIt) {
  EXPECT_TRUE(send("disk", "a\nb"));

  const SystemMessage message = faults.next<SystemMessage>();
  EXPECT_EQ(capture.text(), line(true, message) + "\n");
  EXPECT_EQ(capture.countContaining("number 10"), 1u);
}

TEST_F(FaultLog, WithoutAFaultManagementReturnsFalseAndSaysSoInItsLine) {
  faults.leave();

  EXPECT_FALSE(send());

  EXPECT_THAT(capture.lines(),
              ElementsAre(line(false, record("code=4711 active=1 time=0 source=\"disk\" "
                                             "info=\"no space\""))));
}

TEST_F(FaultLog, ThatWasRefusedIsNotSentAgain) {
  faults.leave();
  EXPECT_FALSE(send("first"));

  Peer late(texts::faultManagement);
  EXPECT_TRUE(send("second"));

  EXPECT_EQ(late.next<SystemMessage>().getText(),
            "code=4711 active=1 time=0 source=\"second\" info=\"no space\"");
}

TEST_F(FaultLog, IsRefusedBeforeTheProcessIsOnTheBus) {
  VelpBusProxy::getInstance()->disconnect();

  EXPECT_FALSE(send());

  EXPECT_EQ(capture.countContaining(lineStart(false)), 1u);
}

TEST_F(FaultLog, HoldsTheSendLockUntilItsLineIsWritten) {
  std::future<bool> fault;
  std::future<bool> other;
  {
    MutexLocker locker(LogUtil::mutex);
    fault = std::async(std::launch::async, [] { return send(); });
    EXPECT_NO_THROW(faults.next<SystemMessage>());

    other = std::async(std::launch::async, [this] { return sut().sendMsg("Service", request); });
    EXPECT_EQ(other.wait_for(milliseconds(20)), std::future_status::timeout);
    EXPECT_EQ(fault.wait_for(milliseconds(0)), std::future_status::timeout);
  }

  EXPECT_TRUE(fault.get());
  EXPECT_TRUE(other.get());
  EXPECT_EQ(service.next<Request>(), request);
}

TEST_F(FaultLog, ReleasesTheSendLockSentOrNot) {
  EXPECT_TRUE(send());
  EXPECT_TRUE(sut().sendMsg("Service", request));
  faults.leave();
  EXPECT_FALSE(send());
  EXPECT_TRUE(sut().sendMsg("Service", request));
}

TEST_F(FaultLog, FromManyThreadsAllArrive) {
  std::vector<std::future<bool>> sends;
  for (int i = 0; i < 8; ++i) {
    sends.push_back(std::async(std::launch::async, [] {
      bool all = true;
      for (int n = 0; n < 25; ++n) all = send() && all;
      return all;
    }));
  }
  for (auto& each : sends) EXPECT_TRUE(each.get());

  for (int i = 0; i < 200; ++i) EXPECT_EQ(faults.next<SystemMessage>().getNumber(), 10u);
  EXPECT_EQ(capture.countContaining(lineStart(true)), 200u);
}

}  // namespace
}  // namespace velp::test
