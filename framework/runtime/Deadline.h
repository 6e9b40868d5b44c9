// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Absolute deadlines that cannot overflow.
#pragma once

#include <limits>

namespace velp {

/// `now` plus `add` seconds, or the largest Seconds if that is later than it can express. A
/// template so that the 32-bit case can be tested everywhere; `now` is not negative.
template <typename Seconds>
constexpr Seconds addClamped(Seconds now, unsigned long long add) {
  constexpr Seconds latest = std::numeric_limits<Seconds>::max();
  const auto room = static_cast<unsigned long long>(latest - now);
  return add > room ? latest : static_cast<Seconds>(now + static_cast<Seconds>(add));
}

/// Fills `deadline` (a timespec, or one with other widths) with `relative` microseconds after
/// `now`.
template <typename Timespec>
constexpr void deadlineAfter(const Timespec& now, unsigned long long relative, Timespec& deadline) {
  using Seconds = decltype(deadline.tv_sec);
  using Nanoseconds = decltype(deadline.tv_nsec);
  const unsigned long long nanoseconds =
      static_cast<unsigned long long>(now.tv_nsec) + relative % 1000000 * 1000;
  deadline.tv_sec = addClamped<Seconds>(now.tv_sec, relative / 1000000 + nanoseconds / 1000000000);
  deadline.tv_nsec = static_cast<Nanoseconds>(nanoseconds % 1000000000);
}

}  // namespace velp
