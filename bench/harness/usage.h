// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What processes have used so far.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

namespace velp::bench {

/// Sums over some processes and all their threads.
struct Usage {
  std::int64_t cpu = 0;  ///< nanoseconds
  std::int64_t voluntary = 0;
  std::int64_t involuntary = 0;
};

/// Used until now by this process and by `others`. Throws when one of them is gone.
Usage usageOf(const std::vector<pid_t>& others);

Usage operator-(const Usage& later, const Usage& earlier);

}  // namespace velp::bench
