#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

namespace tavrin::test {

/// Calls `body(worker, i)` for each i below `count`, on as many threads as there are processors. Each thread
/// has its own `Worker`. Which thread gets which i is random. An exception fails the test and ends its
/// thread's part.
template <class Worker, class Body>
void inParallel(std::size_t count, const Body& body) {
  std::atomic<std::size_t> next = 0;
  const auto work = [&] {
    try {
      Worker worker;
      for (std::size_t i = next++; i < count; i = next++) body(worker, i);
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
  };
  // Not std::jthread, because some C++20 libraries lack it.
  std::vector<std::thread> threads;
  const std::size_t processors = std::max(1U, std::thread::hardware_concurrency());
  for (std::size_t i = 0; i < std::min(processors, count); ++i) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
}

}  // namespace tavrin::test
