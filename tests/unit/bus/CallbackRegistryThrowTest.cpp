// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Callbacks that do not return as they should.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <stdexcept>
#include <thread>

#include "bus/CallbackRegistry.h"
#include "support/Latch.h"
#include "support/Recorder.h"
#include "unit/bus/waitHook.h"
#include "velp/bus/StatusCode.h"

namespace velp::test {
namespace {

void deliver(CallbackRegistry& sut) {
  sut.deliver(SystemMessage("text", 1), "Source", "Receiver");
}

std::vector<std::string> throwReports(Recorder& recorder) {
  std::vector<std::string> texts;
  for (const Report& report : recorder.reports(STATUS_CALLBACK_THREW)) {
    EXPECT_EQ(report.type, VelpBusProxyCallback::STATUS_ERROR);
    texts.push_back(report.text);
  }
  return texts;
}

const std::string reportStart = "a callback threw and was taken off the bus: ";

// Throws out of both operations.
class Hopeless : public VelpBusProxyCallback {
 public:
  void velpBusProxyCb(const MessageBase*, const std::string&, const std::string&) override {
    ++calls;
    throw std::runtime_error("message");
  }
  void velpBusProxyStatusCb(StatusCBType_t, int, const std::string&) override {
    ++calls;
    throw std::runtime_error("report");
  }
  int calls = 0;
};

TEST(CallbackRegistryThrow, TakesTheCallbackOffAndTellsTheOthers) {
  CallbackRegistry sut;
  Recorder before;
  Recorder callback([](const Received&) { throw std::runtime_error("line\nend"); });
  Recorder after;
  for (Recorder* each : {&before, &callback, &after}) sut.add(*each);

  deliver(sut);
  deliver(sut);

  EXPECT_EQ(callback.count(), 1u);
  EXPECT_TRUE(throwReports(callback).empty());
  for (Recorder* other : {&before, &after}) {
    EXPECT_EQ(other->count(), 2u);
    EXPECT_THAT(throwReports(*other), testing::ElementsAre(reportStart + "line\\x0aend"));
  }
}

TEST(CallbackRegistryThrow, MayBeOfAnyType) {
  CallbackRegistry sut;
  Recorder callback([](const Received&) { throw 5; });
  Recorder other;
  sut.add(callback);
  sut.add(other);

  deliver(sut);
  deliver(sut);

  EXPECT_EQ(callback.count(), 1u);
  EXPECT_EQ(other.count(), 2u);
  EXPECT_THAT(throwReports(other), testing::ElementsAre(reportStart + "not a std::exception"));
}

TEST(CallbackRegistryThrow, MayComeFromAReport) {
  CallbackRegistry sut;
  Hopeless callback;
  Recorder other;
  sut.add(callback);
  sut.add(other);

  sut.report(VelpBusProxyCallback::STATUS_INFORMATION, STATUS_JOINED, "text");
  sut.report(VelpBusProxyCallback::STATUS_INFORMATION, STATUS_JOINED, "text");

  EXPECT_EQ(callback.calls, 1);
  EXPECT_EQ(other.reports(STATUS_JOINED).size(), 2u);
  EXPECT_THAT(throwReports(other), testing::ElementsAre(reportStart + "report"));
}

TEST(CallbackRegistryThrow, MayComeFromTheReportOfAThrow) {
  CallbackRegistry sut;
  std::vector<Hopeless> callbacks(3);
  Recorder other;
  for (Hopeless& callback : callbacks) sut.add(callback);
  sut.add(other);

  deliver(sut);

  for (const Hopeless& callback : callbacks) EXPECT_EQ(callback.calls, 1);
  EXPECT_EQ(other.count(), 1u);
  EXPECT_THAT(throwReports(other),
              testing::UnorderedElementsAre(reportStart + "message", reportStart + "report",
                                            reportStart + "report"));
}

TEST(CallbackRegistryThrow, TakesTheFilterToo) {
  CallbackRegistry sut;
  bool throws = true;
  Recorder callback([&](const Received&) {
    if (throws) throw std::runtime_error("once");
  });
  sut.setFilter(callback, {systemMessageKind});
  sut.add(callback);
  deliver(sut);
  throws = false;

  sut.setFilter(callback, {});
  sut.remove(callback);
  sut.add(callback);
  deliver(sut);

  EXPECT_EQ(callback.count(), 2u);
}

TEST(CallbackRegistryThrow, IsHarmlessAfterTheCallbackRemovedItself) {
  CallbackRegistry sut;
  Recorder* self = nullptr;
  Recorder callback([&](const Received&) {
    sut.remove(*self);
    throw std::runtime_error("removed");
  });
  self = &callback;
  Recorder other;
  sut.add(callback);
  sut.add(other);

  deliver(sut);

  EXPECT_THAT(throwReports(other), testing::ElementsAre(reportStart + "removed"));
}

TEST(CallbackRegistryThrow, EndsTheWaitOfARemoval) {
  CallbackRegistry sut;
  Latch entered;
  Latch waiting;
  Recorder callback([&](const Received&) {
    entered.arrive();
    EXPECT_TRUE(waiting.waitFor());
    throw std::runtime_error("late");
  });
  sut.add(callback);
  const WaitHook hook([&] { waiting.arrive(); });
  std::thread deliverer([&] { deliver(sut); });

  EXPECT_TRUE(entered.waitFor());
  sut.remove(callback);
  deliverer.join();

  EXPECT_EQ(waiting.count(), 1u);
}

TEST(CallbackRegistryThrow, IsNoForcedUnwinding) {
  CallbackRegistry sut;
  bool exits = true;
  Recorder callback([&](const Received&) {
    if (exits) pthread_exit(nullptr);
  });
  Recorder other;
  sut.add(callback);
  sut.add(other);
  const auto deliverIn = [](void* registry) -> void* {
    deliver(*static_cast<CallbackRegistry*>(registry));
    return registry;
  };

  pthread_t thread;
  void* result = &sut;
  ASSERT_EQ(pthread_create(&thread, nullptr, deliverIn, &sut), 0);
  ASSERT_EQ(pthread_join(thread, &result), 0);
  EXPECT_EQ(result, nullptr);
  exits = false;
  deliver(sut);

  EXPECT_EQ(callback.count(), 2u);
  EXPECT_TRUE(throwReports(other).empty());
  // The call that ended with its thread is over: this would wait for it for ever otherwise.
  sut.remove(callback);
}

}  // namespace
}  // namespace velp::test
