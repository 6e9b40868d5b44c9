// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Nothing but a sealed memory file of the announced size is read.
#include "bus/local/SealedMemory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

#include "unit/bus/local/LocalFixture.h"
#include "unit/bus/local/systemCalls.h"
#include "velp/message/ByteForm.h"

namespace velp::test {
namespace {

constexpr const char* notAFile = "its large message is not a memory file";
constexpr const char* notSealed = "its large message is not fully sealed";

Bytes someBytes(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 31 + i / 256);
  return bytes;
}

BusFd memoryWith(std::size_t size, int seals) {
  BusFd fd(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  EXPECT_EQ(ftruncate(fd.get(), static_cast<off_t>(size)), 0);
  EXPECT_EQ(fcntl(fd.get(), F_ADD_SEALS, seals), 0);
  return fd;
}

void expectRefused(int fd, std::size_t size, const std::string& expected) {
  Bytes bytes;
  std::string reason;
  EXPECT_FALSE(readSealedMemory(fd, size, bytes, reason));
  EXPECT_EQ(reason, expected);
  EXPECT_EQ(bytes.capacity(), 0u) << "memory was allocated for it";
}

constexpr int everySeal = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

TEST(SealedMemory, ShowsWhatItIsForInTheListOfOpenFiles) {
  const BusFd fd = createSealedMemory(nullptr, 0);
  std::array<char, 64> shown = {};

  const std::string link = "/proc/self/fd/" + std::to_string(fd.get());
  ASSERT_GT(readlink(link.c_str(), shown.data(), shown.size() - 1), 0);

  EXPECT_STREQ(shown.data(), "/memfd:velp-message (deleted)");
}

TEST(SealedMemory, HoldsWhatWasPutIn) {
  const NoLeaks noLeaks;
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, std::size_t{65537}, std::size_t{maxMessageSize}}) {
    const Bytes bytes = someBytes(size);
    const BusFd fd = createSealedMemory(bytes.data(), bytes.size());
    ASSERT_TRUE(fd);
    Bytes back;
    std::string reason;
    EXPECT_TRUE(readSealedMemory(fd.get(), size, back, reason)) << reason;
    EXPECT_TRUE(back == bytes) << size;
  }
}

