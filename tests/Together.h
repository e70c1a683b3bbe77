// Threads that begin at the same moment.
#pragma once

#include <atomic>
#include <thread>
#include <vector>

constexpr int threadCount = 8;

/// Calls work(0) to work(threadCount - 1), each in a thread, and waits for all of them.
template <class Work>
void together(const Work& work) {
  std::atomic<int> waiting{threadCount};
  std::vector<std::thread> threads;
  for (int number = 0; number < threadCount; ++number) {
    threads.emplace_back([&, number] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      work(number);
    });
  }
  for (std::thread& thread : threads) thread.join();
}
