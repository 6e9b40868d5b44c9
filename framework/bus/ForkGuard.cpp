// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A list that a fork handler can walk without a lock.
//
// The handler runs in the child, where any lock may be held by a thread that is not there, and must
// not allocate. So the slots form a list that only ever grows at its head; a slot whose guard is
// gone is empty and is taken again.
#include "bus/ForkGuard.h"

#include <pthread.h>

#include "bus/Transport.h"

namespace velp {

namespace {

std::atomic<unsigned int> generation{0};
std::atomic<ForkGuard::Slot*> slots{nullptr};

void closeInChild() {
  generation.fetch_add(1);
  for (ForkGuard::Slot* slot = slots.load(); slot != nullptr; slot = slot->next) {
    if (Transport* transport = slot->transport.exchange(nullptr)) transport->closeAfterFork();
  }
}

ForkGuard::Slot* reuseSlot(Transport& transport) {
  for (ForkGuard::Slot* slot = slots.load(); slot != nullptr; slot = slot->next) {
    Transport* empty = nullptr;
    if (slot->transport.compare_exchange_strong(empty, &transport)) return slot;
  }
  return nullptr;
}

ForkGuard::Slot* addSlot(Transport& transport) {
  auto* slot = new ForkGuard::Slot;
  slot->transport = &transport;
  slot->next = slots.load();
  while (!slots.compare_exchange_weak(slot->next, slot)) {
  }
  return slot;
}

// When the library is loaded: a process may fork before it joins a bus, while another of its
// threads holds a lock of a participant's.
[[maybe_unused]] const int registered = pthread_atfork(nullptr, nullptr, closeInChild);

}  // namespace

unsigned int forkGeneration() noexcept {
  return generation.load(std::memory_order_relaxed);
}

ForkGuard::ForkGuard(Transport& transport) {
  slot = reuseSlot(transport);
  if (slot == nullptr) slot = addSlot(transport);
}

ForkGuard::~ForkGuard() {
  slot->transport = nullptr;
}

}  // namespace velp
