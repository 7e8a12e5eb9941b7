#include "TavrinCore/Servers/LocalServer.hpp"

#include "TavrinCore/Servers/ServerUptime.hpp"

namespace tavrin {

namespace {

bool isIpv6(std::string_view host) {
  return host.find(':') != std::string_view::npos;
}

std::string inBrackets(std::string_view host) {
  std::string text = "[";
  text += host;
  text += ']';
  return text;
}

std::string escapingPercent(std::string_view host) {
  std::string text;
  for (const char c : host) {
    text += c;
    if (c == '%') text += "25";
  }
  return text;
}

}  // namespace

std::string LocalServer::id() const {
  return std::to_string(pid) + ":" + std::to_string(port());
}

std::string LocalServer::displayName() const {
  return framework ? *framework : script.value_or(command);
}

std::string LocalServer::url() const {
  return "http://" + (isIpv6(host) ? inBrackets(escapingPercent(host)) : host) + ":" + std::to_string(port());
}

std::string LocalServer::portLabel(bool showHost) const {
  std::string label;
  if (showHost) label = (isIpv6(host) ? inBrackets(host) : host) + ":";
  label += std::to_string(port());
  if (ports.size() > 1) label += " +" + std::to_string(ports.size() - 1);
  return label;
}

std::string LocalServer::allPortsLabel() const {
  std::string label;
  for (const int port : ports) {
    if (!label.empty()) label += ", ";
    label += std::to_string(port);
  }
  return label;
}

std::optional<ServerStopTarget> LocalServer::stopTarget() const {
  constexpr std::int32_t firstOrdinaryPid = 2;
  if (isDocker) {
    if (!dockerTarget || !dockerTarget->isValid()) return std::nullopt;
    return ServerStopTarget::container(*dockerTarget);
  }
  if (pid < firstOrdinaryPid || !startedAt) return std::nullopt;
  return ServerStopTarget::process(pid, *startedAt, cwd);
}

std::optional<std::string> LocalServer::uptimeLabel(Date now) const {
  if (!startedAt) return std::nullopt;
  return ServerUptime::label(*startedAt, now);
}

}  // namespace tavrin
