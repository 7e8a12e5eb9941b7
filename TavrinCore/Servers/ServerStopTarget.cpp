#include "TavrinCore/Servers/ServerStopTarget.hpp"

#include <algorithm>

#include "TavrinCore/Support/Hash.hpp"

namespace tavrin {

bool DockerTarget::isValid() const {
  constexpr std::size_t wholeId = 64;
  const auto isHexDigit = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
  return socketPath.starts_with('/') && containerID.size() == wholeId &&
         std::ranges::all_of(containerID, isHexDigit);
}

}  // namespace tavrin

std::size_t std::hash<tavrin::DockerTarget>::operator()(const tavrin::DockerTarget& target) const {
  return tavrin::hashOf(target.socketPath, target.containerID);
}

std::size_t std::hash<tavrin::ServerStopTarget>::operator()(const tavrin::ServerStopTarget& target) const {
  if (const tavrin::DockerTarget* const container = target.container()) return tavrin::hashOf(*container);
  const tavrin::ServerStopTarget::Process& process = *target.process();
  return tavrin::hashOf(process.pid, tavrin::secondsOf(process.startedAt), process.cwd);
}
