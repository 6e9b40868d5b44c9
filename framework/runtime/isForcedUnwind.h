// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Tells the unwinding of pthread_exit() and cancellation from exceptions.
#pragma once

#include <exception>

namespace velp {

/// Inside `catch (...)`: whether what was caught is a thread's forced unwinding, which must be
/// thrown on since swallowing it ends the process. It is no C++ exception, so there is no current
/// one; and it has no object, so that catching it by its type would bind a reference to nothing.
inline bool isForcedUnwind() {
  return std::current_exception() == nullptr;
}

}  // namespace velp
