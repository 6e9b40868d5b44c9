// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Opening, using and losing the connections that this participant sends on.
//
//   absent ──open──▶ open ──EPIPE, hang-up──▶ lost ──open──▶ open (a report)
//      ▲               │                        │
//      └── refused     └── peer left orderly ───┴── discarded when there is nothing to remember
//
// A packet that meets a dead connection was not queued, so it may be sent again on a new one, once.
// A packet that was taken is never sent again. A leaving participant removes its socket before it
// closes its connections: a hang-up with the socket still there is a death, and is reported.
//
// The lock of a connection is held while its packet is sent, which keeps the order of senders;
// since no send waits, nor does anybody for that lock. Connections are closed under their own lock,
// by the sender that meets the dead end or by the reception thread, whoever comes first.
#include "bus/local/Outbound.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "bus/local/sendPacket.h"
#include "velp/bus/StatusCode.h"
#include "velp/runtime/MutexLocker.h"

namespace velp {

Outbound::Outbound(const BusDirectory& directory, Hello hello, ReportQueue& reports, int epollFd)
    : directory(directory), hello(std::move(hello)), reports(reports), epollFd(epollFd) {}

bool Outbound::send(const std::string& target, const unsigned char* bytes, std::size_t size) {
  for (;;) {
    const std::shared_ptr<Connection> connection = find(target);
    MutexLocker locker(connection->mutex);
    if (connection->discarded) continue;
    const bool sent = sendOn(*connection, bytes, size);
    discardIfUnused(*connection);
    return sent;
  }
}

std::shared_ptr<Outbound::Connection> Outbound::find(const std::string& target) {
  MutexLocker locker(mutex);
  std::shared_ptr<Connection>& connection = connections[target];
  if (connection == nullptr) connection = std::make_shared<Connection>(target);
  return connection;
}

bool Outbound::sendOn(Connection& connection, const unsigned char* bytes, std::size_t size) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (!connection.fd && !open(connection)) return false;
    const SendResult result = sendFrame(connection.fd.get(), bytes, size);
    if (result != SendResult::gone) return result == SendResult::sent;
    close(connection);
  }
  return false;
}

bool Outbound::open(Connection& connection) {
  if (!openSocket(connection)) return false;
  {
    MutexLocker locker(mutex);
    connection.id = idFlag | nextId++;
    targets[connection.id] = connection.target;
  }
  epoll_event event = {};
  event.events = EPOLLRDHUP;
  event.data.u64 = connection.id;
  // Without room in epoll the end of this connection is noticed by the next send instead.
  epoll_ctl(epollFd, EPOLL_CTL_ADD, connection.fd.get(), &event);
  if (std::exchange(connection.lost, false)) {
    reports.linkReport(VelpBusProxyCallback::STATUS_INFORMATION, STATUS_LINK_BACK,
                       "link to " + connection.target + " is back");
  }
  return true;
}

bool Outbound::openSocket(Connection& connection) {
  BusFd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd) return false;
  const sockaddr_un address = directory.socketAddress(connection.target);
  int rc;
  do {
    rc = connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  } while (rc != 0 && errno == EINTR);
  if (rc != 0) return false;
  if (!isOwnersSocket(fd.get(), connection.target)) {
    reports.refusal(STATUS_SENDER_REFUSED, "did not send to " + connection.target +
                                               ": its socket does not belong to the owner of the "
                                               "name");
    return false;
  }
  const std::vector<unsigned char> greeting = encodeHello(hello);
  if (sendBytes(fd.get(), greeting.data(), greeting.size()) != SendResult::sent) return false;
  connection.fd = std::move(fd);
  return true;
}

// Asked before anything is sent: nobody else is to read it.
bool Outbound::isOwnersSocket(int fd, const std::string& target) const {
  ucred peer = {};
  socklen_t size = sizeof peer;
  if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
  return directory.ownerOf(target) == peer.uid;
}

void Outbound::close(Connection& connection) {
  {
    MutexLocker locker(mutex);
    targets.erase(connection.id);
  }
  connection.id = 0;
  connection.fd.reset();
  if (!directory.hasSocket(connection.target)) return;
  connection.lost = true;
  reports.linkReport(
      VelpBusProxyCallback::STATUS_ERROR, STATUS_LINK_LOST,
      "link to " + connection.target + " is lost: its process has ended, or dropped it");
}

void Outbound::onHangUp(std::uint64_t id) {
  std::string target;
  {
    MutexLocker locker(mutex);
    const auto position = targets.find(id);
    if (position == targets.end()) return;
    target = position->second;
  }
  const std::shared_ptr<Connection> connection = find(target);
  MutexLocker locker(connection->mutex);
  if (connection->id == id) close(*connection);
  discardIfUnused(*connection);
}

// Keeps names that were only tried from filling the table.
void Outbound::discardIfUnused(Connection& connection) {
  if (connection.fd || connection.lost || connection.discarded) return;
  connection.discarded = true;
  MutexLocker locker(mutex);
  connections.erase(connection.target);
}

}  // namespace velp
