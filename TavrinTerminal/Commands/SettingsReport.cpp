#include "TavrinTerminal/Commands/SettingsReport.hpp"

#include <algorithm>

#include "TavrinTerminal/LineDiff.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin::SettingsReport {

namespace {

// Tabs are kept, because they indent and do no harm.
std::string cleanLine(std::string_view line) {
  std::string cleaned;
  for (;;) {
    const std::size_t tab = line.find('\t');
    cleaned += ShownText::clean(line.substr(0, tab));
    if (tab == std::string_view::npos) return cleaned;
    cleaned += '\t';
    line.remove_prefix(tab + 1);
  }
}

Colour colourOf(std::string_view line) {
  if (line.starts_with("+++") || line.starts_with("---")) return Colour::bold;
  if (line.starts_with('+')) return Colour::green;
  if (line.starts_with('-')) return Colour::red;
  return line.starts_with("@@") ? Colour::dim : Colour::plain;
}

}  // namespace

Outcome outcomeOf(const std::vector<Line>& lines, std::optional<int> signal) {
  Outcome outcome;
  for (const Line& line : lines) {
    outcome.output += line.agent + ": " + line.state + "\n";
    if (line.error.empty()) continue;
    outcome.status = ExitStatus::failed;
    if (!outcome.error.empty()) outcome.error += '\n';
    outcome.error += line.error;
  }
  if (signal) {
    outcome.status = ExitStatus::failed;
    outcome.signal = *signal;
  }
  return outcome;
}

std::string shownPath(std::string_view path, std::string_view home) {
  if (path.starts_with(home) && path.substr(home.size()).starts_with('/'))
    return "~" + ShownText::clean(path.substr(home.size()));
  return ShownText::clean(path);
}

std::string diffOf(const SettingsFile::Outcome& edit, const std::string& path, const Console& console) {
  const std::string diff = unifiedDiff(edit.before.value_or(""), edit.after.value_or(""),
                                       edit.before ? path : "/dev/null", edit.after ? path : "/dev/null");
  std::string shown;
  std::string_view rest = diff;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    shown += console.painted(cleanLine(line), colourOf(line)) + "\n";
  }
  return shown;
}

std::optional<Outcome> declined(bool yes, const std::string& question, std::string_view notDone,
                                const Console& console) {
  if (yes) return std::nullopt;
  if (!console.canAsk()) {
    return Outcome::failed(
        std::string(notDone) +
        ", because there is no terminal to ask on. Add --yes to go on without a question.");
  }
  if (console.confirms(question)) return std::nullopt;
  Outcome outcome;
  outcome.status = ExitStatus::declined;
  outcome.error = std::string(notDone) + ".";
  return outcome;
}

std::string listOf(const std::vector<std::string>& names) {
  std::string list;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) list += i + 1 == names.size() ? " and " : ", ";
    list += names[i];
  }
  return list;
}

}  // namespace tavrin::SettingsReport
