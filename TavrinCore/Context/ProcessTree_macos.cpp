// What the kernel (sysctl(3), libproc.h) and AppKit report about processes.
#include "TavrinCore/Context/ProcessTree_macos.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <libproc.h>
#include <objc/message.h>
#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): devname(3) is in no other
#include <sys/stat.h>
#include <sys/sysctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <type_traits>

// The runtime's own autorelease pools. They are exported for compilers, and no header declares them.
extern "C" void* objc_autoreleasePoolPush();
extern "C" void objc_autoreleasePoolPop(void* pool);

namespace tavrin {

namespace {

// The layouts that the kernel fills in.
static_assert(sizeof(kinfo_proc) == 648);
static_assert(offsetof(kinfo_proc, kp_proc) + offsetof(extern_proc, p_comm) == 243);
static_assert(sizeof(extern_proc::p_comm) == 17);
static_assert(offsetof(kinfo_proc, kp_eproc) + offsetof(kinfo_proc::eproc, e_ppid) == 560);
static_assert(sizeof(proc_bsdinfo) == 136);
static_assert(offsetof(proc_bsdinfo, e_tdev) == 108);

// The text in a buffer, up to its first zero byte or its end.
std::string textIn(std::span<const char> buffer) {
  const std::string_view all(buffer.data(), buffer.size());
  return std::string(all.substr(0, all.find('\0')));
}

std::optional<ProcessTable::Record> recordOf(const MacCalls& calls, std::int32_t pid) {
  std::array<int, 4> name = {CTL_KERN, KERN_PROC, KERN_PROC_PID, pid};
  kinfo_proc process{};
  std::size_t size = sizeof(process);
  if (calls.sysctl(name.data(), name.size(), &process, &size, nullptr, 0) != 0) return std::nullopt;
  // A process that has ended is not an error: the call succeeds and returns no bytes.
  if (size < 1) return std::nullopt;
  return ProcessTable::Record{.parent = process.kp_eproc.e_ppid, .name = textIn(process.kp_proc.p_comm)};
}

std::optional<std::string> longNameOf(const MacCalls& calls, std::int32_t pid) {
  std::array<char, 1024> buffer{};
  if (calls.procName(pid, buffer.data(), buffer.size()) < 1) return std::nullopt;
  return textIn(buffer);
}

std::optional<std::string> terminalOf(const MacCalls& calls, std::int32_t pid) {
  constexpr std::uint32_t noDevice = 0xffffffff;  // NODEV
  proc_bsdinfo info{};
  constexpr int size = sizeof(info);
  if (calls.procPidinfo(pid, PROC_PIDTBSDINFO, 0, &info, size) != size) return std::nullopt;
  if (info.e_tdev == 0 || info.e_tdev == noDevice) return std::nullopt;
  const char* const name = calls.devname(static_cast<dev_t>(info.e_tdev), S_IFCHR);
  return name == nullptr ? std::nullopt : std::optional("/dev/" + std::string(name));
}

class AutoreleasePool {
 public:
  explicit AutoreleasePool(const MacCalls& calls) : calls_(calls), pool_(calls.pushAutoreleasePool()) {}
  ~AutoreleasePool() { calls_.popAutoreleasePool(pool_); }
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;

 private:
  const MacCalls& calls_;
  void* pool_;
};

// Points standard error to /dev/null while it exists. AppKit and the frameworks below it may print warnings
// when they are loaded or asked, and agents show what a hook prints.
class SilentStandardError {
 public:
  SilentStandardError() : saved_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, firstOfOurs)) {
    if (saved_ < 0 && errno != EBADF) return;
    // If standard error is closed, this may be its number.
    null_ = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    isSilent_ = null_ >= 0 && ::dup2(null_, STDERR_FILENO) == STDERR_FILENO;
  }
  ~SilentStandardError() {
    if (saved_ >= 0) {
      ::dup2(saved_, STDERR_FILENO);
      ::close(saved_);
    } else if (isSilent_) {
      ::close(STDERR_FILENO);
    }
    if (null_ >= 0 && null_ != STDERR_FILENO) ::close(null_);
  }
  SilentStandardError(const SilentStandardError&) = delete;
  SilentStandardError& operator=(const SilentStandardError&) = delete;

