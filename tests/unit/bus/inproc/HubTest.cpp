// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What an inbox holds, and who is on a hub.
#include "bus/inproc/Hub.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/Latch.h"
#include "unit/bus/inChild.h"
#include "unit/bus/waitHook.h"

namespace velp::test {
namespace {

constexpr std::size_t mib = 1024 * 1024;

bool put(Inbox& inbox, const std::vector<unsigned char>& bytes) {
  return inbox.put("Source", bytes.data(), bytes.size());
}

TEST(Inbox, GivesWhatWasPutInOrder) {
  Inbox sut;
  EXPECT_TRUE(sut.put("One", nullptr, 0));
  const unsigned char bytes[] = {1, 2, 3};
  EXPECT_TRUE(sut.put("Two", bytes, sizeof bytes));

  const auto frames = sut.takeAll();

  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0].source, "One");
  EXPECT_TRUE(frames[0].bytes.empty());
  EXPECT_EQ(frames[1].source, "Two");
  EXPECT_EQ(frames[1].bytes, (std::vector<unsigned char>{1, 2, 3}));
}

TEST(Inbox, WaitsForAFrame) {
  Inbox sut;
  Latch waiting;
  const WaitHook hook([&] { waiting.arrive(); });
  std::size_t taken = 0;
  std::thread taker([&] { taken = sut.takeAll().size(); });

  ASSERT_TRUE(waiting.waitFor());
  EXPECT_TRUE(put(sut, {1}));
  taker.join();

  EXPECT_EQ(taken, 1u);
}

TEST(Inbox, Holds65536Frames) {
  Inbox sut;
  for (int i = 0; i < 65536; ++i) ASSERT_TRUE(put(sut, {1}));

  EXPECT_FALSE(put(sut, {1}));
  EXPECT_EQ(sut.takeAll().size(), 65536u);
  EXPECT_TRUE(put(sut, {1}));
}

TEST(Inbox, Holds64MiB) {
  Inbox sut;
  const std::vector<unsigned char> large(16 * mib);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(put(sut, large));
  ASSERT_TRUE(put(sut, std::vector<unsigned char>(16 * mib - 1)));

  EXPECT_FALSE(put(sut, {1, 2}));
  EXPECT_TRUE(put(sut, {1}));
  EXPECT_FALSE(put(sut, {1}));
  EXPECT_EQ(sut.takeAll().size(), 5u);
  EXPECT_TRUE(put(sut, large));
}

TEST(Inbox, WakesItsTakerWithoutFramesWhenStopped) {
  Inbox sut;
  Latch waiting;
  const WaitHook hook([&] { waiting.arrive(); });
  std::size_t taken = 1;
  std::thread taker([&] { taken = sut.takeAll().size(); });

  ASSERT_TRUE(waiting.waitFor());
  sut.stop();
  taker.join();

  EXPECT_EQ(taken, 0u);
}

TEST(Inbox, GivesAndTakesNothingOnceStopped) {
  Inbox sut;
  ASSERT_TRUE(put(sut, {1}));

  sut.stop();

  EXPECT_FALSE(put(sut, {1}));
  EXPECT_TRUE(sut.takeAll().empty());
  EXPECT_TRUE(sut.takeAll().empty());
}

TEST(Hub, IsTheSameForTheSameNameWhileItLives) {
  const auto sut = Hub::get("HubTest");

  EXPECT_EQ(Hub::get("HubTest"), sut);
  EXPECT_NE(Hub::get("HubTest2"), sut);
}

TEST(Hub, IsNewWhenNobodyHeldIt) {
  auto sut = Hub::get("HubTest");
  ASSERT_NE(sut->join("Name"), nullptr);
  sut.reset();

  EXPECT_EQ(Hub::get("HubTest")->find("Name"), nullptr);
}

TEST(Hub, LetsOneJoinUnderEachName) {
  Hub sut;
  const auto inbox = sut.join("Name");

  ASSERT_NE(inbox, nullptr);
  EXPECT_EQ(sut.join("Name"), nullptr);
  EXPECT_EQ(sut.find("Name"), inbox);
  EXPECT_EQ(sut.find("Other"), nullptr);
}

TEST(Hub, ForgetsWhoLeft) {
  Hub sut;
  const auto inbox = sut.join("Name");

  sut.leave("Name");

  EXPECT_EQ(sut.find("Name"), nullptr);
  EXPECT_NE(sut.join("Name"), inbox);
}

TEST(Hub, IsAnotherOneInAChild) {
  const auto sut = Hub::get("HubTest");
  ASSERT_NE(sut->join("Name"), nullptr);

  EXPECT_TRUE(inChild([&] {
    EXPECT_NE(Hub::get("HubTest"), sut);
    EXPECT_EQ(Hub::get("HubTest")->find("Name"), nullptr);
  }));
}

}  // namespace
}  // namespace velp::test
