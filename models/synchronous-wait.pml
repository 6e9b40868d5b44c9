// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The synchronous request: no time-out is reported for a request whose answer has come.
//
// The client tests `finished` under the lock of the record and waits under the lock of the
// condition, so a signal can fall between the two. Built with -DFORGET_SIGNAL the condition does
// what POSIX promises and no more: the search then finds the false time-out.
//
// Time passes when nothing else can: whoever still sleeps then has run out of it.
#define REQUESTS 2
#define PROGRESS 1

bool recordLocked, waitLocked;     // the two mutexes
bool awaited, finished;             // the record
byte waiters, signals;             // the condition's counts
bool signalKept, sleeping;         // its memory, and whether the client sleeps in it
chan requests = [1] of { bit };

#define lock(mutex) atomic { !mutex -> mutex = true }
#define unlock(mutex) mutex = false

// Returns into `timedOut`. Called, and left, with waitLocked.
inline timedWait() {
  timedOut = false;
  if
  :: signalKept -> signalKept = false
  :: else ->
    waiters++;
    before = signals;
    unlock(waitLocked);
    // Yields, as long as it likes or not at all, and may see a signal.
    lock(waitLocked);
    if
    :: signals != before -> skip
    :: else ->
      atomic { sleeping = true; waitLocked = false };
      if
      :: !sleeping -> skip
      :: timeout -> sleeping = false; timedOut = true
      fi;
      lock(waitLocked)
    fi;
    waiters--
  fi
}

inline signal() {
#ifndef FORGET_SIGNAL
  if
  :: waiters == 0 -> signalKept = true
  :: else -> skip
  fi;
#endif
  signals = (signals + 1) % 8;
  sleeping = false
}

inline wakeWaiter() {
  lock(waitLocked);
  signal();
  unlock(waitLocked)
}

active proctype client() {
  byte asked, before;
  bool seen, timedOut;
  do
  :: asked == REQUESTS -> break
  :: else ->
    asked++;
    lock(recordLocked);
    finished = false;
    awaited = true;
    unlock(recordLocked);
    requests ! 1;
    do
    :: lock(recordLocked);
      seen = finished;
      unlock(recordLocked);
      if
      :: seen -> break
      :: else -> skip
      fi;
      lock(waitLocked);
      timedWait();
      unlock(waitLocked);
      assert(!timedOut)
    od;
    lock(recordLocked);
    awaited = false;
    unlock(recordLocked)
  od
}

// Answers each request, after some progress.
active proctype reception() {
  byte answered, told;
  do
  :: answered == REQUESTS -> break
  :: else ->
    requests ? 1;
    told = 0;
    do
    :: told < PROGRESS -> told++; wakeWaiter()
    :: break
    od;
    lock(recordLocked);
    assert(awaited);
    finished = true;
    unlock(recordLocked);
    wakeWaiter();
    answered++
  od
}
