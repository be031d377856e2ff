#include <gtest/gtest.h>

#include "tcp/connection.h"
#include "tcp/peer.h"

namespace {

// What no server offers: code 1, nothing is sent, and nothing changes but the counts and lists that are
// cleared.
TEST(TcpConnection, RefusesWhatNoServerOffers) {
  Server server(AnswersLocks({}));
  Connection opr;
  ASSERT_EQ(opr.Connect(server.Port()), 0);
  CTVLClientOpr& base = opr;
  Arg a("a");
  Arg b("b");
  const auto none = SYNC_DIR_FILE_EXCLUDE_NONE;
  int number = 7;
  unsigned int total = 7;
  CString text = "text";
  const int results[] = {base.Open(a, b, a),
                         base.CopyRemoteFile2Dir(a, b),
                         base.ExistsRemote(a),
                         base.GetRemoteDirContent(a, b, &number, text),
                         base.CreateServerDir(a),
                         base.DeleteServerDir(a),
                         base.DeleteServerFile(a),
                         base.RenameServerFile(a, b),
                         base.CopyServer2Server(a, b, 1),
                         base.CopyServerDir2ServerDir(a, b, nullptr, nullptr),
                         base.CopyRemoteDir2LocalDir(a, b, nullptr, nullptr),
                         base.CopyLocalDir2RemoteDir(a, b, nullptr, nullptr),
                         base.CopyLocalFile2RemoteFile(a, b),
                         base.SyncDirOpenGetRemote(a, b, a, none, &total),
                         opr.SyncDirOpenGetRemote(a, b, none, &total),
                         opr.SyncDirOpenGetRemote(a, b, a, &total),
                         opr.SyncDirOpenGetRemote(a, b, &total),
                         base.SyncDirOpenPutRemote(a, b, a, none, &total),
                         opr.SyncDirOpenPutRemote(a, b, none, &total),
                         opr.SyncDirOpenPutRemote(a, b, a, &total),
                         opr.SyncDirOpenPutRemote(a, b, &total),
                         base.SyncDirSyncronize(nullptr, nullptr),
                         base.CTFileInit(a, number, 1, 1, 1),
                         base.CTFileOpen(a, number, number, number, number),
                         base.CTFileClose(1),
                         base.CTFileRead(1, 0, number, a, 1, nullptr),
                         base.CTFileWrite(1, 0, 1, nullptr),
                         base.CTFileDelete(1, 0, a),
                         base.GetEnviron("a", "b", text),
                         base.PutEnviron("a", "b")};
  for (const int& result : results) EXPECT_EQ(result, 1) << &result - results;
  EXPECT_EQ(number, 7);
  EXPECT_EQ(total, 7U);
  EXPECT_STREQ(text, "text");
  EXPECT_EQ(base.GetProcessesList(a, number, text), 1);
  EXPECT_EQ(number + text.GetLength(), 0);
  number = 7;
  text = "text";
  EXPECT_EQ(base.GetUpdatePacks(a, number, text), 1);
  EXPECT_EQ(number + text.GetLength(), 0);
  EXPECT_EQ(base.DocumentRoot(), nullptr);
  EXPECT_EQ(opr.VersionNumber(nullptr, nullptr), 0U);
  for (const char* field : {opr.ComputerName(), opr.User(), opr.UpdateDir(), opr.VersionFile()})
    EXPECT_STREQ(field, "");
}

}  // namespace
