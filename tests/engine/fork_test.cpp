#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "engine/engine.h"

namespace {

using Rows = std::vector<std::string>;

// A forked child that runs `work` and ends with 0 if it gives true. It is killed after a while if it hangs.
pid_t Fork(const std::function<bool()>& work) {
  const pid_t child = fork();
  if (child != 0) return child;
  alarm(30);
  _exit(work() ? 0 : 1);
}

bool EndedWell(pid_t child) {
  int status = -1;
  waitpid(child, &status, 0);
  return status == 0;
}

// A line of communication between parent and child.
class Pipe {
 public:
  Pipe() { EXPECT_EQ(pipe(ends_), 0); }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    close(ends_[0]);
    close(ends_[1]);
  }
  void Signal() const { EXPECT_EQ(write(ends_[1], "x", 1), 1); }
  void Await() const {
    char byte = 0;
    EXPECT_EQ(read(ends_[0], &byte, 1), 1);
  }

 private:
  int ends_[2];
};

TEST_F(EngineTest, ForkedChildHasNoHandlesAndCanOpenAnew) {
  const int table = engine_.IOpen(table_.c_str());
  ASSERT_EQ(engine_.Write(table, "a", "", "1"), 1);
  const pid_t child = Fork([&] {
    if (engine_.Write(table, "b", "", "") != 0 || engine_.GetLength(table, 0) != -1) return false;
    if (engine_.IClose(table) != 0 || engine_.BeginBatch(table, 1) != 0) return false;
    engine_.CloseAll();
    const int own = engine_.IOpen(table_.c_str());
    return own > table && engine_.All(own, 1) == Rows{"a|1"} && engine_.Write(own, "c", "", "3") == 1;
  });
  EXPECT_TRUE(EndedWell(child));
  EXPECT_FALSE(CanLockWhole(table_)) << "the parent's hold outlives the child";
  EXPECT_EQ(engine_.All(table, 1), (Rows{"a|1", "c|3"}));
}

TEST_F(EngineTest, ForkedChildLeavesTheBatchToItsParent) {
  const int table = engine_.IOpen(table_.c_str());
  const Pipe reading;
  ASSERT_EQ(engine_.BeginBatch(table, 1), 1);
  ASSERT_EQ(engine_.Write(table, "a", "", "parent"), 1);
  const pid_t child = Fork([&] {
    const int own = engine_.IOpen(table_.c_str());
    const bool blind = engine_.All(own, 1).empty();  // the batch isn't the child's
    reading.Signal();
    return blind && engine_.Write(own, "b", "", "child") == 1 && engine_.IClose(own) == 1;
  });
  reading.Await();
  EXPECT_EQ(engine_.Write(table, "c", "", "parent"), 1);
  EXPECT_EQ(engine_.EndBatch(table), 1) << engine_.GetLastErrorText();
  EXPECT_TRUE(EndedWell(child));
  EXPECT_EQ(engine_.All(table, 1), (Rows{"a|parent", "b|child", "c|parent"}));
  engine_.CloseAll();
  EXPECT_EQ(CheckIntegrity(table_), "ok");
}

TEST_F(EngineTest, ForkedChildKeepsNoLockAlive) {
  const int table = engine_.IOpen(table_.c_str());
  ASSERT_EQ(engine_.BeginBatch(table, 1), 1);
  const Pipe closed;
  const pid_t child = Fork([&] {
    closed.Await();
    return true;
  });
  engine_.IClose(table);
  EXPECT_TRUE(CanLockWhole(table_));
  EXPECT_EQ(engine_.CreateArchive(table_.c_str(), 20, 4, 3), 0);
  closed.Signal();
  EXPECT_TRUE(EndedWell(child));
}

TEST_F(EngineTest, ParentAndChildrenWriteAtOnce) {
  constexpr int rows = 50;
  const int table = engine_.IOpen(table_.c_str());
  std::vector<pid_t> children;
  const auto writeRows = [&](int handle, char name) {
    bool good = true;
    for (int row = 0; row < rows; ++row)
      good = engine_.Write(handle, name + std::to_string(row), "", "") == 1 && good;
    return good;
  };
  for (const char name : {'x', 'y'}) {
    children.push_back(Fork([&, name] { return writeRows(engine_.IOpen(table_.c_str()), name); }));
  }
  EXPECT_TRUE(writeRows(table, 'z'));
  for (const pid_t child : children) EXPECT_TRUE(EndedWell(child));
  EXPECT_EQ(engine_.All(table, 1).size(), 3U * rows);
  engine_.CloseAll();
  EXPECT_EQ(CheckIntegrity(table_), "ok");
}

// A child must find no lock inside the module taken by a thread that it doesn't have.
TEST_F(EngineTest, ForksWhileOtherThreadsWork) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> working;
  const std::string other = folder_ + "/other.dat";
  ASSERT_EQ(engine_.CreateArchive(other.c_str(), 20, 4, 3), 0);
  for (const std::string& path : {table_, table_, other}) {
    working.emplace_back([&, path] {
      for (int row = 0; !stop; ++row) {
        const int own = engine_.IOpen(path.c_str());
        EXPECT_EQ(engine_.Write(own, std::to_string(row % 100), "", ""), 1) << engine_.GetLastErrorText();
        engine_.IClose(own);
      }
    });
  }
  for (int round = 0; round < 40; ++round) {
    const pid_t child = Fork([&] {
      const int own = engine_.IOpen(table_.c_str());
      return own > 0 && engine_.Write(own, "mine", "", "") == 1;
    });
    EXPECT_TRUE(EndedWell(child)) << round;
  }
  stop = true;
  for (std::thread& thread : working) thread.join();
  engine_.CloseAll();
  EXPECT_EQ(CheckIntegrity(table_), "ok");
}

TEST_F(EngineTest, GrandchildrenStandOnTheirOwn) {
  const int table = engine_.IOpen(table_.c_str());
  const pid_t child = Fork([&] {
    const int own = engine_.IOpen(table_.c_str());
    if (engine_.BeginBatch(own, 1) != 1 || engine_.Write(own, "a", "", "child") != 1) return false;
    const pid_t grandchild = Fork([&] {
      const int third = engine_.IOpen(table_.c_str());
      return engine_.GetLength(own, 0) == -1 && third > own && engine_.All(third, 1).empty();
    });
    return EndedWell(grandchild) && engine_.EndBatch(own) == 1;
  });
  EXPECT_TRUE(EndedWell(child));
  EXPECT_EQ(engine_.All(table, 1), Rows{"a|child"});
}

}  // namespace
