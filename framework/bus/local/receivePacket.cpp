// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// recvmmsg(), and ownership of every descriptor before anything is judged.
#include "bus/local/receivePacket.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "bus/local/PacketHeader.h"

namespace velp {

namespace {

// Room for one descriptor; some systems' padding lets a second one in.
using ControlBuffer = std::array<unsigned char, CMSG_SPACE(sizeof(int))>;

// Of the longest packet that is taken.
constexpr std::size_t packetRoom = PacketHeader::size + maxInlineFrame;

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

// The headers that one call fills.
class Headers {
 public:
  Headers(unsigned char* buffers, std::size_t count) : count(count) {
    for (std::size_t i = 0; i < count; ++i) {
      wholes[i] = {buffers + i * packetRoom, packetRoom};
      msghdr& header = headers[i].msg_hdr;
      header = {};
      header.msg_iov = &wholes[i];
      header.msg_iovlen = 1;
      header.msg_control = controls[i].bytes.data();
      header.msg_controllen = controls[i].bytes.size();
    }
  }

  // Returns how many came, or -1.
  int receive(int fd) {
    return recvmmsg(fd, headers.data(), static_cast<unsigned int>(count),
                    MSG_DONTWAIT | MSG_CMSG_CLOEXEC, nullptr);
  }

  ReceivedPacket take(std::size_t i) {
    ReceivedPacket packet;
    msghdr& header = headers[i].msg_hdr;
    takeControlMessages(header, packet);
    packet.bytes = static_cast<const unsigned char*>(wholes[i].iov_base);
    packet.size = headers[i].msg_len;
    packet.truncated = (header.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0;
    return packet;
  }

 private:
  struct alignas(cmsghdr) Control {
    ControlBuffer bytes;
  };

  const std::size_t count;
  std::array<iovec, PacketReader::most> wholes;
  std::array<Control, PacketReader::most> controls;
  std::array<mmsghdr, PacketReader::most> headers;
};

}  // namespace

PacketReader::PacketReader() : buffers(new unsigned char[most * packetRoom]) {}

bool PacketReader::receive(int fd, std::size_t limit, Packets& packets) {
  packets.clear();
  int count;
  bool errorSeen = false;
  do {
    Headers headers(buffers.get(), limit);
    count = headers.receive(fd);
    for (int i = 0; i < count; ++i) packets.push_back(headers.take(static_cast<std::size_t>(i)));
    // A reset stands in front of the packets that came before it; it is told once.
  } while (count < 0 &&
           (errno == EINTR || (errno == ECONNRESET && !std::exchange(errorSeen, true))));
  if (count < 0) return errno == EAGAIN;
  // The end reads as packets without bytes.
  const auto isEnd = [](const ReceivedPacket& packet) { return packet.size == 0; };
  const auto end = std::find_if(packets.begin(), packets.end(), isEnd);
  const bool ended = end != packets.end();
  packets.erase(end, packets.end());
  return !ended;
}

}  // namespace velp
