// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The connections that a participant receives on.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "bus/local/BusDirectory.h"
#include "bus/local/Hello.h"
#include "bus/local/ReportQueue.h"
#include "bus/local/receivePacket.h"

namespace velp {

/// Accepts connections, has their names proven, and takes frames from them.
///
/// Threads: the reception thread only. Blocks: never. Owns: the connections; not the listener.
/// Fails: a peer that breaks the rules is dropped and reported.
class Inbound {
 public:
  Inbound(const BusDirectory& directory, int listener, int epollFd, ReportQueue& reports);

  /// The listener's id in epoll; connections have higher ones.
  static constexpr std::uint64_t listenerId = 1;

  void onListenerReady(TransportSink& sink);
  void onConnectionReady(std::uint64_t id, TransportSink& sink);
  /// Closes what has not said hello in time and listens again after a pause. Returns the
  /// milliseconds until there is something of this kind to do, or -1.
  int onTime(TransportSink& sink);

 private:
  struct Connection {
    BusFd fd;
    pid_t pid = 0;
    uid_t uid = 0;
    std::string name;  // empty until it is proven
  };
  using Connections = std::map<std::uint64_t, Connection>;

  bool acceptOne(TransportSink& sink);
  void pauseListening();
  void makeRoomForHello(TransportSink& sink);
  void closeIfSilent(std::uint64_t id, const char* why, TransportSink& sink);
  void readPackets(std::uint64_t id, TransportSink& sink, int limit);
  bool takePackets(std::uint64_t id, Connection& connection, PacketReader::Packets& packets,
                   TransportSink& sink);
  bool takePacket(std::uint64_t id, Connection& connection, ReceivedPacket& packet,
                  TransportSink& sink);
  bool takeHello(std::uint64_t id, Connection& connection, const ReceivedPacket& packet,
                 TransportSink& sink);
  bool takeFrame(const Connection& connection, ReceivedPacket& packet, TransportSink& sink);
  void takeEarlierHellos(std::uint64_t id, TransportSink& sink);
  void endOlder(std::uint64_t id, const std::string& name, TransportSink& sink);
  void refuse(int code, const Connection& connection, const std::string& why);
  static std::string describe(const Connection& connection);

  const BusDirectory& directory;
  const int listener;
  const int epollFd;
  ReportQueue& reports;
  PacketReader reader;
  Connections connections;
  std::map<std::uint64_t, std::uint64_t> pendingHellos;  // id to due time; ids grow with time
  std::uint64_t nextId = listenerId + 1;
  std::uint64_t listenAgainAt = 0;  // 0 while listening
};

}  // namespace velp
