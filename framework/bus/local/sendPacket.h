// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Puts one packet on a local connection.
#pragma once

#include <cstddef>

namespace velp {

enum class SendResult {
  sent,      ///< the receiver's queue has it
  notTaken,  ///< the receiver is too far behind, or the system has no room now
  gone,      ///< the connection is dead and the packet was not queued
};

/// Sends the bytes as they are, as one packet.
SendResult sendBytes(int fd, const unsigned char* bytes, std::size_t size);
/// Sends a frame with its header: inline, or as sealed memory when it is large.
SendResult sendFrame(int fd, const unsigned char* bytes, std::size_t size);

}  // namespace velp
