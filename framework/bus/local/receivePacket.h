// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Takes one packet from a local connection.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bus/local/BusFd.h"

namespace velp {

/// One packet as it came, with all descriptors that came along.
struct ReceivedPacket {
  const unsigned char* bytes = nullptr;  ///< in the reader's buffer, until the next packet
  std::size_t size = 0;
  std::vector<BusFd> fds;
  bool truncated = false;       ///< bytes or descriptors were cut off
  bool foreignControl = false;  ///< a control message of another kind came along
};

enum class ReceiveResult { packet, nothingNow, ended };

/// Reads packets into one buffer.
///
/// Threads: one at a time. Blocks: never. Owns: the buffer. Fails: see receive().
class PacketReader {
 public:
  PacketReader();

  /// Takes the next packet of `fd`, if there is one. An error pending on the connection is passed
  /// over: what was sent before it is still to be read.
  ReceiveResult receive(int fd, ReceivedPacket& packet);

 private:
  std::vector<unsigned char> buffer;
};

}  // namespace velp
