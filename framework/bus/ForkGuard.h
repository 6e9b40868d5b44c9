// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What must happen to open transports when the process forks.
#pragma once

#include <atomic>

namespace velp {

class Transport;

/// How many forks lie between this process and the one that loaded the library. What was connected
/// under another number belongs to an ancestor.
unsigned int forkGeneration() noexcept;

/// Closes its transport in every child that the process forks while the guard lives.
///
/// Threads:  made and destroyed by any thread.
/// Blocks:   never.
/// Owns:     its slot; not the transport.
/// Fails:    only for want of memory.
class ForkGuard {
 public:
  explicit ForkGuard(Transport& transport);
  ~ForkGuard();
  ForkGuard(const ForkGuard&) = delete;
  ForkGuard& operator=(const ForkGuard&) = delete;

  struct Slot {
    std::atomic<Transport*> transport{nullptr};
    Slot* next = nullptr;
  };

 private:
  Slot* slot;
};

}  // namespace velp
