// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The exception of the framework and the library.
#pragma once

#include <exception>
#include <sstream>
#include <string>

#include "velp/runtime/export.h"

/// An error number with a text, to which more text can be streamed before it is thrown on.
///
///     throw VelException(EADDRINUSE, "name is taken");
///
/// Threads:  one thread at a time, like any value.
/// Blocks:   never.
/// Owns:     its text.
/// Fails:    only for want of memory.
class VELP_FRAMEWORK_API VelException : public std::exception, public std::ostringstream {
 public:
  /// `code` is a system error number; its description is appended to `text`.
  VelException(int code, const char* text);
  VelException(const VelException& other);
  VelException& operator=(const VelException&) = delete;
  ~VelException() override;

  /// The error number given at construction, or added last.
  int getErrorCode() const noexcept { return errorCode; }

  /// Appends ": ", the system's description of `code` and the number to the text; 0 adds nothing.
  void addError(int code);

  /// The whole text so far. The pointer is valid until the next call or the object's end.
  const char* what() const noexcept override;

 private:
  int errorCode;
  mutable std::string message;
};
