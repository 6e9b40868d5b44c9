// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The connections that a participant sends on.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "bus/local/BusDirectory.h"
#include "bus/local/Hello.h"
#include "bus/local/ReportQueue.h"
#include "velp/runtime/Mutex.h"

namespace velp {

/// One connection per target, opened on first use. Nothing waits: a receiver that cannot take a
/// packet now makes the send false.
///
/// Threads: send() from any thread; onHangUp() on the reception thread.
/// Blocks: never for a receiver; sends to one target take turns.
/// Owns: the connections. Fails: send() returns false.
class Outbound {
 public:
  /// `epollFd` is told of each connection, with an id that has `idFlag` set, so that the reception
  /// thread hears of its end.
  Outbound(const BusDirectory& directory, Hello hello, ReportQueue& reports, int epollFd);

  bool send(const std::string& target, const unsigned char* bytes, std::size_t size);
  void onHangUp(std::uint64_t id);

  static constexpr std::uint64_t idFlag = 1ull << 63;

 private:
  struct Connection {
    explicit Connection(std::string target) : target(std::move(target)) {}

    const std::string target;
    Mutex mutex;
    BusFd fd VELP_GUARDED_BY(mutex);
    std::uint64_t id VELP_GUARDED_BY(mutex) = 0;
    // The last connection broke: the next one that stands is news.
    bool lost VELP_GUARDED_BY(mutex) = false;
    // No longer in the table: look the target up again.
    bool discarded VELP_GUARDED_BY(mutex) = false;
  };

  std::shared_ptr<Connection> find(const std::string& target);
  bool sendOn(Connection& connection, const unsigned char* bytes, std::size_t size)
      VELP_REQUIRES(connection.mutex);
  bool open(Connection& connection) VELP_REQUIRES(connection.mutex);
  bool openSocket(Connection& connection) VELP_REQUIRES(connection.mutex);
  bool isOwnersSocket(int fd, const std::string& target) const;
  void close(Connection& connection) VELP_REQUIRES(connection.mutex);
  void discardIfUnused(Connection& connection) VELP_REQUIRES(connection.mutex);

  const BusDirectory& directory;
  const Hello hello;
  ReportQueue& reports;
  const int epollFd;

  // Innermost of the two kinds of lock: taken while a connection's own is held, never before it.
  Mutex mutex;
  std::map<std::string, std::shared_ptr<Connection>> connections VELP_GUARDED_BY(mutex);
  std::map<std::uint64_t, std::string> targets VELP_GUARDED_BY(mutex);
  std::uint64_t nextId VELP_GUARDED_BY(mutex) = 1;
};

}  // namespace velp