TEST(SealedMemory, CannotBeChangedNorInherited) {
  const Bytes bytes = someBytes(100);
  const BusFd fd = createSealedMemory(bytes.data(), bytes.size());
  EXPECT_EQ(fcntl(fd.get(), F_GET_SEALS), everySeal);
  EXPECT_NE(fcntl(fd.get(), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(pwrite(fd.get(), "x", 1, 0), -1);
  EXPECT_EQ(ftruncate(fd.get(), 99), -1);
  EXPECT_EQ(ftruncate(fd.get(), 101), -1);
}

TEST(SealedMemory, IsReadWhereverTheSenderHasPutTheOffset) {
  const Bytes bytes = someBytes(1000);
  const BusFd fd = createSealedMemory(bytes.data(), bytes.size());
  for (const off_t offset : {0, 17, 1000, 100000}) {
    ASSERT_EQ(lseek(fd.get(), offset, SEEK_SET), offset);
    Bytes back;
    std::string reason;
    EXPECT_TRUE(readSealedMemory(fd.get(), bytes.size(), back, reason)) << reason;
    EXPECT_TRUE(back == bytes) << offset;
  }
}

TEST(SealedMemory, NeedsEachSeal) {
  const NoLeaks noLeaks;
  for (const int missing : {F_SEAL_SEAL, F_SEAL_SHRINK, F_SEAL_GROW, F_SEAL_WRITE}) {
    expectRefused(memoryWith(100, everySeal & ~missing).get(), 100, notSealed);
  }
  expectRefused(memoryWith(100, 0).get(), 100, notSealed);
  Bytes bytes;
  std::string reason;
  EXPECT_TRUE(readSealedMemory(memoryWith(100, everySeal).get(), 100, bytes, reason)) << reason;
}

TEST(SealedMemory, TakesNoSealAgainstFutureWritesForOneAgainstWrites) {
  const int seals = (everySeal & ~F_SEAL_WRITE) | F_SEAL_FUTURE_WRITE;
  expectRefused(memoryWith(100, seals).get(), 100, notSealed);
}

TEST(SealedMemory, MustHaveTheAnnouncedSize) {
  const BusFd fd = memoryWith(1000, everySeal);
  for (const std::size_t size : {0u, 1u, 999u, 1001u, 65536u, 16777216u}) {
    expectRefused(fd.get(), size, "its large message has another size than its packet says");
  }
}

TEST(SealedMemory, MustNotBeLargerThanAnyMessage) {
  const std::size_t size = std::size_t{maxMessageSize} + 1;
  expectRefused(memoryWith(size, everySeal).get(), size,
                "its large message is larger than any message may be");
}

TEST(SealedMemory, IsNoPipeSocketDirectoryOrDevice) {
  const NoLeaks noLeaks;
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const BusFd reading(ends[0]);
  const BusFd writing(ends[1]);
  expectRefused(reading.get(), 100, notAFile);
  const BusFd aSocket(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  expectRefused(aSocket.get(), 100, notAFile);
  const BusFd directory(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  expectRefused(directory.get(), 100, notAFile);
  const BusFd device(open("/dev/zero", O_RDONLY | O_CLOEXEC));
  expectRefused(device.get(), 100, notAFile);
  expectRefused(-1, 100, notAFile);
}

TEST(SealedMemory, IsNoFileOfAFileSystem) {
  const ScratchDirectory scratch;
  const std::string file = scratch.getPath() + "/file";
  const BusFd fd(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(ftruncate(fd.get(), 100), 0);
  expectRefused(fd.get(), 100, notSealed);
  const BusFd byPath(open(file.c_str(), O_PATH | O_CLOEXEC));
  expectRefused(byPath.get(), 100, notSealed);
}

TEST(SealedMemory, IsNoMemoryFileThatCannotBeSealed) {
  const BusFd fd(memfd_create("test", MFD_CLOEXEC));
  ASSERT_EQ(ftruncate(fd.get(), 100), 0);
  expectRefused(fd.get(), 100, notSealed);
}

TEST(SealedMemory, CannotBeReadThroughADescriptorForWritingOnly) {
  const BusFd fd = memoryWith(100, everySeal & ~F_SEAL_SEAL & ~F_SEAL_WRITE);
  const std::string path = "/proc/self/fd/" + std::to_string(fd.get());
  const BusFd writing(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  ASSERT_TRUE(writing);
  ASSERT_EQ(fcntl(fd.get(), F_ADD_SEALS, F_SEAL_SEAL | F_SEAL_WRITE), 0);
  Bytes bytes;
  std::string reason;
  EXPECT_FALSE(readSealedMemory(writing.get(), 100, bytes, reason));
  EXPECT_EQ(reason, "its large message cannot be read");
}

TEST(SealedMemory, IsReadThroughInterruptions) {
  const Bytes bytes = someBytes(100);
  const BusFd fd = createSealedMemory(bytes.data(), bytes.size());
  const FailingCall interrupted(Call::pread64, {EINTR, EINTR});
  Bytes back;
  std::string reason;
  EXPECT_TRUE(readSealedMemory(fd.get(), bytes.size(), back, reason)) << reason;
  EXPECT_EQ(back, bytes);
  EXPECT_EQ(interrupted.calls(), 3u);
}

TEST(SealedMemory, IsWrittenThroughInterruptions) {
  const Bytes bytes = someBytes(100);
  const FailingCall interrupted(Call::write, {EINTR, EINTR});
  EXPECT_TRUE(createSealedMemory(bytes.data(), bytes.size()));
  EXPECT_EQ(interrupted.calls(), 3u);
}

TEST(SealedMemory, IsNotMadeWhenTheSystemRefuses) {
  const Bytes bytes = someBytes(100);
  for (const Call call : {Call::memfd_create, Call::write, Call::fcntl64}) {
    const NoLeaks noLeaks;
    const FailingCall failing(call, {ENOSPC});
    EXPECT_FALSE(createSealedMemory(bytes.data(), bytes.size()));
    EXPECT_EQ(failing.calls(), 1u);
  }
}

}  // namespace
}  // namespace velp::test
