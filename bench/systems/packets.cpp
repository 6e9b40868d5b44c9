// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Small messages are packets. A large one is a sealed memory file, whose size is its packet.
#include "bench/systems/packets.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace velp::bench {

namespace {

// A packet of 64 KiB is faster than a memory file; one of 1 MiB is no packet any more.
constexpr std::size_t largestPacket = 96 * 1024;

std::size_t checked(ssize_t result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return static_cast<std::size_t>(result);
}

int checkedFd(int result, const char* what) {
  return static_cast<int>(checked(result, what));
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw std::runtime_error("too long: " + path);
  path.copy(address.sun_path, path.size());
  return address;
}

int newSocket() {
  return checkedFd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0), "socket");
}

void sendFile(int connection, const Bytes& bytes) {
  const int file =
      checkedFd(memfd_create("velp-bench", MFD_CLOEXEC | MFD_ALLOW_SEALING), "memfd_create");
  if (checked(write(file, bytes.data(), bytes.size()), "write") != bytes.size()) {
    throw std::runtime_error("a memory file was not written whole");
  }
  checked(fcntl(file, F_ADD_SEALS, F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE),
          "fcntl");
  std::size_t size = bytes.size();
  iovec part{&size, sizeof size};
  alignas(cmsghdr) std::array<unsigned char, CMSG_SPACE(sizeof(int))> control = {};
  msghdr message = {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  cmsghdr* rights = CMSG_FIRSTHDR(&message);
  rights->cmsg_level = SOL_SOCKET;
  rights->cmsg_type = SCM_RIGHTS;
  rights->cmsg_len = CMSG_LEN(sizeof(int));
  std::memcpy(CMSG_DATA(rights), &file, sizeof file);
  checked(sendmsg(connection, &message, MSG_NOSIGNAL), "sendmsg");
  close(file);
}

void readFile(msghdr& message, const Bytes& packet, Bytes& bytes) {
  int file = -1;
  std::size_t size = 0;
  std::memcpy(&file, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof file);
  std::memcpy(&size, packet.data(), sizeof size);
  bytes.resize(size);
  checked(pread(file, bytes.data(), size, 0), "pread");
  close(file);
}

}  // namespace

Listener::Listener(const std::string& path) : fd(newSocket()) {
  const sockaddr_un address = addressOf(path);
  checked(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
  checked(listen(fd, SOMAXCONN), "listen");
}

int Listener::accept() const {
  return checkedFd(accept4(fd, nullptr, nullptr, SOCK_CLOEXEC), "accept");
}

int connectTo(const std::string& path) {
  const int fd = newSocket();
  const sockaddr_un address = addressOf(path);
  checked(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), "connect");
  return fd;
}

void sendBytes(int connection, const Bytes& bytes) {
  if (bytes.size() > largestPacket) return sendFile(connection, bytes);
  checked(::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL), "send");
}

bool receiveBytes(int connection, Bytes& bytes) {
  thread_local Bytes buffer(largestPacket);
  iovec part{buffer.data(), buffer.size()};
  alignas(cmsghdr) std::array<unsigned char, CMSG_SPACE(sizeof(int))> control;
  msghdr message = {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  const std::size_t size = checked(recvmsg(connection, &message, MSG_CMSG_CLOEXEC), "recvmsg");
  if (size == 0) return false;
  if (message.msg_controllen != 0) {
    readFile(message, buffer, bytes);
  } else {
    bytes.assign(buffer.data(), buffer.data() + size);
  }
  return true;
}

}  // namespace velp::bench
