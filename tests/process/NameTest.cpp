// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Processes that want the same name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <string>

#include "process/ChildProcess.h"
#include "process/PrivateBus.h"

namespace velp::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(Name, GoesToExactlyOneOfTwoProcessesThatRaceForIt) {
  const PrivateBus bus;
  for (int round = 0; round < 20; ++round) {
    ChildProcess one({VELP_PEERS "peer-name", "Wanted", bus.address()});
    ChildProcess other({VELP_PEERS "peer-name", "Wanted", bus.address()});
    // "joined" or "refused": one line each, whoever wins.
    ASSERT_TRUE(one.waitForLine("ed"));
    ASSERT_TRUE(other.waitForLine("ed"));

    const bool oneWon = one.out() == "joined\n";
    const ChildProcess& winner = oneWon ? one : other;
    const ChildProcess& loser = oneWon ? other : one;
    EXPECT_EQ(winner.out(), "joined\n");
    EXPECT_THAT(loser.out(), StartsWith("refused " + std::to_string(EADDRINUSE) + " "));
    EXPECT_THAT(loser.out(), HasSubstr(std::to_string(winner.getPid())));
  }
}

TEST(Name, IsFreeAgainWhenItsHolderWasKilled) {
  const PrivateBus bus;
  ChildProcess holder({VELP_PEERS "peer-name", "Wanted", bus.address()});
  ASSERT_TRUE(holder.waitForLine("joined"));
  holder.kill(SIGKILL);
  ASSERT_EQ(holder.waitForEnd(), -SIGKILL);

  ChildProcess next({VELP_PEERS "peer-name", "Wanted", bus.address()});
  EXPECT_TRUE(next.waitForLine("joined"));
}

}  // namespace
}  // namespace velp::test
