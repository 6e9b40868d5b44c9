// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A name on a local bus: never has two owners, however its processes start, leave and die.
//
// Built with -DWITHOUT_LOCK a starter asks whether the socket that stands in its place answers, and
// removes it if not: the search then finds two owners. Built with -DUNLOCK_FIRST the lock is given
// back before the socket is removed: the search finds somebody else's socket removed.
#define PROCESSES 3
#define LIVES 2

#define nobody 255
byte holder = nobody;         // of the lock, which the kernel drops when its process ends
byte inPlace = nobody;        // whose socket stands under the name
bool listening[PROCESSES];    // whether that socket still answers
byte owners;

inline own(self) {
  owners++;
  assert(owners == 1)
}

// The kernel takes everything but the socket's file.
inline die(self) {
  atomic {
    if
    :: owning -> owners--; owning = false
    :: else -> skip
    fi;
    listening[self] = false;
    if
    :: holder == self -> holder = nobody
    :: else -> skip
    fi
  }
}

inline unlock(self) {
  atomic {
    if
    :: holder == self -> holder = nobody
    :: else -> skip
    fi
  }
}

#define mayDie if :: die(_pid); goto ended :: skip fi

active [PROCESSES] proctype participant() {
  byte lives;
  bool owning, answers;
  do
  :: lives == LIVES -> break
  :: else ->
    lives++;
#ifdef WITHOUT_LOCK
    atomic { answers = (inPlace != nobody && listening[inPlace]) };
    if
    :: answers -> goto ended
    :: else -> skip
    fi;
#else
    atomic {
      if
      :: holder == nobody -> holder = _pid
      :: else -> goto ended
      fi
    };
#endif
    mayDie;
    inPlace = nobody;  // removes a stale socket
    mayDie;
    // Binds, which fails when a socket stands there.
    atomic {
      if
      :: inPlace == nobody -> inPlace = _pid
      :: else -> die(_pid); goto ended
      fi
    };
    mayDie;
    atomic {
      listening[_pid] = true;
      owning = true;
      own(_pid)
    };
    mayDie;
    // Leaves. The socket is removed by its name, whosever it is.
#ifdef UNLOCK_FIRST
    unlock(_pid);
#endif
    atomic {
#ifndef WITHOUT_LOCK
      assert(inPlace == _pid);
#endif
      inPlace = nobody;
      owners--;
      owning = false
    };
    mayDie;
    listening[_pid] = false;
    mayDie;
    unlock(_pid);
ended:
    skip
  od
}
