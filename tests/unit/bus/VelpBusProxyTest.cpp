// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The process's own participant.
#include "velp/bus/VelpBusProxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "process/PrivateBus.h"
#include "support/Latch.h"
#include "support/Recorder.h"
#include "unit/bus/inChild.h"
#include "velp/bus/StatusCode.h"
#include "velp/runtime/VelException.h"

namespace velp::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

const SystemMessage message("text", 1);

struct Failure {
  int code = 0;
  std::string text;
};

Failure failureOf(const std::string& name, const std::string& address) {
  try {
    VelpBusProxy::getInstance()->connect(name, address);
  } catch (const VelException& e) {
    return {e.getErrorCode(), e.what()};
  }
  return {};
}

class VelpBusProxyTest : public testing::Test {
 protected:
  VelpBusProxyTest() { sut.setCallBack(recorder); }
  ~VelpBusProxyTest() override {
    sut.disconnect();
    sut.removeCallBack(recorder);
  }

  const PrivateBus bus{};
  Recorder recorder;
  VelpBusProxy& sut = *VelpBusProxy::getInstance();
};

TEST_F(VelpBusProxyTest, IsOneForAllThreads) {
  std::array<VelpBusProxy*, 8> seen{};
  std::atomic<unsigned int> ready{0};
  std::vector<std::thread> threads;
  for (VelpBusProxy*& each : seen) {
    threads.emplace_back([&] {
      ++ready;
      while (ready < seen.size()) std::this_thread::yield();
      each = VelpBusProxy::getInstance();
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_THAT(seen, testing::Each(&sut));
}

TEST_F(VelpBusProxyTest, SendsNothingBeforeItJoins) {
  Participant peer;
  peer.connect("Peer", bus.address());

  EXPECT_FALSE(sut.sendTo("Peer", message));
  EXPECT_EQ(sut.getName(), "");
}

TEST_F(VelpBusProxyTest, SendsAndReceivesOnceJoined) {
  sut.connect("Self", bus.address());

  EXPECT_EQ(sut.getName(), "Self");
  EXPECT_TRUE(sut.sendTo("Self", message));
  ASSERT_TRUE(recorder.waitForMessages(1));
  EXPECT_EQ(recorder.messages()[0].source, "Self");
  EXPECT_EQ(recorder.messages()[0].receiver, "Self");
  EXPECT_TRUE(recorder.waitForReport(STATUS_JOINED));
}

TEST_F(VelpBusProxyTest, KeepsCallbacksAndFiltersGivenBeforeItJoins) {
  Recorder filtered;
  sut.setRxFilter(filtered, {clientRequestKind});
  sut.setCallBack(filtered);

  sut.connect("Self", bus.address());
  EXPECT_TRUE(sut.sendTo("Self", message));

  ASSERT_TRUE(recorder.waitForMessages(1));
  sut.removeCallBack(filtered);
  EXPECT_EQ(filtered.count(), 0u);
}

TEST_F(VelpBusProxyTest, RefusesToJoinTwice) {
  sut.connect("Self", bus.address());

  for (const char* name : {"Self", "Other", "not a name"}) {
    const Failure failure = failureOf(name, bus.address());
    EXPECT_EQ(failure.code, EISCONN) << name;
    EXPECT_THAT(failure.text,
                AllOf(HasSubstr("already on a bus: disconnect() before joining another"),
                      HasSubstr(strerror(EISCONN))));
  }
  EXPECT_EQ(sut.getName(), "Self");
  EXPECT_TRUE(sut.sendTo("Self", message));
}

TEST_F(VelpBusProxyTest, RefusesInvalidNamesBeforeItTouchesTheBus) {
  for (const std::string& name :
       {std::string(), std::string(49, 'x'), std::string("a b"), std::string("../x"),
        std::string("a\nb"), std::string("a\0", 2)}) {
    const Failure failure = failureOf(name, bus.address());
    EXPECT_EQ(failure.code, EINVAL) << name;
    EXPECT_THAT(failure.text,
                HasSubstr("\" is no participant name: use 1 to 48 of A-Z a-z 0-9 _ -"));
  }
  EXPECT_THAT(failureOf("a\nb", bus.address()).text, HasSubstr("\"a\\x0ab\""));
  EXPECT_TRUE(bus.isEmpty());
}

TEST_F(VelpBusProxyTest, RefusesAddressesItCannotUse) {
  EXPECT_EQ(failureOf("Self", "").code, EINVAL);
  EXPECT_EQ(failureOf("Self", "nats://host").code, EPROTONOSUPPORT);
  EXPECT_EQ(failureOf("Self", "local:/proc/velp").code, ENOENT);
  EXPECT_EQ(sut.getName(), "");
}

TEST_F(VelpBusProxyTest, JoinsUnderAnotherNameAfterItLeft) {
  sut.connect("First", bus.address());
  sut.disconnect();

  sut.connect("Second", bus.address());

  EXPECT_EQ(sut.getName(), "Second");
  EXPECT_FALSE(sut.sendTo("First", message));
  EXPECT_TRUE(sut.sendTo("Second", message));
}

TEST_F(VelpBusProxyTest, LeavesWithoutHarmWhenItIsOnNoBus) {
  sut.disconnect();
  sut.disconnect();

  EXPECT_EQ(sut.getName(), "");
}

TEST_F(VelpBusProxyTest, IsOffTheBusInAChildUntilTheChildJoins) {
  sut.connect("Parent", bus.address());
  ASSERT_TRUE(recorder.waitForReport(STATUS_JOINED));

  EXPECT_TRUE(inChild([this] {
    EXPECT_EQ(VelpBusProxy::getInstance(), &sut);
    EXPECT_FALSE(sut.sendTo("Parent", message));
    EXPECT_EQ(sut.getName(), "");
    sut.connect("Child", bus.address());
    EXPECT_TRUE(sut.sendTo("Parent", message));
    sut.disconnect();
  }));

  ASSERT_TRUE(recorder.waitForMessages(1));
  EXPECT_EQ(recorder.messages()[0].source, "Child");
  EXPECT_TRUE(sut.sendTo("Parent", message));
}

TEST_F(VelpBusProxyTest, GivesItsNameBackAtExit) {
  EXPECT_TRUE(inChild([this] {
    EXPECT_TRUE(inChild([this] {
      sut.connect("Leaver", bus.address());
      EXPECT_TRUE(std::filesystem::exists(bus.getPath() + "/Leaver"));
      std::exit(testing::Test::HasFailure() ? 1 : 0);
    }));
    EXPECT_FALSE(std::filesystem::exists(bus.getPath() + "/Leaver"));
  }));
}

TEST_F(VelpBusProxyTest, KeepsTheParentsNameWhenAChildExits) {
  sut.connect("Parent", bus.address());
  ASSERT_TRUE(recorder.waitForReport(STATUS_JOINED));

  EXPECT_TRUE(inChild([] { std::exit(0); }));

  EXPECT_TRUE(std::filesystem::exists(bus.getPath() + "/Parent"));
  EXPECT_TRUE(sut.sendTo("Parent", message));
}

}  // namespace
}  // namespace velp::test
