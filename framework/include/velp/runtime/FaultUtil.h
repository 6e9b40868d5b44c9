// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The text of fault records.
#pragma once

#include <string>

#include "velp/runtime/export.h"

/// A fault code; values are the fault management's.
enum faultCode_t : unsigned int {};

/// Builds the text of fault records. Stateless: any thread, never blocks.
class VELP_FRAMEWORK_API FaultUtil {
 public:
  /// The text of a fault record: `code=C active=0|1 time=T source="text1" info="text2"`, where
  /// `active` tells a fault that came (true) from one that went, and `time` is in milliseconds
  /// since 1970, 0 standing for "when it is received". In the two texts quotes, backslashes and all
  /// bytes outside printable ASCII are written as \xHH, so that no text can forge a field; only NUL
  /// characters stay as they are, for whoever sends the record to judge.
  static std::string getSysMsgErrorLogString(faultCode_t code, std::string source, bool active,
                                             std::string info, unsigned long long time);
};
