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

/// A Mac made up by a test: its kernel, and as much of AppKit as tells about applications. What the real ones
/// would not put up with is a failure of the test: buffers of the wrong size or with something in them, a
/// message of the wrong type, to an object that has no such method or that its pool has taken along.
/// It must outlive the calls.
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
    std::string longName = {};  ///< what proc_name gives, if anything
    std::uint32_t terminal = noDevice;
    bool isOfAnotherUser = false;  ///< whom proc_name and proc_pidinfo do not serve
    int infoSize = 136;            ///< what proc_pidinfo gives back
    std::size_t recordSize = 648;  ///< what sysctl says that it has filled
    std::optional<Application> application = {};
  };

  std::map<std::int32_t, Process> processes;
  std::map<std::uint32_t, std::string> devices;  ///< names in /dev
  std::size_t longestName = 16;                  ///< of p_comm, which has room for one byte more
  bool hasAppKit = true;
  bool hasRunningApplications = true;    ///< the class
  std::set<std::string> missingMethods;  ///< by selector
  bool textsAreMissing = false;          ///< UTF8String gives none

  /// Called before each look-up, which it may change the outcome of.
  std::function<void(const std::string& lookUp)> before;

  std::vector<std::string> lookUps;  ///< as "sysctl 100" or "dlopen /System/...", in order
  int poolsMade = 0;
  int poolsDrained = 0;

  MacCalls calls();

  /// How many look-ups were made whose line begins so.
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
