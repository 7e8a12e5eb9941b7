#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Context/ProcessTree_macos.hpp"

namespace tavrin::test {

/// A made-up Mac: its kernel, and the part of AppKit that describes applications. It fails the test for
/// anything that the real ones would not accept: a buffer of the wrong size or not empty, a message of the
/// wrong type, or a message to an object that has no such method or was released with its pool. It must
/// outlive the calls.
class FakeMac {
 public:
  static constexpr std::uint32_t noDevice = 0xffffffff;
  enum Policy : long { regular = 0, accessory = 1, prohibited = 2 };

  struct Application {
    std::optional<std::string> bundleId = {};
    long policy = regular;
  };
  struct Process {
    std::int32_t parent = 1;
    std::string name = {};      ///< the kernel keeps its first bytes
    std::string longName = {};  ///< the result of proc_name, if it has one
    std::uint32_t terminal = noDevice;
    bool isOfAnotherUser = false;  ///< proc_name and proc_pidinfo do not answer for it
    int infoSize = 136;            ///< the result of proc_pidinfo
    std::size_t recordSize = 648;  ///< the size that sysctl reports as filled
    std::optional<Application> application = {};
  };

  std::map<std::int32_t, Process> processes;
  std::map<std::uint32_t, std::string> devices;  ///< names in /dev
  std::size_t longestName = 16;                  ///< of p_comm, which has room for one more byte
  bool hasAppKit = true;
  bool hasRunningApplications = true;    ///< the class
  std::set<std::string> missingMethods;  ///< by selector
  bool textsAreMissing = false;          ///< UTF8String returns null

  /// Called before each look-up, and may change its result.
  std::function<void(const std::string& lookUp)> before;

  std::vector<std::string> lookUps;  ///< as "sysctl 100" or "dlopen /System/...", in order
  int poolsMade = 0;
  int poolsDrained = 0;

  MacCalls calls();

  /// The number of look-ups whose line begins with `start`.
  std::size_t countOf(std::string_view start) const;

 private:
  struct Object {
    std::set<std::string> methods;
    const Application* application = nullptr;
    std::string text = {};
  };
  using Pool = std::vector<std::unique_ptr<Object>>;

  const Process* lookUp(const std::string& call, std::int32_t pid);
  int sysctl(std::span<const int> name, void* value, std::size_t* size);
  int procName(int pid, void* buffer, std::uint32_t size);
  int procPidinfo(int pid, int flavor, std::uint64_t argument, void* buffer, int size);
  void* dlopen(const std::string& path, int mode);
  id classNamed(std::string_view name);
  Object* receiverOf(id receiver, SEL selector, std::string_view method);
  id autoreleased(Object object);
  id runningApplication(int pid);

  Object runningApplicationClass_{.methods = {"runningApplicationWithProcessIdentifier:"}};
  std::set<std::string> selectors_;
  std::vector<std::unique_ptr<Pool>> pools_;
};

}  // namespace tavrin::test
