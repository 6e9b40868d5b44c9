// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Descriptors in a list that a fork handler can walk without a lock; see ForkGuard.cpp.
#include "bus/local/BusFd.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>

namespace velp {

struct BusFd::Slot {
  std::atomic<int> fd{-1};
  Slot* next = nullptr;
};

namespace {

// Instead of a descriptor that a child has closed: the slot still has its owner, and is not free.
constexpr int closedInChild = -2;

std::atomic<BusFd::Slot*> slots{nullptr};

BusFd::Slot* takeSlot(int fd) {
  for (BusFd::Slot* slot = slots.load(); slot != nullptr; slot = slot->next) {
    int empty = -1;
    if (slot->fd.compare_exchange_strong(empty, fd)) return slot;
  }
  auto* slot = new BusFd::Slot;
  slot->fd = fd;
  slot->next = slots.load();
  while (!slots.compare_exchange_weak(slot->next, slot)) {
  }
  return slot;
}

// A process that was started without standard streams gets their numbers for its first descriptors,
// and would write its log into them. Keeps the number when there is no higher one.
int clearOfStandardStreams(int fd) {
  if (fd > STDERR_FILENO) return fd;
  const int higher = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (higher < 0) return fd;
  close(fd);
  return higher;
}

}  // namespace

BusFd::BusFd(int fd) {
  if (fd >= 0) slot = takeSlot(clearOfStandardStreams(fd));
}

BusFd& BusFd::operator=(BusFd&& other) noexcept {
  if (this != &other) {
    reset();
    slot = std::exchange(other.slot, nullptr);
  }
  return *this;
}

int BusFd::get() const {
  return slot == nullptr ? -1 : slot->fd.load();
}

// Out of the list before it is closed: otherwise a child could close a number that has become
// another's.
void BusFd::reset() {
  if (slot == nullptr) return;
  const int fd = std::exchange(slot, nullptr)->fd.exchange(-1);
  if (fd >= 0) close(fd);
}

void BusFd::closeAllInChild() noexcept {
  for (Slot* slot = slots.load(); slot != nullptr; slot = slot->next) {
    const int fd = slot->fd.load();
    if (fd < 0) continue;
    slot->fd = closedInChild;
    close(fd);
  }
}

}  // namespace velp
