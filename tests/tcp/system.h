#ifndef TVL_TESTS_TCP_SYSTEM_H
#define TVL_TESTS_TCP_SYSTEM_H

// The system as seen by this test program. The computer is "A.example", the user is "b", there is no host
// "nowhere.test", and the host "several.test" has the addresses 255.255.255.255, where a connect fails at
// once, 127.0.0.9, where nobody listens, ::1 and 127.0.0.1.

// While true, this thread has no names of computer and user, or no memory from `new`.
extern constinit thread_local bool lacks_names;
extern constinit thread_local bool lacks_memory;

#endif
