#include <cstddef>
#include <map>

#include <tvlclient/tvlclient.h>

#include "support/testing.h"

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

template <typename... Operations>
std::vector<std::size_t> SlotsOf(Operations... operations) {
  return {SlotOf(operations)...};
}

// Programs that were built against the interface call by slot, so no slot may move. The destructor has the
// first two.
TEST(Interface, OperationsHaveTheirSlots) {
  using Sync = int (Opr::*)(char*, char*, char*, SYNC_DIR_FILE_EXCLUDE, unsigned int*);
  const std::vector<std::size_t> slots =
      SlotsOf(static_cast<int (Opr::*)(char*, char*, char*, unsigned int, char*, char*)>(&Opr::Open),
              static_cast<int (Opr::*)(char*, char*, char*)>(&Opr::Open), &Opr::Close, &Opr::Lock,
              &Opr::Unlock, &Opr::GetProcessesList, &Opr::GetRemote, &Opr::CopyRemoteFile2Dir,
              &Opr::ExistsRemote, &Opr::PutRemote, &Opr::GetRemoteDirContent, &Opr::CreateServerDir,
              &Opr::DeleteServerDir, &Opr::DeleteServerFile, &Opr::RenameServerFile, &Opr::CopyServer2Server,
              &Opr::CopyServerDir2ServerDir, &Opr::CopyRemoteDir2LocalDir, &Opr::CopyLocalDir2RemoteDir,
              &Opr::CopyLocalFile2RemoteFile, static_cast<Sync>(&Opr::SyncDirOpenGetRemote),
              static_cast<Sync>(&Opr::SyncDirOpenPutRemote), &Opr::SyncDirSyncronize, &Opr::CTFileInit,
              &Opr::CTFileOpen, &Opr::CTFileClose, &Opr::CTFileRead, &Opr::CTFileWrite, &Opr::CTFileDelete,
              &Opr::GetEnviron, &Opr::PutEnviron, &Opr::DocumentRoot, &Opr::GetUpdatePacks);
  std::size_t next = 2;
  for (const std::size_t slot : slots) EXPECT_EQ(slot, next++);
}

// The texts that the interface requires, each after its code, in the encoding of the clients.
TEST(ErrorTexts, MatchTheirCodes) {
  std::map<int, string> texts;
  std::ifstream file(TVL_ERROR_TEXTS);
  string text;
  for (int code = 0; file >> code && std::getline(file, text);) texts[code] = text.substr(1);
  ASSERT_EQ(texts.size(), 28U);
  for (int code = -100; code < 300; ++code) {
    const auto row = texts.find(code);
    text = row == texts.end() ? "Errore sconosciuto" : row->second;
    EXPECT_EQ(TVLGetErrorString(code), text) << code;
    EXPECT_EQ(text + " [errore #" + std::to_string(code) + "]", TVLFormatError(code).GetString());
  }
  EXPECT_STREQ(TVLFormatError(-2147483647 - 1), "Errore sconosciuto [errore #-2147483648]");
}

}  // namespace
