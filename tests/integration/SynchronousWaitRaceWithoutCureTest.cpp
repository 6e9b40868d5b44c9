// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The same race with a condition that forgets signals: proves that the race test can fail.
#include "SynchronousWaitRace.h"

#include <gtest/gtest.h>

namespace velp::test {
namespace {

constexpr unsigned int mostDelay = 2000;

TEST(SynchronousWaitRaceWithoutCure, SomeAnsweredRequestsTimeOut) {
  // One is enough, and usually comes soon; a machine that runs one thread at a time takes longer.
  const RaceResult result = raceAnswersAgainstWaits(10ul * VELP_RACE_REQUESTS, mostDelay, 1);

  EXPECT_GT(result.falseTimeouts, 0u) << "in " << result.requests << " requests";
}

}  // namespace
}  // namespace velp::test