  bool isSilent() const { return isSilent_; }

 private:
  static constexpr int firstOfOurs = 3;
  int saved_;
  int null_ = -1;
  bool isSilent_ = false;
};

// The answer to a message. Returns nullopt if there is no receiver or it has no such method, because sending
// the message would then end the process.
template <class Result, class... Arguments>
std::optional<Result> ask(const MacCalls& calls,
                          const std::function<Result(id, SEL, Arguments...)>& sendMessage, id receiver,
                          const char* name, std::type_identity_t<Arguments>... arguments) {
  auto* const selector = calls.selectorNamed(name);
  if (receiver == nullptr || !calls.respondsTo(receiver, selector)) return std::nullopt;
  return sendMessage(receiver, selector, arguments...);
}

// NSRunningApplication(processIdentifier:).
std::optional<ProcessTable::Application> applicationOf(const MacCalls& calls, std::int32_t pid) {
  constexpr long regularPolicy = 0;  // NSApplicationActivationPolicyRegular
  const SilentStandardError silence;
  if (!silence.isSilent()) return std::nullopt;
  if (calls.dlopen("/System/Library/Frameworks/AppKit.framework/AppKit", RTLD_LAZY) == nullptr)
    return std::nullopt;
  auto* const type = calls.classNamed("NSRunningApplication");
  const AutoreleasePool pool(calls);
  auto* const running =
      ask(calls, calls.objectByPid, type, "runningApplicationWithProcessIdentifier:", pid).value_or(nullptr);
  if (running == nullptr) return std::nullopt;
  ProcessTable::Application found{
      .bundleId = std::nullopt,
      .isRegular = ask(calls, calls.integer, running, "activationPolicy") == regularPolicy};
  auto* const bundleId = ask(calls, calls.object, running, "bundleIdentifier").value_or(nullptr);
  const char* const text = ask(calls, calls.text, bundleId, "UTF8String").value_or(nullptr);
  if (text != nullptr) found.bundleId = text;
  return found;
}

// objc_msgSend, with the type of the method that it calls.
template <class Result, class... Arguments>
auto message() {
  return reinterpret_cast<Result (*)(id, SEL, Arguments...)>(objc_msgSend);
}

}  // namespace

MacCalls MacCalls::ofThisSystem() {
  return {.sysctl = ::sysctl,
          .procName = ::proc_name,
          .procPidinfo = ::proc_pidinfo,
          .devname = ::devname,
          .dlopen = ::dlopen,
          .classNamed = [](const char* name) { return reinterpret_cast<id>(::objc_getClass(name)); },
          .selectorNamed = ::sel_registerName,
          .respondsTo = [](id receiver, SEL selector) -> bool {
            auto* const question = ::sel_registerName("respondsToSelector:");
            return message<BOOL, SEL>()(receiver, question, selector);
          },
          .pushAutoreleasePool = ::objc_autoreleasePoolPush,
          .popAutoreleasePool = ::objc_autoreleasePoolPop,
          .objectByPid = message<id, pid_t>(),
          .object = message<id>(),
          .integer = message<long>(),
          .text = message<const char*>()};
}

ProcessTable processTableOf(const MacCalls& calls) {
  const auto shared = std::make_shared<const MacCalls>(calls);
  return {.record = [shared](std::int32_t pid) { return recordOf(*shared, pid); },
          .longName = [shared](std::int32_t pid) { return longNameOf(*shared, pid); },
          .terminal = [shared](std::int32_t pid) { return terminalOf(*shared, pid); },
          .application = [shared](std::int32_t pid) { return applicationOf(*shared, pid); }};
}

ProcessTable ProcessTable::ofThisSystem() {
  return processTableOf(MacCalls::ofThisSystem());
}

}  // namespace tavrin
