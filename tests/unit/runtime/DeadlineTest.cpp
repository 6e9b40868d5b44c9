// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Deadlines with time types of any width.
#include "framework/runtime/Deadline.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

struct Timespec32 {
  std::int32_t tv_sec;
  std::int32_t tv_nsec;
};

struct Timespec64 {
  std::int64_t tv_sec;
  std::int64_t tv_nsec;
};

template <typename Timespec>
Timespec after(const Timespec& now, unsigned long long relative) {
  Timespec deadline{};
  velp::deadlineAfter(now, relative, deadline);
  return deadline;
}

constexpr auto latest32 = std::numeric_limits<std::int32_t>::max();
constexpr auto latest64 = std::numeric_limits<std::int64_t>::max();

}  // namespace

TEST(Deadline, AddsSecondsAndMicroseconds) {
  const auto deadline = after(Timespec64{100, 5}, 3000002);

  EXPECT_EQ(deadline.tv_sec, 103);
  EXPECT_EQ(deadline.tv_nsec, 2005);
}

TEST(Deadline, CarriesNanosecondsIntoSeconds) {
  const auto deadline = after(Timespec64{100, 999999999}, 1);

  EXPECT_EQ(deadline.tv_sec, 101);
  EXPECT_EQ(deadline.tv_nsec, 999);
}

TEST(Deadline, ReachesTheLastSecondOf32BitsExactly) {
  const auto deadline = after(Timespec32{latest32 - 10, 0}, 10 * 1000000ULL);

  EXPECT_EQ(deadline.tv_sec, latest32);
}

TEST(Deadline, StopsAtTheLastSecondOf32Bits) {
  const auto deadline = after(Timespec32{latest32 - 10, 999999999}, 10 * 1000000ULL + 1);

  EXPECT_EQ(deadline.tv_sec, latest32);
  EXPECT_LT(deadline.tv_nsec, 1000000000);
}

TEST(Deadline, LongestDurationStopsAtTheLastSecondOf32Bits) {
  EXPECT_EQ(after(Timespec32{1, 0}, ~0ULL).tv_sec, latest32);
}

TEST(Deadline, LongestDurationIsExactIn64Bits) {
  const auto deadline = after(Timespec64{1, 0}, ~0ULL);

  EXPECT_EQ(deadline.tv_sec, 1 + 18446744073709);
  EXPECT_EQ(deadline.tv_nsec, 551615000);
}

TEST(Deadline, StopsAtTheLastSecondOf64Bits) {
  EXPECT_EQ(after(Timespec64{latest64 - 1, 0}, ~0ULL).tv_sec, latest64);
}
