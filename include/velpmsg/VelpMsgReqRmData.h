// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The payload of the request to remove data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "velp/message/VelpClientMessageRequest.h"
#include "velpmsg/export.h"

/// Encodes what is to be removed into a request, and decodes such a request's payload again.
///
///     VelpMsgReqRmData received;
///     const auto& payload = request.getPayload();
///     if (!received.setData(payload.data(), payload.size())) return refuse(request);
///     for (VelpMsgReqRmData::span_t span; received.getNextSpan(span);) remove(span);
///
/// Threads:  one thread at a time, like any value.
/// Blocks:   getRequest() in mode 0, while another log line is being written.
/// Owns:     its spans; a copy stands at the same next span.
/// Fails:    setData() returns false; otherwise only for want of memory.
class VELPMSG_API VelpMsgReqRmData {
 public:
  /// One span; only the members of its type mean something.
  struct span_t {
    std::uint32_t type = 0;  ///< 0 to 255: 0 two numbers, 1 a text, any other the type alone
    std::uint64_t from = 0;  ///< first number of type 0
    std::uint64_t to = 0;    ///< second number of type 0
    std::string text;        ///< text of type 1, up to 255 bytes
  };

  /// Decodes a payload that has come from outside, and makes its first span the next one. Bytes
  /// behind what the payload announces are ignored. Returns false and changes nothing when `data`
  /// is null or `size` bytes do not hold all that they announce.
  [[nodiscard]] bool setData(const unsigned char* data, std::size_t size);

  /// As above for a payload that is known to be whole: reads as many bytes as it announces,
  /// whatever is there. Returns false only when `data` is null.
  bool setData(const unsigned char* data);

  /// The request that asks for this: mode 0 for everything, which is logged, and modes 1 and 2 with
  /// `count` and all of `spans`; in any other mode the payload is the mode alone.
  VelpClientMessageRequest getRequest() const;

  /// Copies the next span to `out` and moves one on. Returns false and leaves `out` alone when none
  /// is left; only setData() goes back to the first.
  bool getNextSpan(span_t& out);

  /// The size of getRequest()'s payload. Does not return in modes 1 and 2 with 256 spans or more.
  unsigned int getDataBytesNeeded() const;

  /// The text at `data` + `offset`: its length in one byte, then the characters. Reads them without
  /// knowing where the data ends.
  static std::string getString(const unsigned char* data, std::uint16_t offset);

  /// Number of spans as the payload tells it; whoever fills `spans` sets it.
  std::uint16_t count = 0;
  /// 0 to 255: 0 everything, 1 and 2 what the spans tell, in the services' meaning.
  std::uint32_t mode = 0;
  /// The spans in payload order.
  std::vector<span_t> spans;

 private:
  std::size_t nextSpan = 0;
};
