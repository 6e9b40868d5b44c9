// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Which names there are, and who may have them.
#include <unistd.h>

#include <cerrno>

#include "transport/TransportSuite.h"
#include "velp/runtime/VelException.h"

namespace velp::test {
namespace {

using testing::HasSubstr;

// The error number and the text with which connecting fails; 0 when it does not.
std::pair<int, std::string> failureOf(Participant& sut, const std::string& name,
                                      const std::string& address) {
  try {
    sut.connect(name, address);
  } catch (const VelException& e) {
    return {e.getErrorCode(), e.what()};
  }
  return {0, ""};
}

const std::vector<std::string>& badNames() {
  static const std::vector<std::string> names = {"",
                                                 std::string(49, 'a'),
                                                 "/",
                                                 ".",
                                                 "..",
                                                 "a.b",
                                                 "a/b",
                                                 "a b",
                                                 " a",
                                                 "a\n",
                                                 "a\tb",
                                                 "a\r\nb",
                                                 "a*",
                                                 "a>",
                                                 "a:b",
                                                 "\xc3\xa4",
                                                 "a\x7f",
                                                 "a,b",
                                                 "a+b",
                                                 "$a",
                                                 std::string(1, '\0'),
                                                 std::string("a\0b", 3),
                                                 std::string("a\0", 2)};
  return names;
}

TEST_P(Names, OfOneTo48LettersDigitsUnderscoresAndHyphensAreTaken) {
  for (const std::string& name :
       {std::string("a"), std::string("Z"), std::string("0"), std::string("_"), std::string("-"),
        std::string("-rf"), std::string("Event_Service-2"), std::string(48, 'x')}) {
    Member sut(name, *bus);
    EXPECT_EQ(sut->getName(), name);
    settle(sut, sut);
  }
}

TEST_P(Names, OfAnyOtherFormAreRefused) {
  for (const std::string& name : badNames()) {
    Member sut;
    EXPECT_EQ(failureOf(*sut, name, bus->address()).first, EINVAL) << name;
    EXPECT_EQ(sut->getName(), "");
  }
}

TEST_P(Names, OfAnyOtherFormAreNobodysToSendTo) {
  Member sut("Sender", *bus);

  for (const std::string& name : badNames()) {
    EXPECT_FALSE(sut->sendTo(name, numbered(1))) << name;
  }
}

TEST_P(Names, OfAnyOtherFormAreReportedWithWhatIsAllowed) {
  Member sut;

  const std::string text = failureOf(*sut, "a\nb", bus->address()).second;

  EXPECT_THAT(text, HasSubstr("\"a\\x0ab\""));
  EXPECT_THAT(text, HasSubstr("1 to 48 of A-Z a-z 0-9 _ -"));
}

TEST_P(Names, InUseAreRefusedWithTheHoldersProcess) {
  Member holder("Taken", *bus);
  Member sut;

  const auto [code, text] = failureOf(*sut, "Taken", bus->address());

  EXPECT_EQ(code, EADDRINUSE);
  EXPECT_THAT(text, HasSubstr("Taken"));
  EXPECT_THAT(text, HasSubstr("process " + std::to_string(getpid())));
}

TEST_P(Names, InUseStayWithTheirHolder) {
  Member holder("Taken", *bus);
  Member sender("Sender", *bus);
  Member sut;

  ASSERT_EQ(failureOf(*sut, "Taken", bus->address()).first, EADDRINUSE);

  settle(sender, holder);
  EXPECT_EQ(sut->getName(), "");
  EXPECT_FALSE(sut->sendTo("Sender", numbered(1)));
}

TEST_P(Names, MayBeTriedAgainAfterARefusal) {
  Member holder("Taken", *bus);
  Member sut;
  ASSERT_EQ(failureOf(*sut, "Taken", bus->address()).first, EADDRINUSE);

  sut->connect("Free", bus->address());

  settle(sut, holder);
}

TEST_P(Names, AreFreeAgainAfterLeaving) {
  Member first("Name", *bus);
  first->disconnect();

  Member second("Name", *bus);

  settle(second, second);
}

TEST_P(Names, AreFreeAgainWhenTheParticipantIsGone) {
  for (int round = 0; round < 20; ++round) {
    Member sut("Name", *bus);
    settle(sut, sut);
  }
}

TEST_P(Names, DifferInCase) {
  Member lower("name", *bus);
  Member upper("NAME", *bus);

  ASSERT_TRUE(lower->sendTo("NAME", numbered(1)));

  ASSERT_TRUE(upper.recorder.waitForMessages(1));
  settle(upper, lower);
  EXPECT_EQ(lower.recorder.count(), 0u);
}

}  // namespace
}  // namespace velp::test
