// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Writes with libarchive into a locked temporary file.
#include "ReportArchive.h"

#include <archive.h>
#include <archive_entry.h>
#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "ReportProtocol.h"

namespace {

using Entry = std::unique_ptr<archive_entry, void (*)(archive_entry*)>;

constexpr const char* temporaryEnd = ".part";
constexpr std::size_t pieceSize = 16 * 1024;

[[noreturn]] void giveUp(const std::string& text) {
  throw ReportError(REPORT_CANNOT_WRITE, text);
}

[[noreturn]] void giveUp(const std::string& what, int error) {
  giveUp(what + ": " + std::generic_category().message(error));
}

std::string temporaryStart(const std::string& owner) {
  return "." + owner + "-report-";
}

std::string now() {
  const time_t seconds = time(nullptr);
  struct tm parts = {};
  localtime_r(&seconds, &parts);
  return fmt::format("{:04}{:02}{:02}-{:02}{:02}{:02}", parts.tm_year + 1900, parts.tm_mon + 1,
                     parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

Entry describe(const std::string& path, const struct stat& status) {
  Entry entry(archive_entry_new(), archive_entry_free);
  archive_entry_set_pathname(entry.get(), path.c_str());
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_size(entry.get(), status.st_size);
  archive_entry_set_perm(entry.get(), status.st_mode & 0777);
  archive_entry_set_mtime(entry.get(), status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
  archive_entry_set_uid(entry.get(), status.st_uid);
  archive_entry_set_gid(entry.get(), status.st_gid);
  return entry;
}

bool isTemporaryOf(const std::string& owner, const std::string& name) {
  const std::string start = temporaryStart(owner);
  const std::string end = temporaryEnd;
  return name.size() > start.size() + end.size() && name.compare(0, start.size(), start) == 0 &&
         name.compare(name.size() - end.size(), end.size(), end) == 0;
}

// Whether the file's owner has ended: its lock went with it.
bool isLeftOver(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  return file.isOpen() && flock(file.get(), LOCK_EX | LOCK_NB) == 0;
}

}  // namespace

ReportArchive::Temporary::Temporary(const std::string& path)
    : path(path), file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)) {
  if (!file.isOpen()) {
    giveUp("cannot create an archive in " + std::filesystem::path(path).parent_path().string(),
           errno);
  }
  flock(file.get(), LOCK_EX | LOCK_NB);
}

ReportArchive::Temporary::~Temporary() {
  if (!path.empty()) unlink(path.c_str());
}

ReportArchive::ReportArchive(const std::string& directory, const std::string& owner)
    : directory(directory),
      temporary(fmt::format("{}/{}{}-{}{}", directory, temporaryStart(owner), now(), getpid(),
                            temporaryEnd)),
      writer(archive_write_new(), archive_write_free) {
  check(archive_write_add_filter_gzip(writer.get()));
  check(archive_write_set_format_gnutar(writer.get()));
  check(archive_write_set_bytes_in_last_block(writer.get(), 1));
  check(archive_write_open(writer.get(), this, nullptr, write, nullptr));
}

ReportArchive::~ReportArchive() {
  // Closing alone ends the compressor. It gives up at the first byte refused, so that no end is
  // made for what is thrown away.
  discarding = true;
  archive_write_close(writer.get());
}

bool ReportArchive::add(const std::string& path, int file,
                        const std::function<void(std::size_t)>& onPiece) {
  struct stat status = {};
  if (fstat(file, &status) != 0) giveUp("cannot look at " + path, errno);
  check(archive_write_header(writer.get(), describe(path, status).get()));
  const bool whole = copy(file, static_cast<std::uint64_t>(status.st_size), onPiece);
  const int reason = errno;
  check(archive_write_finish_entry(writer.get()));
  errno = reason;
  return whole;
}

bool ReportArchive::copy(int file, std::uint64_t size,
                         const std::function<void(std::size_t)>& onPiece) {
  std::array<char, pieceSize> piece;
  while (size > 0) {
    const std::size_t wanted = size < pieceSize ? static_cast<std::size_t>(size) : pieceSize;
    const ssize_t count = read(file, piece.data(), wanted);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      if (count == 0) errno = ENODATA;
      return false;
    }
    const auto length = static_cast<std::size_t>(count);
    if (archive_write_data(writer.get(), piece.data(), length) < 0) check(ARCHIVE_FATAL);
    size -= length;
    onPiece(length);
  }
  return true;
}

void ReportArchive::finish() {
  check(archive_write_close(writer.get()));
  if (fsync(temporary.file.get()) != 0) giveUp("cannot write the archive to the disk", errno);
}

std::string ReportArchive::publish() {
  const std::string start = directory + "/report-" + now();
  std::string path = start + ".tar.gz";
  for (int number = 2;
       renameat2(AT_FDCWD, temporary.path.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) != 0;
       ++number) {
    if (errno != EEXIST) giveUp("cannot name the archive", errno);
    path = fmt::format("{}-{}.tar.gz", start, number);
  }
  temporary.path.clear();
  const Descriptor folder(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.isOpen()) fsync(folder.get());
  return path;
}

std::uint64_t ReportArchive::getSize() const {
  struct stat status = {};
  return fstat(temporary.file.get(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::size_t ReportArchive::removeLeftOvers(const std::string& directory, const std::string& owner) {
  std::size_t removed = 0;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(directory, ignored)) {
    const std::string& path = entry.path();
    if (!isTemporaryOf(owner, entry.path().filename()) || !isLeftOver(path)) continue;
    if (unlink(path.c_str()) == 0) ++removed;
  }
  return removed;
}

// libarchive's own way to write would lose the reason when only its end fails.
ssize_t ReportArchive::write(archive*, void* self, const void* bytes, std::size_t size) {
  auto* const report = static_cast<ReportArchive*>(self);
  if (report->discarding) return -1;
  ssize_t count = -1;
  do {
    count = ::write(report->temporary.file.get(), bytes, size);
  } while (count < 0 && errno == EINTR);
  if (count < 0) report->writeError = errno;
  return count;
}

// A warning concerns one entry's details, such as a name in an unknown character set.
void ReportArchive::check(int result) const {
  if (result == ARCHIVE_OK || result == ARCHIVE_WARN) return;
  if (writeError != 0) giveUp("cannot write the archive", writeError);
  const char* reason = archive_error_string(writer.get());
  giveUp(std::string("cannot write the archive: ") + (reason != nullptr ? reason : "unknown"));
}
