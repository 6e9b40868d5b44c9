// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the report service and its clients say to each other: the request, its answer, the errors.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "velpmsg/VelpMsgSender.h"

/// Asks for an archive of the regular files below a directory. The payload is one string field with
/// a 2-byte length: the directory, relative to the service's root or absolute and inside it. Empty,
/// as is a payload without any byte, means the root.
constexpr auto MSG_PACK = static_cast<VelpClientMessageBase::velpMsgID_t>(1001);

/// Why a report could not be made; each code comes with a text. Codes up to 7 are the library's.
enum reportError_t : std::uint32_t {
  REPORT_BAD_REQUEST = 8,     ///< the payload is not one string field, or no path
  REPORT_OUTSIDE_ROOT = 9,    ///< the path leads, or might lead, out of the service's root
  REPORT_NO_DIRECTORY = 10,   ///< there is no directory at the path, or it cannot be opened
  REPORT_CANNOT_WRITE = 11,   ///< the archive could not be written; nothing of it is left
  REPORT_SERVICE_ENDING = 12  ///< the service was told to end; nothing of the archive is left
};

/// Ends the making of a report, with the answer that the requester gets.
struct ReportError : std::runtime_error {
  ReportError(reportError_t code, const std::string& text) : std::runtime_error(text), code(code) {}
  reportError_t code;
};

/// The answer: a string field with a 2-byte length (the archive's absolute path), then its size in
/// bytes (8 bytes), the number of files in it and of those left out as unreadable (4 bytes each).
/// Numbers are big-endian.
struct Report {
  std::string archive;
  std::uint64_t size = 0;
  std::uint32_t files = 0;
  std::uint32_t unreadable = 0;
};

/// The payload of a request for `path`, which has at most 65,535 bytes.
std::vector<unsigned char> packRequestPayload(const std::string& path);
/// The path that a request asks for. Throws ReportError when the payload is malformed.
std::string packRequestPath(const VelpClientMessageRequest& request);

std::vector<unsigned char> reportPayload(const Report& report);
/// Returns false and leaves `report` unchanged when the payload is not exactly one report.
bool readReport(const VelpClientMessageResponse& response, Report& report);
