// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The payload of the answer to an event list request.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "velp/message/VelpClientMessageResponse.h"
#include "velpmsg/export.h"

/// Encodes a list of events into the payload of an OK response, and decodes it again.
///
///     VelpMsgReqGetEventList list;
///     list.events.push_back({12, "started", 3});
///     list.setResponseData(payload);
///
/// Threads:  one thread at a time, like any value.
/// Blocks:   never.
/// Owns:     its events.
/// Fails:    only for want of memory; a malformed event text gives zeros and empty texts.
class VELPMSG_API VelpMsgReqGetEventList {
 public:
  /// One event; `text` must contain neither ";" nor a space, which separate fields and events.
  struct VELPMSG_API Event {
    std::uint64_t number = 0;
    std::string text;
    std::uint32_t code = 0;

    /// The event as text: number, ";", text, ";", code, ";".
    std::string getEventInfo() const;
    /// Sets the fields from such a text. A field that is missing, or empty where a number belongs,
    /// leaves its member as it was; surplus fields are ignored. A number field without a number
    /// gives 0, one out of range the largest number.
    void setDataFromEventInfo(const std::string& info);
  };

  /// Appends the payload to `payload` and returns the vector's size afterwards. The count of events
  /// and the length of the text wrap at 65,536, while all bytes are written.
  unsigned int setResponseData(std::vector<unsigned char>& payload) const;

  /// Decodes a received response: sets `leadByte` and appends to `events`. Returns false and
  /// changes nothing unless it is an OK response to the event list request.
  bool initFromResponse(const VelpClientMessageResponse& response);

  /// First byte of the payload, 0 to 255; its meaning is the services'.
  std::uint32_t leadByte = 0;
  /// The events in payload order.
  std::vector<Event> events;
};
