// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// recvmsg(), and ownership of every descriptor before anything is judged.
#include "bus/local/receivePacket.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "bus/local/PacketHeader.h"

namespace velp {

namespace {

// Room for one descriptor; some systems' padding lets a second one in.
using ControlBuffer = std::array<unsigned char, CMSG_SPACE(sizeof(int))>;

void takeDescriptors(cmsghdr* control, ReceivedPacket& packet) {
  const std::size_t count = (control->cmsg_len - CMSG_LEN(0)) / sizeof(int);
  for (std::size_t i = 0; i < count; ++i) {
    int fd = -1;
    std::memcpy(&fd, CMSG_DATA(control) + i * sizeof fd, sizeof fd);
    packet.fds.emplace_back(fd);
  }
}

void takeControlMessages(msghdr& message, ReceivedPacket& packet) {
  for (cmsghdr* control = CMSG_FIRSTHDR(&message); control != nullptr;
       control = CMSG_NXTHDR(&message, control)) {
    if (control->cmsg_level == SOL_SOCKET && control->cmsg_type == SCM_RIGHTS) {
      takeDescriptors(control, packet);
    } else {
      packet.foreignControl = true;
    }
  }
}

}  // namespace

PacketReader::PacketReader() : buffer(PacketHeader::size + maxInlineFrame) {}

ReceiveResult PacketReader::receive(int fd, ReceivedPacket& packet) {
  packet = ReceivedPacket();
  alignas(cmsghdr) ControlBuffer control;
  iovec whole{buffer.data(), buffer.size()};
  msghdr message = {};
  ssize_t size;
  bool errorSeen = false;
  do {
    message = {};
    message.msg_iov = &whole;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    size = recvmsg(fd, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    // A reset stands in front of the packets that came before it; it is told once.
  } while (size < 0 &&
           (errno == EINTR || (errno == ECONNRESET && !std::exchange(errorSeen, true))));
  if (size < 0) {
    return errno == EAGAIN ? ReceiveResult::nothingNow : ReceiveResult::ended;
  }
  takeControlMessages(message, packet);
  if (size == 0) return ReceiveResult::ended;
  packet.bytes = buffer.data();
  packet.size = static_cast<std::size_t>(size);
  packet.truncated = (message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0;
  return ReceiveResult::packet;
}

}  // namespace velp
