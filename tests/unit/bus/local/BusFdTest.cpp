// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Who closes a descriptor, and when.
#include "bus/local/BusFd.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <thread>
#include <utility>
#include <vector>

#include "unit/bus/inChild.h"
#include "unit/bus/local/LocalFixture.h"

namespace velp::test {
namespace {

int openSomething() {
  return open("/dev/null", O_RDONLY | O_CLOEXEC);
}
bool isOpen(int fd) {
  return fcntl(fd, F_GETFD) >= 0;
}

TEST(BusFd, IsEmptyWithoutADescriptor) {
  const BusFd none;
  EXPECT_FALSE(none);
  EXPECT_EQ(none.get(), -1);
  const BusFd failed(-1);
  EXPECT_FALSE(failed);
}

TEST(BusFd, ClosesItsDescriptorAtItsEnd) {
  const int fd = openSomething();
  {
    const BusFd owner(fd);
    EXPECT_TRUE(owner);
    EXPECT_EQ(owner.get(), fd);
    EXPECT_TRUE(isOpen(fd));
  }
  EXPECT_FALSE(isOpen(fd));
}

TEST(BusFd, ClosesOnceWhenReset) {
  const int fd = openSomething();
  BusFd owner(fd);
  owner.reset();
  EXPECT_FALSE(isOpen(fd));
  EXPECT_FALSE(owner);
  const BusFd next(openSomething());
  ASSERT_EQ(next.get(), fd) << "the number is free again";
  owner.reset();
  EXPECT_TRUE(isOpen(fd));
}

TEST(BusFd, MovesWithoutClosing) {
  const int fd = openSomething();
  BusFd first(fd);
  const BusFd second(std::move(first));
  EXPECT_FALSE(first);
  EXPECT_EQ(second.get(), fd);
  EXPECT_TRUE(isOpen(fd));
}

TEST(BusFd, ClosesWhatItHadWhenAssigned) {
  const NoLeaks noLeaks;
  BusFd owner(openSomething());
  const int old = owner.get();
  BusFd other(openSomething());
  const int fd = other.get();
  owner = std::move(other);
  EXPECT_EQ(owner.get(), fd);
  EXPECT_FALSE(isOpen(old));
  owner = BusFd();
  EXPECT_FALSE(isOpen(fd));
}

TEST(BusFd, SurvivesAssignmentToItself) {
  BusFd owner(openSomething());
  const int fd = owner.get();
  BusFd& same = owner;
  owner = std::move(same);
  EXPECT_EQ(owner.get(), fd);
  EXPECT_TRUE(isOpen(fd));
}

TEST(BusFd, IsClosedInAChildWithAllOthers) {
  std::vector<BusFd> owners;
  for (int i = 0; i < 20; ++i) owners.emplace_back(openSomething());
  owners[7].reset();
  const int fd = owners[3].get();
  EXPECT_TRUE(inChild([&] {
    BusFd::closeAllInChild();
    EXPECT_FALSE(isOpen(fd));
    for (const BusFd& owner : owners) EXPECT_FALSE(owner);
    // Its own new ones are not those of before.
    const BusFd fresh(openSomething());
    owners.clear();
    EXPECT_TRUE(isOpen(fresh.get()));
  }));
  EXPECT_TRUE(isOpen(fd)) << "the parent keeps its own";
}

TEST(BusFd, KeepsClearOfTheNumbersOfStandardStreams) {
  EXPECT_TRUE(inChild([] {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      const int kept = dup(stream);
      close(stream);
      const int fd = openSomething();
      const BusFd owner(fd);
      const bool given = isOpen(stream);
      dup2(kept, stream);
      EXPECT_EQ(fd, stream);
      EXPECT_FALSE(given) << "the number is free again";
      EXPECT_GT(owner.get(), STDERR_FILENO);
      EXPECT_EQ(fcntl(owner.get(), F_GETFD), FD_CLOEXEC);
    }
  }));
}

TEST(BusFd, KeepsTheNumberOfAStandardStreamWhenThereIsNoHigherOne) {
  EXPECT_TRUE(inChild([] {
    close(STDIN_FILENO);
    const int fd = openSomething();
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = STDERR_FILENO + 1;
    setrlimit(RLIMIT_NOFILE, &limit);

    const BusFd owner(fd);

    EXPECT_EQ(owner.get(), STDIN_FILENO);
    EXPECT_TRUE(isOpen(STDIN_FILENO));
  }));
}

TEST(BusFd, IsSafeToMakeInManyThreads) {
  const NoLeaks noLeaks;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 200; ++round) {
        const int fd = openSomething();
        const BusFd owner(fd);
        ASSERT_EQ(owner.get(), fd);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace velp::test
