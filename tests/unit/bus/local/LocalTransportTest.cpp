// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Taking a name with its socket, serving it, and giving it back.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <thread>

#include "bus/local/Hello.h"
#include "bus/local/receivePacket.h"
#include "support/Latch.h"
#include "unit/bus/inChild.h"
#include "unit/bus/local/Background.h"
#include "unit/bus/local/rawPackets.h"
#include "unit/bus/local/systemCalls.h"
#include "velp/bus/StatusCode.h"

namespace velp::test {
namespace {

using testing::StartsWith;

class LocalTransportTest : public LocalBus {
 protected:
  std::unique_ptr<Transport> open(const std::string& name) const {
    return openLocalTransport(name, scratch.getPath());
  }
  void expectRefused(int code, const std::string& what) const {
    const NoLeaks noLeaks;
    const Refusal found = refusalOf([this] { open("Some"); });
    EXPECT_EQ(found.code, code);
    EXPECT_THAT(found.text, StartsWith("the name Some cannot be taken: " + what));
  }
  mode_t modeOf(const std::string& name) const {
    struct stat status = {};
    EXPECT_EQ(lstat((path + "/" + name).c_str(), &status), 0) << name;
    return status.st_mode;
  }
  bool exists(const std::string& name) const { return std::filesystem::exists(path + "/" + name); }

  RecordingSink sink;
};

// A transport with its reception thread.
class Served {
 public:
  Served(std::unique_ptr<Transport> given, TransportSink& sink)
      : transport(std::move(given)), thread([this, &sink] { transport->receive(sink); }) {}
  ~Served() {
    transport->stop();
    thread.join();
  }
  Transport* operator->() const { return transport.get(); }

 private:
  const std::unique_ptr<Transport> transport;
  std::thread thread;
};

TEST_F(LocalTransportTest, HasASocketWhileItLivesAndALockFileForEver) {
  const NoLeaks noLeaks;
  {
    const auto sut = open("Some");
    EXPECT_EQ(modeOf("Some"), S_IFSOCK | 0600u);
    EXPECT_EQ(modeOf("Some.lock"), S_IFREG | 0600u);
  }
  EXPECT_FALSE(exists("Some"));
  EXPECT_TRUE(exists("Some.lock"));
}

TEST_F(LocalTransportTest, LetsTheGroupOfASharedDirectoryConnectWhateverTheUmask) {
  ASSERT_EQ(chmod(path.c_str(), 01770), 0);
  const mode_t before = umask(0077);
  const auto sut = open("Some");
  umask(before);
  EXPECT_EQ(modeOf("Some"), S_IFSOCK | 0666u);
}

TEST_F(LocalTransportTest, KeepsAPrivateDirectorysSocketPrivateWhateverTheUmask) {
  const mode_t before = umask(0);
  const auto sut = open("Some");
  umask(before);
  EXPECT_EQ(modeOf("Some"), S_IFSOCK | 0600u);
}

TEST_F(LocalTransportTest, RemovesTheSocketOfADeadHolder) {
  {
    Background holder([this] { open("Some").release(); });
    EXPECT_EQ(refusalOf([this] { open("Some"); }).code, EADDRINUSE);
    holder.kill();
  }
  ASSERT_TRUE(exists("Some"));
  const auto sut = open("Some");
  const RawClient client(path + "/Some");
  EXPECT_TRUE(client.isKept());
}

TEST_F(LocalTransportTest, LeavesTheSocketOfALiveHolder) {
  const auto holder = open("Some");
  EXPECT_EQ(refusalOf([this] { open("Some"); }).code, EADDRINUSE);
  const RawClient client(path + "/Some");
  EXPECT_TRUE(client.isKept());
}

TEST_F(LocalTransportTest, LeavesWhatIsNoSocket) {
  ASSERT_EQ(mkdir((path + "/Some").c_str(), 0700), 0);
  expectRefused(EEXIST, "something that is no socket stands in its place; remove it");
  EXPECT_TRUE(exists("Some"));
}

TEST_F(LocalTransportTest, SaysWhatTheSystemRefused) {
  listenAt(directory, "Some").reset();
  struct Step {
    Call call;
    std::vector<int> codes;
    const char* text;
  };
  for (const Step& step : {Step{Call::unlinkat, {EIO}, "its old socket stays"},
                           Step{Call::socket, {EIO}, "no socket to be had"},
                           Step{Call::bind, {EIO}, "its socket cannot be bound"},
                           Step{Call::listen, {EIO}, "its socket cannot listen"},
                           Step{Call::epoll_create1, {EIO}, "no epoll set to be had"},
                           Step{Call::epoll_ctl, {EIO}, "no room in epoll"},
                           Step{Call::epoll_ctl, {0, EIO}, "no room in epoll"}}) {
    const FailingCall failing(step.call, step.codes);
    expectRefused(EIO, step.text);
  }
  EXPECT_TRUE(open("Some")) << "the name is free after each refusal";
}

TEST_F(LocalTransportTest, SaysWhenItHasNoEventDescriptor) {
  const NoLeaks noLeaks;
  const FailingCall failing(Call::eventfd, {EMFILE});
  EXPECT_EQ(refusalOf([this] { open("Some"); }).code, EMFILE);
}

TEST_F(LocalTransportTest, TellsItsLivesApart) {
  giveName(directory, "Receiver");
  const BusFd receiver = listenAt(directory, "Receiver");
  const auto generation = [&] {
    const auto sut = open("Some");
    const unsigned char frame = 1;
    EXPECT_TRUE(sut->send("Receiver", &frame, 1));
    const BusFd connection(accept4(receiver.get(), nullptr, nullptr, SOCK_CLOEXEC));
    SingleReader reader;
    ReceivedPacket packet;
    EXPECT_EQ(reader.receive(connection.get(), packet), ReceiveResult::packet);
    const auto hello = decodeHello(packet.bytes, packet.size);
    EXPECT_EQ(hello.value_or(Hello()).name, "Some");
    return hello.value_or(Hello()).generation;
  };
  EXPECT_NE(generation(), generation());
  const FailingCall failing(Call::getrandom, {ENOSYS});
  EXPECT_NE(generation(), 0u) << "also without random numbers";
  EXPECT_EQ(failing.calls(), 1u);
}

TEST_F(LocalTransportTest, CarriesFramesOfAllSizesInOrder) {
  const auto sender = open("Sender");
  const auto receiver = open("Receiver");
  const std::vector<std::size_t> sizes{0, 1, 69632, 69633, 1000000, 2};
  for (const std::size_t size : sizes) {
    const Bytes frame(size, 'x');
    ASSERT_TRUE(sender->send("Receiver", frame.data(), frame.size()));
  }
  sink.hook = [&] {
    if (sink.frames.size() == sizes.size()) receiver->stop();
  };
  receiver->receive(sink);
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    EXPECT_EQ(sink.frames[i].source, "Sender");
    EXPECT_EQ(sink.frames[i].bytes.size(), sizes[i]);
  }
}

TEST_F(LocalTransportTest, StopsBeforeItHasBegun) {
  const auto sut = open("Some");
  sut->stop();
  sut->stop();
  sut->receive(sink);
  EXPECT_TRUE(sink.reports.empty());
}

TEST_F(LocalTransportTest, ClosesASilentConnectionAfterASecond) {
  const auto before = std::chrono::steady_clock::now();
  const Served sut(open("Some"), sink);
  const RawClient silent(path + "/Some");
  EXPECT_TRUE(silent.isDropped());
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(990));
}

