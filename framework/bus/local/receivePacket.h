// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Takes packets from a local connection.
#pragma once

#include <boost/container/static_vector.hpp>
#include <cstddef>
#include <memory>
#include <vector>

#include "bus/local/BusFd.h"

namespace velp {

/// One packet as it came, with all descriptors that came along.
struct ReceivedPacket {
  const unsigned char* bytes = nullptr;  ///< in the reader's buffer, until it receives again
  std::size_t size = 0;
  std::vector<BusFd> fds;
  bool truncated = false;       ///< bytes or descriptors were cut off
  bool foreignControl = false;  ///< a control message of another kind came along
};

/// Reads packets into its buffers, several in one call.
///
/// Threads: one at a time. Blocks: never. Owns: the buffers. Fails: see receive().
class PacketReader {
 public:
  /// The most packets that one call takes.
  static constexpr std::size_t most = 16;
  using Packets = boost::container::static_vector<ReceivedPacket, most>;

  PacketReader();
  ~PacketReader();

  /// Takes the next packets of `fd`, as many as there are and at most `limit`. An error pending on
  /// the connection is passed over: what was sent before it is still to be read. False when
  /// nothing comes behind these packets.
  bool receive(int fd, std::size_t limit, Packets& packets);

 private:
  class Slots;

  const std::unique_ptr<Slots> slots;
};

}  // namespace velp
