// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Makes a class the one instance of its kind in the process.
#pragma once

#include "velp/runtime/Mutex.h"
#include "velp/runtime/MutexLocker.h"

/// Base of a class T of which a process has exactly one object, made on first use and deleted when
/// the program exits.
///
/// A library that offers T to others declares `extern template class Singleton<T>` in T's header
/// and instantiates it, exported, in one source file: otherwise each shared object would have an
/// instance of its own.
///
/// Threads:  getInstance() from any thread.
/// Blocks:   only while another thread makes the instance.
/// Owns:     the instance.
/// Fails:    as T's constructor does; the next call tries again.
template <typename T>
class Singleton {
 public:
  /// The one T. Takes no lock once the instance exists.
  static T* getInstance();

  Singleton(const Singleton&) = delete;
  Singleton& operator=(const Singleton&) = delete;

 protected:
  Singleton() = default;
  virtual ~Singleton() = default;

  /// A lock for the derived class's own use.
  Mutex mutex;

 private:
  // Deletes the instance at exit.
  class Monitor {
   public:
    ~Monitor();
  };

  static T* pInstance;
  static Mutex instanceMutex;
};

template <typename T>
T* Singleton<T>::pInstance = nullptr;

template <typename T>
Mutex Singleton<T>::instanceMutex;

template <typename T>
T* Singleton<T>::getInstance() {
  static Monitor monitor;
  // Read and written atomically: the fast path reads it without the lock.
  T* instance = __atomic_load_n(&pInstance, __ATOMIC_ACQUIRE);
  if (instance == nullptr) {
    MutexLocker locker(instanceMutex);
    instance = pInstance;
    if (instance == nullptr) {
      instance = new T;
      __atomic_store_n(&pInstance, instance, __ATOMIC_RELEASE);
    }
  }
  return instance;
}

template <typename T>
Singleton<T>::Monitor::~Monitor() {
  // Threads that still run may read pInstance, so it is accessed atomically here too.
  delete static_cast<Singleton<T>*>(__atomic_load_n(&pInstance, __ATOMIC_ACQUIRE));
  __atomic_store_n(&pInstance, nullptr, __ATOMIC_RELEASE);
}
