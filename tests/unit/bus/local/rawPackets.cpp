// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// sendmsg() without any of the library's care.
#include "unit/bus/local/rawPackets.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "bus/local/Hello.h"
#include "bus/local/PacketHeader.h"

namespace velp::test {

SocketPair::SocketPair() {
  int ends[2] = {-1, -1};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
  left = BusFd(ends[0]);
  right = BusFd(ends[1]);
}

ReceiveResult SingleReader::receive(int fd, ReceivedPacket& packet) {
  PacketReader::Packets packets;
  const bool goesOn = reader.receive(fd, 1, packets);
  packet = packets.empty() ? ReceivedPacket() : std::move(packets.front());
  if (!packets.empty()) return ReceiveResult::packet;
  return goesOn ? ReceiveResult::nothingNow : ReceiveResult::ended;
}

bool sendRaw(int fd, const Bytes& bytes, std::size_t count, int descriptor) {
  Bytes content = bytes;
  iovec whole{content.data(), content.size()};
  msghdr message = {};
  message.msg_iov = &whole;
  message.msg_iovlen = 1;
  alignas(cmsghdr) std::array<unsigned char, CMSG_SPACE(sizeof(int) * mostDescriptors)> control{};
  if (count != 0) {
    message.msg_control = control.data();
    message.msg_controllen = CMSG_SPACE(sizeof(int) * count);
    cmsghdr* rights = CMSG_FIRSTHDR(&message);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof(int) * count);
    const std::vector<int> all(count, descriptor);
    std::memcpy(CMSG_DATA(rights), all.data(), sizeof(int) * count);
  }
  return sendmsg(fd, &message, MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

Bytes inlinePacket(const Bytes& frame) {
  const auto header = encodePacketHeader({false, static_cast<std::uint32_t>(frame.size())});
  Bytes packet(header.begin(), header.end());
  packet.insert(packet.end(), frame.begin(), frame.end());
  return packet;
}

Bytes largePacket(std::size_t length) {
  const auto header = encodePacketHeader({true, static_cast<std::uint32_t>(length)});
  return Bytes(header.begin(), header.end());
}

NoMoreDescriptors::NoMoreDescriptors() {
  EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const int next = dup(STDERR_FILENO);  // the lowest number that is free
  ::close(next);
  rlimit limit = before;
  limit.rlim_cur = static_cast<rlim_t>(next);
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
}

NoMoreDescriptors::~NoMoreDescriptors() {
  setrlimit(RLIMIT_NOFILE, &before);
}

BusFd listenAt(const BusDirectory& directory, const std::string& name) {
  BusFd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const sockaddr_un address = directory.socketAddress(name);
  EXPECT_EQ(bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(listen(fd.get(), SOMAXCONN), 0);
  return fd;
}

void giveName(const BusDirectory& directory, const std::string& name, uid_t owner) {
  const BusFd fd(openat(directory.getFd(), BusDirectory::lockName(name).c_str(),
                        O_CREAT | O_RDWR | O_CLOEXEC, 0600));
  EXPECT_TRUE(fd);
  if (owner == geteuid()) return;
  EXPECT_EQ(fchown(fd.get(), owner, owner), 0);
}

RawClient::RawClient(const std::string& socketPath)
    : fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
  const timeval watchdog{20, 0};
  setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &watchdog, sizeof watchdog);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
  EXPECT_EQ(connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
      << std::strerror(errno);
}

bool RawClient::sayHello(const std::string& name, unsigned int generation) const {
  return send(encodeHello(Hello{name, generation}));
}

bool RawClient::isDropped() const {
  char nothing;
  const ssize_t size = recv(fd.get(), &nothing, 1, 0);
  return size == 0 || (size < 0 && errno == ECONNRESET);
}

bool RawClient::isKept() const {
  pollfd event{fd.get(), POLLIN | POLLRDHUP, 0};
  return poll(&event, 1, 0) == 0;
}

}  // namespace velp::test
