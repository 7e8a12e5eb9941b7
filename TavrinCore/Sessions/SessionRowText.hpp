#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Home.hpp"

/// The texts of a session's row.
namespace tavrin::SessionRowText {

/// The title of a session's row: its label, or its name when it has none, and its state, as "app, needs you".
std::string title(const Session& session, const std::optional<std::string>& label,
                  std::string_view home = Home::directory());

}  // namespace tavrin::SessionRowText
