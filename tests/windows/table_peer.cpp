#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "table/ctree_file.h"
#include "table/engine_binding.h"

// One of the two clients in tables.py, which runs this program as one for Linux and as one for Windows.

namespace {

constexpr int kRecord = 4000;
constexpr int kKey = 16;
constexpr int kRowsThatSpill = 4000;  // of a batch that does not fit in memory
constexpr char kCounter[] = "counter";

using Record = char[kRecord + 1];
using std::chrono::steady_clock;

// Prints a result at once, because the script waits for it.
int Say(const std::string& text) {
  std::puts(text.c_str());
  return std::fflush(stdout);
}

int Fail(const char* action) {
  std::fprintf(stderr, "%s: %s\n", action, tvl::engine::LastFailure());
  return 1;
}

std::string KeyOf(const std::string& name, int number) {
  char key[kKey + 1];
  std::snprintf(key, sizeof key, "%s%08d", name.c_str(), number);
  return key;
}

bool Write(const CCtreeFile& table, const std::string& key, const std::string& text) {
  Record record;
  std::memset(record, ' ', sizeof record);
  text.copy(record, kRecord);
  return table.WriteRawRec(key.c_str(), "", record) == 1;
}

// Returns the number in the row, or -1 if there is none.
int NumberIn(CCtreeFile& table, const std::string& wanted) {
  char key[kKey + 1] = {};
  wanted.copy(key, kKey);
  const char* record = table.ReadRawRec(key, 1, 0);
  return record == nullptr ? -1 : static_cast<int>(std::strtol(record, nullptr, 10));
}

// Adds 1 to a number that both clients change, and writes a row, in one transaction.
bool Count(CCtreeFile& table, const std::string& key, const std::string& text) {
  tvl::TableBatch batch(table.handle, tvl::TableBatch::Kind::kWrite);
  const int number = NumberIn(table, kCounter);
  return batch.HasBegun() && number >= 0 && Write(table, kCounter, std::to_string(number + 1)) &&
         Write(table, key, text) && batch.End();
}

// Writes rows until the time is over, every third one in a transaction that counts. Prints how many rows it
// wrote, how many it counted, and the milliseconds of the slowest.
int WriteRows(CCtreeFile& table, const std::string& name, int seconds) {
  const auto end = steady_clock::now() + std::chrono::seconds(seconds);
  steady_clock::duration slowest{0};
  int written = 0;
  int counted = 0;
  for (auto began = steady_clock::now(); began < end; began = steady_clock::now(), ++written) {
    const std::string key = KeyOf(name, written);
    const std::string text = std::to_string(written);
    const bool counts = written % 3 == 0;
    if (!(counts ? Count(table, key, text) : Write(table, key, text))) return Fail("write");
    if (NumberIn(table, key) != written) return Fail("read");
    counted += counts ? 1 : 0;
    slowest = std::max(slowest, steady_clock::now() - began);
  }
  const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(slowest).count();
  return Say(std::to_string(written) + ' ' + std::to_string(counted) + ' ' + std::to_string(waited));
}

// Replaces rows in a batch whose pages have already gone to the file, and waits to be killed.
int Spill(const CCtreeFile& table) {
  const tvl::TableBatch batch(table.handle, tvl::TableBatch::Kind::kWrite);
  for (int row = 0; row < kRowsThatSpill; ++row) {
    if (!Write(table, KeyOf("row", row), "lost")) return Fail("write");
  }
  Say("spilled");
  std::getchar();
  return 1;
}

int Create(const char* path) {
  if (CCtreeFile::CreateFiles(path, kRecord, kKey, 0) != 1) return Fail("create");
  return Write(CCtreeFile(path), kCounter, "0") ? 0 : Fail("write");
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 2 ? argv[1] : "";
  if (command == "create") return Create(argv[2]);
  CCtreeFile table(argc > 2 ? argv[2] : nullptr);
  if (table.handle < 0) return Fail("open");
  if (command == "write" && argc > 4)
    return WriteRows(table, argv[3], static_cast<int>(std::strtol(argv[4], nullptr, 10)));
  if (command == "spill") return Spill(table);
  if (command == "number" && argc > 3) return Say(std::to_string(NumberIn(table, argv[3])));
  return 2;
}
