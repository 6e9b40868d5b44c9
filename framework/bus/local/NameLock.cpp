// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A record lock on NAME.lock, taken before anything of the name is touched.
//
// Probing, unlinking and binding a socket without a lock lets two starters both end up as owners.
// The lock is an fcntl record lock, because that kind does not survive in forked children of a dead
// owner. It has two oddities that the table of held locks is for: a process never conflicts with
// itself, and closing any descriptor of the file drops the lock. So this process asks the table
// before it opens the file at all.
#include "bus/local/NameLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <utility>

#include "bus/PerProcess.h"
#include "velp/runtime/Mutex.h"
#include "velp/runtime/MutexLocker.h"
#include "velp/runtime/VelException.h"

namespace velp {

namespace {

using FileId = std::pair<dev_t, ino_t>;

struct HeldLocks {
  Mutex mutex;
  std::set<FileId> files VELP_GUARDED_BY(mutex);
};

PerProcess<HeldLocks> heldLocks;

[[noreturn]] void refuse(int code, const std::string& name, const std::string& why) {
  const std::string text = "the name " + name + " " + why;
  throw VelException(code, text.c_str());
}

[[noreturn]] void refuseTaken(const std::string& name, const BusDirectory& directory,
                              pid_t holder) {
  const std::string who =
      holder == 0 ? "a process of another pid namespace" : "process " + std::to_string(holder);
  refuse(EADDRINUSE, name,
         "is taken on local:" + directory.getPath() + " by " + who +
             ": choose another, or end that process");
}

BusFd openLockFile(const BusDirectory& directory, const std::string& name) {
  const std::string file = BusDirectory::lockName(name);
  BusFd fd(openat(directory.getFd(), file.c_str(),
                  O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0600));
  if (fd) return fd;
  refuse(errno, name,
         "cannot be taken: its lock file " + directory.getPath() + "/" + file +
             " cannot be opened; it must belong to this process's user");
}

void requireOwnFile(const struct stat& status, const std::string& name) {
  if (!S_ISREG(status.st_mode) || status.st_nlink != 1) {
    refuse(EACCES, name,
           "cannot be taken: its lock file must be a regular file with one link; "
           "remove it");
  }
  if (status.st_uid != geteuid()) {
    refuse(EACCES, name,
           "belongs to user " + std::to_string(status.st_uid) +
               ", who owns its lock file: choose another name");
  }
}

// Returns 0, or the holder's pid, or -1 when the system does not tell it.
pid_t lockOrFindHolder(int fd, const std::string& name) {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  while (fcntl(fd, F_SETLK, &lock) != 0) {
    if (errno != EACCES && errno != EAGAIN) {
      refuse(errno, name, "cannot be taken: its lock file cannot be locked");
    }
    if (fcntl(fd, F_GETLK, &lock) != 0) return -1;
    if (lock.l_type != F_UNLCK) return lock.l_pid == 0 ? -1 : lock.l_pid;
    lock.l_type = F_WRLCK;
    lock.l_pid = 0;
  }
  return 0;
}

}  // namespace

NameLock::NameLock(const BusDirectory& directory, const std::string& name) {
  HeldLocks& held = heldLocks.get();
  MutexLocker locker(held.mutex);
  struct stat status;
  const std::string file = BusDirectory::lockName(name);
  if (fstatat(directory.getFd(), file.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
      held.files.count({status.st_dev, status.st_ino}) != 0) {
    refuseTaken(name, directory, getpid());
  }
  fd = openLockFile(directory, name);
  if (fstat(fd.get(), &status) != 0) refuse(errno, name, "cannot be taken");
  requireOwnFile(status, name);
  const pid_t holder = lockOrFindHolder(fd.get(), name);
  if (holder != 0) refuseTaken(name, directory, holder < 0 ? 0 : holder);
  device = status.st_dev;
  inode = status.st_ino;
  held.files.insert({device, inode});
}

NameLock::~NameLock() {
  HeldLocks& held = heldLocks.get();
  MutexLocker locker(held.mutex);
  fd.reset();
  held.files.erase({device, inode});
}

}  // namespace velp
