// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A second shared library that uses the singleton of the first.
#include "OfferedSingleton.h"

OfferedSingleton* instanceSeenByUser() {
  return OfferedSingleton::getInstance();
}
