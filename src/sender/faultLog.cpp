// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Fault records for the fault management.
#include "sender/SenderLog.h"
#include "velp/message/SystemMessage.h"
#include "velp/runtime/MutexLocker.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

constexpr const char* faultManagement = "FaultManagement";
constexpr std::uint32_t faultRecordNumber = 10;

// QUIRK(49): what follows the first NUL character does not go along, be it in the midst of a field.
std::string upToNul(const std::string& text) {
  return text.c_str();
}

}  // namespace

bool VelpMsgSender::sendSysMsgErrorLog(faultCode_t code, std::string text1, bool flag,
                                       std::string text2) {
  MutexLocker locker(mutex);
  const std::string text = FaultUtil::getSysMsgErrorLogString(code, text1, flag, text2, 0);
  const SystemMessage message(upToNul(text), faultRecordNumber);
  const bool ok = sendNoLock(faultManagement, message);
  LogUtil::info(senderTag, "sendSysMsgErrorLog", "Tx done(", ok, ") to:", faultManagement,
                " msg: ", message);
  return ok;
}
