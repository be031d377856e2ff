#include <tvlclient/smb_opr.h>

#include "support/testing.h"

namespace {

class List : public CTVLClientSmbOpr {
 public:
  using CTVLClientOpr::SyncDirFileExists;
  using CTVLClientOpr::SyncDirFileIsExcluded;
  using CTVLClientOpr::SyncDirFilePush;
};

TEST(SyncList, ExcludesByTheLastExtensionOnly) {
  const struct {
    int mask;  // the sets of flags that exclude it: bit n for the value n
    std::vector<const char*> paths;
  } rows[] = {
      {0b10101010, {"a.mdb", "A.LDB"}},
      {0b11001100, {"x\\a.doc", "a.DocX", "a.rtf"}},
      {0b11110000, {"a.PDF", ".pdf"}},
      {0, {"a.doc.bak", "doc", "a.docxx", "a.do", "a.", "d.pdf\\plain", "a.pdf ", "...", "", "x\\"}},
      {0xFF, {"x\\.", "x\\..", ".."}},
  };
  for (const auto& [mask, paths] : rows) {
    for (int flags = 0; flags < 8; ++flags) {
      for (const char* path : paths)
        EXPECT_EQ(List::SyncDirFileIsExcluded(path, static_cast<SYNC_DIR_FILE_EXCLUDE>(flags)),
                  mask >> flags & 1)
            << path << " " << flags;
    }
  }
}

TEST(SyncList, FindsSourcesInAnyCase) {
  List list;
  for (int i = 0; i < 1000; ++i) {
    const string name = "\\r\\aZ[@\xC0" + std::to_string(i);
    EXPECT_EQ(list.SyncDirFileExists(name.c_str()), 0);
    list.SyncDirFilePush(name.c_str(), "t", 0, SYNC_DIR_FILE_KEEP);
  }
  for (int i = 0; i < 1000; ++i) {
    const string number = std::to_string(i);
    EXPECT_EQ(list.SyncDirFileExists(("\\R\\Az[@\xC0" + number).c_str()), 1) << number;
    for (const char* other : {"\\r\\aZ{`\xC0", "\\r\\aZ[@\xE0", "\\r\\Z[@\xC0"})
      EXPECT_EQ(list.SyncDirFileExists((other + number).c_str()), 0) << number;
  }
  list.SyncPlanDrop();
  EXPECT_EQ(list.SyncPlanCount(), 0);
  EXPECT_EQ(list.SyncDirFileExists("\\r\\aZ[@\xC0\x31"), 0);
}

TEST(SyncList, ShowsAndTakesOutEntries) {
  List list;
  const string longest(259, 'l');
  list.SyncDirFilePush(longest.c_str(), "t0", 7, SYNC_DIR_FILE_COPY);
  list.SyncDirFilePush("s1", longest.c_str(), 0, SYNC_DIR_FILE_DELETE);
  const char* source = nullptr;
  const char* target = nullptr;
  unsigned int size = 0;
  SYNC_DIR_FILE_OPERATION operation = SYNC_DIR_FILE_KEEP;
  for (const int outside : {-1, 2, 1000}) {
    EXPECT_EQ(list.SyncPlanEntry(outside, &source, &target, &size, &operation), 0);
    EXPECT_EQ(list.SyncPlanTakeOut(outside), 0);
  }
  ASSERT_EQ(list.SyncPlanEntry(0, &source, &target, &size, &operation), 1);
  EXPECT_EQ(std::tuple(string(source), string(target), size, operation),
            std::tuple(longest, string("t0"), 7U, SYNC_DIR_FILE_COPY));
  EXPECT_EQ(list.SyncPlanTakeOut(1), 1);
  ASSERT_EQ(list.SyncPlanEntry(1, &source, &target, &size, &operation), 1);
  EXPECT_EQ(operation, SYNC_DIR_FILE_KEEP);
  EXPECT_EQ(List(list).SyncPlanCount(), 0) << "a copy has planned nothing";
}

}  // namespace
