// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Owns a file descriptor of the bus.
#pragma once

#include <utility>

namespace velp {

/// A file descriptor, closed with its owner, and closed in every child that the process forks.
///
/// Threads: one at a time. Blocks: never. Owns: the descriptor. Fails: only for want of memory.
class BusFd {
 public:
  BusFd() = default;
  /// Owns `fd` from now on, under another number if its own is that of a standard stream.
  explicit BusFd(int fd);
  BusFd(BusFd&& other) noexcept : slot(std::exchange(other.slot, nullptr)) {}
  BusFd& operator=(BusFd&& other) noexcept;
  ~BusFd() { reset(); }

  int get() const;
  explicit operator bool() const { return get() >= 0; }
  void reset();

  /// In the child after fork(): closes every descriptor of every BusFd. Takes no lock.
  static void closeAllInChild() noexcept;

  struct Slot;

 private:
  Slot* slot = nullptr;
};

}  // namespace velp
