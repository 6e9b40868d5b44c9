// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the note service and its clients have agreed on.
#pragma once

#include <cstdint>
#include <string>

#include "velp/message/VelpClientMessageRequest.h"
#include "velp/message/VelpClientMessageResponse.h"

// [snippet ids]
// Message IDs of the service's own.
constexpr auto MSG_ADD_NOTE = static_cast<VelpClientMessageBase::velpMsgID_t>(1001);
constexpr auto MSG_GET_NOTE = static_cast<VelpClientMessageBase::velpMsgID_t>(1002);
constexpr auto MSG_EXPORT_NOTES = static_cast<VelpClientMessageBase::velpMsgID_t>(1003);

// Error codes of the service's own, beside those of the library.
constexpr auto ERROR_NO_SUCH_NOTE = static_cast<VelpClientMessageResponse::errorCode_t>(100);
constexpr auto ERROR_NOT_EXPORTED = static_cast<VelpClientMessageResponse::errorCode_t>(101);
constexpr auto ERROR_UNKNOWN_REMOVAL = static_cast<VelpClientMessageResponse::errorCode_t>(102);
constexpr auto ERROR_BAD_TEXT = static_cast<VelpClientMessageResponse::errorCode_t>(103);
// [snippet]

/// Asks to keep a text: one string field with a length of two bytes.
VelpClientMessageRequest addRequest(const std::string& text);
/// Asks for the note with this number: four bytes, big-endian.
VelpClientMessageRequest getRequest(std::uint32_t number);
/// The number in such a request, whose length the caller has checked.
std::uint32_t numberIn(const VelpClientMessageRequest& request);
