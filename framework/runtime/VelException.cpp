// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The exception's text: a stream, read out by what().
#include "velp/runtime/VelException.h"

#include <array>
#include <cstring>

VelException::VelException(int code, const char* text)
    : std::ostringstream(text, std::ios_base::out | std::ios_base::ate), errorCode(code) {
  addError(code);
}

VelException::VelException(const VelException& other)
    : std::basic_ios<char>(),
      std::exception(other),
      std::ostringstream(other.str(), std::ios_base::out | std::ios_base::ate),
      errorCode(other.errorCode) {}

VelException::~VelException() = default;

void VelException::addError(int code) {
  if (code == 0) return;
  errorCode = code;
  std::array<char, 256> buffer;
  const char* description = strerror_r(code, buffer.data(), buffer.size());
  // In one piece and unformatted, so that no flag or width set on the stream changes it.
  const std::string added = std::string(": ") + description + " (" + std::to_string(code) + ")";
  write(added.data(), static_cast<std::streamsize>(added.size()));
}

const char* VelException::what() const noexcept {
  message = str();
  return message.c_str();
}
