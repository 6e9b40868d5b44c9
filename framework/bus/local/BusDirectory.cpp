// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Finds the bus directory and refuses one that strangers could tamper with.
#include "bus/local/BusDirectory.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "velp/runtime/LogUtil.h"
#include "velp/runtime/VelException.h"

namespace velp {

namespace {

constexpr std::size_t longestName = 48;

[[noreturn]] void refuse(int code, const std::string& path, const std::string& advice) {
  const std::string text = "bus directory " + escaped(path) + " " + advice;
  throw VelException(code, text.c_str());
}

std::string pathFor(const std::string& place) {
  if (place.empty()) {
    const uid_t uid = geteuid();
    return uid == 0 ? "/run/velp" : "/run/user/" + std::to_string(uid) + "/velp";
  }
  // Relative to where the process happens to stand: two processes would rarely mean the same.
  if (place.front() != '/') {
    refuse(EINVAL, place, "is not an absolute path: begin it with a slash, as in local:/run/velp");
  }
  const std::size_t last = place.find_last_not_of('/');
  return last == std::string::npos ? "/" : place.substr(0, last + 1);
}

bool isOwnersOnly(const struct stat& status) {
  return status.st_uid == 0 || status.st_uid == geteuid();
}

void createIfMissing(const std::string& path) {
  if (mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return;
  refuse(errno, path,
         "is missing and cannot be created: create it, with mode 0700 for one user or "
         "1770 for a group, or name another by local:DIR");
}

void refuseSymlink(const std::string& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) refuse(errno, path, "cannot be examined");
  if (S_ISLNK(status.st_mode)) refuse(ELOOP, path, "is a symbolic link: name the directory itself");
  if (!S_ISDIR(status.st_mode)) refuse(ENOTDIR, path, "is not a directory: name another");
}

std::string canonical(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr),
                                                             &std::free);
  if (resolved == nullptr) refuse(errno, path, "cannot be resolved");
  return resolved.get();
}

void requireRoomForNames(const std::string& path) {
  if (path.size() + 1 + longestName < sizeof(sockaddr_un::sun_path)) return;
  refuse(
      ENAMETOOLONG, path,
      "has too long a path: a socket's path, with a name of 48 characters, must be shorter than " +
          std::to_string(sizeof(sockaddr_un::sun_path)) + " bytes");
}

void requireSafe(const std::string& path, const struct stat& status) {
  if (!isOwnersOnly(status)) {
    refuse(EACCES, path,
           "belongs to user " + std::to_string(status.st_uid) +
               ", who is neither root nor this process's user: use one that does not");
  }
  if ((status.st_mode & S_IWOTH) != 0) {
    refuse(EACCES, path,
           "can be written by others: name a directory of your own, or chmod o-w this one if "
           "nobody else uses it");
  }
  if ((status.st_mode & S_IWGRP) != 0 && (status.st_mode & S_ISVTX) == 0) {
    refuse(EACCES, path,
           "can be written by its group and has no sticky bit: chmod it 1770 to share it, or 0700");
  }
}

// Whoever can rename a parent can put another directory in this one's place.
void requireSafeParents(const std::string& path) {
  for (std::string parent = path; parent.size() > 1;) {
    parent.resize(std::max<std::size_t>(parent.rfind('/'), 1));
    struct stat status;
    if (lstat(parent.c_str(), &status) != 0) refuse(errno, path, "has a parent beyond reach");
    const bool sticky = (status.st_mode & S_ISVTX) != 0;
    const bool others = (status.st_mode & S_IWOTH) != 0;
    const bool group = (status.st_mode & S_IWGRP) != 0 && status.st_gid != 0;
    if (isOwnersOnly(status) && (sticky || (!others && !group))) continue;
    refuse(EACCES, path,
           "lies in " + escaped(parent) +
               ", where others can replace it: use a directory whose parents only "
               "root and this process's user can write");
  }
}

}  // namespace

BusDirectory::BusDirectory(const std::string& place) {
  const std::string given = pathFor(place);
  createIfMissing(given);
  refuseSymlink(given);
  path = canonical(given);
  requireRoomForNames(path);
  fd = BusFd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status;
  if (!fd || fstat(fd.get(), &status) != 0) refuse(errno, path, "cannot be opened");
  requireSafe(path, status);
  requireSafeParents(path);
  shared = (status.st_mode & S_IWGRP) != 0;
}

sockaddr_un BusDirectory::socketAddress(const std::string& name) const {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string whole = path + "/" + name;
  // Fits: the constructor left room for the longest name.
  std::memcpy(address.sun_path, whole.c_str(), whole.size() + 1);
  return address;
}

std::optional<uid_t> BusDirectory::ownerOf(const std::string& name) const {
  struct stat status;
  if (fstatat(fd.get(), lockName(name).c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return {};
  if (!S_ISREG(status.st_mode) || status.st_nlink != 1) return {};
  return status.st_uid;
}

bool BusDirectory::hasSocket(const std::string& name) const {
  struct stat status;
  return fstatat(fd.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace velp
