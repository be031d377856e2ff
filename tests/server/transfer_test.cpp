#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <stdexcept>

#include "base/low_file.h"
#include "server/files/hash_cache.h"
#include "server/files/parts.h"
#include "server/files/put_file.h"
#include "server/files/store_root.h"
#include "server/server_process.h"
#include "server/threads.h"
#include "table/ctree_file.h"

namespace {

using std::string;
using tvl::server::HashCache;
using tvl::server::Parts;
using tvl::server::PutFile;
using tvl::server::StoreRoot;

string Noise(std::size_t size) {
  std::mt19937 random(7);  // NOLINT: the same bytes in every run
  string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

class ServerTransfer : public testing::Test {
 protected:
  const ServedStore store;
  const ServerProcess server{store};
  const RawClient client = server.Enter();
};

TEST_F(ServerTransfer, TransfersFilesOfEverySize) {
  for (const std::size_t size : {0, 1, 32759, 32760, 32761, 40894, 40895, 40896, 81790, 3000000}) {
    SCOPED_TRACE(size);
    const string bytes = Noise(size);
    ASSERT_EQ(client.Put("f", bytes), 0);
    EXPECT_TRUE(store.Read("f") == bytes);
    const RawClient::Fetched fetched = client.Get("f");
    EXPECT_EQ(fetched.code, 0);
    EXPECT_TRUE(fetched.bytes == bytes);
    struct stat status = {};
    ASSERT_EQ(stat(store.Path("f").c_str(), &status), 0);
    EXPECT_EQ(status.st_mtim.tv_nsec, 0);
  }
  EXPECT_EQ(store.Files(), (std::vector<string>{"f"}));
}

TEST_F(ServerTransfer, PutsNextToPartsOfServerWithSameProcessId) {
  for (int number = 0; number <= 150; ++number)
    store.Write("." + std::to_string(server.Pid()) + "." + std::to_string(number) + ".tvlpart", "");
  EXPECT_EQ(client.Put("f", "x"), 0);
}

TEST_F(ServerTransfer, SendsTheFileThatWasOpened) {
  const string old = Noise(200000);
  store.Write("f", old);
  const string first = client.Ask("Gf\t@");
  ASSERT_EQ(server.Enter().Put("f", "new"), 0);
  EXPECT_TRUE(client.Fetch(first).bytes == old);
  EXPECT_EQ(client.Get("f").bytes, "new");
}

TEST_F(ServerTransfer, ShrinkingFileIsNotSentAsComplete) {
  store.Write("f", Noise(500000));
  const string first = client.Ask("Gf\t@");
  EXPECT_EQ(first[0], '0');
  std::filesystem::resize_file(store.Path("f"), 50000);
  EXPECT_THROW(client.Fetch(first), std::runtime_error);
  EXPECT_TRUE(client.IsEnded());
}

TEST_F(ServerTransfer, DoesNotReplaceHeldFilesOrTables) {
  store.Write("f", "old");
  std::filesystem::permissions(store.Path("f"), std::filesystem::perms(04751));
  const string path = store.store.root + "f";
  {
    const tvl::LowFile holder(path.c_str(), kLowReadWrite);
    LowLock(holder.Handle(), 1, 0);
    EXPECT_EQ(client.Put("f", "new"), 22);
    LowLock(holder.Handle(), 0, 0);
  }
  {
    EXPECT_EQ(client.Ask("Pf\t@"), "0");
    const tvl::LowFile holder(path.c_str(), kLowReadWrite);
    LowLock(holder.Handle(), 1, 0);  // held while the put is in progress
    EXPECT_EQ(client.Ask("0new"), "0");
    EXPECT_EQ(client.Ask("0"), "22");
    LowLock(holder.Handle(), 0, 0);
  }
  EXPECT_EQ(store.Read("f"), "old");
  EXPECT_EQ(client.Put("f", "new"), 0);
  EXPECT_EQ(store.Read("f"), "new");
  // The old mode without the setuid bit.
  EXPECT_EQ(std::filesystem::status(store.Path("f")).permissions(), std::filesystem::perms(0751));
  if (chown(store.Path("f").c_str(), 12345, 23456) == 0) {
    EXPECT_EQ(client.Put("f", "newer"), 0);
    struct stat status = {};
    ASSERT_EQ(stat(store.Path("f").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 12345U);
    EXPECT_EQ(status.st_gid, 23456U);
    EXPECT_EQ(status.st_mode & 07777U, 0751U);
  }
  EXPECT_EQ(store.Files(), (std::vector<string>{"f"}));
  const string table = store.store.root + "t.dat";
  ASSERT_EQ(CCtreeFile::CreateFiles(table.c_str(), 40, 10, 0), 1);
  {
    const CCtreeFile open(table.c_str());
    EXPECT_EQ(client.Put("t.dat", "no table"), 22);
  }
  EXPECT_EQ(client.Put("t.dat", "no table"), 0);
}

TEST(ServerPut, RemovesFoldersCreatedByDroppedPuts) {
  const ServedStore store;
  const StoreRoot root(store.store.root_host, {}, store.Path("tvl.ini"));
  tvl::server::Gauge noted;
  Parts parts(store.Path("tmp"), noted);
  tvl::server::MadeFolders made_folders;
  const auto begin = [&](const char* name) {
    auto put =
        std::make_unique<PutFile>(PutFile::Shared{root, parts, made_folders}, PutFile::Limits{}, false);
    EXPECT_EQ(put->Find(name), 0);
    return put;
  };
  auto first = begin("new/folder/a");
  auto second = begin("new/folder/b");
  EXPECT_EQ(second->Begin(), 0);
  first.reset();
  EXPECT_TRUE(std::filesystem::exists(store.Path("new/folder")));
  second.reset();
  EXPECT_FALSE(std::filesystem::exists(store.Path("new")));
  first = begin("new/folder/a");
  second = begin("new/b");
  std::filesystem::remove_all(store.Path("new"));  // it is created again
  std::int64_t time = 0;
  EXPECT_EQ(second->Begin(), 0);
  EXPECT_EQ(second->End(time), 0);
  first.reset();
  EXPECT_TRUE(std::filesystem::exists(store.Path("new/b")));
}

// Returns the signature of a file from the cache.
string SignatureOf(HashCache& hashes, const string& path) {
  const tvl::LowFile file(path.c_str(), 0);
  struct stat status = {};
  if (fstat(static_cast<int>(file.Handle()), &status) != 0) return "no file";
  const std::shared_ptr<tvl::server::HashJob> job = hashes.Join(status);
  while (!job->Step(static_cast<int>(file.Handle()))) continue;
  return job->Signature();
}

// Asks until the answer comes from the cache: a file that has just changed is hashed every time.
void AskUntilKept(HashCache& hashes, const string& path) {
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  std::size_t before = 0;
  do {
    before = hashes.Computed();
    SignatureOf(hashes, path);
    if (std::chrono::steady_clock::now() > patience) throw std::runtime_error("never kept: " + path);
  } while (hashes.Computed() != before);
}

TEST(ServerHashCache, HashesUnchangedFileOnce) {
  constexpr time_t kInTheFuture = 4'000'000'000;  // which does not show when the file was written
  const TempFolder folder;
  const auto make = [&](const string& name, const string& bytes) {
    folder.Write(name, bytes);
    const timespec times[2] = {{kInTheFuture, 0}, {kInTheFuture, 0}};
    utimensat(AT_FDCWD, folder.Host(name).c_str(), times, 0);
  };
  HashCache hashes(2);
  make("f", "abc");
  AskUntilKept(hashes, folder.Host("f"));
  EXPECT_EQ(SignatureOf(hashes, folder.Host("f")), "a9993e364706816aba3e25717850c26c9cd0d89d");

  make("f", "abd");  // as long as before, and with the same time
  EXPECT_EQ(SignatureOf(hashes, folder.Host("f")), "cb4cc28df0fdbe0ecf9d9662e294b118092a5735");

  AskUntilKept(hashes, folder.Host("f"));
  for (const char* name : {"g", "h"}) {
    make(name, name);
    AskUntilKept(hashes, folder.Host(name));
  }
  const std::size_t before = hashes.Computed();
  SignatureOf(hashes, folder.Host("h"));
  EXPECT_EQ(hashes.Computed(), before);
  SignatureOf(hashes, folder.Host("f"));  // two newer ones have replaced it
  EXPECT_EQ(hashes.Computed(), before + 1);
}

TEST(ServerHashCache, HashesFileOnceForConcurrentRequests) {
  const TempFolder folder;
  folder.Write("f", string(8'000'000, 'f'));
  HashCache settling(1);
  AskUntilKept(settling, folder.Host("f"));
  HashCache hashes(1);
  const string right = SignatureOf(settling, folder.Host("f"));
  InThreads(4, [&](int) { EXPECT_EQ(SignatureOf(hashes, folder.Host("f")), right); });
  EXPECT_EQ(hashes.Computed(), 1U);
}

// With and without compression.
TEST(ServerCommand, TransfersFilesAndHoldsLocks) {
  for (const bool zip : {false, true}) {
    SCOPED_TRACE(zip);
    const ServedStore store(zip);
    const ServerProcess server(store);
    const TempFolder work;
    const auto tvl = [&](std::vector<string> command) {
      const string address = "127.0.0.1:" + std::to_string(server.Port());
      command.insert(command.begin(), {TVL_PROGRAM, "--tcp", address, "--work", work.Host(), "--json"});
      return RunProcess({command});
    };
    const string bytes = string(1000000, 'a') + Noise(1000000);
    work.Write("a.txt", bytes);
    EXPECT_NE(tvl({"put", "a.txt"}).out.find("\"transferred\""), string::npos);
    EXPECT_TRUE(store.Read("a.txt") == bytes);
    EXPECT_NE(tvl({"get", "a.txt", "--as", "b.txt"}).out.find("\"transferred\""), string::npos);
    EXPECT_TRUE(work.Read("b.txt") == bytes);
    EXPECT_EQ(tvl({"get", "a.txt", "--as", "b.txt"}).out.find("\"transferred\""), string::npos);
    EXPECT_EQ(tvl({"get", "missing"}).exit, 6);
    const ProcessResult info = tvl({"info"});
    EXPECT_EQ(info.exit, 0);
    EXPECT_NE(info.out.find("\"short_name\":\"short\",\"long_name\":\"long\",\"instance\":1"), string::npos)
        << info.out;
    EXPECT_EQ(tvl({"lock", "ORD1", "--", "sh", "-c", "exit 7"}).exit, 7);
    EXPECT_EQ(tvl({"unlock", "ORD1"}).exit, 0);
    const RawClient other = server.Enter();
    EXPECT_EQ(other.Lock("ORD1"), "1\tpc1");
    EXPECT_EQ(tvl({"lock", "ORD1", "--", "true"}).exit, 4);
    for (const char* missing : {"who", "locks"}) {
      EXPECT_NE(tvl({missing}).out.find("\"code\":1,"), string::npos) << missing;
    }
  }
}

}  // namespace
