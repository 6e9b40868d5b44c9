// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The right to a name on a local bus.
#pragma once

#include <sys/types.h>

#include <string>

#include "bus/local/BusDirectory.h"

namespace velp {

/// Holds the lock of a name: while it lives, no other participant has that name.
///
/// Threads: made and destroyed by any thread. Blocks: never. Owns: the lock file's descriptor; the
/// file stays for ever, since its owner is the owner of the name.
/// Fails: the constructor throws VelException: EADDRINUSE with the holder's pid, EACCES when the
/// name belongs to another user.
class NameLock {
 public:
  NameLock(const BusDirectory& directory, const std::string& name);
  ~NameLock();
  NameLock(const NameLock&) = delete;
  NameLock& operator=(const NameLock&) = delete;

 private:
  dev_t device = 0;
  ino_t inode = 0;
  BusFd fd;
};

}  // namespace velp
