#ifndef TVL_TESTS_SERVER_THREADS_H
#define TVL_TESTS_SERVER_THREADS_H

#include <gtest/gtest.h>

#include <barrier>
#include <functional>
#include <future>
#include <vector>

// Runs `work` with the numbers from 0 in `count` threads that start together. An exception fails the test.
inline void InThreads(int count, const std::function<void(int)>& work) {
  std::barrier start(count);
  std::vector<std::future<void>> threads;
  for (int i = 0; i < count; ++i) {
    threads.push_back(std::async(std::launch::async, [&, i] {
      start.arrive_and_wait();
      work(i);
    }));
  }
  for (std::future<void>& thread : threads) EXPECT_NO_THROW(thread.get());
}

#endif
