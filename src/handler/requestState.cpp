// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The names of request states.
#include <ostream>

#include "velp/runtime/printUnknownEnum.h"
#include "velpmsg/VelpMsgHandler.h"

namespace {

constexpr const char* stateNames[] = {"NOT_AVAILABLE", "AVAILABLE", "BUSY", "INVALID"};

}  // namespace

std::ostream& operator<<(std::ostream& os, requestState_t state) {
  if (state <= INVALID) {
    // Unformatted: a width set on the stream adds no fill characters.
    const std::string name = stateNames[state];
    os.write(name.data(), static_cast<std::streamsize>(name.size()));
  } else {
    printUnknownEnum(os, static_cast<int>(state));
  }
  return os;
}
