// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The smallest service and client.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "process/ChildProcess.h"
#include "process/PrivateBus.h"

namespace velp::test {
namespace {

TEST(Minimal, ClientIsGreetedByTheService) {
  const PrivateBus bus;
  ChildProcess service({VELP_BIN "minimal-service", bus.address()});
  ASSERT_TRUE(service.waitForLine("joined"));

  ChildProcess client({VELP_BIN "minimal-client", bus.address()});

  EXPECT_EQ(client.waitForEnd(), 0);
  EXPECT_EQ(client.out(), "Hello, Newcomer!\n");
}

TEST(Minimal, ClientEndsWithStatus1WithoutTheService) {
  const PrivateBus bus;

  ChildProcess client({VELP_BIN "minimal-client", bus.address()});

  EXPECT_EQ(client.waitForEnd(), 1);
}

}  // namespace
}  // namespace velp::test
