#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string>
#include <vector>

#include "TavrinTerminal/Commands/Connect.hpp"
#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/Surroundings.hpp"

/// The command `doctor`: checks every agent and file, and names one command that fixes each finding.
namespace tavrin::Doctor {

struct Options {
  bool json = false;  ///< one document (docs/doctor.schema.json)
  bool fix = false;   ///< removes temporaries and dead agents' records that are older than a day
};

/// Something that is not as it should be.
struct Finding {
  std::string what;   ///< a sentence
  std::string where;  ///< the file, folder or program; "" when there is none
  std::string fix;    ///< one command, or one thing to do

  bool operator==(const Finding&) const = default;
};

/// All that was looked at.
struct Report {
  std::vector<std::string> facts;  ///< a line for tavrin-hook and for each agent
  std::vector<Finding> findings;
};

Report examine(const Surroundings& surroundings, const Connect::Machine& machine);

/// Prints the facts, then the findings. The status is 1 if any finding is left.
Outcome run(const Options& options, const Surroundings& surroundings, const Console& console,
            const Connect::Machine& machine);
Outcome run(const Options& options, const Surroundings& surroundings, const Console& console);

}  // namespace tavrin::Doctor
