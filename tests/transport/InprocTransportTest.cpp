// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The suite on hubs inside the process, and what only they do.
#include <atomic>
#include <memory>
#include <thread>

#include "support/Latch.h"
#include "transport/TransportSuite.h"

namespace velp::test {
namespace {

class InprocBus : public TestBus {
 public:
  std::string address() const override { return "inproc:" + name; }

 private:
  static std::string nextName() {
    static std::atomic<int> last{0};
    return "suite-" + std::to_string(++last);
  }
  const std::string name = nextName();
};

std::unique_ptr<TestBus> makeInprocBus() {
  return std::make_unique<InprocBus>();
}

VELP_TEST_TRANSPORT(Inproc, (BusKind{"hub", makeInprocBus}));

TEST(InprocTransport, KeepsHubsWithDifferentNamesApart) {
  const InprocBus one;
  const InprocBus two;
  Member here("Same", one);
  Member there("Same", two);
  Member elsewhere("Elsewhere", two);

  EXPECT_FALSE(here->sendTo("Elsewhere", numbered(1)));
  EXPECT_TRUE(elsewhere->sendTo("Same", numbered(2)));

  ASSERT_TRUE(there.recorder.waitForMessages(1));
  settle(here, here);
  EXPECT_EQ(here.recorder.count(), 0u);
}

TEST(InprocTransport, HasAHubWithAnEmptyName) {
  Member sut;
  sut->connect("Alone", "inproc:");

  settle(sut, sut);
}

TEST(InprocTransport, DropsWhatWasNotReadWhenItLeaves) {
  const InprocBus bus;
  Latch release;
  Member receiver("Receiver", bus,
                  [&](Participant&, const Received&) { EXPECT_TRUE(release.waitFor()); });
  Member sender("Sender", bus);
  for (unsigned int i = 0; i < 3; ++i) ASSERT_TRUE(sender->sendTo("Receiver", numbered(i)));
  ASSERT_TRUE(receiver.recorder.waitForMessages(1));

  std::thread leaver([&] { receiver->disconnect(); });
  while (sender->sendTo("Receiver", numbered(3))) std::this_thread::yield();
  release.arrive();
  leaver.join();

  receiver->connect("Receiver", bus.address());
  settle(sender, receiver);
  EXPECT_EQ(receiver.recorder.count(), 1u);
}

}  // namespace
}  // namespace velp::test
