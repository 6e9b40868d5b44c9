// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Scenes that make the library print and send.
#pragma once

#include <string>
#include <vector>

namespace velp::test {

/// What a scene shows: first the lines it printed, then what was received, sent or thrown.
using Shown = std::vector<std::string>;

// The sender, at trace level 2. Who sends is "Client", to "Service"; "Nobody" is not there.
Shown plainSends();
Shown responsesSent();
Shown synchronousRequestAnswered();
Shown synchronousRequestRefused();
Shown synchronousRequestTimedOut();
Shown stringFields();
Shown wrongRequestLength();
Shown faultFiled();

// The handler, at trace level 2. Messages are given to "Service" as if "Client" had sent them.
Shown stateSetAndNotFound();
Shown requestsReceived();
Shown responsesReceived();
Shown busReports();
Shown workerServing();
Shown stateNames();

// The progress handler, at trace level 2, for "Requester".
Shown progressReported();
Shown progressRefused();
Shown stepTextsSent();

Shown removalOfAllEncoded();
Shown conditionFailures();

}  // namespace velp::test
