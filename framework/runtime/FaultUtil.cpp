// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The text of fault records.
#include "velp/runtime/FaultUtil.h"

#include <sstream>

#include "velp/runtime/LogUtil.h"

namespace {

// A quote would end the field early, so it is escaped too; a NUL character stays.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char character : text) {
    if (character == '\0') {
      result += character;
    } else if (character == '"') {
      result += "\\x22";
    } else {
      result += velp::escaped(std::string(1, character));
    }
  }
  return result + '"';
}

}  // namespace

std::string FaultUtil::getSysMsgErrorLogString(faultCode_t code, std::string source, bool active,
                                               std::string info, unsigned long long time) {
  std::ostringstream record;
  record << "code=" << static_cast<unsigned int>(code) << " active=" << (active ? 1 : 0)
         << " time=" << time << " source=" << quoted(source) << " info=" << quoted(info);
  return record.str();
}
