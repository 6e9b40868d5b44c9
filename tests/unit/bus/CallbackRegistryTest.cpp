// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Who is called, and what removing waits for.
#include "bus/CallbackRegistry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "support/Latch.h"
#include "support/Recorder.h"
#include "unit/bus/waitHook.h"
#include "velp/bus/StatusCode.h"
#include "velp/message/VelpClientMessageResponse.h"

namespace velp::test {
namespace {

using testing::ElementsAre;

void deliver(CallbackRegistry& sut) {
  sut.deliver(SystemMessage("text", 1), "Source", "Receiver");
}

TEST(CallbackRegistry, HandsOnTheMessageItsSourceAndItsReceiver) {
  CallbackRegistry sut;
  Recorder callback;
  sut.add(callback);

  deliver(sut);

  ASSERT_EQ(callback.count(), 1u);
  const Received received = callback.messages().front();
  const auto* message = dynamic_cast<const SystemMessage*>(received.message.get());
  ASSERT_NE(message, nullptr);
  EXPECT_TRUE(*message == SystemMessage("text", 1));
  EXPECT_EQ(received.source, "Source");
  EXPECT_EQ(received.receiver, "Receiver");
}

TEST(CallbackRegistry, HandsReportsToEveryOneWhateverItsFilter) {
  CallbackRegistry sut;
  std::vector<Recorder> callbacks(2);
  sut.setFilter(callbacks[0], {});
  for (Recorder& callback : callbacks) sut.add(callback);

  sut.report(VelpBusProxyCallback::STATUS_ERROR, STATUS_LINK_LOST, "text");

  for (Recorder& callback : callbacks) {
    ASSERT_EQ(callback.reports(STATUS_LINK_LOST).size(), 1u);
    EXPECT_EQ(callback.reports(STATUS_LINK_LOST)[0].type, VelpBusProxyCallback::STATUS_ERROR);
    EXPECT_EQ(callback.reports(STATUS_LINK_LOST)[0].text, "text");
  }
}

TEST(CallbackRegistry, DeliversToNobodyWhenThereIsNobody) {
  CallbackRegistry sut;
  Recorder removed;
  sut.add(removed);
  sut.remove(removed);
  sut.remove(removed);

  deliver(sut);

  EXPECT_EQ(removed.count(), 0u);
}

TEST(CallbackRegistry, PassesOverThoseWhoseFilterDoesNotHoldTheKind) {
  CallbackRegistry sut;
  Recorder system;
  Recorder responses;
  sut.setFilter(system, {systemMessageKind, clientRequestKind});
  sut.setFilter(responses, {clientResponseKind});
  sut.add(responses);
  sut.add(system);

  deliver(sut);
  sut.deliver(VelpClientMessageResponse(), "Source", "Receiver");

  ASSERT_EQ(system.count(), 1u);
  EXPECT_EQ(system.messages()[0].message->getKind(), systemMessageKind);
  ASSERT_EQ(responses.count(), 1u);
  EXPECT_EQ(responses.messages()[0].message->getKind(), clientResponseKind);
}

TEST(CallbackRegistry, FiltersBeforeTheNextCallWhenAFilterComesDuringARound) {
  CallbackRegistry sut;
  Recorder second;
  Recorder first([&](const Received&) { sut.setFilter(second, {}); });
  sut.add(first);
  sut.add(second);

  deliver(sut);

  EXPECT_EQ(second.count(), 0u);
}

TEST(CallbackRegistry, RegistersAgainBehindTheOthers) {
  CallbackRegistry sut;
  std::vector<int> order;
  Recorder first([&](const Received&) { order.push_back(1); });
  Recorder second([&](const Received&) { order.push_back(2); });
  sut.add(first);
  sut.add(second);

  sut.remove(first);
  sut.add(first);
  deliver(sut);

  EXPECT_THAT(order, ElementsAre(2, 1));
}

TEST(CallbackRegistry, CallsOneThatRegistersAgainDuringItsCallFromTheNextRoundOn) {
  CallbackRegistry sut;
  Recorder* self = nullptr;
  Recorder callback([&](const Received&) {
    sut.remove(*self);
    sut.add(*self);
  });
  self = &callback;
  sut.add(callback);

  deliver(sut);
  EXPECT_EQ(callback.count(), 1u);

  deliver(sut);
  EXPECT_EQ(callback.count(), 2u);
}

TEST(CallbackRegistry, ForgetsAFilterThatWasNeverRegistered) {
  CallbackRegistry sut;
  Recorder callback;
  sut.setFilter(callback, {});

  sut.remove(callback);
  sut.add(callback);
  deliver(sut);

  EXPECT_EQ(callback.count(), 1u);
}

// A registry with a thread that is inside the call of a callback until it is released.
class Busy {
 public:
  Busy() {
    sut.add(callback);
    deliverer = std::thread([this] { deliver(sut); });
    EXPECT_TRUE(entered.waitFor());
  }
  ~Busy() {
    release.arrive();
    deliverer.join();
  }

