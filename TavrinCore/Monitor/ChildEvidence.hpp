#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Monitor/SessionFact.hpp"

/// What the child processes of an agent show about its questions: a command that runs was allowed.
namespace tavrin::ChildEvidence {

/// The questions among the facts that have no answer and no result, in their order. A turn that ends by
/// itself, and the next one, leave those of sub-agents open.
std::vector<const SessionFact*> openQuestions(const std::vector<SessionFact>& facts);

/// Whether a process with these arguments runs the shell command: an argument holds the command ("bash -c
/// COMMAND"), or the command holds the arguments, because a shell replaces itself with its last command.
bool runs(const std::vector<std::string>& arguments, std::string_view command);

}  // namespace tavrin::ChildEvidence