TEST_F(LocalTransportTest, ServesHonestPeersBesideHostileOnes) {
  Latch taken;
  sink.hook = [&] { taken.arrive(); };
  const Served sut(open("Some"), sink);
  const auto sender = open("Sender");
  for (unsigned int round = 1; round <= 20; ++round) {
    const RawClient silent(path + "/Some");
    const RawClient garbage(path + "/Some");
    ASSERT_TRUE(garbage.send(Bytes(80000, 'x'), mostDescriptors));
    const unsigned char frame = 1;
    ASSERT_TRUE(sender->send("Some", &frame, 1));
    ASSERT_TRUE(taken.waitFor(round));
    EXPECT_TRUE(garbage.isDropped());
  }
}

TEST_F(LocalTransportTest, TriesTenTimesASecondWithoutDescriptors) {
  const auto sut = open("Some");
  const RawClient client(path + "/Some");
  sink.reportHook = [&] {
    if (sink.reports.size() == 3) sut->stop();
  };
  const auto before = std::chrono::steady_clock::now();
  const CallHook full(Call::accept4, [] { return EMFILE; });
  sut->receive(sink);
  EXPECT_EQ(full.calls(), 3u) << "one for each report";
  EXPECT_EQ(sink.reports[0].code, STATUS_SENDER_REFUSED);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(198));
}

TEST_F(LocalTransportTest, HearsOfAKilledPeerAndOfItsReturn) {
  const auto sut = open("Some");
  std::unique_ptr<Transport> second;
  const unsigned char frame = 1;
  sink.reportHook = [&] {
    if (sink.reports.size() == 2) sut->stop();
    if (sink.reports.size() != 1) return;
    EXPECT_EQ(sink.reports[0].text, "link to Peer is lost: its process has ended, or dropped it");
    EXPECT_FALSE(sut->send("Peer", &frame, 1));
    second = open("Peer");
    EXPECT_TRUE(sut->send("Peer", &frame, 1));
  };
  Background first([this] { open("Peer").release(); });
  ASSERT_TRUE(sut->send("Peer", &frame, 1));
  first.kill();
  sut->receive(sink);
  ASSERT_EQ(sink.reports.size(), 2u);
  EXPECT_EQ(sink.reports[0].code, STATUS_LINK_LOST);
  EXPECT_EQ(sink.reports[1].code, STATUS_LINK_BACK);
}

TEST_F(LocalTransportTest, ReadsAsAbsentOnceWithdrawn) {
  const auto sender = open("Sender");
  auto sut = open("Some");
  sut->withdraw();
  EXPECT_FALSE(exists("Some"));
  const unsigned char frame = 1;
  EXPECT_FALSE(sender->send("Some", &frame, 1));
  // What stands there now is no longer its own.
  const BusFd another = listenAt(directory, "Some");
  sut->withdraw();
  sut.reset();
  EXPECT_TRUE(exists("Some"));
}

TEST_F(LocalTransportTest, IsClosedInAForkedChildAndWorksOnInTheParent) {
  const auto receiver = open("Receiver");
  const auto sut = open("Some");
  const unsigned char frame = 1;
  ASSERT_TRUE(sut->send("Receiver", &frame, 1));
  EXPECT_TRUE(inChild([&] {
    sut->closeAfterFork();
    EXPECT_FALSE(sut->send("Receiver", &frame, 1));
  }));
  EXPECT_TRUE(sut->send("Receiver", &frame, 1));
  sink.hook = [&] {
    if (sink.frames.size() == 2) receiver->stop();
  };
  receiver->receive(sink);
  EXPECT_EQ(sink.frames.size(), 2u);
}

}  // namespace
}  // namespace velp::test
