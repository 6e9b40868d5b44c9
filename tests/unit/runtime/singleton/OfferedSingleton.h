// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A singleton that a shared library offers to others.
#pragma once

#include "velp/runtime/Singleton.h"

#define OFFERED __attribute__((visibility("default")))

class OfferedSingleton;
extern template class OFFERED Singleton<OfferedSingleton>;

class OFFERED OfferedSingleton : public Singleton<OfferedSingleton> {
 public:
  ~OfferedSingleton() override;
  static int made();

 private:
  friend class Singleton<OfferedSingleton>;
  OfferedSingleton();
};

// What the second library sees as the instance.
OFFERED OfferedSingleton* instanceSeenByUser();
