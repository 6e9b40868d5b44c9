// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What all messages share: kind, context, channels, copies and the line for people.
#include "velp/message/MessageBase.h"

#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>

#include "support/fixedTexts.h"
#include "unit/message/samples.h"

namespace {

namespace texts = velp::test::texts;
using velp::test::filled;

using Request = VelpClientMessageRequest;

Request makeRequest() {
  return Request(VelpClientMessageBase::MSG_REMOVE_DATA, nullptr, 0);
}

class MessageOfEachClass : public ::testing::TestWithParam<velp::samples::Sample> {};

TEST_P(MessageOfEachClass, ClonesToAnEqualMessageOfItsOwn) {
  const MessageBase& sut = *GetParam().message;

  const std::unique_ptr<MessageBase> copy(sut.clone());

  EXPECT_NE(copy.get(), &sut);
  EXPECT_TRUE(velp::samples::equal(*copy, sut));
  EXPECT_EQ(velp::encodeMessage(*copy), GetParam().bytes);
}

TEST_P(MessageOfEachClass, DiffersWhenAnyPartOfTheBaseDoes) {
  const MessageBase& sut = *GetParam().message;
  const std::unique_ptr<MessageBase> context(sut.clone());
  const std::unique_ptr<MessageBase> channel(sut.clone());
  const std::unique_ptr<MessageBase> route(sut.clone());

  context->setContext(99);
  channel->setSourceChannel("other");
  route->cascadeChannel(1);

  EXPECT_FALSE(velp::samples::equal(*context, sut));
  EXPECT_FALSE(velp::samples::equal(*channel, sut));
  EXPECT_FALSE(velp::samples::equal(*route, sut));
}

TEST_P(MessageOfEachClass, IsWrittenAsToStringTells) {
  std::ostringstream os;

  os << *GetParam().message;

  EXPECT_EQ(os.str(), GetParam().message->toString());
}

INSTANTIATE_TEST_SUITE_P(Of, MessageOfEachClass, ::testing::ValuesIn(velp::samples::all()),
                         [](const auto& info) { return info.param.name; });

TEST(MessageBase, HasTheKindOfItsClass) {
  EXPECT_EQ(makeRequest().getKind(), 0xF000u);
  EXPECT_EQ(VelpClientMessageResponse().getKind(), 0xF001u);
  EXPECT_EQ(SystemMessage("", 0).getKind(), 0x80u);
}

TEST(MessageBase, StartsWithoutContextAndChannels) {
  const Request sut = makeRequest();

  EXPECT_EQ(sut.getContext(), 0u);
  EXPECT_EQ(sut.getSourceChannel(), "");
  EXPECT_EQ(sut.getSourceChannelID(), 0);
  EXPECT_TRUE(sut.getRoute().empty());
}

TEST(MessageBase, RemembersTheChannelsInOrder) {
  Request sut = makeRequest();

  sut.cascadeChannel(0x0102);
  sut.cascadeChannel(0xFFFE);

  EXPECT_EQ(sut.getSourceChannelID(), 0xFFFE);
  EXPECT_EQ(sut.getRoute(), (std::vector<unsigned char>{1, 2, 0xFF, 0xFE}));
}

TEST(MessageBase, HasNoLastChannelInARouteOfOneByte) {
  Request sut = makeRequest();

  sut.setRoute({7});

  EXPECT_EQ(sut.getSourceChannelID(), 0);
}

TEST(MessageBase, TellsContextAndChannelsOnlyWhenTheyAreSet) {
  Request sut = makeRequest();
  EXPECT_EQ(sut.toString(),
            filled("{request, id removeData(3), text \"{}\", payload 0 bytes}", texts::notSet));

  sut.setContext(7);
  sut.setSourceChannel("gw");
  sut.cascadeChannel(5);

  EXPECT_EQ(sut.toString(),
            filled("{request, context 7, channel \"gw\", last channel 5, id removeData(3), "
                   "text \"{}\", payload 0 bytes}",
                   texts::notSet));
}

TEST(MessageBase, EscapesTheChannelName) {
  Request sut = makeRequest();

  sut.setSourceChannel("a\n[ERROR] b");

  EXPECT_NE(sut.toString().find("channel \"a\\x0a[ERROR] b\""), std::string::npos);
}

TEST(MessageBase, CannotBeMadeOrCopiedWithoutItsClass) {
  EXPECT_TRUE(std::is_abstract_v<MessageBase>);
  EXPECT_TRUE(std::is_abstract_v<VelpClientMessageBase>);
  EXPECT_FALSE(std::is_copy_constructible_v<MessageBase>);
  EXPECT_TRUE(std::has_virtual_destructor_v<MessageBase>);
}

}  // namespace
