#ifndef TVLCLIENT_STORE_H
#define TVLCLIENT_STORE_H

// Stores as such, rather than the files in them; an addition of this implementation. C knows this header too.

// What a lock or an unlock found or did: the value that it stores in `state`.
enum TVL_LOCK_STATE {
  TVL_LOCK_FREE = 0,            // no one has the lock, or the lock table cannot be used
  TVL_LOCK_OWN = 1,             // this connection has it
  TVL_LOCK_OTHER_INSTANCE = 2,  // another instance on this computer has it
  TVL_LOCK_OTHER_COMPUTER = 3   // an instance on another computer has it
};

// The longest name that an object can have, in bytes.
enum { TVL_LONGEST_OBJECT = 32 };

#endif
