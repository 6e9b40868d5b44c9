// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What fork() leaves to the child.
#include <gtest/gtest.h>

#include "process/ChildProcess.h"
#include "process/PrivateBus.h"

namespace velp::test {
namespace {

TEST(Fork, LeavesTheChildOffTheBusUntilItJoinsItself) {
  const PrivateBus bus;
  ChildProcess service({VELP_PEERS "peer-service", "Service", bus.address()});
  ASSERT_TRUE(service.waitForLine("ready"));

  // By default the thread sanitizer does not let a forked child start threads.
  ChildProcess parent({VELP_PEERS "peer-fork", bus.address(), "Service"},
                      {"TSAN_OPTIONS=die_after_fork=0"});

  EXPECT_TRUE(parent.waitForLine("parent: 0"));
  EXPECT_TRUE(parent.waitForLine("child: -1"));
  EXPECT_TRUE(parent.waitForLine("joined child: 0"));
  EXPECT_TRUE(parent.waitForLine("child's status: 0"));
  EXPECT_TRUE(parent.waitForLine("parent afterwards: 0"));
  EXPECT_EQ(parent.waitForEnd(), 0);
}

}  // namespace
}  // namespace velp::test
