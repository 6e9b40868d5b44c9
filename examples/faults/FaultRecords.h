// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A file of fault records, one line each, that a crash leaves readable.
#pragma once

#include <cstddef>
#include <string>

/// Appends to a file, and owns it while it exists: a second owner is refused.
///
/// Operations throw std::system_error with a text that names the file.
class FaultRecords {
 public:
  /// Opens or makes the file, and cuts off what follows the last whole line.
  explicit FaultRecords(const std::string& path);
  ~FaultRecords();
  FaultRecords(const FaultRecords&) = delete;
  FaultRecords& operator=(const FaultRecords&) = delete;

  /// Appends `line`, which has no line end in it, and returns when it is on the disk. When that
  /// fails, nothing of it stays.
  void append(const std::string& line);

  /// How many records there are.
  std::size_t size() const { return count; }
  /// How many bytes of a torn line the constructor cut off.
  std::size_t tornBytes() const { return torn; }

 private:
  void open();
  void repair();
  void write(const std::string& bytes);
  [[noreturn]] void fail(const char* what) const;

  const std::string path;
  int file = -1;
  std::size_t count = 0;
  std::size_t torn = 0;
  bool lineIsOpen = false;  // what a failed append has written could not be taken back
};

/// The line for a record: the time in UTC, the participant that sent it, and its text, in which
/// every byte that is not printable is written as \xHH, so that no text can forge a line.
std::string faultLine(const std::string& source, const std::string& text);
