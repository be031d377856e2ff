#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zlib.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <random>
#include <stdexcept>

#include "base/low_file.h"
#include "server/hash_cache.h"
#include "server/parts.h"
#include "server/put_file.h"
#include "server/raw_client.h"
#include "server/server_process.h"
#include "server/store_root.h"
#include "server/threads.h"
#include "table/ctree_file.h"

namespace {

using std::string;
using tvl::server::Parts;
using tvl::server::PutFile;
using tvl::server::StoreRoot;

string Noise(std::size_t size) {
  std::mt19937 random(7);  // NOLINT: the same bytes in every run
  string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

string Packed(const string& bytes) {
  uLongf size = compressBound(bytes.size());
  string packed(size, '\0');
  compress(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
           bytes.size());
  packed.resize(size);
  return packed;
}

string Unpacked(const string& packed, std::size_t size) {
  string bytes(size + 1, '\0');
  uLongf length = bytes.size();
  if (uncompress(reinterpret_cast<Bytef*>(bytes.data()), &length,
                 reinterpret_cast<const Bytef*>(packed.data()), packed.size()) != Z_OK) {
    return "no stream";
  }
  bytes.resize(length);
  return bytes;
}

TEST(Transfer, MovesFilesOfEverySize) {
  for (const bool zip : {false, true}) {
    const ServedStore store(zip);
    const ServerProcess server(store);
    const RawClient client = RawClient::Entered(server.Port());
    for (const std::size_t size : {0, 1, 32759, 32760, 32761, 40894, 40895, 40896, 81790, 3000000}) {
      SCOPED_TRACE(std::to_string(size) + (zip ? " packed" : " plain"));
      const string bytes = Noise(size);
      ASSERT_EQ(client.Put("f", zip ? Packed(bytes) : bytes), 0);
      EXPECT_TRUE(store.Read("f") == bytes);
      const RawClient::Fetched fetched = client.Get("f");
      EXPECT_EQ(fetched.code, 0);
      EXPECT_TRUE((zip ? Unpacked(fetched.bytes, size) : fetched.bytes) == bytes);
      struct stat status = {};
      ASSERT_EQ(stat(store.Path("f").c_str(), &status), 0);
      EXPECT_EQ(fetched.time, std::to_string(status.st_mtim.tv_sec));
      EXPECT_EQ(status.st_mtim.tv_nsec, 0);
    }
    EXPECT_EQ(store.Files(), (std::vector<string>{"f"}));
  }
}

TEST(Transfer, AFileThatIsSentIsTheOneThatWasOpened) {
  const ServedStore store;
  const string old = Noise(200000);
  store.Write("f", old);
  const ServerProcess server(store);
  const RawClient reader = RawClient::Entered(server.Port());
  const string first = reader.Ask("Gf\t@");
  ASSERT_EQ(RawClient::Entered(server.Port()).Put("f", "new"), 0);
  string bytes = first.substr(first.find('\0', 2) + 3);
  for (string chunk = reader.Ask("0"); chunk.size() > 2 && (chunk[0] != 0 || chunk[1] != 0);
       chunk = reader.Ask("0")) {
    bytes += chunk.substr(2);
  }
  EXPECT_TRUE(bytes == old);
  EXPECT_EQ(reader.Get("f").bytes, "new");
}

TEST(Transfer, AFileThatShrinksIsNotSentAsAWholeOne) {
  const ServedStore store;
  store.Write("f", Noise(500000));
  const ServerProcess server(store);
  const RawClient client = RawClient::Entered(server.Port());
  EXPECT_EQ(client.Ask("Gf\t@")[0], '0');
  std::filesystem::resize_file(store.Path("f"), 50000);
  std::optional<string> answer;
  int chunks = 0;
  do {
    ASSERT_LT(++chunks, 20);
    client.SendPacket("0");
    answer = client.Receive();
  } while (answer && (answer->at(0) != 0 || answer->at(1) != 0));
  EXPECT_FALSE(answer.has_value());
}

TEST(Transfer, ReplacesNoFileThatSomebodyHolds) {
  const ServedStore store;
  store.Write("f", "old");
  std::filesystem::permissions(store.Path("f"), std::filesystem::perms(04751));
  const ServerProcess server(store);
  const RawClient client = RawClient::Entered(server.Port());
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
    LowLock(holder.Handle(), 1, 0);  // it comes while the put is under way
    EXPECT_EQ(client.Ask("0new"), "0");
    EXPECT_EQ(client.Ask("0"), "22");
    LowLock(holder.Handle(), 0, 0);
  }
  EXPECT_EQ(store.Read("f"), "old");
  EXPECT_EQ(client.Put("f", "new"), 0);
  EXPECT_EQ(store.Read("f"), "new");
  // As it was, but for the bit that lends its owner's rights.
  EXPECT_EQ(std::filesystem::status(store.Path("f")).permissions(), std::filesystem::perms(0751));
  EXPECT_EQ(store.Files(), (std::vector<string>{"f"}));
}

TEST(Transfer, ReplacesNoTableThatIsOpen) {
  const ServedStore store;
  const ServerProcess server(store);
  const RawClient client = RawClient::Entered(server.Port());
  const string path = store.store.root + "t.dat";
  ASSERT_EQ(CCtreeFile::CreateFiles(path.c_str(), 40, 10, 0), 1);
  {
    const CCtreeFile table(path.c_str());
    EXPECT_EQ(client.Put("t.dat", "no table"), 22);
  }
  EXPECT_EQ(client.Put("t.dat", "no table"), 0);
}

// Another put made the folder; dropped, it takes the folder with it as long as that is empty.
TEST(Transfer, MakesAFolderAgainThatAnotherPutTookAway) {
  const ServedStore store;
  const StoreRoot root(store.store.rootHost, {}, store.Path("tvl.ini"));
  Parts parts(store.Path("tmp"));
  auto other = std::make_unique<PutFile>(root, parts, 0, false);
  ASSERT_EQ(other->Find("new/folder/a"), 0);
  PutFile put(root, parts, 0, false);
  ASSERT_EQ(put.Find("new/folder/b"), 0);
  other.reset();
  EXPECT_FALSE(std::filesystem::exists(store.Path("new")));
  std::int64_t time = 0;
  EXPECT_EQ(put.Begin(), 0);
  EXPECT_EQ(put.End(time), 0);
  EXPECT_TRUE(std::filesystem::exists(store.Path("new/folder/b")));
}

// The signature of a file as the cache gives it.
string SignatureOf(tvl::server::HashCache& hashes, const string& path) {
  const tvl::LowFile file(path.c_str(), 0);
  struct stat status = {};
  if (fstat(static_cast<int>(file.Handle()), &status) != 0) return "no file";
  return hashes.Signature(static_cast<int>(file.Handle()), status);
}

// Asks until the answer comes without hashing: a file that has just changed is hashed every time.
void AskUntilKept(tvl::server::HashCache& hashes, const string& path) {
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  std::size_t before = 0;
  do {
    before = hashes.Computed();
    SignatureOf(hashes, path);
    if (std::chrono::steady_clock::now() > patience) throw std::runtime_error("never kept: " + path);
  } while (hashes.Computed() != before);
}

TEST(Transfer, HashesAFileOnceAsLongAsItStays) {
  constexpr time_t kInTheFuture = 4'000'000'000;  // which says nothing of when it was written
  const TempFolder folder;
  const auto make = [&](const string& name, const string& bytes) {
    folder.Write(name, bytes);
    const timespec times[2] = {{kInTheFuture, 0}, {kInTheFuture, 0}};
    utimensat(AT_FDCWD, folder.Host(name).c_str(), times, 0);
  };
  tvl::server::HashCache hashes(2);
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
  SignatureOf(hashes, folder.Host("f"));  // two newer ones have taken its place
  EXPECT_EQ(hashes.Computed(), before + 1);
}

TEST(Transfer, HashesAFileOnceForAllWhoAsk) {
  const TempFolder folder;
  folder.Write("f", string(8'000'000, 'f'));
  tvl::server::HashCache settling(1);
  AskUntilKept(settling, folder.Host("f"));
  tvl::server::HashCache hashes(1);
  const string right = SignatureOf(settling, folder.Host("f"));
  InThreads(4, [&](int) { EXPECT_EQ(SignatureOf(hashes, folder.Host("f")), right); });
  EXPECT_EQ(hashes.Computed(), 1U);
}

}  // namespace
