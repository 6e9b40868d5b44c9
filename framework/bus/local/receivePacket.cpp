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

}  // namespace

// What one call fills. A call leaves behind what the next one needs, but for the room for control
// messages, which shrinks to what came.
class PacketReader::Slots {
 public:
  Slots() : buffers(new unsigned char[most * packetRoom]) {
    for (std::size_t i = 0; i < most; ++i) {
      wholes[i] = {buffers.get() + i * packetRoom, packetRoom};
      msghdr& header = messages[i].msg_hdr;
      header.msg_iov = &wholes[i];
      header.msg_iovlen = 1;
      header.msg_control = controls[i].bytes.data();
      header.msg_controllen = controls[i].bytes.size();
    }
  }

  // Returns how many came, or -1.
  int receive(int fd, std::size_t limit) {
    return recvmmsg(fd, messages.data(), static_cast<unsigned int>(limit),
                    MSG_DONTWAIT | MSG_CMSG_CLOEXEC, nullptr);
  }

  ReceivedPacket take(std::size_t i) {
    ReceivedPacket packet;
    msghdr& header = messages[i].msg_hdr;
    takeControlMessages(header, packet);
    header.msg_controllen = controls[i].bytes.size();
    packet.bytes = static_cast<const unsigned char*>(wholes[i].iov_base);
    packet.size = messages[i].msg_len;
    packet.truncated = (header.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0;
    return packet;
  }

 private:
  struct alignas(cmsghdr) Control {
    ControlBuffer bytes;
  };

  // Not initialised: pages that no packet has reached cost nothing.
  const std::unique_ptr<unsigned char[]> buffers;
  std::array<iovec, most> wholes;
  std::array<Control, most> controls;
  std::array<mmsghdr, most> messages = {};
};

PacketReader::PacketReader() : slots(std::make_unique<Slots>()) {}

PacketReader::~PacketReader() = default;

bool PacketReader::receive(int fd, std::size_t limit, Packets& packets) {
  packets.clear();
  int count;
  bool errorSeen = false;
  do {
    count = slots->receive(fd, limit);
    for (int i = 0; i < count; ++i) packets.push_back(slots->take(static_cast<std::size_t>(i)));
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
