// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The one place where the singleton is instantiated.
#include "OfferedSingleton.h"

#include <atomic>

namespace {
std::atomic<int> madeCount{0};
}

template class Singleton<OfferedSingleton>;

OfferedSingleton::OfferedSingleton() {
  ++madeCount;
}

OfferedSingleton::~OfferedSingleton() = default;

int OfferedSingleton::made() {
  return madeCount;
}
