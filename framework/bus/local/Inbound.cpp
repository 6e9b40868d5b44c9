// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Strangers until proven otherwise.
//
//   accept ──▶ no name yet ──hello, proven──▶ named ──frames──▶ sink
//                  │ 1 s, or 16 newer ones       │ anything against the rules
//                  └──────────▶ closed ◀─────────┘ end of the connection
//
// A callback may keep this thread for long, so whoever has no name yet is read once more before it
// is closed for its silence, and before a later connection gets a name: what counts is when a hello
// came, not when this thread found the time for it.
//
// A name is proven when the kernel says that the peer's user owns the name's lock file. A named
// connection of the same name that is still there belongs to an earlier life of that participant:
// what it sent is taken first, then it is closed.
//
// All descriptors that came with a packet are owned before the packet is judged, so no refusal
// leaks one. When the process has no descriptors left, the listener rests for a moment instead of
// spinning on a connection that cannot be accepted.
#include "bus/local/Inbound.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "bus/local/PacketHeader.h"
#include "bus/local/SealedMemory.h"
#include "velp/bus/StatusCode.h"

namespace velp {

namespace {

constexpr std::size_t maxPendingHellos = 16;
constexpr std::uint64_t helloTime = 1000;
constexpr std::uint64_t listenPause = 100;
// Of the listener, or of one connection, before the others have their turn.
constexpr int acceptsPerTurn = 32;
constexpr int readsPerTurn = 2;
constexpr int everything = -1;

bool watch(int epollFd, int fd, std::uint64_t id) {
  epoll_event event = {};
  event.events = EPOLLIN;
  event.data.u64 = id;
  return epoll_ctl(epollFd, EPOLL_CTL_ADD, fd, &event) == 0;
}

// Why a packet of a proven sender is not a frame, or nothing.
const char* findFault(const ReceivedPacket& packet, const std::optional<PacketHeader>& header) {
  if (packet.foreignControl) return "a control message that has no place here";
  if (packet.truncated) return "a packet that is too long, or has too many descriptors";
  if (!header) return "a packet without a valid header";
  if (packet.fds.size() != (header->large ? 1u : 0u)) return "a wrong number of descriptors";
  const std::size_t announced = header->large ? 0 : header->length;
  if (packet.size - PacketHeader::size != announced)
    return "a packet of another length than it says";
  return nullptr;
}

}  // namespace

Inbound::Inbound(const BusDirectory& directory, int listener, int epollFd, ReportQueue& reports)
    : directory(directory), listener(listener), epollFd(epollFd), reports(reports) {}

void Inbound::onListenerReady(TransportSink& sink) {
  for (int taken = 0; taken != acceptsPerTurn; ++taken) {
    if (!acceptOne(sink)) return;
  }
}

bool Inbound::acceptOne(TransportSink& sink) {
  BusFd fd(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!fd) {
    if (errno == EINTR || errno == ECONNABORTED) return true;
    if (errno != EAGAIN) pauseListening();
    return false;
  }
  ucred peer = {};
  socklen_t size = sizeof peer;
  if (getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return true;
  const std::uint64_t id = nextId++;
  if (!watch(epollFd, fd.get(), id)) return true;
  makeRoomForHello(sink);
  const std::uint64_t due = monotonicMilliseconds() + helloTime;
  connections.emplace(id, Connection{std::move(fd), peer.pid, peer.uid, {}});
  pendingHellos.emplace(id, due);
  // The hello of an honest peer is mostly there already.
  readPackets(id, sink, 1);
  return true;
}

void Inbound::pauseListening() {
  reports.refusal(STATUS_SENDER_REFUSED,
                  "cannot accept a connection: this process has no room for more file descriptors");
  epoll_ctl(epollFd, EPOLL_CTL_DEL, listener, nullptr);
  listenAgainAt = monotonicMilliseconds() + listenPause;
}

// The one that has kept silent for longest goes first.
void Inbound::makeRoomForHello(TransportSink& sink) {
  if (pendingHellos.size() < maxPendingHellos) return;
  closeIfSilent(pendingHellos.begin()->first, "too many connections without a hello", sink);
}

void Inbound::closeIfSilent(std::uint64_t id, const char* why, TransportSink& sink) {
  readPackets(id, sink, 1);
  if (pendingHellos.count(id) == 0) return;
  refuse(STATUS_SENDER_REFUSED, connections.at(id), why);
  pendingHellos.erase(id);
  connections.erase(id);
}

int Inbound::onTime(TransportSink& sink) {
  const std::uint64_t now = monotonicMilliseconds();
  if (listenAgainAt != 0 && listenAgainAt <= now) {
    listenAgainAt = watch(epollFd, listener, listenerId) ? 0 : now + listenPause;
  }
  while (!pendingHellos.empty() && pendingHellos.begin()->second <= now) {
    closeIfSilent(pendingHellos.begin()->first, "no hello within a second", sink);
  }
  std::uint64_t next = listenAgainAt;
  if (!pendingHellos.empty() && (next == 0 || pendingHellos.begin()->second < next)) {
    next = pendingHellos.begin()->second;
  }
  return next == 0 ? -1 : static_cast<int>(next - now);
}

void Inbound::onConnectionReady(std::uint64_t id, TransportSink& sink) {
  readPackets(id, sink, readsPerTurn);
}

void Inbound::readPackets(std::uint64_t id, TransportSink& sink, int limit) {
  PacketReader::Packets packets;
  for (int taken = 0; taken != limit; ++taken) {
    const auto position = connections.find(id);
    if (position == connections.end()) return;
    Connection& connection = position->second;
    // What follows a hello is read after others of that name are, with the same reader.
    const std::size_t wanted = connection.name.empty() ? 1 : PacketReader::most;
    const bool goesOn = reader.receive(connection.fd.get(), wanted, packets);
    if (!takePackets(id, connection, packets, sink) || !goesOn) {
      pendingHellos.erase(id);
      connections.erase(id);
      return;
    }
    if (packets.size() < wanted) return;
  }
}

bool Inbound::takePackets(std::uint64_t id, Connection& connection, PacketReader::Packets& packets,
                          TransportSink& sink) {
  for (ReceivedPacket& packet : packets) {
    if (!takePacket(id, connection, packet, sink)) return false;
  }
  return true;
}

bool Inbound::takePacket(std::uint64_t id, Connection& connection, ReceivedPacket& packet,
                         TransportSink& sink) {
  if (connection.name.empty()) return takeHello(id, connection, packet, sink);
  return takeFrame(connection, packet, sink);
}

bool Inbound::takeHello(std::uint64_t id, Connection& connection, const ReceivedPacket& packet,
                        TransportSink& sink) {
  const std::optional<Hello> hello = decodeHello(packet.bytes, packet.size);
  if (!hello || packet.truncated || packet.foreignControl || !packet.fds.empty()) {
    refuse(STATUS_SENDER_REFUSED, connection, "no valid hello");
    return false;
  }
  if (connection.pid == 0 || directory.ownerOf(hello->name) != connection.uid) {
    refuse(STATUS_SENDER_REFUSED, connection,
           "it calls itself " + hello->name + ", a name that is not its user's");
    return false;
  }
  takeEarlierHellos(id, sink);
  endOlder(id, hello->name, sink);
  connection.name = hello->name;
  pendingHellos.erase(id);
  return true;
}

// Otherwise an earlier connection of the same name would be taken for the newer one.
void Inbound::takeEarlierHellos(std::uint64_t id, TransportSink& sink) {
  const std::map<std::uint64_t, std::uint64_t> pending = pendingHellos;
  for (auto earlier = pending.begin(); earlier != pending.lower_bound(id); ++earlier) {
    readPackets(earlier->first, sink, 1);
  }
}

// Shut down first: its sender could go on for ever filling what is being emptied.
void Inbound::endOlder(std::uint64_t id, const std::string& name, TransportSink& sink) {
  for (auto position = connections.begin(); position != connections.end();) {
    const std::uint64_t older = position->first;
    const bool same = older != id && position->second.name == name;
    ++position;
    if (!same) continue;
    shutdown(connections.at(older).fd.get(), SHUT_RD);
    readPackets(older, sink, everything);
  }
}

bool Inbound::takeFrame(const Connection& connection, ReceivedPacket& packet, TransportSink& sink) {
  const std::optional<PacketHeader> header = decodePacketHeader(packet.bytes, packet.size);
  if (const char* fault = findFault(packet, header)) {
    refuse(STATUS_FRAME_REFUSED, connection, fault);
    return false;
  }
  std::vector<unsigned char> content;
  std::string reason;
  const unsigned char* frame = packet.bytes + PacketHeader::size;
  if (header->large) {
    if (!readSealedMemory(packet.fds.front().get(), header->length, content, reason)) {
      refuse(STATUS_FRAME_REFUSED, connection, reason);
      return false;
    }
    frame = content.data();
  }
  if (!sink.onFrame(connection.name, frame, header->length, reason)) {
    // Only the frame goes: its sender has been told that those behind it arrived.
    reports.refusal(STATUS_FRAME_REFUSED,
                    "refused a frame from " + describe(connection) + ": " + reason);
  }
  return true;
}

void Inbound::refuse(int code, const Connection& connection, const std::string& why) {
  reports.refusal(code, "dropped the connection of " + describe(connection) + ": " + why);
}

std::string Inbound::describe(const Connection& connection) {
  const std::string who = connection.name.empty() ? "a stranger" : connection.name;
  return who + " (process " + std::to_string(connection.pid) + ", user " +
         std::to_string(connection.uid) + ")";
}

}  // namespace velp
