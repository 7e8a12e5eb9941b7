#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <optional>
#include <string>
#include <string_view>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Home.hpp"

/// The texts of a session's row.
namespace tavrin::SessionRowText {

/// The title of a session's row, such as "app, needs you": its label and its state. Without a label it starts
/// with the session's name.
std::string title(const Session& session, const std::optional<std::string>& label,
                  std::string_view home = Home::directory());

}  // namespace tavrin::SessionRowText
