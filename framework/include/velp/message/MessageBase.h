// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The root of all bus messages.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "velp/runtime/export.h"

/// The kind of a bus message: it decides the class that carries it.
using msgid_t = std::uint32_t;

namespace velp {

constexpr msgid_t systemMessageKind = 0x80;
constexpr msgid_t clientRequestKind = 0xF000;
constexpr msgid_t clientResponseKind = 0xF001;

}  // namespace velp

/// A message that the bus can carry: kind, context number and the channels it has come through.
///
/// Messages are values: copy them freely. Their byte form is described in docs/wire-format.md.
///
/// Threads:  one thread at a time, like any value.
/// Blocks:   never.
/// Owns:     all its content.
/// Fails:    only for want of memory.
class VELP_FRAMEWORK_API MessageBase {
 public:
  /// `context` is a number that travels with the message for the use of gateways; 0 if unused.
  MessageBase(msgid_t kind, unsigned long long context);

  // The order of the virtual operations is part of the binary interface: add new ones last.
  virtual ~MessageBase();

  /// A copy on the heap, of the same class; the caller owns it.
  virtual MessageBase* clone() const = 0;

  /// Writes the byte form at `cursor` and moves `cursor` behind it. Returns false and writes
  /// nothing when it needs more than `capacity` bytes, or when `withBase` is false and the message
  /// has nothing beyond its base. `withBase` false leaves out the part that all kinds share.
  virtual bool writeToByteArray(unsigned char*& cursor, unsigned int capacity, bool withBase) const;

  /// Size in bytes of what writeToByteArray() writes.
  virtual std::uint64_t byteSize(bool withBase) const = 0;
  /// Appends the fields that this class adds, in byte form, at `cursor`, which has room for them.
  virtual void writeFields(unsigned char*& cursor) const = 0;
  /// The class's name for people, such as "request".
  virtual const char* kindName() const = 0;

  /// One line for people; bytes from outside are escaped.
  virtual std::string toString() const;
  /// The name of the channel that brought the message in, as its sender or gateway wrote it: no
  /// proof of origin. The bus tells the true sender beside the message.
  virtual std::string getSourceChannel() const;
  /// The number of the last channel that the message was cascaded through, 0 if none.
  virtual unsigned short getSourceChannelID() const;
  /// Records that the message passes through the channel with this number.
  virtual void cascadeChannel(unsigned short channel);

  msgid_t getKind() const { return kind; }
  unsigned long long getContext() const { return context; }
  void setContext(unsigned long long value) { context = value; }
  void setSourceChannel(std::string name) { sourceChannel = std::move(name); }
  const std::vector<unsigned char>& getRoute() const { return route; }
  void setRoute(std::vector<unsigned char> channels) { route = std::move(channels); }

 protected:
  MessageBase(const MessageBase&) = default;
  MessageBase& operator=(const MessageBase&) = default;
  bool baseEquals(const MessageBase& other) const;
  /// Size in bytes of the part of the byte form that all kinds share.
  std::uint64_t baseSize() const;

 private:
  void writeBase(unsigned char*& cursor) const;

  std::string sourceChannel;
  std::vector<unsigned char> route;  // channel numbers, two bytes each, big-endian
  msgid_t kind;
  std::uint64_t context;
};

/// Writes toString().
VELP_FRAMEWORK_API std::ostream& operator<<(std::ostream& os, const MessageBase& message);
