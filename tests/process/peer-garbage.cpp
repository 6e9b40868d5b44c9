// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// peer-garbage SOCKET: sends bytes that mean nothing to a participant until it hangs up.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

int main(int, char** argv) {
  const int connection = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, argv[1], sizeof(address.sun_path) - 1);
  if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    std::perror("peer-garbage: connect");
    return 1;
  }
  std::array<unsigned char, 1000> garbage;
  for (std::size_t i = 0; i < garbage.size(); ++i) {
    garbage[i] = static_cast<unsigned char>(i * 151 + 17);
  }
  // The first packet is enough to be dropped; whether the second still goes out does not matter.
  send(connection, garbage.data(), garbage.size(), MSG_NOSIGNAL);
  send(connection, garbage.data(), 3, MSG_NOSIGNAL);
  const ssize_t count = recv(connection, garbage.data(), garbage.size(), 0);
  std::puts(count <= 0 ? "dropped" : "answered");
  close(connection);
}
