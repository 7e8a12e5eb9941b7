#include "TavrinCore/Sessions/SessionRowText.hpp"

namespace tavrin::SessionRowText {

std::string title(const Session& session, const std::optional<std::string>& label, std::string_view home) {
  constexpr std::string_view separator = ", ";
  const std::string_view state = tavrin::label(session.state);
  std::string title;
  const auto append = [&](std::string_view name) {
    title.reserve(name.size() + separator.size() + state.size());
    title += name;
  };
  label ? append(*label) : append(session.projectName(home));
  title += separator;
  title += state;
  return title;
}

}  // namespace tavrin::SessionRowText
