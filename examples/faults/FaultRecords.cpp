// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Whole lines: written by one call, on the disk before the next, and repaired at the start.
#include "FaultRecords.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <system_error>

#include "velp/runtime/LogUtil.h"

namespace {

// A new file is there after a power failure only when its directory is on the disk, too.
bool syncDirectory(const std::string& path) {
  const std::string parent = std::filesystem::path(path).parent_path();
  const int directory = ::open(parent.empty() ? "." : parent.c_str(), O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) return false;
  const bool synced = fsync(directory) == 0;
  close(directory);
  return synced;
}

std::string utcTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  gmtime_r(&now.tv_sec, &parts);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", parts.tm_year + 1900,
                     parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                     now.tv_nsec / 1000000);
}

}  // namespace

FaultRecords::FaultRecords(const std::string& path) : path(path) {
  try {
    open();
    repair();
  } catch (...) {
    if (file >= 0) close(file);
    throw;
  }
}

FaultRecords::~FaultRecords() {
  close(file);
}

void FaultRecords::open() {
  file = ::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0600);
  if (file < 0) fail("cannot open");
  struct stat status {};
  if (fstat(file, &status) != 0) fail("cannot look at");
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    fail("no ordinary file:");
  }
  if (flock(file, LOCK_EX | LOCK_NB) != 0) fail("another process keeps records in");
  if (!syncDirectory(path)) fail("cannot keep the directory of");
}

void FaultRecords::repair() {
  std::array<char, 65536> block;
  off_t wholeLines = 0;
  off_t length = 0;
  for (ssize_t size = 0; (size = read(file, block.data(), block.size())) != 0;) {
    if (size < 0) fail("cannot read");
    for (ssize_t i = 0; i < size; ++i) {
      if (block[static_cast<std::size_t>(i)] != '\n') continue;
      ++count;
      wholeLines = length + i + 1;
    }
    length += size;
  }
  torn = static_cast<std::size_t>(length - wholeLines);
  if (torn == 0) return;
  if (ftruncate(file, wholeLines) != 0 || fsync(file) != 0) fail("cannot repair");
}

void FaultRecords::append(const std::string& line) {
  const off_t start = lseek(file, 0, SEEK_END);
  try {
    write((lineIsOpen ? "\n" : "") + line + '\n');
    if (fdatasync(file) != 0) fail("cannot write");
  } catch (...) {
    if (ftruncate(file, start) != 0) lineIsOpen = true;
    throw;
  }
  lineIsOpen = false;
  ++count;
}

void FaultRecords::write(const std::string& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t size = ::write(file, bytes.data() + done, bytes.size() - done);
    if (size < 0 && errno != EINTR) fail("cannot write");
    if (size > 0) done += static_cast<std::size_t>(size);
  }
}

void FaultRecords::fail(const char* what) const {
  throw std::system_error(errno, std::generic_category(), what + (" " + path));
}

std::string faultLine(const std::string& source, const std::string& text) {
  std::string line = utcTime() + ' ' + source + ' ';
  // The sender has written a backslash where it escaped something itself; that stays readable.
  for (const char character : text) {
    line += character == '\\' ? "\\" : velp::escaped(std::string(1, character));
  }
  return line;
}
