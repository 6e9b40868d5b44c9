// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One holder per name, whoever lives, dies or forks.
#include "bus/local/NameLock.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <memory>
#include <optional>
#include <thread>

#include "unit/bus/inChild.h"
#include "unit/bus/local/Background.h"
#include "unit/bus/local/LocalFixture.h"
#include "unit/bus/local/systemCalls.h"

namespace velp::test {
namespace {

using testing::StartsWith;

class NameLockTest : public LocalBus {
 protected:
  Refusal refusal() const {
    return refusalOf([this] { NameLock lock(directory, "Some"); });
  }
  void expectRefused(int code, const std::string& text) const {
    const NoLeaks noLeaks;
    const Refusal found = refusal();
    EXPECT_EQ(found.code, code);
    EXPECT_THAT(found.text, StartsWith("the name Some " + text));
  }
  std::string takenBy(const std::string& holder) const {
    return "is taken on local:" + path + " by " + holder +
           ": choose another, or end that process: ";
  }
  struct stat status() const {
    struct stat found = {};
    EXPECT_EQ(lstat(file.c_str(), &found), 0);
    return found;
  }
  void makeFile() const {
    const BusFd fd(open(file.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
    ASSERT_TRUE(fd);
  }

  const std::string file = path + "/Some.lock";
};

TEST_F(NameLockTest, MakesAFileForItsUserAlone) {
  const mode_t before = umask(0);
  const NameLock lock(directory, "Some");
  umask(before);
  EXPECT_EQ(status().st_mode, S_IFREG | 0600u);
  EXPECT_EQ(status().st_uid, geteuid());
}

TEST_F(NameLockTest, LeavesTheFileForEver) {
  const NoLeaks noLeaks;
  { const NameLock lock(directory, "Some"); }
  const ino_t first = status().st_ino;
  { const NameLock lock(directory, "Some"); }
  EXPECT_EQ(status().st_ino, first);
}

TEST_F(NameLockTest, IsHeldOnceInAProcess) {
  std::optional<NameLock> lock(std::in_place, directory, "Some");
  const std::string self = "process " + std::to_string(getpid());
  expectRefused(EADDRINUSE, takenBy(self));
  EXPECT_TRUE(inChild([&] { expectRefused(EADDRINUSE, takenBy(self)); }))
      << "the refused attempt dropped the lock";
  lock.reset();
  EXPECT_EQ(refusal().text, "");
}

TEST_F(NameLockTest, IsOneByOneForEachName) {
  const NameLock lock(directory, "Some");
  const NameLock other(directory, "Other");
  EXPECT_EQ(refusal().code, EADDRINUSE);
}

TEST_F(NameLockTest, IsOneByOneForEachDirectory) {
  const ScratchDirectory secondScratch;
  const BusDirectory second(secondScratch.getPath());
  const NameLock lock(directory, "Some");
  const NameLock other(second, "Some");
  EXPECT_EQ(refusal().code, EADDRINUSE);
}

TEST_F(NameLockTest, NamesTheProcessThatHoldsIt) {
  const Background holder([this] { new NameLock(directory, "Some"); });
  expectRefused(EADDRINUSE, takenBy("process " + std::to_string(holder.getPid())));
}

TEST_F(NameLockTest, IsFreeAsSoonAsItsHolderIsKilled) {
  Background holder([this] { new NameLock(directory, "Some"); });
  holder.kill();
  EXPECT_EQ(refusal().text, "");
}

TEST_F(NameLockTest, DoesNotLiveOnInTheHoldersChildren) {
  std::array<int, 2> ends = {-1, -1};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  BusFd reading(ends[0]);
  BusFd writing(ends[1]);
  Background holder([&] {
    new NameLock(directory, "Some");
    // This one keeps its copy of the descriptor until the test closes the pipe.
    if (fork() != 0) return;
    writing.reset();
    char nothing;
    _exit(read(reading.get(), &nothing, 1) == 0 ? 0 : 1);
  });
  holder.kill();
  EXPECT_EQ(refusal().text, "");
}

TEST_F(NameLockTest, IsNotLostWhenAForkedChildEnds) {
  const NameLock lock(directory, "Some");
  EXPECT_TRUE(inChild([] {}));
  const Background other([this] { EXPECT_EQ(refusal().code, EADDRINUSE); });
}

TEST_F(NameLockTest, SaysWhenTheHolderIsOutOfSight) {
  const NameLock lock(directory, "Some");
  EXPECT_TRUE(inChild([this] {
    if (unshare(CLONE_NEWPID) != 0) return;  // not permitted here
    EXPECT_TRUE(inChild(
        [this] { expectRefused(EADDRINUSE, takenBy("a process of another pid namespace")); }));
  }));
}

TEST_F(NameLockTest, SaysTheSameWhenTheHolderCannotBeAskedFor) {
  const FailingCall failing(Call::fcntl64, {EAGAIN, EIO});
  expectRefused(EADDRINUSE, takenBy("a process of another pid namespace"));
}

TEST_F(NameLockTest, IsTakenWhenTheHolderGoesMeanwhile) {
  for (const int code : {EAGAIN, EACCES}) {
    const FailingCall failing(Call::fcntl64, {code});
    EXPECT_EQ(refusal().text, "");
    EXPECT_EQ(failing.calls(), 3u);
  }
}

TEST_F(NameLockTest, SaysWhenTheFileSystemHasNoLocks) {
  const FailingCall failing(Call::fcntl64, {ENOLCK});
  expectRefused(ENOLCK, "cannot be taken: its lock file cannot be locked");
}

TEST_F(NameLockTest, SaysWhenTheFileCannotBeExamined) {
  {
    const FailingCall failing(Call::fstat64, {EIO});
    expectRefused(EIO, "cannot be taken");
  }
  EXPECT_EQ(refusal().text, "") << "a refusal leaves nothing behind";
}

TEST_F(NameLockTest, RefusesASymbolicLink) {
  ASSERT_EQ(symlink((path + "/elsewhere").c_str(), file.c_str()), 0);
  expectRefused(ELOOP, "cannot be taken: its lock file " + file +
                           " cannot be opened; it must belong to this process's user");
  EXPECT_FALSE(std::filesystem::exists(path + "/elsewhere"));
}

TEST_F(NameLockTest, RefusesADirectory) {
  ASSERT_EQ(mkdir(file.c_str(), 0700), 0);
  expectRefused(EISDIR, "cannot be taken: its lock file " + file + " cannot be opened");
}

TEST_F(NameLockTest, RefusesAPipeWithoutWaitingForItsOtherEnd) {
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  expectRefused(EACCES,
                "cannot be taken: its lock file must be a regular file with one link; remove it");
}

TEST_F(NameLockTest, RefusesAFileWithASecondName) {
  makeFile();
  ASSERT_EQ(link(file.c_str(), (path + "/second").c_str()), 0);
  expectRefused(EACCES,
                "cannot be taken: its lock file must be a regular file with one link; remove it");
}

TEST_F(NameLockTest, RefusesAStrangersFile) {
  VELP_NEEDS_ROOT();
  makeFile();
  ASSERT_EQ(chown(file.c_str(), stranger, stranger), 0);
  expectRefused(EACCES, "belongs to user 65534, who owns its lock file: choose another name");
}

TEST_F(NameLockTest, DoesNotLetAStrangerOpenTheFile) {
  VELP_NEEDS_ROOT();
  makeFile();
  ASSERT_EQ(chmod(path.c_str(), 0755), 0);
  EXPECT_TRUE(inChild([this] {
    ASSERT_EQ(seteuid(stranger), 0);
    expectRefused(EACCES, "cannot be taken: its lock file " + file +
                              " cannot be opened; it must belong to this process's user");
  }));
}

TEST_F(NameLockTest, GoesToOneOfManyThreads) {
  std::atomic<int> taken{0};
  std::atomic<int> refused{0};
  std::vector<std::thread> threads;
  std::vector<std::unique_ptr<NameLock>> locks(4);
  for (std::unique_ptr<NameLock>& lock : locks) {
    threads.emplace_back([&] {
      const Refusal found =
          refusalOf([&] { lock = std::make_unique<NameLock>(directory, "Some"); });
      ++(found.code == 0 ? taken : refused);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(taken, 1);
  EXPECT_EQ(refused, 3);
}

}  // namespace
}  // namespace velp::test
