// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Races answers against the waits for them, and counts the answers that were not noticed.
#pragma once

namespace velp::test {

struct RaceResult {
  unsigned long requests = 0;
  unsigned long falseTimeouts = 0;  ///< requests that timed out although they had been answered
};

/// Sends up to `requests` synchronous requests, each answered by another thread, with random delays
/// of up to `mostDelay` nanoseconds before every lock that either takes. Stops at the `enough`th
/// false time-out.
///
/// A wait times out only when its answer has come and gone, so a slow machine makes it slow and
/// never wrong.
RaceResult raceAnswersAgainstWaits(unsigned long requests, unsigned int mostDelay,
                                   unsigned long enough);

}  // namespace velp::test
