// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A request ID of a handler: one request at a time is served, and none is forgotten.
//
// The callback returns AVAILABLE, or BUSY and lets another thread of the service say later that the
// ID is available.
//
// Built with -DTWO_STEPS the test of the state and its change are two steps: the search then finds
// a request that is taken while another is. Built with -DOVERTAKE the other thread does not care
// whether the callback has returned, whose result then stands last: the search finds an ID that
// stays busy.
#define CLIENTS 2
#define REQUESTS 2

mtype = { AVAILABLE, BUSY };

mtype state = AVAILABLE;
bool locked, waiting;              // the handler's mutex, and whether its worker sleeps
byte queued, served, refused;
byte inService;                    // requests taken and not answered yet
chan later = [1] of { bit };       // work that the callback leaves to a thread of the service
bool returned;                     // whether its result is the state

#define lock() atomic { !locked -> locked = true }
#define unlock() locked = false

// Each on the reception thread of its own transport, which is worse than what there is.
active [CLIENTS] proctype reception() {
  byte sent;
  bool take;
  do
  :: sent == REQUESTS -> break
  :: else ->
    sent++;
    lock();
    take = (state == AVAILABLE);
#ifdef TWO_STEPS
    unlock();
    lock();
#endif
    if
    :: take ->
      state = BUSY;
      inService++;
      assert(inService == 1);
      queued++;
      waiting = false;  // the signal
      unlock()
    :: else ->
      unlock();
      atomic { refused++ }
    fi
  od
}

inline answer() {
  atomic {
    inService--;
    served++
  }
}

active proctype worker() {
  mtype result;
end:
  do
  :: lock();
    if
    :: queued == 0 ->
      atomic { waiting = true; unlock() };
endIdle:
      !waiting;
      lock()
    :: else -> skip
    fi;
    do
    :: queued == 0 -> break
    :: else ->
      queued--;
      returned = false;
      unlock();
      // The callback.
      if
      :: answer(); result = AVAILABLE
      :: later ! 1; result = BUSY
      fi;
      lock();
      state = result;
      returned = true
    od;
    unlock()
  od
}

// Answers what the callback left, and frees the ID once the callback has returned.
active proctype service() {
endService:
  do
  :: later ? 1;
    answer();
#ifndef OVERTAKE
    returned;
#endif
    lock();
    state = AVAILABLE;
    unlock()
  od
}

// Nothing is left over when nothing moves any more.
active proctype account() {
  timeout;
  assert(queued == 0 && inService == 0);
  assert(served + refused == CLIENTS * REQUESTS);
  assert(state == AVAILABLE)
}
