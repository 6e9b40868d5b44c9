// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Which directories a bus may live in, and what the refusals tell.
#include "bus/local/BusDirectory.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>

#include "unit/bus/inChild.h"
#include "unit/bus/local/LocalFixture.h"
#include "unit/bus/local/systemCalls.h"

namespace velp::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class BusDirectoryTest : public testing::Test {
 protected:
  BusDirectoryTest() { EXPECT_EQ(mkdir(bus.c_str(), 0700), 0); }

  static Refusal refusal(const std::string& place) {
    return refusalOf([&place] { BusDirectory directory(place); });
  }
  static void expectRefusal(const std::string& place, int code, const std::string& advice) {
    const NoLeaks noLeaks;
    const Refusal found = refusal(place);
    EXPECT_EQ(found.code, code);
    EXPECT_THAT(found.text, StartsWith("bus directory " + place + " " + advice));
  }
  void setMode(mode_t mode) { ASSERT_EQ(chmod(bus.c_str(), mode), 0); }

  const ScratchDirectory scratch;
  const std::string bus = scratch.getPath() + "/bus";
};

TEST_F(BusDirectoryTest, AcceptsWhatOnlyItsOwnerCanWrite) {
  for (const mode_t mode : {0700u, 0755u, 0750u, 01700u}) {
    setMode(mode);
    const BusDirectory directory(bus);
    EXPECT_EQ(directory.getPath(), bus);
    EXPECT_FALSE(directory.isShared());
  }
}

TEST_F(BusDirectoryTest, AcceptsASharedOneWithTheStickyBit) {
  setMode(01770);
  EXPECT_TRUE(BusDirectory(bus).isShared());
}

TEST_F(BusDirectoryTest, RefusesWhatOthersCanWrite) {
  for (const mode_t mode : {0777u, 01777u, 0702u}) {
    setMode(mode);
    expectRefusal(bus, EACCES,
                  "can be written by others: name a directory of your own, or chmod o-w this one "
                  "if nobody else uses it");
  }
}

TEST_F(BusDirectoryTest, RefusesAGroupsOneWithoutTheStickyBit) {
  setMode(0770);
  expectRefusal(bus, EACCES,
                "can be written by its group and has no sticky bit: chmod it 1770 to share it, "
                "or 0700");
}

TEST_F(BusDirectoryTest, RefusesAStrangers) {
  VELP_NEEDS_ROOT();
  ASSERT_EQ(chown(bus.c_str(), stranger, stranger), 0);
  expectRefusal(bus, EACCES,
                "belongs to user 65534, who is neither root nor this process's user: use one that "
                "does not");
}

TEST_F(BusDirectoryTest, AcceptsTheOneOfRootAndOfTheUserItself) {
  VELP_NEEDS_ROOT();
  setMode(0755);
  ASSERT_EQ(chmod(scratch.getPath().c_str(), 0755), 0);
  const std::string own = scratch.getPath() + "/own";
  ASSERT_EQ(mkdir(own.c_str(), 0700), 0);
  ASSERT_EQ(chown(own.c_str(), stranger, stranger), 0);
  EXPECT_TRUE(inChild([&] {
    ASSERT_EQ(seteuid(stranger), 0);
    EXPECT_EQ(refusal(bus).text, "");
    EXPECT_EQ(refusal(own).text, "");
  }));
}

TEST_F(BusDirectoryTest, RefusesASymbolicLink) {
  const std::string link = scratch.getPath() + "/link";
  ASSERT_EQ(symlink(bus.c_str(), link.c_str()), 0);
  expectRefusal(link, ELOOP, "is a symbolic link: name the directory itself");
  EXPECT_EQ(refusal(link + "/").code, ELOOP) << "a slash would follow it";
}

TEST_F(BusDirectoryTest, RefusesADanglingSymbolicLink) {
  const std::string link = scratch.getPath() + "/link";
  ASSERT_EQ(symlink("nowhere", link.c_str()), 0);
  expectRefusal(link, ELOOP, "is a symbolic link: name the directory itself");
}

