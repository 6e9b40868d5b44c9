// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Decodes and, where the form has only one way to say it, encodes and compares.
#include "fuzz/targets.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bus/Transport.h"
#include "bus/local/Hello.h"
#include "bus/local/PacketHeader.h"
#include "velp/message/ByteForm.h"
#include "velp/message/VelpClientMessageRequest.h"
#include "velp/message/VelpClientMessageResponse.h"
#include "velpmsg/VelpMsgReqGetEventList.h"
#include "velpmsg/VelpMsgReqRmData.h"

namespace velp::fuzz {

std::atomic<std::size_t> allocated{0};

namespace {

using Bytes = std::vector<unsigned char>;

void require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", promise);
  std::abort();
}

// The bytes in a block of their own, so that reading behind their end is seen.
class Block {
 public:
  Block(const unsigned char* bytes, std::size_t size) : size(size), copy(new unsigned char[size]) {
    if (size != 0) std::memcpy(copy.get(), bytes, size);
  }
  const unsigned char* data() const { return copy.get(); }

  const std::size_t size;

 private:
  const std::unique_ptr<unsigned char[]> copy;
};

void message(const unsigned char* bytes, std::size_t size) {
  const Block block(bytes, size);
  std::string reason;
  const std::size_t before = allocated;
  const std::unique_ptr<MessageBase> decoded = decodeMessage(block.data(), size, reason);
  const std::size_t cost = allocated - before;
  if (decoded == nullptr) {
    require(!reason.empty(), "a refusal has a reason");
    require(cost <= size + 4096, "a refused frame costs at most its size and 4 KiB");
    return;
  }
  require(encodeMessage(*decoded) == Bytes(bytes, bytes + size), "a frame has one byte form");
  require(!decoded->toString().empty(), "every message has a text");
}

void hello(const unsigned char* bytes, std::size_t size) {
  const Block block(bytes, size);
  const auto decoded = decodeHello(block.data(), size);
  if (!decoded) return;
  require(isParticipantName(decoded->name), "a hello has a valid name");
  require(encodeHello(*decoded) == Bytes(bytes, bytes + size), "a hello has one byte form");
}

void packetHeader(const unsigned char* bytes, std::size_t size) {
  const Block block(bytes, size);
  const auto decoded = decodePacketHeader(block.data(), size);
  if (!decoded) return;
  const auto again = encodePacketHeader(*decoded);
  require(std::memcmp(again.data(), bytes, again.size()) == 0, "a header has one byte form");
}

// The position and the width come first, then the payload.
void stringField(const unsigned char* bytes, std::size_t size) {
  if (size < 3) return;
  const auto position = static_cast<unsigned short>(bytes[0] << 8 | bytes[1]);
  const unsigned short width = bytes[2] % 4;
  VelpClientMessageResponse response;
  response.setPayload(Bytes(bytes + 3, bytes + size));
  const std::string text = response.getString(position, width);
  require(text.empty() || position + width + text.size() <= size - 3,
          "a field lies in its payload");
}

void eventList(const unsigned char* bytes, std::size_t size) {
  VelpClientMessageResponse response(VelpClientMessageBase::MSG_GET_EVENT_LIST,
                                     VelpClientMessageResponse::STATUS_OK);
  response.setPayload(Bytes(bytes, bytes + size));
  VelpMsgReqGetEventList list;
  require(list.initFromResponse(response), "any payload of the right kind is taken");
  for (const auto& event : list.events) {
    VelpMsgReqGetEventList::Event again;
    again.setDataFromEventInfo(event.getEventInfo());
    require(again.number == event.number && again.text == event.text && again.code == event.code,
            "an event's text form says what it is");
  }
}

void removeData(const unsigned char* bytes, std::size_t size) {
  const Block block(bytes, size);
  VelpMsgReqRmData data;
  if (!data.setData(block.data(), size)) return;
  require(data.spans.size() == data.count, "as many spans as announced");
  VelpMsgReqRmData::span_t span;
  unsigned int spans = 0;
  while (data.getNextSpan(span)) ++spans;
  require(spans == data.count, "all spans come, each once");
}

}  // namespace

const std::array<Target, 6> targets{{{"message", message},
                                     {"hello", hello},
                                     {"packetHeader", packetHeader},
                                     {"stringField", stringField},
                                     {"eventList", eventList},
                                     {"removeData", removeData}}};

}  // namespace velp::fuzz
