// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// An event list as a table for people.
#pragma once

#include <cstddef>
#include <string>

#include "velpmsg/VelpMsgReqGetEventList.h"

/// The last `count` events under a header, columns aligned, one event a line. What came over the
/// bus is escaped, so that it cannot upset a terminal.
std::string eventTable(const VelpMsgReqGetEventList& list, std::size_t count);
