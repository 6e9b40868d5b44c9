// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How the sender's log lines are tagged.
#pragma once

#include "velp/runtime/LogUtil.h"

constexpr const char* senderTag = "VelS";
