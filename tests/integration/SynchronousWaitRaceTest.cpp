// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// No answered request times out, however close its answer comes to the wait for it.
#include "SynchronousWaitRace.h"

#include <gtest/gtest.h>

namespace velp::test {
namespace {

constexpr unsigned int mostDelay = 2000;

TEST(SynchronousWaitRace, NoAnsweredRequestTimesOut) {
  const RaceResult result =
      raceAnswersAgainstWaits(VELP_RACE_REQUESTS, mostDelay, VELP_RACE_REQUESTS);

  EXPECT_EQ(result.requests, static_cast<unsigned long>(VELP_RACE_REQUESTS));
  EXPECT_EQ(result.falseTimeouts, 0u);
}

}  // namespace
}  // namespace velp::test
