// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Packets as any program could send them, with any descriptors.
#pragma once

#include <sys/resource.h>

#include <cstddef>
#include <string>
#include <vector>

#include "bus/local/BusFd.h"
#include "bus/local/receivePacket.h"
#include "unit/bus/local/LocalFixture.h"

namespace velp::test {

/// The most descriptors that a system lets one packet carry.
constexpr std::size_t mostDescriptors = 253;

/// Two connected sockets of sequenced packets that wait.
struct SocketPair {
  SocketPair();
  BusFd left;
  BusFd right;
};

enum class ReceiveResult { packet, nothingNow, ended };

/// Reads packets one by one.
class SingleReader {
 public:
  ReceiveResult receive(int fd, ReceivedPacket& packet);

 private:
  PacketReader reader;
};

/// Sends one packet with `count` copies of `descriptor`. False, with errno, when that failed.
bool sendRaw(int fd, const Bytes& bytes, std::size_t count = 0, int descriptor = 0);

/// The frame's header and the frame, inline.
Bytes inlinePacket(const Bytes& frame);
/// The header of a large frame.
Bytes largePacket(std::size_t length);

/// While it lives, this process can open no further descriptor. Sanitizers need some, too: nothing
/// but the call under test belongs into its scope.
class NoMoreDescriptors {
 public:
  NoMoreDescriptors();
  ~NoMoreDescriptors();
  NoMoreDescriptors(const NoMoreDescriptors&) = delete;
  NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;

 private:
  rlimit before = {};
};

/// A listening socket as a participant has one.
BusFd listenAt(const BusDirectory& directory, const std::string& name);

/// Makes the lock file of a name, for this process's user or another.
void giveName(const BusDirectory& directory, const std::string& name, uid_t owner = geteuid());

/// A connection to a participant's socket that obeys nobody. Waits end after 20 s.
class RawClient {
 public:
  explicit RawClient(const std::string& socketPath);

  int get() const { return fd.get(); }
  bool send(const Bytes& bytes, std::size_t count = 0, int descriptor = 0) const {
    return sendRaw(fd.get(), bytes, count, descriptor);
  }
  bool sayHello(const std::string& name, unsigned int generation = 1) const;
  /// Waits for the other side to end the connection.
  bool isDropped() const;
  /// Whether the other side has not ended it yet.
  bool isKept() const;

 private:
  BusFd fd;
};

}  // namespace velp::test
