// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Creates and checks sealed memory files.
//
// A peer may keep its end open and do anything with it, so nothing is believed that a seal does not
// hold fast: without the seals against shrinking and writing, the content could change or vanish
// while it is read. Reading by position, never by mapping, leaves no way to a bus error, and does
// not depend on the file offset, which the peer shares.
#include "bus/local/SealedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "velp/message/ByteForm.h"

namespace velp {

namespace {

constexpr int seals = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

bool writeAll(int fd, const unsigned char* bytes, std::size_t size) {
  while (size != 0) {
    const ssize_t written = write(fd, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

bool readAll(int fd, unsigned char* bytes, std::size_t size) {
  std::size_t position = 0;
  while (position < size) {
    const ssize_t count =
        pread(fd, bytes + position, size - position, static_cast<off_t>(position));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    position += static_cast<std::size_t>(count);
  }
  return true;
}

const char* findFault(int fd, std::size_t size) {
  struct stat status;
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) return "is not a memory file";
  const int present = fcntl(fd, F_GET_SEALS);
  if (present < 0 || (present & seals) != seals) return "is not fully sealed";
  if (size > maxMessageSize) return "is larger than any message may be";
  if (status.st_size < 0 || static_cast<std::uint64_t>(status.st_size) != size) {
    return "has another size than its packet says";
  }
  return nullptr;
}

}  // namespace

BusFd createSealedMemory(const unsigned char* bytes, std::size_t size) {
  BusFd fd(memfd_create("velp-message", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (fd && writeAll(fd.get(), bytes, size) && fcntl(fd.get(), F_ADD_SEALS, seals) == 0) return fd;
  return BusFd();
}

bool readSealedMemory(int fd, std::size_t size, std::vector<unsigned char>& bytes,
                      std::string& reason) {
  const char* fault = findFault(fd, size);
  if (fault == nullptr) {
    bytes.resize(size);
    if (readAll(fd, bytes.data(), size)) return true;
    fault = "cannot be read";
  }
  reason = std::string("its large message ") + fault;
  return false;
}

}  // namespace velp
