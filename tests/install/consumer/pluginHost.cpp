// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Loads the plugin given as argument and compares its sender with the program's own.

#include <dlfcn.h>
#include <velpmsg/VelpMsgSender.h>

#include <iostream>

int main(int, char** arguments) {
  void* plugin = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  if (plugin == nullptr) {
    std::cerr << dlerror() << "\n";
    return 1;
  }
  auto* senderOfPlugin = reinterpret_cast<void* (*)()>(dlsym(plugin, "senderOfPlugin"));
  return senderOfPlugin != nullptr && senderOfPlugin() == VelpMsgSender::getInstance() ? 0 : 1;
}
