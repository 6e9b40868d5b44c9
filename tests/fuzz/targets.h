// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What is fuzzed: everything that decodes bytes of strangers.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace velp::fuzz {

/// Decodes any bytes; ends the process when what comes out breaks a promise.
struct Target {
  const char* name;
  void (*run)(const unsigned char* bytes, std::size_t size);
};

extern const std::array<Target, 6> targets;

/// All bytes allocated so far, where somebody counts them. Bounds what a refused frame may cost.
extern std::atomic<std::size_t> allocated;

}  // namespace velp::fuzz
