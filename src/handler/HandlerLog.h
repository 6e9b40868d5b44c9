// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The class tag of the handler's log lines.
#pragma once

#include "velp/runtime/LogUtil.h"

constexpr const char* handlerTag = "VelH";
