// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One object per process, also after fork().
#include "bus/PerProcess.h"

#include <gtest/gtest.h>

#include "unit/bus/inChild.h"

namespace velp::test {
namespace {

struct Counter {
  int value = 0;
};

TEST(PerProcess, IsMadeOnce) {
  static PerProcess<Counter> sut;

  sut.get().value = 5;

  EXPECT_EQ(sut.get().value, 5);
}

TEST(PerProcess, IsMadeAnewInAChild) {
  static PerProcess<Counter> sut;
  sut.get().value = 5;

  EXPECT_TRUE(inChild([] {
    EXPECT_EQ(sut.get().value, 0);
    sut.get().value = 7;
    EXPECT_EQ(sut.get().value, 7);
    EXPECT_TRUE(inChild([] { EXPECT_EQ(sut.get().value, 0); }));
  }));
  EXPECT_EQ(sut.get().value, 5);
}

// Meets itself: while one is being made, another one is put in place.
struct Racer {
  Racer();
  static inline int made = 0;
};
PerProcess<Racer> race;
Racer* winner = nullptr;

Racer::Racer() {
  if (++made == 1) winner = &race.get();
}

TEST(PerProcess, IsTheFirstOneInPlaceWhenTwoAreMadeAtOnce) {
  Racer& got = race.get();

  EXPECT_EQ(Racer::made, 2);
  EXPECT_EQ(&got, winner);
  EXPECT_EQ(&race.get(), winner);
}

}  // namespace
}  // namespace velp::test
