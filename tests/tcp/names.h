#ifndef TVL_TESTS_TCP_NAMES_H
#define TVL_TESTS_TCP_NAMES_H

// What the system answers when it is asked for names: in this test program the computer is "A.example", the
// user is "b", and the host "several.test" has the addresses 127.0.0.9, where nobody listens, ::1 and
// 127.0.0.1.

// As long as this lives computer and user have no names.
class NoNames {
 public:
  NoNames();
  ~NoNames();
  NoNames(const NoNames&) = delete;
  NoNames& operator=(const NoNames&) = delete;
};

#endif
