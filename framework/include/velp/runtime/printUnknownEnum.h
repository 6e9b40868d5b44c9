// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How enumeration values without a name are written.
#pragma once

#include <iosfwd>

#include "velp/runtime/export.h"

/// Writes an enumeration value that has no name as "unknown(" + decimal value + ")", whatever the
/// stream's flags.
VELP_FRAMEWORK_API void printUnknownEnum(std::ostream& os, int value);
