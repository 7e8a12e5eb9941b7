#include <dirent.h>

#include <memory>
#include <string>

#include "TavrinCore/Context/ListeningPorts.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinTerminal/System/ServerListing.hpp"

namespace tavrin::ServerListing {

namespace {

std::vector<std::string> namesIn(const std::string& directory) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(directory.c_str()), ::closedir);
  if (!listing) return names;
  while (const dirent* entry = ::readdir(listing.get())) names.emplace_back(entry->d_name);
  return names;
}

}  // namespace

Listing now() {
  const ListeningPorts::Probes probes = {
      .contents = [](const std::string& path) { return File::contents(path).value_or(""); },
      .names = namesIn,
      .linkTarget = [](const std::string& path) { return File::readLink(path).value_or(""); }};
  const ListeningPorts::Listing found = ListeningPorts::list(probes);
  return {.listeners = PortScan::parse(found.lsofFields),
          .unseenPorts = ListeningPorts::portsOf(found.withoutProcess)};
}

}  // namespace tavrin::ServerListing
