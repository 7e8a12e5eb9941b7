#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstdint>
#include <string>
#include <vector>

#include "TavrinTerminal/Surroundings.hpp"

namespace tavrin {

/// A file in the sessions folder that nothing will ever remove, as it was when it was judged.
struct StaleFile {
  enum class Kind : std::uint8_t {
    temporary,   ///< ".UUID.tmp", which is there for a moment only
    deadRecord,  ///< the record of a session whose agent is gone
    unreadable,  ///< "NAME.json" that holds no record, or that this user may not read
  };

  Kind kind = Kind::temporary;
  std::string path;
  std::string bytes;   ///< what it held; "" for a temporary
  bool isOld = false;  ///< it was last written over a day ago

  bool operator==(const StaleFile&) const = default;
};

namespace StaleFiles {

/// What the sessions folder holds of these, ordered by path. Temporaries that are not old are left out.
std::vector<StaleFile> find(const Surroundings& surroundings);

/// Removes a temporary or a dead record that is older than a day, belongs to this user and is as it was when
/// it was judged. A record is removed under its session's lock, which is taken without waiting. "" when it
/// was removed; else why not.
std::string remove(const StaleFile& file, const Surroundings& surroundings);

}  // namespace StaleFiles

}  // namespace tavrin
