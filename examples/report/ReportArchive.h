// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One compressed archive in the making.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Descriptor.h"

struct archive;

/// A gzip-compressed tar file that gets its final name when it is whole. Until then it is a hidden
/// file named after its owner, which the destructor removes. A process that is killed leaves it
/// behind; the next one of the same name takes it away with removeLeftOvers(). What still belongs
/// to a living process is locked and stays.
///
/// Fails: with ReportError, REPORT_CANNOT_WRITE.
class ReportArchive {
 public:
  /// Starts an empty archive in `directory`.
  ReportArchive(const std::string& directory, const std::string& owner);
  ~ReportArchive();
  ReportArchive(const ReportArchive&) = delete;
  ReportArchive& operator=(const ReportArchive&) = delete;

  /// Adds the file open at `file` under `path`, as long as it is now, and calls `onPiece` with
  /// the size of each piece, which may throw. Returns false, and errno tells why, when reading
  /// broke off: the rest is zeros then.
  bool add(const std::string& path, int file, const std::function<void(std::size_t)>& onPiece);
  /// Ends the archive and waits until it is on the disk.
  void finish();
  /// Gives the finished archive its final name, which nothing had before, and returns its path.
  std::string publish();
  std::uint64_t getSize() const;

  /// Removes what ended processes of the name `owner` have left in `directory`. Returns how many.
  static std::size_t removeLeftOvers(const std::string& directory, const std::string& owner);

 private:
  static ssize_t write(archive* writer, void* self, const void* bytes, std::size_t size);
  void check(int result) const;
  bool copy(int file, std::uint64_t size, const std::function<void(std::size_t)>& onPiece);

  // Exists until it is renamed.
  struct Temporary {
    explicit Temporary(const std::string& path);
    ~Temporary();

    std::string path;  // empty once renamed
    Descriptor file;
  };

  const std::string directory;
  Temporary temporary;
  int writeError = 0;       // errno of the write that failed
  bool discarding = false;  // nothing more is to be written
  std::unique_ptr<archive, int (*)(archive*)> writer;
};
