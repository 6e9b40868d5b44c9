// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Every text that the library prints or sends, letter by letter: spelled here and in no other test.
//
// Tests name a text instead of repeating it. {} stands for what differs, and filled() puts it in.
// That the library produces each of them is shown by the table in tests/unit/texts.
#pragma once

#include <cstddef>
#include <sstream>
#include <string>

namespace velp::test {
namespace texts {

// The sender's lines. The first never appears.
inline constexpr const char* senderMade = "[DEBUG] VelS::VelpMsgSender() ";
inline constexpr const char* senderEnds = "[DEBUG] VelS::~VelpMsgSender() ";
inline constexpr const char* plainRequest = "[DEBUG] VelS::sendRequest() ";
inline constexpr const char* plainResponse = "[DEBUG] VelS::sendResponse()  {}";
inline constexpr const char* senderStatus = "[DEBUG] VelS::velpBusProxyStatusCb() ";
inline constexpr const char* responseOK = "[DEBUG] VelS::sendResponseOK() ";
inline constexpr const char* responseError = "[DEBUG] VelS::sendResponseError() ";
inline constexpr const char* responseProgress = "[DEBUG] VelS::sendResponseProgress() ";
inline constexpr const char* stringSet = "[DEBUG] VelS::setString() ";
inline constexpr const char* badString =
    "[ERROR] VelS::getString() can't extract string from msg{}";
inline constexpr const char* invalidLength =
    "[ERROR] VelS::checkRequestLengthTxErrResponse() {}: invalid length";
inline constexpr const char* lengthRefused = "[ERROR] VelS::checkRequestLengthTxErrResponse() {}";
inline constexpr const char* requestSent = "[DEBUG] VelS::sendRequestWaitForResponse() Tx:{} id={}";
inline constexpr const char* requestNotSent =
    "[ERROR] VelS::sendRequestWaitForResponse() Failed to send request";
inline constexpr const char* responseTimeout =
    "[ERROR] VelS::sendRequestWaitForResponse() response timeout={}s occured for request {} "
    "target:{}";
inline constexpr const char* progressSeen =
    "[DEBUG] VelS::sendRequestWaitForResponse() Rx progress.";
inline constexpr const char* responseIgnored = "[DEBUG] VelS::velpBusProxyCb() Ignore id={}";
inline constexpr const char* progressReceived = "[DEBUG] VelS::velpBusProxyCb() Rx Progress";
inline constexpr const char* finalReceived =
    "[DEBUG] VelS::velpBusProxyCb() Rx finished, status = {}";
inline constexpr const char* faultSent =
    "[INFO] VelS::sendSysMsgErrorLog() Tx done({}) to:{} msg: {}";

// What the sender sends.
inline constexpr const char* wrongLength = "Invalid request length={}. Must be=2";
inline constexpr const char* notSet = "NotSet";
inline constexpr const char* faultManagement = "FaultManagement";

// The handler's lines.
inline constexpr const char* stateSet = "[DEBUG] VelH::setRequestStateNoLock() {}: {}";
inline constexpr const char* idNotFound =
    "[WARNING] VelH::setRequestStateNoLock() msgID {} not found";
inline constexpr const char* requestQueued =
    "[DEBUG] VelH::velpBusProxyCb() queue request from \"{}\"";
inline constexpr const char* requestBusy = "[DEBUG] VelH::velpBusProxyCb() request busy";
inline constexpr const char* requestNotAvailable =
    "[DEBUG] VelH::velpBusProxyCb() request not available";
inline constexpr const char* responseDropped =
    "[DEBUG] VelH::velpBusProxyCb() response ignored id {} from \"{}\"";
inline constexpr const char* responseQueued =
    "[DEBUG] VelH::velpBusProxyCb() queue response from \"{}\"";
inline constexpr const char* busInformation =
    "[INFO] VelH::velpBusProxyStatusCb() info: code={}, info={}";
inline constexpr const char* busWarning = "[WARNING] VelH::velpBusProxyStatusCb() {}";
inline constexpr const char* busError =
    "[ERROR] VelH::velpBusProxyStatusCb() error: code={}, info={}";
inline constexpr const char* workerWaits = "[DEBUG] VelH::threadCode() threadCode: wait";
inline constexpr const char* workerWoken =
    "[DEBUG] VelH::threadCode() threadCode: done wait, running={}, reqsize={}, ressize={}";
inline constexpr const char* requestCallback =
    "[DEBUG] VelH::threadCode() threadCode: request callback";
inline constexpr const char* requestDone =
    "[DEBUG] VelH::threadCode() threadCode: request callback done, state={}";
inline constexpr const char* responseCallback =
    "[DEBUG] VelH::threadCode() threadCode: response callback";
inline constexpr const char* responseDone =
    "[DEBUG] VelH::threadCode() threadCode: response callback done";
inline constexpr const char* handlerStops = "[DEBUG] VelH::stop() stop";
inline constexpr const char* handlerStopped = "[DEBUG] VelH::stop() done ";

// Names of the handler: of request states by their value, and of the worker.
inline constexpr const char* states[] = {"NOT_AVAILABLE", "AVAILABLE", "BUSY", "INVALID"};
inline constexpr const char* workerThread = "velp-worker";

// The progress handler's lines.
inline constexpr const char* progressStart = "[DEBUG] PHR::start() ";
inline constexpr const char* stillActive = "[ERROR] PHR::start() Still active. return";
inline constexpr const char* progressTick = "[DEBUG] PHR::sendProcessing() {} {}: {}% Info:{}";
inline constexpr const char* progressUpdate = "[DEBUG] PHR::update() ";
inline constexpr const char* updateSent = "[DEBUG] PHR::update() Send to:{} Info:{}";
inline constexpr const char* updateNotActive = "[ERROR] PHR::update() Not active. return";
inline constexpr const char* progressInfo = "[DEBUG] PHR::updateInfo() ";
inline constexpr const char* infoSent = "[DEBUG] PHR::updateInfo() Send to:{} Info:{}";
inline constexpr const char* infoNotActive = "[ERROR] PHR::updateInfo() Not active. return";
inline constexpr const char* progressStop = "[DEBUG] PHR::stop() ";

// The step texts by index.
inline constexpr const char* steps[] = {
    "No info",
    "Delete files",
    "Clean reference database",
    "Clean no more needed configuration backups",
    "Copy data",
    "Check all system files in rdb",
    "checkAllRdbEntriesOnSystem=OK",
    "checkAllRdbEntriesOnSystem=NOK",
    "checkAllRdbEntriesOnSystem",
    "Check All RDB summaries",
    "Check summaries=OK",
    "Check summaries=NOK",
    "Creating Offline dirs...",
    "Copying all data...",
    "Copy all files finished",
    "Making additional Cfg files...",
    "Syncing file system...",
    "Sync file system done",
    "Create LogReport",
    "Init environment to process LogReport data",
    "Copy system data to LogReport data",
    "Copy fault memory content to LogReport",
    "Copy Reference data base to LogReport",
    "Write the system information to LogReport",
    "Copy Configuration to LogReport",
    "Unzipping Configuration...",
    "Zip LogReport files",
    "Cleanup",
    "LogReport creation finished",
    "Check given file/folder setup",
    "Verification complete",
    "Delete files complete",
    "Make Offline Data Set Files",
    "Update completed successfully",
};

// The line of a request to remove all.
inline constexpr const char* removeAll = "[INFO] VelH::getRequest() request: mode=all";

// What conditions throw.
inline constexpr const char* conditionNotCreated = "cannot create condition";
inline constexpr const char* conditionNotDestroyed = "cannot destroy condition";
inline constexpr const char* conditionNotSignalled = "cannot signal condition";
inline constexpr const char* conditionNotAwaited = "cannot wait for condition with timeout";

}  // namespace texts

/// The text with each {} replaced, in their order, by `parts` as a stream writes them.
template <typename... Parts>
std::string filled(std::string text, const Parts&... parts) {
  std::size_t from = 0;
  const auto put = [&text, &from](const auto& part) {
    std::ostringstream written;
    written << part;
    const std::size_t mark = text.find("{}", from);
    if (mark == std::string::npos) {
      from = text.size();
      text += " and more: " + written.str();
      return;
    }
    text.replace(mark, 2, written.str());
    from = mark + written.str().size();
  };
  (put(parts), ...);
  return text;
}

}  // namespace velp::test
