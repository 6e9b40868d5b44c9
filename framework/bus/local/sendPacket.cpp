// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One system call per packet, which never waits.
#include "bus/local/sendPacket.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "bus/local/PacketHeader.h"
#include "bus/local/SealedMemory.h"

namespace velp {

namespace {

bool isGone(int code) {
  return code == EPIPE || code == ECONNRESET || code == ECONNREFUSED || code == ENOTCONN;
}

constexpr int sendFlags = MSG_DONTWAIT | MSG_NOSIGNAL;

// Up to this size a frame is copied behind its header: that costs less than telling the kernel of
// two parts.
constexpr std::size_t copiedFrame = 1024;

template <typename Call>
SendResult sendBy(const Call& call, int& code) {
  while (call() < 0) {
    code = errno;
    if (code != EINTR) return isGone(code) ? SendResult::gone : SendResult::notTaken;
  }
  return SendResult::sent;
}

SendResult sendMessage(int fd, const msghdr& message, int& code) {
  return sendBy([&] { return sendmsg(fd, &message, sendFlags); }, code);
}

SendResult sendWhole(int fd, const unsigned char* bytes, std::size_t size, int& code) {
  return sendBy([&] { return send(fd, bytes, size, sendFlags); }, code);
}

// sendmsg() does not write through these pointers, though its types do not say so.
iovec part(const unsigned char* bytes, std::size_t size) {
  return {const_cast<unsigned char*>(bytes), size};
}

PacketHeader headerFor(std::size_t size, bool large) {
  return {large, static_cast<std::uint32_t>(size)};
}

SendResult sendInline(int fd, const unsigned char* bytes, std::size_t size, int& code) {
  const auto header = encodePacketHeader(headerFor(size, false));
  if (size <= copiedFrame) {
    std::array<unsigned char, PacketHeader::size + copiedFrame> packet;
    std::copy(bytes, bytes + size, std::copy(header.begin(), header.end(), packet.begin()));
    return sendWhole(fd, packet.data(), header.size() + size, code);
  }
  std::array<iovec, 2> parts{part(header.data(), header.size()), part(bytes, size)};
  msghdr message = {};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  return sendMessage(fd, message, code);
}

SendResult sendLarge(int fd, const unsigned char* bytes, std::size_t size) {
  const BusFd memory = createSealedMemory(bytes, size);
  if (!memory) return SendResult::notTaken;
  const auto header = encodePacketHeader(headerFor(size, true));
  iovec whole = part(header.data(), header.size());
  alignas(cmsghdr) std::array<unsigned char, CMSG_SPACE(sizeof(int))> control = {};
  msghdr message = {};
  message.msg_iov = &whole;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  cmsghdr* rights = CMSG_FIRSTHDR(&message);
  rights->cmsg_level = SOL_SOCKET;
  rights->cmsg_type = SCM_RIGHTS;
  rights->cmsg_len = CMSG_LEN(sizeof(int));
  const int memoryFd = memory.get();
  std::memcpy(CMSG_DATA(rights), &memoryFd, sizeof memoryFd);
  int code = 0;
  return sendMessage(fd, message, code);
}

}  // namespace

SendResult sendBytes(int fd, const unsigned char* bytes, std::size_t size) {
  int code = 0;
  return sendWhole(fd, bytes, size, code);
}

SendResult sendFrame(int fd, const unsigned char* bytes, std::size_t size) {
  if (size > maxInlineFrame) return sendLarge(fd, bytes, size);
  int code = 0;
  const SendResult result = sendInline(fd, bytes, size, code);
  // A system with small socket buffers: the packet itself is too long for it.
  return code == EMSGSIZE ? sendLarge(fd, bytes, size) : result;
}

}  // namespace velp
