// The text of an agent's settings file. The input's first byte chooses the agent, and the rest is the text.
// Our hooks are put in and taken out, and no other byte may change.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Agents/SettingsText.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinCore/Support/Json/JsonLayout.hpp"
#include "fuzz/Laws.hpp"
#include "tests/support/SettingsOracle.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)
namespace json = boost::json;
using SettingsText::Outcome;
using test::SettingsOracle::isPartOf;
using test::SettingsOracle::others;

namespace {

constexpr std::string_view helper = "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook";
constexpr std::string_view elsewhere = "/opt/Tavrin/bin/tavrin-hook";

std::optional<json::object> parsed(std::string_view text, const AgentDefinition& definition) {
  if (text.empty()) return json::object();
  const bool isLenient = definition.agent == Agent::gemini;
  const std::optional<json::value> value =
      Json::parse(isLenient ? JsonLayout::withoutComments(text).text : std::string(text));
  if (!value || !value->is_object()) return std::nullopt;
  return value->get_object();
}

void checkRefused(std::string_view text, const AgentDefinition& definition) {
  const Outcome refused = SettingsText::connect(text, helper, definition);
  require(refused.kind == Outcome::Kind::refused && refused.text == text, "what is refused stays as it is");
  require(refused.refusal.line > 0 && refused.refusal.column > 0, "a refusal names the place");
  const auto lines = 1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  require(refused.refusal.line <= lines && refused.refusal.column <= text.size() + 1, "the place exists");
  require(SettingsText::disconnect(text, definition) == refused, "connect and disconnect refuse alike");
  require(SettingsText::contents(text, definition).refusal == refused.refusal, "and so does reading");
}

void checkShared(std::string_view text, const json::object& document, const AgentDefinition& definition) {
  std::vector<std::string> listed;
  for (const auto& spec : definition.events) listed.emplace_back(spec.name);
  const json::object merged = HookSettings::merged(document, helper, definition);
  const Outcome connected = SettingsText::connect(text, helper, definition);
  require(connected.kind != Outcome::Kind::refused, "what is valid is not refused");
  if (connected.kind == Outcome::Kind::changed) {
    require(parsed(connected.text, definition) == merged, "connecting merges");
  } else {
    require(connected.text == text && HookSettings::isInstalled(document, helper, definition),
            "what is unchanged is installed");
  }
  require(others(connected.text, listed) == others(text, listed), "connecting changes no other byte");
  require(SettingsText::connect(connected.text, helper, definition).kind == Outcome::Kind::unchanged,
          "connecting twice is connecting once");

  const Outcome disconnected = SettingsText::disconnect(text, definition);
  require(parsed(disconnected.text, definition) == HookSettings::removed(document), "disconnecting removes");
  require(isPartOf(disconnected.text, text), "disconnecting adds no byte");
  require(others(disconnected.text, {}) == others(text, {}), "disconnecting changes no other byte");

  const json::object removed = HookSettings::removed(merged);
  const Outcome back = SettingsText::disconnect(connected.text, definition);
  if (connected.kind == Outcome::Kind::changed) {
    require(parsed(back.text, definition) == removed, "what was connected can be disconnected");
    if (removed == document && !text.empty()) require(back.text == text, "and then has its bytes back");
  }
  const Outcome moved = SettingsText::connect(connected.text, elsewhere, definition);
  require(moved.kind == Outcome::Kind::changed, "a moved tool is connected again");
  require(others(moved.text, listed) == others(text, listed), "and no other byte changes");
  for (const SettingsText::Entry& entry : SettingsText::contents(moved.text, definition).entries)
    require(!entry.event.empty() || entry.helperPath != helper, "each entry has an event");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const AgentDefinition& definition = AgentDefinition::all.at(data[0] % AgentDefinition::all.size());
  const std::string_view text = textOf(data, size).substr(1);
  const std::optional<json::object> document = parsed(text, definition);
  if (SettingsText::contents(text, definition).refusal) {
    checkRefused(text, definition);
    return 0;
  }
  require(document.has_value(), "what is not valid is refused");
  if (definition.format == HookConfigFormat::hooksBlock) {
    checkShared(text, *document, definition);
    return 0;
  }
  const Outcome own = SettingsText::connect(text, helper, definition);
  const bool isOthers = !document->empty() && !HookSettings::isOwnFile(*document);
  require((own.kind == Outcome::Kind::refused) == isOthers, "others' own files are refused");
  require(isOthers || parsed(own.text, definition) == HookSettings::ownFileDocument(helper, definition),
          "an own file is written whole");
  const Outcome gone = SettingsText::disconnect(text, definition);
  require(gone.text.empty() == (text.empty() || HookSettings::isOwnFile(*document)), "and removed whole");
  return 0;
}
