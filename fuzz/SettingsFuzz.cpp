// An agent's settings file. The input's first byte chooses the agent, and the rest is the document. Two
// readers read it, it is printed, and our hooks are put in and taken out.
#include <algorithm>
#include <optional>
#include <string>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "fuzz/Laws.hpp"
#include "fuzz/PlainJson.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)
namespace json = boost::json;

namespace {

constexpr std::string_view helper = "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook";
constexpr std::string_view elsewhere = "/opt/Tavrin/bin/tavrin-hook";

// Whether both are the same, with keys in the same order.
bool same(const json::object& a, const json::object& b) {
  return Json::print(a) == Json::print(b);
}

// What does not belong to us in the groups of one event, in order: the event's value if it is not a list of
// groups, and others' entries.
json::array othersIn(const json::value& event) {
  json::array others;
  const json::array* const groups = Json::objects(event);
  if (groups == nullptr) return {event};
  for (const json::value& group : *groups) {
    const json::array* const entries = Json::objectsAt(group.get_object(), "hooks");
    if (entries == nullptr || entries->empty()) {
      others.push_back(group);
      continue;
    }
    for (const json::value& entry : *entries) {
      if (HookSettings::isTavrinHook(entry.get_object())) continue;
      json::object kept = group.get_object();
      kept["hooks"] = entry;
      others.emplace_back(std::move(kept));
    }
  }
  return others;
}

bool isListed(const AgentDefinition& definition, std::string_view event) {
  return std::ranges::any_of(definition.events, [&](const auto& spec) { return spec.name == event; });
}

// `after` is `before` with our entries put in or taken out.
void checkNothingIsLost(const json::object& before, const json::object& after,
                        const AgentDefinition& definition) {
  for (const auto& [key, value] : before) {
    if (key == "hooks") continue;
    const json::value* const kept = after.if_contains(key);
    require(kept != nullptr && *kept == value, "other keys are kept");
  }
  const json::object* const hooks = Json::objectAt(before, "hooks");
  if (hooks == nullptr) return;
  const json::object* const hooksAfter = Json::objectAt(after, "hooks");
  for (const auto& [event, value] : *hooks) {
    const json::value* const kept = hooksAfter == nullptr ? nullptr : hooksAfter->if_contains(event);
    const bool isReplaced = isListed(definition, event) && Json::objects(value) == nullptr;
    const json::array others = othersIn(value);
    if (isReplaced && kept != nullptr && *kept != value) continue;
    require((kept == nullptr ? json::array() : othersIn(*kept)) == others,
            "others' entries are kept in order");
  }
}

bool holdsOurs(const json::object& document) {
  const json::object* const hooks = Json::objectAt(document, "hooks");
  return hooks != nullptr && std::ranges::any_of(*hooks, [](const auto& event) {
           const json::array* const groups = Json::objects(event.value());
           return groups != nullptr && HookSettings::stripTavrin(*groups) != *groups;
         });
}

// Whether merging would replace a value that does not have the form that agents read.
bool isOdd(const json::object& document, const AgentDefinition& definition) {
  const json::value* const present = document.if_contains("hooks");
  if (present == nullptr) return false;
  const json::object* const hooks = present->if_object();
  return hooks == nullptr || std::ranges::any_of(*hooks, [&](const auto& event) {
           return isListed(definition, event.key()) && Json::objects(event.value()) == nullptr;
         });
}

void checkEdits(const json::object& document, const AgentDefinition& definition) {
  using namespace HookSettings;  // NOLINT(google-build-using-namespace)
  const json::object installed = merged(document, helper, definition);
  const json::object uninstalled = removed(document);
  require(isInstalled(installed, helper, definition), "what is merged is installed");
  require(!isInstalled(installed, elsewhere, definition), "and installed in no other place");
  require(same(merged(installed, helper, definition), installed), "merged twice is merged once");
  require(merged(merged(document, elsewhere, definition), helper, definition) == installed,
          "an installation in another place is replaced");
  require(!holdsOurs(uninstalled), "what is removed is gone");
  require(same(removed(uninstalled), uninstalled), "removed twice is removed once");
  require(isOdd(document, definition) || removed(installed) == uninstalled, "merging can be undone");
  checkNothingIsLost(document, installed, definition);
  checkNothingIsLost(document, uninstalled, definition);
  require(isOwnFile(ownFileDocument(helper, definition)), "our own file is recognised");
  require(!isOwnFile(uninstalled) || isOwnFile(document), "removing makes no file ours");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const AgentDefinition& definition = AgentDefinition::all.at(data[0] % AgentDefinition::all.size());
  const std::string_view text = textOf(data, size).substr(1);
  const std::optional<PlainJson::Value> plain = PlainJson::parseMessage(text);
  const std::optional<json::value> document = Json::parse(text);
  require(document.has_value() == plain.has_value(), "both readers take the same documents");
  if (!document) return 0;
  require(PlainJson::agree(*plain, *document), "both readers see the same document");

  const std::string printed = Json::print(*document);
  const std::optional<json::value> again = Json::parse(printed);
  require(again == document, "a document that was printed comes back");
  require(Json::print(*again) == printed, "and is printed the same again");
  if (document->is_object()) checkEdits(document->get_object(), definition);
  return 0;
}
