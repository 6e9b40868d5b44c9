// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The wrappers of the bus proxy's operations, named as the linker's --wrap option wants them.
#include "Registrations.h"

#include <set>
#include <sstream>
#include <utility>

#include "velp/bus/VelpBusProxy.h"
#include "velpmsg/VelpMsgHandler.h"

namespace velp::test {

Registrations& registrations() {
  static Registrations& instance = *new Registrations;
  return instance;
}

std::vector<std::string> Registrations::all() const {
  std::lock_guard<std::mutex> locker(mutex);
  return calls;
}

void Registrations::clear() {
  std::lock_guard<std::mutex> locker(mutex);
  calls.clear();
  hooks.clear();
}

void Registrations::before(const std::string& operation, std::function<void()> hook) {
  std::lock_guard<std::mutex> locker(mutex);
  hooks[operation] = std::move(hook);
}

void Registrations::note(const std::string& operation, const std::string& text) {
  {
    std::lock_guard<std::mutex> locker(mutex);
    calls.push_back(operation + text);
  }
  runHook(operation);
}

void Registrations::runHook(const std::string& operation) {
  std::function<void()> hook;
  {
    std::lock_guard<std::mutex> locker(mutex);
    hook = hooks[operation];
  }
  if (hook) hook();
}

namespace {

void noteOfHandler(const VelpBusProxyCallback& callback, const char* operation,
                   const std::string& text = "") {
  if (dynamic_cast<const VelpMsgHandler*>(&callback) == nullptr) return;
  registrations().note(operation, text);
}

std::string inHexadecimal(const std::set<msgid_t>& filter) {
  std::ostringstream text;
  for (const msgid_t kind : filter) text << ' ' << std::hex << kind;
  return text.str();
}

}  // namespace
}  // namespace velp::test

using velp::test::inHexadecimal;
using velp::test::noteOfHandler;
using velp::test::registrations;

void realSetRxFilter(VelpBusProxy*, VelpBusProxyCallback&, const std::set<msgid_t>&) asm(
    "__real__ZN12VelpBusProxy11setRxFilterER20VelpBusProxyCallbackRKSt3setIjSt4lessIjESaIjEE");
void setRxFilter(VelpBusProxy*, VelpBusProxyCallback&, const std::set<msgid_t>&) asm(
    "__wrap__ZN12VelpBusProxy11setRxFilterER20VelpBusProxyCallbackRKSt3setIjSt4lessIjESaIjEE");
void setRxFilter(VelpBusProxy* proxy, VelpBusProxyCallback& callback,
                 const std::set<msgid_t>& filter) {
  noteOfHandler(callback, "setRxFilter", inHexadecimal(filter));
  realSetRxFilter(proxy, callback, filter);
}

void realSetCallBack(VelpBusProxy*, VelpBusProxyCallback&) asm(
    "__real__ZN12VelpBusProxy11setCallBackER20VelpBusProxyCallback");
void setCallBack(VelpBusProxy*, VelpBusProxyCallback&) asm(
    "__wrap__ZN12VelpBusProxy11setCallBackER20VelpBusProxyCallback");
void setCallBack(VelpBusProxy* proxy, VelpBusProxyCallback& callback) {
  noteOfHandler(callback, "setCallBack");
  realSetCallBack(proxy, callback);
}

void realRemoveCallBack(VelpBusProxy*, VelpBusProxyCallback&) asm(
    "__real__ZN12VelpBusProxy14removeCallBackER20VelpBusProxyCallback");
void removeCallBack(VelpBusProxy*, VelpBusProxyCallback&) asm(
    "__wrap__ZN12VelpBusProxy14removeCallBackER20VelpBusProxyCallback");
void removeCallBack(VelpBusProxy* proxy, VelpBusProxyCallback& callback) {
  noteOfHandler(callback, "removeCallBack");
  realRemoveCallBack(proxy, callback);
}

bool realSendTo(VelpBusProxy*, const std::string&, const MessageBase&) asm(
    "__real__ZN12VelpBusProxy6sendToERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
    "RK11MessageBase");
bool sendTo(VelpBusProxy*, const std::string&, const MessageBase&) asm(
    "__wrap__ZN12VelpBusProxy6sendToERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
    "RK11MessageBase");
bool sendTo(VelpBusProxy* proxy, const std::string& target, const MessageBase& message) {
  registrations().runHook("sendTo");
  return realSendTo(proxy, target, message);
}

void realWrite(const char*, const char*, const char*, const std::string&) asm(
    "__real__ZN7LogUtil5writeEPKcS1_S1_RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
void writeLine(const char*, const char*, const char*, const std::string&) asm(
    "__wrap__ZN7LogUtil5writeEPKcS1_S1_RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
void writeLine(const char* level, const char* tag, const char* function, const std::string& text) {
  registrations().runHook("write");
  realWrite(level, tag, function, text);
}
