#include "tests/macos/FakeMac.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libproc.h>
#include <objc/message.h>
#include <sys/stat.h>
#include <sys/sysctl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>

#ifndef __APPLE__
// Without a runtime these exist only for the linker: no class is known, so no message is sent.
extern "C" {
void objc_msgSend() {}

void* objc_autoreleasePoolPush() {
  return nullptr;
}

void objc_autoreleasePoolPop(void*) {}
}
#endif

namespace tavrin::test {

namespace {

constexpr std::string_view appKit = "/System/Library/Frameworks/AppKit.framework/AppKit";

std::string_view nameOf(SEL selector) {
  return *reinterpret_cast<const std::string*>(selector);
}

// The bytes that a caller wants filled. They must be `size` zero bytes.
std::span<char> zeroed(void* buffer, std::size_t given, std::size_t size) {
  const std::span bytes(static_cast<char*>(buffer), given);
  EXPECT_EQ(given, size);
  EXPECT_TRUE(std::ranges::all_of(bytes, [](char byte) { return byte == 0; }));
  return bytes;
}

void copy(std::string_view text, std::span<char> to) {
  std::ranges::copy(text.substr(0, to.size()), to.begin());
}

}  // namespace

std::size_t FakeMac::countOf(std::string_view start) const {
  return static_cast<std::size_t>(
      std::ranges::count_if(lookUps, [&](const std::string& line) { return line.starts_with(start); }));
}

const FakeMac::Process* FakeMac::lookUp(const std::string& call, std::int32_t pid) {
  lookUps.push_back(call + " " + std::to_string(pid));
  if (before) before(lookUps.back());
  const auto found = processes.find(pid);
  return found == processes.end() ? nullptr : &found->second;
}

int FakeMac::sysctl(std::span<const int> name, void* value, std::size_t* size) {
  EXPECT_EQ(name.size(), 4U);
  EXPECT_EQ(std::vector(name.begin(), name.begin() + 3), (std::vector{1, 14, 1}));
  const std::span<char> bytes = zeroed(value, *size, 648);
  const Process* const process = lookUp("sysctl", name[3]);
  if (process == nullptr) {
    *size = 0;
    return 0;
  }
  kinfo_proc info{};
  info.kp_eproc.e_ppid = process->parent;
  copy(process->name.substr(0, longestName), info.kp_proc.p_comm);
  std::memcpy(bytes.data(), &info, bytes.size());
  *size = process->recordSize;
  return 0;
}

int FakeMac::procName(int pid, void* buffer, std::uint32_t size) {
  const std::span<char> bytes = zeroed(buffer, size, 1024);
  const Process* const process = lookUp("proc_name", pid);
  if (process == nullptr || process->isOfAnotherUser) {
    errno = process == nullptr ? ESRCH : EPERM;
    return 0;
  }
  copy(process->longName, bytes);
  return static_cast<int>(std::min(process->longName.size(), bytes.size()));
}

int FakeMac::procPidinfo(int pid, int flavor, std::uint64_t argument, void* buffer, int size) {
  EXPECT_EQ(flavor, 3);
  EXPECT_EQ(argument, 0U);
  const std::span<char> bytes = zeroed(buffer, static_cast<std::size_t>(size), 136);
  const Process* const process = lookUp("proc_pidinfo", pid);
  if (process == nullptr || process->isOfAnotherUser) {
    errno = process == nullptr ? ESRCH : EPERM;
    return 0;
  }
  proc_bsdinfo info{};
  info.e_tdev = process->terminal;
  std::memcpy(bytes.data(), &info, bytes.size());
  return process->infoSize;
}

void* FakeMac::dlopen(const std::string& path, int mode) {
  lookUps.push_back("dlopen " + path);
  if (before) before(lookUps.back());
  EXPECT_EQ(path, appKit);
  EXPECT_EQ(mode, RTLD_LAZY);
  return hasAppKit ? this : nullptr;
}

id FakeMac::classNamed(std::string_view name) {
  const bool isKnown =
      name == "NSRunningApplication" && hasAppKit && hasRunningApplications && countOf("dlopen") > 0;
  return isKnown ? reinterpret_cast<id>(&runningApplicationClass_) : nullptr;
}

// The object that may receive a message called `method`.
FakeMac::Object* FakeMac::receiverOf(id receiver, SEL selector, std::string_view method) {
  EXPECT_EQ(nameOf(selector), method) << "a message of another type";
  auto* const object = reinterpret_cast<Object*>(receiver);
  bool lives = object == &runningApplicationClass_;
  for (const auto& pool : pools_) {
    lives = lives || std::ranges::any_of(*pool, [&](const auto& owned) { return owned.get() == object; });
  }
  EXPECT_TRUE(lives) << method << " is sent to an object that is none";
  EXPECT_TRUE(!lives || object->methods.contains(std::string(method))) << "no " << method;
  EXPECT_FALSE(missingMethods.contains(std::string(method))) << method << " is sent all the same";
  return lives ? object : nullptr;
}

id FakeMac::autoreleased(Object object) {
  if (pools_.empty()) {
    ADD_FAILURE() << "an object without a pool is never released";
    return nullptr;
  }
  pools_.back()->push_back(std::make_unique<Object>(std::move(object)));
  return reinterpret_cast<id>(pools_.back()->back().get());
}

id FakeMac::runningApplication(int pid) {
  const Process* const process = lookUp("application", pid);
  if (process == nullptr || !process->application) return nullptr;
  return autoreleased(
      {.methods = {"activationPolicy", "bundleIdentifier"}, .application = &*process->application});
}

MacCalls FakeMac::calls() {
  return {
      .sysctl =
          [this](int* name, unsigned length, void* value, std::size_t* size, void* newValue,
                 std::size_t newSize) {
            EXPECT_EQ(newValue, nullptr);
            EXPECT_EQ(newSize, 0U);
            return sysctl({name, length}, value, size);
          },
      .procName = [this](int pid, void* buffer, std::uint32_t size) { return procName(pid, buffer, size); },
      .procPidinfo = [this](int pid, int flavor, std::uint64_t argument, void* buffer,
                            int size) { return procPidinfo(pid, flavor, argument, buffer, size); },
      .devname = [this](dev_t device, mode_t type) -> char* {
        EXPECT_EQ(type, S_IFCHR);
        const auto found = devices.find(static_cast<std::uint32_t>(device));
        return found == devices.end() ? nullptr : found->second.data();
      },
      .dlopen = [this](const char* path, int mode) { return dlopen(path, mode); },
      .classNamed = [this](const char* name) { return classNamed(name); },
      .selectorNamed =
          [this](const char* name) {
            const std::string& selector = *selectors_.insert(name).first;
            return reinterpret_cast<SEL>(const_cast<std::string*>(&selector));
          },
      .respondsTo =
          [this](id receiver, SEL selector) {
            const std::string name(nameOf(selector));
            return reinterpret_cast<const Object*>(receiver)->methods.contains(name) &&
                   !missingMethods.contains(name);
          },
      .pushAutoreleasePool = [this]() -> void* {
        ++poolsMade;
        return pools_.emplace_back(std::make_unique<Pool>()).get();
      },
      .popAutoreleasePool =
          [this](void* pool) {
            ++poolsDrained;
            ASSERT_FALSE(pools_.empty());
            EXPECT_EQ(pools_.back().get(), pool);
            pools_.pop_back();
          },
      .objectByPid =
          [this](id receiver, SEL selector, pid_t pid) {
            receiverOf(receiver, selector, "runningApplicationWithProcessIdentifier:");
            return runningApplication(pid);
          },
      .object = [this](id receiver, SEL selector) -> id {
        const Object* const object = receiverOf(receiver, selector, "bundleIdentifier");
        if (object == nullptr || !object->application->bundleId) return nullptr;
        return autoreleased({.methods = {"UTF8String"}, .text = *object->application->bundleId});
      },
      .integer =
          [this](id receiver, SEL selector) {
            const Object* const object = receiverOf(receiver, selector, "activationPolicy");
            return object == nullptr ? prohibited : object->application->policy;
          },
      .text = [this](id receiver, SEL selector) -> const char* {
        const Object* const object = receiverOf(receiver, selector, "UTF8String");
        return object == nullptr || textsAreMissing ? nullptr : object->text.c_str();
      },
  };
}

}  // namespace tavrin::test
