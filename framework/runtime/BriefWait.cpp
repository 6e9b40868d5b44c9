// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// When to yield before a wait, and when not.
//
// A request crosses four threads, and each hop ends a sleep. Most of these sleeps are shorter than
// what it costs to begin and to end them, so yielding a few times instead is faster and takes less
// processor time, provided that
//
//   - what is awaited comes within microseconds: after each wait in vain the next ones sleep at
//     once, 1, 2, 4 ... of them, so that a service with little to do wastes next to nothing;
//   - nobody else needs the processor: a yield then lasts until the other's time slice ends, and
//     that could be thousands of times longer than the sleep saved. One such yield may be chance
//     and costs little: hundreds of waits sleep at once; a second and a third are a crowd, which is
//     left alone for tens of thousands.
#include "velp/runtime/BriefWait.h"

#include <time.h>

#include <algorithm>

namespace velp {

namespace {

constexpr long long crowdedYield = 100000;
constexpr unsigned int mostSkipsAfterVain = 64;
constexpr unsigned int fewestSkipsAfterCrowd = 256;
constexpr unsigned int mostSkipsAfterCrowd = 65536;

long long nanoseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000000000LL + now.tv_nsec;
}

}  // namespace

bool BriefWait::begin() {
  if (!VELP_BRIEF_WAITS) return false;
  if (skips > 0) {
    --skips;
    return false;
  }
  began = lastYield = nanoseconds();
  return true;
}

bool BriefWait::isOverAfterYield(bool there) {
  const long long now = nanoseconds();
  const long long yield = now - lastYield;
  lastYield = now;
  if (yield > crowdedYield) {
    skips = skipsAfterCrowd =
        std::clamp(skipsAfterCrowd * 16, fewestSkipsAfterCrowd, mostSkipsAfterCrowd);
    return true;
  }
  if (there) {
    skipsAfterVain = 1;
    // Trust comes back slower than it went.
    if (skipsAfterCrowd > 0) --skipsAfterCrowd;
    return true;
  }
  if (now - began < longest) return false;
  skips = skipsAfterVain;
  skipsAfterVain = std::min(skipsAfterVain * 2, mostSkipsAfterVain);
  return true;
}

}  // namespace velp
