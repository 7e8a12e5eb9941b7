#include "TavrinTerminal/UnseenPorts.hpp"

#include "TavrinTerminal/ShownText.hpp"

namespace tavrin::UnseenPorts {

std::string sentence(const std::vector<int>& ports, std::size_t columns) {
  constexpr std::string_view rest = ", \u2026";
  if (ports.empty()) return "";
  std::string text = ports.size() == 1
                         ? "1 port belongs to a process that you cannot see: "
                         : std::to_string(ports.size()) + " ports belong to processes that you cannot see: ";
  for (std::size_t i = 0; i < ports.size(); ++i) {
    const bool isFirst = i == 0;
    const bool isLast = i + 1 == ports.size();
    const std::string next = (isFirst ? "" : ", ") + std::to_string(ports[i]);
    const std::size_t width = text.size() + next.size() + (isLast ? 0 : ShownText::width(rest));
    if (width > columns) return text + std::string(isFirst ? rest.substr(2) : rest);
    text += next;
  }
  return text;
}

}  // namespace tavrin::UnseenPorts
