// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One long request callback, run by the handler's worker thread.
#include "ReportService.h"

#include <errno.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "../say.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/LogUtil.h"

namespace {

// The code under which the fault management files that reports cannot be made.
constexpr auto reportFault = static_cast<faultCode_t>(MSG_PACK);

// A text of an error response has at most 255 bytes.
constexpr std::size_t longestText = 255;

std::string existingDirectory(const std::string& path) {
  const std::string canonical = std::filesystem::canonical(path);
  if (std::filesystem::is_directory(canonical)) return canonical;
  throw std::system_error(ENOTDIR, std::generic_category(), path);
}

void sayUnreadable(const std::string& path, const std::string& reason, Report& report) {
  ++report.unreadable;
  say(stderr, "report-service: left out {}: {}", velp::escaped(path), reason);
}

std::string lastError() {
  return std::generic_category().message(errno);
}

}  // namespace

ReportService::ReportService(const Settings& settings)
    : name(settings.name),
      tree(settings.source),
      output(existingDirectory(settings.output)),
      tick(settings.tick),
      pace(settings.pace),
      handler(0) {
  handler.registerRequest(MSG_PACK, AVAILABLE, [this](const VelpClientMessageRequest& request) {
    return serve(request);
  });
}

ReportService::~ReportService() {
  {
    std::lock_guard<std::mutex> locker(mutex);
    ending = true;
  }
  changed.notify_all();
  handler.stop();
  VelpBusProxy::getInstance()->disconnect();
}

void ReportService::join(const std::string& address) {
  const std::size_t removed = ReportArchive::removeLeftOvers(output, name);
  if (removed > 0) say(stdout, "removed {} unfinished of an earlier run", removed);
  VelpBusProxy::getInstance()->connect(name, address);
}

requestState_t ReportService::serve(const VelpClientMessageRequest& request) {
  const std::string& client = request.getText();
  // Also when it came between the last answer and the end of its callback.
  handler.setRequestState(MSG_PACK, BUSY);
  PackProgress progress(client, static_cast<unsigned long long>(tick.count()));
  try {
    const Report report = pack(request, progress);
    progress.finish();
    answer(client, report);
    recordRecovery();
  } catch (const ReportError& error) {
    progress.cleanUp();
    recordFault(error);
    refuse(client, error);
  }
  return AVAILABLE;
}

Report ReportService::pack(const VelpClientMessageRequest& request, PackProgress& progress) {
  begin = Clock::now();
  packed = 0;
  const std::string asked = packRequestPath(request);
  say(stdout, "serving {}: {}", velp::escaped(request.getText()),
      asked.empty() ? tree.getRoot() : velp::escaped(asked));
  const SourceList list = tree.list(tree.find(asked), [this] { takeTime(0); });

  progress.beginArchive();
  ReportArchive archive(output, name);
  progress.beginFiles(list.bytes);
  Report report;
  addFiles(list, archive, progress, report);
  progress.beginSync();
  archive.finish();
  progress.endSync();
  report.size = archive.getSize();
  report.archive = archive.publish();
  return report;
}

void ReportService::addFiles(const SourceList& list, ReportArchive& archive, PackProgress& progress,
                             Report& report) {
  for (const std::string& directory : list.unreadable) {
    sayUnreadable(directory, "the directory cannot be opened", report);
  }
  for (const SourceList::File& file : list.files) {
    addFile(file.path, archive, progress, report);
  }
}

void ReportService::addFile(const std::string& path, ReportArchive& archive, PackProgress& progress,
                            Report& report) {
  takeTime(0);
  const Descriptor file = tree.openFile(path);
  if (!file.isOpen()) {
    sayUnreadable(path, lastError(), report);
    return;
  }
  const bool whole = archive.add(path, file.get(), [&](std::size_t bytes) {
    progress.addBytes(bytes, path);
    takeTime(bytes);
  });
  ++report.files;
  if (!whole) {
    say(stderr, "report-service: the end of {} is lost: {}", velp::escaped(path), lastError());
  }
}

// Waits until the pace allows to go on after `bytes` more; throws when the service is to end.
void ReportService::takeTime(std::uint64_t bytes) {
  packed += bytes;
  const std::chrono::milliseconds wanted(pace == 0 ? 0 : packed * 1000 / 1024 / pace);
  std::unique_lock<std::mutex> locker(mutex);
  if (!changed.wait_until(locker, begin + wanted, [this] { return ending; })) return;
  throw ReportError(REPORT_SERVICE_ENDING, "the report service ends");
}

void ReportService::answer(const std::string& client, const Report& report) {
  say(stdout, "packed {} files into {}, {} bytes", report.files, report.archive, report.size);
  // Open before the answer is out: whoever has the answer may ask again at once.
  handler.setRequestState(MSG_PACK, AVAILABLE);
  if (!VelpMsgSender::getInstance()->sendResponseOK(client, MSG_PACK, reportPayload(report))) {
    say(stdout, "{} has gone, its answer is dropped", velp::escaped(client));
  }
}

void ReportService::refuse(const std::string& client, const ReportError& error) {
  const std::string text = error.what();
  say(stdout, "refused {}: {}", velp::escaped(client), velp::escaped(text));
  handler.setRequestState(MSG_PACK, AVAILABLE);
  VelpMsgSender::getInstance()->sendResponseError(
      client, MSG_PACK, static_cast<VelpClientMessageResponse::errorCode_t>(error.code),
      text.substr(0, longestText));
}

// Only what is wrong with the service itself is a fault: clients could fill the records otherwise.
void ReportService::recordFault(const ReportError& error) {
  if (error.code != REPORT_CANNOT_WRITE) return;
  faulty = true;
  VelpMsgSender::getInstance()->sendSysMsgErrorLog(reportFault, name, true, error.what());
}

void ReportService::recordRecovery() {
  if (!faulty) return;
  faulty = false;
  VelpMsgSender::getInstance()->sendSysMsgErrorLog(reportFault, name, false, "reports work again");
}
