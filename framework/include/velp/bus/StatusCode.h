// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The codes of bus status reports.
#pragma once

namespace velp {

/// Second argument of velpBusProxyStatusCb(); the kind of report follows from it.
enum StatusCode : int {
  STATUS_JOINED = 1,           ///< information: this process is on the bus
  STATUS_LINK_BACK = 2,        ///< information: a lost link works again
  STATUS_SENDER_REFUSED = 10,  ///< warning: a peer could not prove its name or spoke no hello
  STATUS_FRAME_REFUSED = 11,   ///< warning: a peer's bytes are no message
  STATUS_LINK_LOST = 20,       ///< error: the link to the bus or to a peer broke
  STATUS_CALLBACK_THREW = 21,  ///< error: a callback threw and was taken off the bus
};

}  // namespace velp
