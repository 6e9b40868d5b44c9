// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Events from the package manager's log.
#pragma once

#include <cstddef>
#include <istream>
#include <string>
#include <vector>

#include "velpmsg/VelpMsgReqGetEventList.h"

/// What a log holds. An event's number is its time (20261121062934 is 2026-11-21 06:29:34), its
/// text is "action=subject", its code the action's (see PackageLog.cpp).
struct PackageLog {
  std::vector<VelpMsgReqGetEventList::Event> events;
  std::size_t skipped = 0;  ///< lines in an unknown form
};

/// Reads lines such as "2026-11-21 06:29:34 status installed man-db:amd64 2.11.2-2".
PackageLog readPackageLog(std::istream& lines);

/// A log like the package manager's, for machines that have none.
std::string generatePackageLog();

/// Drops the oldest events until at most `limit` are left and the list that carries them fits into
/// its 65,535 bytes. Returns how many more than `limit` demanded had to go.
std::size_t keepMostRecent(std::vector<VelpMsgReqGetEventList::Event>& events, std::size_t limit);