  CallbackRegistry sut;
  Latch entered;
  Latch release;
  std::atomic<bool> returned{false};
  Recorder callback{[this](const Received&) {
    entered.arrive();
    EXPECT_TRUE(release.waitFor());
    returned = true;
  }};

 private:
  std::thread deliverer;
};

TEST(CallbackRegistry, WaitsForTheRunningCallOfWhatItRemoves) {
  Busy busy;
  // Released only once the removal waits.
  const WaitHook hook([&] { busy.release.arrive(); });

  busy.sut.remove(busy.callback);

  EXPECT_TRUE(busy.returned);
}

TEST(CallbackRegistry, LetsSeveralWaitForTheSameCall) {
  constexpr unsigned int count = 3;
  Busy busy;
  Latch waiting;
  const WaitHook hook([&] { waiting.arrive(); });
  std::vector<std::thread> removers;
  for (unsigned int i = 0; i < count; ++i) {
    removers.emplace_back([&] {
      busy.sut.remove(busy.callback);
      EXPECT_TRUE(busy.returned);
    });
  }

  EXPECT_TRUE(waiting.waitFor(count));
  EXPECT_FALSE(busy.returned);
  busy.release.arrive();

  for (std::thread& remover : removers) remover.join();
}

TEST(CallbackRegistry, DoesNotWaitForTheCallOfAnother) {
  Busy busy;
  Recorder other;
  busy.sut.add(other);
  bool waited = false;
  const WaitHook hook([&] {
    waited = true;
    busy.release.arrive();
  });

  busy.sut.remove(other);

  EXPECT_FALSE(waited);
  EXPECT_FALSE(busy.returned);
}

TEST(CallbackRegistry, WaitsForOneCallOnlyWhenAnotherOfTheSameFollows) {
  CallbackRegistry sut;
  Latch entered;
  Latch waiting;
  Latch removed;
  Recorder* self = nullptr;
  Recorder callback([&](const Received&) {
    entered.arrive();
    if (entered.count() == 1) {
      EXPECT_TRUE(waiting.waitFor());
      sut.add(*self);
    } else {
      // Stays in the second call until the first removal has returned.
      EXPECT_TRUE(removed.waitFor());
    }
  });
  self = &callback;
  sut.add(callback);
  const WaitHook hook([&] { waiting.arrive(); });
  std::thread deliverer([&] {
    deliver(sut);
    deliver(sut);
  });

  EXPECT_TRUE(entered.waitFor());
  sut.remove(callback);
  removed.arrive();
  deliverer.join();

  EXPECT_EQ(callback.count(), 2u);
}

TEST(CallbackRegistry, TakesRegistrationsFiltersAndOrderOver) {
  CallbackRegistry parents;
  Recorder all;
  Recorder none;
  parents.setFilter(none, {});
  parents.add(all);
  parents.add(none);
  CallbackRegistry sut;

  sut.takeOver(parents);
  Recorder added;
  sut.add(added);
  sut.add(all);
  deliver(sut);

  EXPECT_EQ(all.count(), 1u);
  EXPECT_EQ(none.count(), 0u);
  EXPECT_EQ(added.count(), 1u);
  deliver(parents);
  EXPECT_EQ(added.count(), 1u);
}

TEST(CallbackRegistry, TakesThemOverWhileTheParentsLockIsHeld) {
  Busy parents;
  Recorder other;
  parents.sut.add(other);
  CallbackRegistry sut;
  // The thread that is going to wait holds the lock.
  const WaitHook hook([&] {
    std::thread([&] { sut.takeOver(parents.sut); }).join();
    deliver(sut);
    EXPECT_EQ(other.count(), 1u);
    parents.release.arrive();
  });

  parents.sut.remove(parents.callback);

  EXPECT_TRUE(parents.returned);
}

}  // namespace
}  // namespace velp::test
