// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The signals that end a service.
#pragma once

#include <signal.h>

/// SIGTERM and SIGINT.
inline sigset_t endSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  return signals;
}

/// Keeps these signals from this thread and from those that it starts. To be called by main()
/// before there is another thread.
inline void blockEndSignals() {
  const sigset_t ends = endSignals();
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
}

/// Waits for one of them.
inline void waitForEndSignal() {
  const sigset_t ends = endSignals();
  int received = 0;
  sigwait(&ends, &received);
}
