// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Payloads come from strangers: every length is compared with what is there.
#include "ReportProtocol.h"

#include <limits.h>

#include <cstddef>

namespace {

constexpr std::size_t prefix = 2;
constexpr std::size_t numbers = 8 + 4 + 4;

void append(std::vector<unsigned char>& bytes, std::uint64_t number, unsigned int width) {
  for (unsigned int i = width; i > 0; --i) {
    bytes.push_back(static_cast<unsigned char>(number >> (8 * (i - 1)) & 0xff));
  }
}

std::uint64_t numberAt(const std::vector<unsigned char>& bytes, std::size_t at, std::size_t width) {
  std::uint64_t number = 0;
  for (std::size_t i = at; i < at + width; ++i) number = number << 8 | bytes[i];
  return number;
}

}  // namespace

std::vector<unsigned char> packRequestPayload(const std::string& path) {
  std::vector<unsigned char> payload;
  VelpMsgSender::getInstance()->setString(payload, prefix, path);
  return payload;
}

std::string packRequestPath(const VelpClientMessageRequest& request) {
  const std::vector<unsigned char>& payload = request.getPayload();
  if (payload.empty()) return {};
  const bool whole =
      payload.size() >= prefix && payload.size() == prefix + numberAt(payload, 0, prefix);
  const std::string path = whole ? request.getString(0, prefix) : std::string();
  if (!whole || path.size() >= PATH_MAX || path.find('\0') != std::string::npos) {
    throw ReportError(REPORT_BAD_REQUEST, "the request's payload is not one path");
  }
  return path;
}

std::vector<unsigned char> reportPayload(const Report& report) {
  std::vector<unsigned char> payload;
  VelpMsgSender::getInstance()->setString(payload, prefix, report.archive);
  append(payload, report.size, 8);
  append(payload, report.files, 4);
  append(payload, report.unreadable, 4);
  return payload;
}

bool readReport(const VelpClientMessageResponse& response, Report& report) {
  const std::vector<unsigned char>& payload = response.getPayload();
  if (payload.size() < prefix + numbers) return false;
  const auto length = static_cast<std::size_t>(numberAt(payload, 0, prefix));
  if (payload.size() != prefix + length + numbers) return false;

  const std::size_t end = prefix + length;
  report.archive = response.getString(0, prefix);
  report.size = numberAt(payload, end, 8);
  report.files = static_cast<std::uint32_t>(numberAt(payload, end + 8, 4));
  report.unreadable = static_cast<std::uint32_t>(numberAt(payload, end + 12, 4));
  return true;
}
