// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How the process's participant begins and ends. Each case runs in a process that has made none.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "process/PrivateBus.h"
#include "unit/bus/waitHook.h"
#include "velp/bus/VelpBusProxy.h"

namespace velp::test {
namespace {

class VelpBusProxyLife : public testing::Test {
 protected:
  VelpBusProxyLife() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  // Joins a bus and exits. The status tells whether the name is still there after all.
  [[noreturn]] static void joinAndExit() {
    static const PrivateBus* const bus = new PrivateBus;
    std::atexit([] {
      const bool isThere = std::filesystem::exists(bus->getPath() + "/Self");
      std::filesystem::remove_all(bus->getPath());
      _exit(isThere ? 1 : 0);
    });
    VelpBusProxy::getInstance()->connect("Self", bus->address());
    std::exit(2);
  }
};

TEST_F(VelpBusProxyLife, EndsWithoutItsNameAtExit) {
  EXPECT_EXIT(joinAndExit(), testing::ExitedWithCode(0), "");
}

TEST_F(VelpBusProxyLife, WaitsAtExitForNobodyWhoChangesTheLink) {
  EXPECT_EXIT(
      {
        busyLinks = true;
        joinAndExit();
      },
      testing::ExitedWithCode(1), "");
}

TEST_F(VelpBusProxyLife, EndsOnABusInTheProcessToo) {
  EXPECT_EXIT(
      {
        VelpBusProxy::getInstance()->connect("Self", "inproc:");
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(VelpBusProxyLife, HasOneBeginningWhenTwoThreadsBeginIt) {
  EXPECT_EXIT(
      {
        // The second comes when the first has seen that there is none, and is done before it.
        VelpBusProxy* second = nullptr;
        beforeNextParticipant = [&second] { second = VelpBusProxy::getInstance(); };
        VelpBusProxy* const first = VelpBusProxy::getInstance();
        std::exit(second != nullptr && first == second ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace velp::test
