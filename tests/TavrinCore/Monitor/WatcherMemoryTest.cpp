#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "Watching.hpp"

namespace {

std::atomic<std::size_t> liveAllocations = 0;

}  // namespace

// Count what is allocated and not freed yet, in this test program.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  void* const place = std::malloc(size == 0 ? 1 : size);
  if (place != nullptr) ++liveAllocations;
  return place;
}
void* operator new(std::size_t size) {
  void* const place = operator new(size, std::nothrow);
  if (place == nullptr) throw std::bad_alloc();
  return place;
}
void operator delete(void* place) noexcept {
  if (place != nullptr) --liveAllocations;
  std::free(place);
}
void operator delete(void* place, std::size_t) noexcept {
  operator delete(place);
}

namespace tavrin::test {
namespace {

// To find the clients of Codex's daemon, each look asks for every process of the machine.
TEST_F(Watching, ProcessesThatAreGoneTakeNoMemory) {
  addProcess(40, "codex", 1, 80, std::nullopt);
  arguments[40] = {"codex", "app-server"};
  files.write(lockOf(thread), "", 100);
  locks[lockOf(thread)] = 40;
  const auto lookAmid = [this](std::int32_t firstPid, double at) {
    for (std::int32_t pid = firstPid; pid < firstPid + 100; ++pid) addProcess(pid, "compiler", 1, at);
    last = watcher->look(dateFromSeconds(at));
    for (std::int32_t pid = firstPid; pid < firstPid + 100; ++pid) processes.erase(pid);
    last = watcher->look(dateFromSeconds(at + 1));
    return liveAllocations.load();
  };
  lookAmid(1'000, 110);
  const std::size_t before = lookAmid(2'000, 120);
  EXPECT_LT(lookAmid(3'000, 130), before + 50);
}

}  // namespace
}  // namespace tavrin::test