TEST_F(BusDirectoryTest, RefusesWhatIsNoDirectory) {
  const std::string pipe = scratch.getPath() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  expectRefusal(pipe, ENOTDIR, "is not a directory: name another");
}

TEST_F(BusDirectoryTest, CreatesAMissingOneForItsUserAlone) {
  const std::string fresh = bus + "/fresh";
  const mode_t before = umask(0);
  const BusDirectory directory(fresh + "//");
  umask(before);
  struct stat status = {};
  ASSERT_EQ(stat(fresh.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFDIR | 0700u);
  EXPECT_EQ(directory.getPath(), fresh);
}

TEST_F(BusDirectoryTest, DoesNotCreateParents) {
  expectRefusal(bus + "/missing/fresh", ENOENT,
                "is missing and cannot be created: create it, with mode 0700 for one user or 1770 "
                "for a group, or name another by local:DIR");
  EXPECT_FALSE(std::filesystem::exists(bus + "/missing"));
}

TEST_F(BusDirectoryTest, MustBeGivenByAnAbsolutePath) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(scratch.getPath());
  for (const char* place : {"bus", "fresh", "./fresh", "../fresh", "~/fresh"}) {
    expectRefusal(place, EINVAL,
                  "is not an absolute path: begin it with a slash, as in local:/run/velp");
  }
  EXPECT_FALSE(std::filesystem::exists("fresh"));
  std::filesystem::current_path(before);
}

TEST_F(BusDirectoryTest, EscapesWhatItSaysOfThePath) {
  EXPECT_THAT(refusal(bus + "/a\nb/c").text, Not(HasSubstr("\n")));
}

TEST_F(BusDirectoryTest, NeedsRoomForTheLongestNameInASocketsPath) {
  // 107 characters, less a slash and 48 of the name.
  const std::string fits = bus + "/" + std::string(58 - bus.size() - 1, 'x');
  const BusDirectory directory(fits);
  const std::string name(48, 'n');
  const sockaddr_un address = directory.socketAddress(name);
  EXPECT_EQ(address.sun_family, AF_UNIX);
  EXPECT_EQ(std::string(address.sun_path), fits + "/" + name);

  expectRefusal(fits + "x", ENAMETOOLONG,
                "has too long a path: a socket's path, with a name of 48 characters, must be "
                "shorter than 108 bytes");
}

TEST_F(BusDirectoryTest, IsKnownByItsRealPath) {
  const std::string link = scratch.getPath() + "/link";
  ASSERT_EQ(symlink(scratch.getPath().c_str(), link.c_str()), 0);
  EXPECT_EQ(BusDirectory(link + "/./bus").getPath(), bus);
}

TEST_F(BusDirectoryTest, MayBeTheRootOfAFileSystem) {
  EXPECT_EQ(BusDirectory("///").getPath(), "/");
}

class BusDirectoryParentTest : public BusDirectoryTest {
 protected:
  BusDirectoryParentTest() { EXPECT_EQ(mkdir(child.c_str(), 0700), 0); }
  void expectParentRefused() {
    expectRefusal(child, EACCES,
                  "lies in " + bus +
                      ", where others can replace it: use a directory whose parents only root and "
                      "this process's user can write");
  }
  const std::string child = bus + "/child";
};

TEST_F(BusDirectoryParentTest, MustNotBeWrittenByOthers) {
  setMode(0777);
  expectParentRefused();
}

TEST_F(BusDirectoryParentTest, MayBeWrittenByOthersWithTheStickyBit) {
  setMode(01777);
  EXPECT_EQ(refusal(child).text, "");
}

TEST_F(BusDirectoryParentTest, MustNotBeAStrangers) {
  VELP_NEEDS_ROOT();
  ASSERT_EQ(chown(bus.c_str(), stranger, 0), 0);
  expectParentRefused();
}

TEST_F(BusDirectoryParentTest, MustNotBeWrittenByAGroupButRoots) {
  VELP_NEEDS_ROOT();
  setMode(0770);
  ASSERT_EQ(chown(bus.c_str(), 0, 0), 0);
  EXPECT_EQ(refusal(child).text, "");
  ASSERT_EQ(chown(bus.c_str(), 0, stranger), 0);
  expectParentRefused();
}

