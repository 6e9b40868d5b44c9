// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The token bucket.
#include "bus/ReportLimiter.h"

#include <algorithm>

namespace velp {

bool ReportLimiter::admit(std::uint64_t now, std::string& text) {
  const std::uint64_t earned = (now - refilledAt) / millisecondsPerToken;
  tokens = std::min(burst, tokens + std::min(burst, earned));
  refilledAt += earned * millisecondsPerToken;
  if (tokens == 0) {
    ++heldBack;
    return false;
  }
  --tokens;
  if (heldBack != 0) text += " (" + std::to_string(heldBack) + " more reports were held back)";
  heldBack = 0;
  return true;
}

}  // namespace velp
