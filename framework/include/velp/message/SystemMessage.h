// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A system-level message: a text and a number.
#pragma once

#include "velp/message/MessageBase.h"

/// Carries a fault record's text to the fault management.
///
/// Threads, blocks, owns, fails: as MessageBase.
class VELP_FRAMEWORK_API SystemMessage : public MessageBase {
 public:
  SystemMessage(std::string text, std::uint32_t number);

  const std::string& getText() const { return text; }
  std::uint32_t getNumber() const { return number; }

  MessageBase* clone() const override;
  std::uint64_t byteSize(bool withBase) const override;
  void writeFields(unsigned char*& cursor) const override;
  const char* kindName() const override;
  std::string toString() const override;

  VELP_FRAMEWORK_API friend bool operator==(const SystemMessage& a, const SystemMessage& b);

 private:
  std::string text;
  std::uint32_t number;
};

VELP_FRAMEWORK_API std::ostream& operator<<(std::ostream& os, const SystemMessage& message);
