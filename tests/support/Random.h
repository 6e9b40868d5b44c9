// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Random numbers whose seed is told when a check fails.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace velp::test {

/// A generator with a seed of its own for each run; --gtest_random_seed=N repeats one.
class Random {
 public:
  std::uint64_t bits() { return engine(); }
  /// Of any magnitude: small ones as often as large ones.
  std::uint64_t number() { return bits() >> below(64); }
  /// 0 to `limit` - 1.
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(bits() % limit); }
  unsigned char byte() { return static_cast<unsigned char>(bits()); }
  char oneOf(const std::string& characters) { return characters[below(characters.size())]; }

 private:
  static unsigned int chosenSeed() {
    const int asked = ::testing::GTEST_FLAG(random_seed);
    return asked != 0 ? static_cast<unsigned int>(asked) : std::random_device()() % 99999 + 1;
  }

  const unsigned int seed = chosenSeed();
  const testing::ScopedTrace trace{__FILE__, __LINE__,
                                   "repeat with --gtest_random_seed=" + std::to_string(seed)};
  std::mt19937_64 engine{seed};
};

}  // namespace velp::test
