// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Times the codecs against plain ones, and against copying the same bytes.
//
// Each piece of work is done by "ours", by one or two plain implementations, and by two bounds:
// "memcpy" copies the encoded bytes into memory that is already there, which is what no codec can
// beat; "copy" makes a copy of the result, payload or vector, with the memory that it owns, which
// is what no codec with this interface can beat. Making and releasing the result is timed
// everywhere but in "memcpy".
//
// A list of 65,535 events is more text than the two bytes of its length can tell. Encoding does not
// mind, as all of it is written. Decoding one such payload would read a small part of it only, and
// look fast; so the same 65,535 events arrive here in as many full responses as it takes, and one
// list collects them. "event texts, decode" reads as many texts one by one, without any list.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/plainEventList.h"
#include "bench/plainRmData.h"
#include "bench/samples.h"

namespace {

namespace plain = velp::bench::plain;
using Event = VelpMsgReqGetEventList::Event;
using span_t = VelpMsgReqRmData::span_t;
using Payload = std::vector<unsigned char>;
using Responses = std::vector<VelpClientMessageResponse>;

constexpr std::size_t eventCount = 65535;
constexpr std::uint16_t spanCount = 10000;
constexpr std::size_t longestText = 65535;

const VelpMsgReqGetEventList sentList = velp::bench::sampleList(eventCount);
const VelpMsgReqRmData sentSpans = velp::bench::sampleSpans(spanCount);

bool same(const Event& a, const Event& b) {
  return a.number == b.number && a.text == b.text && a.code == b.code;
}

bool same(const span_t& a, const span_t& b) {
  return a.type == b.type && a.from == b.from && a.to == b.to && a.text == b.text;
}

bool same(unsigned char a, unsigned char b) {
  return a == b;
}

// A figure about different results would mean nothing.
template <typename Element>
void expectSame(const std::vector<Element>& a, const std::vector<Element>& b, const char* what) {
  const bool equal =
      a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                         [](const auto& x, const auto& y) { return same(x, y); });
  if (!equal) throw std::runtime_error(std::string("different results: ") + what);
}

template <typename Work>
void add(const std::string& name, const Payload& bytes, Work work) {
  const auto run = [work, size = bytes.size()](benchmark::State& state) mutable {
    for ([[maybe_unused]] auto round : state) work();
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
  };
  benchmark::RegisterBenchmark(name.c_str(), run);
}

// Calls `make` and releases what it returns.
template <typename Make>
auto making(Make make) {
  return [make] {
    auto result = make();
    benchmark::DoNotOptimize(result);
    benchmark::ClobberMemory();
  };
}

template <typename Result>
void addBounds(const std::string& work, const Payload& bytes, const Result& result) {
  add(work + "/memcpy", bytes, [bytes, target = Payload(bytes.size())]() mutable {
    std::memcpy(target.data(), bytes.data(), bytes.size());
    benchmark::DoNotOptimize(target.data());
    benchmark::ClobberMemory();
  });
  add(work + "/copy", bytes, making([result] { return result; }));
}

// --- event lists -------------------------------------------------------------------------------

Payload encodeList(const VelpMsgReqGetEventList& list) {
  Payload payload;
  list.setResponseData(payload);
  return payload;
}

Payload encodeListPlainly(const VelpMsgReqGetEventList& list) {
  Payload payload;
  plain::setResponseData(list, payload);
  return payload;
}

std::vector<std::string> infos() {
  std::vector<std::string> texts;
  for (const Event& event : sentList.events) texts.push_back(event.getEventInfo());
  return texts;
}

VelpClientMessageResponse responseWith(const VelpMsgReqGetEventList& list) {
  VelpClientMessageResponse response(VelpClientMessageBase::MSG_GET_EVENT_LIST,
                                     VelpClientMessageResponse::STATUS_OK);
  response.setPayload(encodeList(list));
  return response;
}

// The sent list in responses that are as full as can be.
Responses fullResponses() {
  Responses responses;
  VelpMsgReqGetEventList part;
  part.leadByte = sentList.leadByte;
  std::size_t size = 0;
  for (const Event& event : sentList.events) {
    const std::size_t more = event.getEventInfo().size() + 1;
    if (size + more > longestText) {
      responses.push_back(responseWith(part));
      part.events.clear();
      size = 0;
    }
    part.events.push_back(event);
    size += more;
  }
  responses.push_back(responseWith(part));
  return responses;
}

Payload allPayloads(const Responses& responses) {
  Payload bytes;
  for (const auto& response : responses) {
    bytes.insert(bytes.end(), response.getPayload().begin(), response.getPayload().end());
  }
  return bytes;
}

