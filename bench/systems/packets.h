// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Messages on a sequenced-packet socket, by the fewest system calls: what every bare system uses.
#pragma once

#include <string>

#include "bench/harness/harness.h"

namespace velp::bench {

/// Takes one connection. All descriptors here live as long as the process.
///
/// Throws std::system_error, as all that follow.
class Listener {
 public:
  explicit Listener(const std::string& path);
  int accept() const;

 private:
  int fd;
};

int connectTo(const std::string& path);

/// Sends a message, a large one in a sealed memory file; waits while the receiver is too far
/// behind.
void sendBytes(int connection, const Bytes& bytes);
/// Replaces `bytes` by the next message, of at most 16 MiB. False at the end of the connection.
bool receiveBytes(int connection, Bytes& bytes);

}  // namespace velp::bench
