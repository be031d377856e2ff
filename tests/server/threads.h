#ifndef TVL_TESTS_SERVER_THREADS_H
#define TVL_TESTS_SERVER_THREADS_H

#include <gtest/gtest.h>

#include <barrier>
#include <exception>
#include <functional>
#include <thread>
#include <vector>

// Runs `work` with the numbers from 0 in that many threads, which begin together. What one throws fails the
// test.
inline void InThreads(int count, const std::function<void(int)>& work) {
  std::barrier start(count);
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      try {
        work(i);
      } catch (const std::exception& problem) {
        ADD_FAILURE() << "thread " << i << ": " << problem.what();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

#endif