std::vector<Event> decodeLists(const Responses& responses) {
  VelpMsgReqGetEventList list;
  for (const auto& response : responses) list.initFromResponse(response);
  return std::move(list.events);
}

std::vector<Event> decodeListsPlainly(const Responses& responses) {
  VelpMsgReqGetEventList list;
  for (const auto& response : responses) plain::initFromResponse(list, response);
  return std::move(list.events);
}

template <typename SetData>
std::vector<Event> decodeTexts(const std::vector<std::string>& texts, SetData setData) {
  std::vector<Event> events(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) setData(texts[i], events[i]);
  return events;
}

std::vector<Event> decodeTextsByOurs(const std::vector<std::string>& texts) {
  return decodeTexts(texts,
                     [](const auto& text, Event& event) { event.setDataFromEventInfo(text); });
}

std::vector<Event> decodeTextsPlainly(const std::vector<std::string>& texts) {
  return decodeTexts(texts, plain::setDataFromEventInfo);
}

void addEventLists() {
  const std::string encode = "event list, encode";
  const Payload payload = encodeList(sentList);
  expectSame(payload, encodeListPlainly(sentList), "encoded lists");
  add(encode + "/ours", payload, making([] { return encodeList(sentList); }));
  add(encode + "/plain", payload, making([] { return encodeListPlainly(sentList); }));
  addBounds(encode, payload, payload);

  const std::string decode = "event list, decode";
  const Responses responses = fullResponses();
  const Payload bytes = allPayloads(responses);
  expectSame(decodeLists(responses), sentList.events, "decoded lists");
  expectSame(decodeListsPlainly(responses), sentList.events, "plainly decoded lists");
  add(decode + "/ours", bytes, making([responses] { return decodeLists(responses); }));
  add(decode + "/plain", bytes, making([responses] { return decodeListsPlainly(responses); }));
  addBounds(decode, bytes, sentList.events);
}

void addEventTexts() {
  const std::string decode = "event texts, decode";
  const std::vector<std::string> texts = infos();
  Payload bytes;
  for (const auto& text : texts) bytes.insert(bytes.end(), text.begin(), text.end());
  expectSame(decodeTextsByOurs(texts), sentList.events, "decoded texts");
  expectSame(decodeTextsPlainly(texts), sentList.events, "plainly decoded texts");
  add(decode + "/ours", bytes, making([texts] { return decodeTextsByOurs(texts); }));
  add(decode + "/plain", bytes, making([texts] { return decodeTextsPlainly(texts); }));
  addBounds(decode, bytes, sentList.events);
}

// --- spans -------------------------------------------------------------------------------------

Payload encodedSpans(const VelpClientMessageRequest& request) {
  return request.getPayload();
}

VelpMsgReqRmData decodeSpans(const Payload& payload) {
  VelpMsgReqRmData data;
  data.setData(payload.data());
  return data;
}

VelpMsgReqRmData decodeStrangeSpans(const Payload& payload) {
  VelpMsgReqRmData data;
  if (!data.setData(payload.data(), payload.size())) throw std::runtime_error("refused");
  return data;
}

void addSpanEncoding() {
  const std::string encode = "spans, encode";
  const Payload payload = encodedSpans(sentSpans.getRequest());
  expectSame(payload, encodedSpans(plain::requestByBytes(sentSpans)), "spans by bytes");
  expectSame(payload, encodedSpans(plain::requestByStreams(sentSpans)), "spans by streams");
  add(encode + "/ours", payload, making([] { return sentSpans.getRequest(); }));
  add(encode + "/plain", payload, making([] { return plain::requestByBytes(sentSpans); }));
  add(encode + "/streams", payload, making([] { return plain::requestByStreams(sentSpans); }));
  addBounds(encode, payload, payload);
}

template <typename Ours, typename Plain>
void addSpanDecoding(const std::string& decode, Ours ours, Plain byBytes) {
  const Payload payload = encodedSpans(sentSpans.getRequest());
  const std::vector<span_t> spans = ours(payload).spans;
  expectSame(spans, byBytes(payload).spans, "spans decoded by bytes");
  expectSame(spans, plain::readByStreams(payload).spans, "spans decoded by streams");
  add(decode + "/ours", payload, making([=] { return ours(payload); }));
  add(decode + "/plain", payload, making([=] { return byBytes(payload); }));
  add(decode + "/streams", payload, making([=] { return plain::readByStreams(payload); }));
  addBounds(decode, payload, spans);
}

void addAll() {
  addEventLists();
  addEventTexts();
  addSpanEncoding();
  addSpanDecoding("spans, decode unchecked", decodeSpans, plain::readByBytes);
  addSpanDecoding("spans, decode checked", decodeStrangeSpans, plain::readByCheckedBytes);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    addAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench-codecs: %s\n", error.what());
    return 1;
  }
}
