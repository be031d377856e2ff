#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <iterator>
#include <string>

#include <tvlclient/tvlclient.h>

#include "support/arg.h"

namespace {

using Opr = CTVLClientOpr;

// Index of a virtual operation in the table of its class. By the C++ ABI of this platform a pointer to one
// holds its offset there, marked by one bit, in its first or second word.
template <typename Operation>
std::size_t SlotOf(Operation operation) {
  std::ptrdiff_t words[2] = {};
  static_assert(sizeof operation == sizeof words);
  std::memcpy(words, &operation, sizeof words);
  const std::ptrdiff_t offset = (words[1] & 1) != 0 ? words[0] : words[0] - 1;
  return static_cast<std::size_t>(offset) / sizeof(void*);
}

// Programs that were built against the interface call by slot, so no slot may move. The destructor has the
// first two.
TEST(Interface, OperationsHaveTheirSlots) {
  using Sync = int (Opr::*)(char*, char*, char*, SYNC_DIR_FILE_EXCLUDE, unsigned int*);
  const std::size_t slots[] = {
      SlotOf(static_cast<int (Opr::*)(char*, char*, char*, unsigned int, char*, char*)>(&Opr::Open)),
      SlotOf(static_cast<int (Opr::*)(char*, char*, char*)>(&Opr::Open)),
      SlotOf(&Opr::Close),
      SlotOf(&Opr::Lock),
      SlotOf(&Opr::Unlock),
      SlotOf(&Opr::GetProcessesList),
      SlotOf(&Opr::GetRemote),
      SlotOf(&Opr::CopyRemoteFile2Dir),
      SlotOf(&Opr::ExistsRemote),
      SlotOf(&Opr::PutRemote),
      SlotOf(&Opr::GetRemoteDirContent),
      SlotOf(&Opr::CreateServerDir),
      SlotOf(&Opr::DeleteServerDir),
      SlotOf(&Opr::DeleteServerFile),
      SlotOf(&Opr::RenameServerFile),
      SlotOf(&Opr::CopyServer2Server),
      SlotOf(&Opr::CopyServerDir2ServerDir),
      SlotOf(&Opr::CopyRemoteDir2LocalDir),
      SlotOf(&Opr::CopyLocalDir2RemoteDir),
      SlotOf(&Opr::CopyLocalFile2RemoteFile),
      SlotOf(static_cast<Sync>(&Opr::SyncDirOpenGetRemote)),
      SlotOf(static_cast<Sync>(&Opr::SyncDirOpenPutRemote)),
      SlotOf(&Opr::SyncDirSyncronize),
      SlotOf(&Opr::CTFileInit),
      SlotOf(&Opr::CTFileOpen),
      SlotOf(&Opr::CTFileClose),
      SlotOf(&Opr::CTFileRead),
      SlotOf(&Opr::CTFileWrite),
      SlotOf(&Opr::CTFileDelete),
      SlotOf(&Opr::GetEnviron),
      SlotOf(&Opr::PutEnviron),
      SlotOf(&Opr::DocumentRoot),
      SlotOf(&Opr::GetUpdatePacks),
  };
  EXPECT_EQ(std::size(slots), 33U);
  for (std::size_t i = 0; i < std::size(slots); ++i) EXPECT_EQ(slots[i], i + 2);
}

// A subclass with accessible fields, to test the base class.
class Probe : public CTVLClientSmbOpr {
 public:
  explicit Probe(unsigned int version) { versionNumber = version; }

  using CTVLClientSmbOpr::SyncDirOpenGetRemote;
  using CTVLClientSmbOpr::SyncDirOpenPutRemote;
  int SyncDirOpenGetRemote(char* remote, char* local, char* pattern, SYNC_DIR_FILE_EXCLUDE exclude,
                           unsigned int* /*total*/) override {
    asked = std::string("get ") + remote + " " + local + " " + pattern + " " + std::to_string(exclude);
    return 5;
  }
  int SyncDirOpenPutRemote(char* remote, char* local, char* pattern, SYNC_DIR_FILE_EXCLUDE exclude,
                           unsigned int* /*total*/) override {
    asked = std::string("put ") + remote + " " + local + " " + pattern + " " + std::to_string(exclude);
    return 6;
  }

  std::string asked;
};

TEST(BaseClass, SplitsTheVersionNumber) {
  unsigned int major = 0;
  int minor = 0;
  EXPECT_EQ(Probe(2004017).VersionNumber(&major, &minor), 2004017U);
  EXPECT_EQ(major, 2U);
  EXPECT_EQ(minor, 4017);
  EXPECT_EQ(Probe(4294967295U).VersionNumber(&major, nullptr), 4294967295U);
  EXPECT_EQ(major, 4294U);
}

TEST(BaseClass, ShortFormsAddDefaults) {
  Probe probe(0);
  unsigned int total = 0;
  EXPECT_EQ(probe.SyncDirOpenGetRemote(Arg("r"), Arg("l"), SYNC_DIR_FILE_EXCLUDE_PDF, &total), 5);
  EXPECT_EQ(probe.asked, "get r l *.* 4");
  EXPECT_EQ(probe.SyncDirOpenGetRemote(Arg("r"), Arg("l"), Arg("*.x"), &total), 5);
  EXPECT_EQ(probe.asked, "get r l *.x 0");
  EXPECT_EQ(probe.SyncDirOpenGetRemote(Arg("d"), Arg("*.x"), &total), 5);
  EXPECT_EQ(probe.asked, "get d d *.x 0");
  EXPECT_EQ(probe.SyncDirOpenPutRemote(Arg("r"), Arg("l"), SYNC_DIR_FILE_EXCLUDE_PDF, &total), 6);
  EXPECT_EQ(probe.asked, "put r l *.* 4");
  EXPECT_EQ(probe.SyncDirOpenPutRemote(Arg("r"), Arg("l"), Arg("*.x"), &total), 6);
  EXPECT_EQ(probe.asked, "put r l *.x 0");
  EXPECT_EQ(probe.SyncDirOpenPutRemote(Arg("d"), Arg("*.x"), &total), 6);
  EXPECT_EQ(probe.asked, "put d d *.x 0");
}

}  // namespace
