// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// 0 to 5 percent for looking at the files, 5 to 90 for packing them, the rest at the end.
//
// True progress is reported whenever it reaches another ten. The ceiling of the ticks in between is
// that next ten: they show life while one large file is packed, and never run ahead of a report.
#include "PackProgress.h"

#include <algorithm>

#include "ReportProtocol.h"

namespace {

constexpr unsigned char packingBegins = 5;
constexpr unsigned char packingEnds = 90;
constexpr unsigned char notAgain = 91;
constexpr unsigned char stride = 10;

// Indexes into the step texts.
constexpr unsigned short checkSetup = 29;
constexpr unsigned short initEnvironment = 19;
constexpr unsigned short zipFiles = 26;
constexpr unsigned short syncing = 16;
constexpr unsigned short syncDone = 17;
constexpr unsigned short cleaningUp = 27;
constexpr unsigned short finished = 28;

// A progress text holds 255 bytes.
constexpr std::size_t longestPath = 240;

unsigned char nextStride(unsigned int percent) {
  return static_cast<unsigned char>(
      std::min<unsigned int>(packingEnds, (percent / stride + 1) * stride));
}

// The end of a path says more than its beginning.
std::string shortened(const std::string& path) {
  if (path.size() <= longestPath) return path;
  return "..." + path.substr(path.size() - longestPath);
}

}  // namespace

PackProgress::PackProgress(const std::string& requester, unsigned long long period) {
  handler.start(requester, MSG_PACK, 0, packingBegins, checkSetup, period);
}

void PackProgress::beginArchive() {
  handler.update(packingBegins, packingBegins, initEnvironment);
}

void PackProgress::beginFiles(std::uint64_t bytes) {
  total = bytes;
  due = nextStride(packingBegins);
  handler.update(packingBegins, due, zipFiles);
}

void PackProgress::addBytes(std::uint64_t bytes, const std::string& path) {
  // Files may have grown since they were counted.
  done = std::min(total, done + bytes);
  const double share =
      static_cast<double>(done) / static_cast<double>(std::max<std::uint64_t>(total, 1));
  const auto percent =
      static_cast<unsigned char>(packingBegins + share * (packingEnds - packingBegins));
  if (percent < due) return;
  due = percent == packingEnds ? notAgain : nextStride(percent);
  handler.update(percent, std::min(due, packingEnds), "Packing " + shortened(path));
}

void PackProgress::beginSync() {
  handler.update(packingEnds, packingEnds, syncing);
}

void PackProgress::endSync() {
  handler.update(packingEnds, packingEnds, syncDone);
}

void PackProgress::finish() {
  handler.update(100, 100, finished);
  handler.stop();
}

void PackProgress::cleanUp() {
  if (due > 0) handler.updateInfo(cleaningUp);
  handler.stop();
}
