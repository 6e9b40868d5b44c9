// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A plugin that tells which sender it sees.

#include <velpmsg/VelpMsgSender.h>

extern "C" __attribute__((visibility("default"))) void* senderOfPlugin() {
  return VelpMsgSender::getInstance();
}
