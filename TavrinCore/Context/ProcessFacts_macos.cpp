// What libproc and sysctl(3) report about processes.
#include <libproc.h>
#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): devname(3) is in no other header
#include <sys/stat.h>
#include <sys/sysctl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "TavrinCore/Context/ProcessFacts.hpp"

namespace tavrin {

namespace {

using Pids = std::vector<std::int32_t>;

Date dateOf(std::uint64_t seconds, std::uint64_t microseconds) {
  return dateFromSeconds(static_cast<double>(seconds) + static_cast<double>(microseconds) * 1e-6);
}

std::optional<proc_bsdinfo> infoOf(std::int32_t pid) {
  proc_bsdinfo info{};
  constexpr int size = sizeof(info);
  if (::proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &info, size) != size) return std::nullopt;
  constexpr std::uint32_t zombie = 5;  // SZOMB in <sys/proc.h>
  return info.pbi_status == zombie ? std::nullopt : std::optional(info);
}

std::optional<ProcessFact> processOf(std::int32_t pid) {
  const std::optional<proc_bsdinfo> info = infoOf(pid);
  if (!info) return std::nullopt;
  ProcessFact fact{.parent = static_cast<std::int32_t>(info->pbi_ppid),
                   .name = std::string(info->pbi_comm, ::strnlen(info->pbi_comm, sizeof(info->pbi_comm))),
                   .startedAt = dateOf(info->pbi_start_tvsec, info->pbi_start_tvusec),
                   .terminal = std::nullopt};
  constexpr std::uint32_t noDevice = 0xffffffff;  // NODEV
  if (info->e_tdev != 0 && info->e_tdev != noDevice) {
    const char* const name = ::devname(static_cast<dev_t>(info->e_tdev), S_IFCHR);
    if (name != nullptr) fact.terminal = "/dev/" + std::string(name);
  }
  return fact;
}

std::optional<std::string> executableOf(std::int32_t pid) {
  std::array<char, PROC_PIDPATHINFO_MAXSIZE> path{};
  const int length = ::proc_pidpath(pid, path.data(), path.size());
  return length > 0 ? std::optional(std::string(path.data(), static_cast<std::size_t>(length)))
                    : std::nullopt;
}

std::optional<std::string> folderOf(std::int32_t pid) {
  proc_vnodepathinfo info{};
  constexpr int size = sizeof(info);
  if (::proc_pidinfo(pid, PROC_PIDVNODEPATHINFO, 0, &info, size) != size) return std::nullopt;
  const char* const path = info.pvi_cdir.vip_path;
  return std::string(path, ::strnlen(path, sizeof(info.pvi_cdir.vip_path)));
}

// KERN_PROCARGS2 gives the number of arguments, the executable's path, zero bytes, and the arguments, each
// ended by a zero byte.
std::vector<std::string> argumentsOf(std::int32_t pid) {
  std::vector<std::string> found;
  std::array<int, 3> name = {CTL_KERN, KERN_PROCARGS2, pid};
  std::string text(std::size_t{128} * 1024, '\0');
  std::size_t size = text.size();
  if (::sysctl(name.data(), name.size(), text.data(), &size, nullptr, 0) != 0) return found;
  text.resize(size);
  int count = 0;
  if (text.size() < sizeof(count)) return found;
  std::memcpy(&count, text.data(), sizeof(count));
  std::string_view rest = std::string_view(text).substr(sizeof(count));
  rest.remove_prefix(std::min(rest.size(), rest.find('\0')));
  rest.remove_prefix(std::min(rest.size(), rest.find_first_not_of('\0')));
  for (; count > 0 && !rest.empty(); --count) {
    const std::size_t end = std::min(rest.size(), rest.find('\0'));
    found.emplace_back(rest.substr(0, end));
    rest.remove_prefix(std::min(rest.size(), end + 1));
  }
  return found;
}

// Process ids from a call of libproc that fills a buffer and returns how many it put there.
template <class Call>
Pids listed(Call call) {
  Pids pids(4096);
  const int count = call(pids.data(), static_cast<int>(pids.size() * sizeof(pids[0])));
  pids.resize(count > 0 ? std::min(pids.size(), static_cast<std::size_t>(count)) : 0);
  return pids;
}

Pids childrenOf(std::int32_t pid) {
  Pids pids = listed([&](void* buffer, int size) { return ::proc_listchildpids(pid, buffer, size); });
  std::erase_if(pids, [](std::int32_t child) { return !infoOf(child); });
  return pids;
}

// No call names the holder of a lock, so a process that has the lock file open counts as its holder.
std::optional<std::int32_t> lockHolderOf(const std::string& path) {
  Pids pids(64);
  const int bytes = ::proc_listpidspath(PROC_ALL_PIDS, 0, path.c_str(), 0, pids.data(),
                                        static_cast<int>(pids.size() * sizeof(pids[0])));
  if (bytes < static_cast<int>(sizeof(pids[0]))) return std::nullopt;
  return pids.front();
}

Date bootTime() {
  std::array<int, 2> name = {CTL_KERN, KERN_BOOTTIME};
  timeval booted{};
  std::size_t size = sizeof(booted);
  if (::sysctl(name.data(), name.size(), &booted, &size, nullptr, 0) != 0) return dateFromSeconds(0);
  return dateOf(static_cast<std::uint64_t>(booted.tv_sec), static_cast<std::uint64_t>(booted.tv_usec));
}

}  // namespace

ProcessFacts ProcessFacts::ofThisSystem() {
  return {
      .process = processOf,
      .executable = executableOf,
      .folder = folderOf,
      .arguments = argumentsOf,
      .children = childrenOf,
      .all = [] { return listed([](void* buffer, int size) { return ::proc_listallpids(buffer, size); }); },
      .lockHolder = lockHolderOf,
      .bootedAt = bootTime};
}

}  // namespace tavrin
