// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A name on a local bus: never has two owners, however its processes start, leave and die.
//
// Built with -DWITHOUT_LOCK a starter asks whether the socket that stands in its place answers, and
// removes it if not: the search then finds two owners.
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

inline leave(self) {
  atomic {
    owners--;
    owning = false
  };
  atomic {
    if
    :: inPlace == self -> inPlace = nobody
    :: else -> skip
    fi
  };
  listening[self] = false;
  if
  :: holder == self -> holder = nobody
  :: else -> skip
  fi
}

active [PROCESSES] proctype participant() {
  byte lives;
  bool owning;
  bool answers;
  do
  :: lives == LIVES -> break
  :: else ->
    lives++;
#ifdef WITHOUT_LOCK
    atomic { answers = (inPlace != nobody && listening[inPlace]) };
    if
    :: answers -> goto refused
    :: else -> skip
    fi;
#else
    atomic {
      if
      :: holder == nobody -> holder = _pid
      :: else -> goto refused
      fi
    };
#endif
    if
    :: die(_pid); goto refused
    :: skip
    fi;
    inPlace = nobody;  // removes a stale socket
    if
    :: die(_pid); goto refused
    :: skip
    fi;
    // Binds, which fails when a socket stands there.
    atomic {
      if
      :: inPlace == nobody -> inPlace = _pid
      :: else -> die(_pid); goto refused
      fi
    };
    atomic {
      listening[_pid] = true;
      owning = true;
      own(_pid)
    };
    if
    :: die(_pid)
    :: assert(inPlace == _pid); leave(_pid)
    fi;
refused:
    skip
  od
}
