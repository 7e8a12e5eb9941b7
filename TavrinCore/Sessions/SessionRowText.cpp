#include "TavrinCore/Sessions/SessionRowText.hpp"

namespace tavrin::SessionRowText {

std::string title(const Session& session, const std::optional<std::string>& label, std::string_view home) {
  std::string title = label ? *label : session.projectName(home);
  title += ", ";
  title += tavrin::label(session.state);
  return title;
}

}  // namespace tavrin::SessionRowText