TEST_F(BusDirectoryParentTest, IsCheckedUpToTheRoot) {
  const std::string grandchild = child + "/grandchild";
  ASSERT_EQ(mkdir(grandchild.c_str(), 0700), 0);
  setMode(0777);
  EXPECT_THAT(refusal(grandchild).text, HasSubstr("lies in " + bus + ","));
}

TEST_F(BusDirectoryTest, SaysWhatTheSystemRefused) {
  struct Step {
    Call call;
    std::vector<int> codes;
    const char* text;
  };
  for (const Step& step : {Step{Call::lstat64, {EIO}, "cannot be examined"},
                           Step{Call::realpath, {EIO}, "cannot be resolved"},
                           Step{Call::open64, {EIO}, "cannot be opened"},
                           Step{Call::fstat64, {EIO}, "cannot be opened"},
                           Step{Call::lstat64, {0, EIO}, "has a parent beyond reach"}}) {
    const FailingCall failing(step.call, step.codes);
    expectRefusal(bus, EIO, step.text);
  }
}

TEST_F(BusDirectoryTest, IsASystemWideOneByDefaultForRoot) {
  VELP_NEEDS_ROOT();
  const FailingCall failing(Call::mkdir, {EROFS});
  const Refusal found = refusal("");
  EXPECT_EQ(found.code, EROFS);
  EXPECT_THAT(found.text, StartsWith("bus directory /run/velp is missing and cannot be created"));
}

TEST_F(BusDirectoryTest, IsTheUsersOwnByDefaultForOthers) {
  VELP_NEEDS_ROOT();
  EXPECT_TRUE(inChild([] {
    ASSERT_EQ(seteuid(stranger), 0);
    const FailingCall failing(Call::mkdir, {EROFS});
    EXPECT_THAT(refusal("").text, StartsWith("bus directory /run/user/65534/velp is missing"));
  }));
}

class BusDirectoryFiles : public LocalBus {
 protected:
  void makeLock() {
    const int fd = open(lockFile.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    close(fd);
  }
  const std::string lockFile = path + "/" + BusDirectory::lockName("Some");
};

TEST_F(BusDirectoryFiles, KnowTheOwnerOfANameByItsLockFile) {
  EXPECT_EQ(lockFile, path + "/Some.lock");
  EXPECT_EQ(directory.ownerOf("Some"), std::nullopt);
  makeLock();
  EXPECT_EQ(directory.ownerOf("Some"), geteuid());
}

TEST_F(BusDirectoryFiles, KnowAnotherOwner) {
  VELP_NEEDS_ROOT();
  makeLock();
  ASSERT_EQ(chown(lockFile.c_str(), stranger, stranger), 0);
  EXPECT_EQ(directory.ownerOf("Some"), stranger);
}

TEST_F(BusDirectoryFiles, BelieveNoLockFileWithASecondName) {
  makeLock();
  ASSERT_EQ(link(lockFile.c_str(), (path + "/Other.lock").c_str()), 0);
  EXPECT_EQ(directory.ownerOf("Some"), std::nullopt);
}

TEST_F(BusDirectoryFiles, BelieveNoLockFileThatIsALinkOrADirectory) {
  ASSERT_EQ(symlink("/etc/passwd", lockFile.c_str()), 0);
  EXPECT_EQ(directory.ownerOf("Some"), std::nullopt);
  ASSERT_EQ(unlink(lockFile.c_str()), 0);
  ASSERT_EQ(mkdir(lockFile.c_str(), 0700), 0);
  EXPECT_EQ(directory.ownerOf("Some"), std::nullopt);
}

TEST_F(BusDirectoryFiles, TellWhetherASocketIsThere) {
  EXPECT_FALSE(directory.hasSocket("Some"));
  ASSERT_EQ(mkfifo((path + "/Some").c_str(), 0600), 0);
  EXPECT_TRUE(directory.hasSocket("Some"));
}

}  // namespace
}  // namespace velp::test
