// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Reports reach the sink, in order, on the reception thread, and not too many.
#include "bus/local/ReportQueue.h"

#include <gmock/gmock.h>
#include <poll.h>

#include <cerrno>
#include <limits>
#include <thread>

#include "unit/bus/local/LocalFixture.h"
#include "unit/bus/local/systemCalls.h"
#include "velp/bus/StatusCode.h"

namespace velp::test {
namespace {

using testing::StartsWith;

bool isReadable(const ReportQueue& queue) {
  pollfd event{queue.getFd(), POLLIN, 0};
  return poll(&event, 1, 0) == 1;
}

TEST(ReportQueue, IsQuietAtFirst) {
  ReportQueue sut;
  RecordingSink sink;
  sut.hand(sink);
  EXPECT_TRUE(sink.reports.empty());
  EXPECT_FALSE(isReadable(sut));
}

TEST(ReportQueue, HandsReportsInOrderAndOnce) {
  ReportQueue sut;
  sut.linkReport(VelpBusProxyCallback::STATUS_ERROR, STATUS_LINK_LOST, "first");
  sut.refusal(STATUS_FRAME_REFUSED, "second");
  sut.linkReport(VelpBusProxyCallback::STATUS_INFORMATION, STATUS_LINK_BACK, "third");
  RecordingSink sink;
  sut.hand(sink);
  sut.hand(sink);
  ASSERT_EQ(sink.reports.size(), 3u);
  EXPECT_EQ(sink.reports[0].type, VelpBusProxyCallback::STATUS_ERROR);
  EXPECT_EQ(sink.reports[0].code, STATUS_LINK_LOST);
  EXPECT_EQ(sink.reports[0].text, "first");
  EXPECT_EQ(sink.reports[1].type, VelpBusProxyCallback::STATUS_WARNING);
  EXPECT_EQ(sink.reports[1].code, STATUS_FRAME_REFUSED);
  EXPECT_EQ(sink.reports[1].text, "second");
  EXPECT_EQ(sink.reports[2].text, "third");
}

TEST(ReportQueue, WakesForEachKindOfReportAndWhenAsked) {
  ReportQueue linked;
  linked.linkReport(VelpBusProxyCallback::STATUS_ERROR, STATUS_LINK_LOST, "");
  EXPECT_TRUE(isReadable(linked));
  ReportQueue refused;
  refused.refusal(STATUS_FRAME_REFUSED, "");
  EXPECT_TRUE(isReadable(refused));
  ReportQueue woken;
  woken.wake();
  EXPECT_TRUE(isReadable(woken));
}

TEST(ReportQueue, DoesNotWaitToWake) {
  ReportQueue sut;
  const std::uint64_t almostFull = std::numeric_limits<std::uint64_t>::max() - 1;
  ASSERT_EQ(write(sut.getFd(), &almostFull, sizeof almostFull),
            static_cast<ssize_t>(sizeof almostFull));
  sut.wake();
  EXPECT_TRUE(isReadable(sut));
}

TEST(ReportQueue, HoldsBackAFloodOfRefusals) {
  StoppedClock clock;
  ReportQueue sut;
  RecordingSink sink;
  for (int i = 0; i < 15; ++i) sut.refusal(STATUS_SENDER_REFUSED, "bad");
  sut.hand(sink);
  EXPECT_EQ(sink.reports.size(), 10u);

  clock.advance(1000);
  sut.refusal(STATUS_SENDER_REFUSED, "bad");
  sut.hand(sink);
  ASSERT_EQ(sink.reports.size(), 11u);
  EXPECT_EQ(sink.reports.back().text, "bad (5 more reports were held back)");
}

TEST(ReportQueue, DoesNotWakeForWhatItHoldsBack) {
  const StoppedClock clock;
  ReportQueue sut;
  for (int i = 0; i < 10; ++i) sut.refusal(STATUS_SENDER_REFUSED, "bad");
  std::uint64_t count = 0;
  ASSERT_EQ(read(sut.getFd(), &count, sizeof count), static_cast<ssize_t>(sizeof count));
  sut.refusal(STATUS_SENDER_REFUSED, "bad");
  EXPECT_FALSE(isReadable(sut));
}

TEST(ReportQueue, NeverHoldsBackNewsOfLinks) {
  const StoppedClock clock;
  ReportQueue sut;
  RecordingSink sink;
  for (int i = 0; i < 15; ++i) sut.refusal(STATUS_SENDER_REFUSED, "bad");
  for (int i = 0; i < 30; ++i) {
    sut.linkReport(VelpBusProxyCallback::STATUS_ERROR, STATUS_LINK_LOST, "gone");
  }
  sut.hand(sink);
  EXPECT_EQ(sink.reports.size(), 40u);
}

// A sink whose reaction to a report is another report.
class ChattySink : public RecordingSink {
 public:
  explicit ChattySink(ReportQueue& queue) : queue(queue) {}
  void onStatus(VelpBusProxyCallback::StatusCBType_t type, int code,
                const std::string& text) override {
    RecordingSink::onStatus(type, code, text);
    if (reports.size() == 1) queue.linkReport(type, code, "reaction");
  }

 private:
  ReportQueue& queue;
};

TEST(ReportQueue, CallsTheSinkWithoutItsLock) {
  ReportQueue sut;
  ChattySink sink(sut);
  sut.linkReport(VelpBusProxyCallback::STATUS_ERROR, STATUS_LINK_LOST, "cause");
  sut.hand(sink);
  EXPECT_EQ(sink.reports.size(), 1u);
  sut.hand(sink);
  ASSERT_EQ(sink.reports.size(), 2u);
  EXPECT_EQ(sink.reports[1].text, "reaction");
}

TEST(ReportQueue, TakesReportsFromManyThreads) {
  ReportQueue sut;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&sut] {
      for (int round = 0; round < 100; ++round) {
        sut.linkReport(VelpBusProxyCallback::STATUS_ERROR, STATUS_LINK_LOST, "gone");
        sut.refusal(STATUS_SENDER_REFUSED, "bad");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  RecordingSink sink;
  sut.hand(sink);
  // The 400 of links, ten refusals, and one more for each second that this has taken.
  EXPECT_GE(sink.reports.size(), 410u);
}

TEST(ReportQueue, SaysWhenItsDescriptorCannotBeHad) {
  const FailingCall failing(Call::eventfd, {EMFILE});
  const Refusal refusal = refusalOf([] { ReportQueue sut; });
  EXPECT_EQ(refusal.code, EMFILE);
  EXPECT_THAT(refusal.text, StartsWith("cannot make an event descriptor for the bus"));
}

}  // namespace
}  // namespace velp::test
