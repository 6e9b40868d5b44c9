// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Process-wide state that a child after fork() starts anew.
#pragma once

#include <atomic>
#include <memory>

#include "bus/ForkGuard.h"

namespace velp {

/// Holds the one T of this process, made on first use and never destroyed. A child after fork()
/// gets a fresh one: the parent's locks may be held by threads that are not there. The parent's
/// stays reachable but is not touched.
///
/// Threads: any. Blocks: never. Owns: the T. Fails: as T's constructor does.
template <typename T>
class PerProcess {
 public:
  T& get() {
    Holder* present = holder.load();
    if (present != nullptr && present->generation == forkGeneration()) return present->value;
    auto fresh = std::make_unique<Holder>();
    fresh->before = present;
    if (holder.compare_exchange_strong(present, fresh.get())) return fresh.release()->value;
    return present->value;
  }

 private:
  struct Holder {
    T value;
    const unsigned int generation = forkGeneration();
    Holder* before = nullptr;
  };

  std::atomic<Holder*> holder{nullptr};
};

}  // namespace velp
