// What the kernel (sysctl(3), libproc.h) and AppKit tell about processes.
#include <dlfcn.h>
#include <libproc.h>
#include <objc/message.h>
#include <objc/runtime.h>
#include <sys/stat.h>
#include <sys/sysctl.h>

#include <array>
#include <string>

#include "TavrinHook/ProcessTree.hpp"

// The runtime's own autorelease pools; exported for compilers, and declared in no header.
extern "C" void* objc_autoreleasePoolPush();
extern "C" void objc_autoreleasePoolPop(void* pool);

namespace tavrin {

namespace {

// The sizes that the calls below report back.
static_assert(sizeof(kinfo_proc) == 648);
static_assert(sizeof(proc_bsdinfo) == 136);

// A text in a fixed buffer, up to its first zero byte or its end.
template <std::size_t size>
std::string textIn(const char (&buffer)[size]) {  // NOLINT(modernize-avoid-c-arrays): a field of the kernel's
  const std::string_view all(buffer, size);
  return std::string(all.substr(0, all.find('\0')));
}

std::optional<ProcessTable::Record> recordOf(std::int32_t pid) {
  std::array<int, 4> name = {CTL_KERN, KERN_PROC, KERN_PROC_PID, pid};
  kinfo_proc process{};
  std::size_t length = sizeof(process);
  if (::sysctl(name.data(), name.size(), &process, &length, nullptr, 0) != 0) return std::nullopt;
  // A process that is gone is no error: nothing is returned for it.
  if (length < 1) return std::nullopt;
  return ProcessTable::Record{.parent = process.kp_eproc.e_ppid, .name = textIn(process.kp_proc.p_comm)};
}

std::optional<std::string> longNameOf(std::int32_t pid) {
  std::array<char, 1024> buffer{};
  if (::proc_name(pid, buffer.data(), buffer.size()) < 1) return std::nullopt;
  return std::string(buffer.data());
}

std::optional<std::string> terminalOf(std::int32_t pid) {
  proc_bsdinfo info{};
  constexpr int size = sizeof(info);
  if (::proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &info, size) != size) return std::nullopt;
  const auto device = static_cast<dev_t>(info.e_tdev);
  if (device == 0 || device == static_cast<dev_t>(-1)) return std::nullopt;
  const char* const name = ::devname(device, S_IFCHR);
  return name == nullptr ? std::nullopt : std::optional("/dev/" + std::string(name));
}

// Sends a message without arguments, or with one, to an object that answers with a `Result`.
template <class Result, class... Arguments>
Result send(id receiver, const char* selector, Arguments... arguments) {
  using Method = Result (*)(id, SEL, Arguments...);
  return reinterpret_cast<Method>(objc_msgSend)(receiver, sel_registerName(selector), arguments...);
}

class AutoreleasePool {
 public:
  AutoreleasePool() : pool_(objc_autoreleasePoolPush()) {}
  ~AutoreleasePool() { objc_autoreleasePoolPop(pool_); }
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;

 private:
  void* pool_;
};

// NSRunningApplication(processIdentifier:). AppKit is opened only here, so that a run that looks up no host
// does without the time that loading it takes.
std::optional<ProcessTable::Application> applicationOf(std::int32_t pid) {
  constexpr long regularPolicy = 0;  // NSApplicationActivationPolicyRegular
  if (::dlopen("/System/Library/Frameworks/AppKit.framework/AppKit", RTLD_LAZY) == nullptr)
    return std::nullopt;
  const auto type = reinterpret_cast<id>(objc_getClass("NSRunningApplication"));
  if (type == nullptr) return std::nullopt;
  const AutoreleasePool pool;
  const id running = send<id>(type, "runningApplicationWithProcessIdentifier:", static_cast<pid_t>(pid));
  if (running == nullptr) return std::nullopt;
  ProcessTable::Application found{.bundleId = std::nullopt,
                                  .isRegular = send<long>(running, "activationPolicy") == regularPolicy};
  if (const id bundleId = send<id>(running, "bundleIdentifier"); bundleId != nullptr) {
    if (const char* text = send<const char*>(bundleId, "UTF8String"); text != nullptr) found.bundleId = text;
  }
  return found;
}

}  // namespace

ProcessTable ProcessTable::ofThisSystem() {
  return {.record = recordOf, .longName = longNameOf, .terminal = terminalOf, .application = applicationOf};
}

}  // namespace tavrin
