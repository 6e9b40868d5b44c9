// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Which transports a fork closes in the child.
#include "bus/ForkGuard.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>

#include "bus/Transport.h"
#include "unit/bus/inChild.h"

namespace velp::test {
namespace {

class CountingTransport : public Transport {
 public:
  bool send(const std::string&, const unsigned char*, std::size_t) override { return false; }
  void receive(TransportSink&) override {}
  void stop() override {}
  void closeAfterFork() noexcept override { ++closed; }

  int closed = 0;
};

TEST(ForkGuard, ClosesItsTransportInTheChildOnly) {
  CountingTransport transport;
  const ForkGuard sut(transport);

  EXPECT_TRUE(inChild([&] { EXPECT_EQ(transport.closed, 1); }));

  EXPECT_EQ(transport.closed, 0);
}

TEST(ForkGuard, ClosesItsTransportOnceHoweverDeepTheForks) {
  CountingTransport transport;
  const ForkGuard sut(transport);

  EXPECT_TRUE(inChild([&] { EXPECT_TRUE(inChild([&] { EXPECT_EQ(transport.closed, 1); })); }));
}

TEST(ForkGuard, ClosesEveryGuardedTransport) {
  std::deque<CountingTransport> transports(5);
  std::deque<ForkGuard> guards;
  for (CountingTransport& transport : transports) guards.emplace_back(transport);

  EXPECT_TRUE(inChild([&] {
    for (const CountingTransport& transport : transports) EXPECT_EQ(transport.closed, 1);
  }));
}

TEST(ForkGuard, LeavesATransportAloneWhenItIsGone) {
  CountingTransport transport;
  std::make_unique<ForkGuard>(transport).reset();

  EXPECT_TRUE(inChild([&] { EXPECT_EQ(transport.closed, 0); }));
}

TEST(ForkGuard, ServesTransportsThatComeLater) {
  CountingTransport earlier;
  CountingTransport later;
  std::make_unique<ForkGuard>(earlier).reset();
  const ForkGuard sut(later);

  EXPECT_TRUE(inChild([&] {
    EXPECT_EQ(earlier.closed, 0);
    EXPECT_EQ(later.closed, 1);
  }));
}

TEST(forkGeneration, GrowsByOneWithEachFork) {
  const unsigned int here = forkGeneration();

  EXPECT_TRUE(inChild([here] {
    EXPECT_EQ(forkGeneration(), here + 1);
    EXPECT_TRUE(inChild([here] { EXPECT_EQ(forkGeneration(), here + 2); }));
  }));

  EXPECT_EQ(forkGeneration(), here);
}

}  // namespace
}  // namespace velp::test
