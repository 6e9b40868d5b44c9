// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How enumeration values without a name are written.
#include "velp/runtime/printUnknownEnum.h"

#include <ostream>
#include <string>

void printUnknownEnum(std::ostream& os, int value) {
  // One insertion of a ready text: a width set on the stream counts for the whole.
  os << "unknown(" + std::to_string(value) + ")";
}
