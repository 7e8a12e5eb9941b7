#include "TavrinCore/Agents/HookSettings.hpp"

#include <algorithm>
#include <boost/json/value.hpp>
#include <utility>

#include "TavrinCore/Support/Json/Json.hpp"

namespace tavrin::HookSettings {

namespace json = boost::json;

namespace {

bool holdsMarker(const json::object& entry, std::string_view commandKey) {
  const std::optional<std::string_view> text = Json::textAt(entry, commandKey);
  return text && text->find(marker) != std::string_view::npos;
}

// Whether `fits` holds for one of `objects`, a list that Json::objects or Json::objectsAt returned, or null.
template <class Fits>
bool anyOf(const json::array* objects, Fits fits) {
  return objects != nullptr && std::ranges::any_of(*objects, [&](const json::value& element) {
           return fits(element.get_object());
         });
}

json::array listOf(json::object only) {
  json::array list;
  list.emplace_back(std::move(only));
  return list;
}

}  // namespace

std::string command(std::string_view helperPath, std::optional<std::string_view> flag) {
  std::string text;
  text += '"';
  text += helperPath;
  text += '"';
  if (flag && !flag->empty()) {
    text += ' ';
    text += *flag;
  }
  return text;
}

json::object hookEntry(std::string_view helperPath, std::optional<std::string_view> flag,
                       std::int64_t timeout) {
  json::object entry;
  entry["type"] = "command";
  entry["command"] = command(helperPath, flag);
  entry["timeout"] = timeout;
  return entry;
}

bool isTavrinHook(const json::object& entry) {
  return holdsMarker(entry, "command");
}

json::array stripTavrin(const json::array& groups) {
  json::array kept;
  for (const json::value& group : groups) {
    const json::object* const members = group.if_object();
    const json::array* const entries = members == nullptr ? nullptr : Json::objectsAt(*members, "hooks");
    if (!anyOf(entries, isTavrinHook)) {
      kept.push_back(group);
      continue;
    }
    json::array others;
    std::ranges::copy_if(*entries, std::back_inserter(others),
                         [](const json::value& entry) { return !isTavrinHook(entry.get_object()); });
    if (others.empty()) continue;
    json::object rest = *members;
    rest["hooks"] = std::move(others);
    kept.emplace_back(std::move(rest));
  }
  return kept;
}

json::object merged(json::object document, std::string_view helperPath, const AgentDefinition& definition) {
  const json::object* const present = Json::objectAt(document, "hooks");
  json::object hooks = present == nullptr ? json::object() : *present;
  for (const EventSpec& spec : definition.events) {
    const json::array* const groups = Json::objectsAt(hooks, spec.name);
    json::array all = groups == nullptr ? json::array() : stripTavrin(*groups);
    json::object group;
    if (spec.matcher) group["matcher"] = *spec.matcher;
    group["hooks"] = listOf(hookEntry(helperPath, definition.helperFlag, spec.timeout));
    all.emplace_back(std::move(group));
    hooks[spec.name] = std::move(all);
  }
  document["hooks"] = std::move(hooks);
  return document;
}

json::object removed(json::object document) {
  const json::object* const hooks = Json::objectAt(document, "hooks");
  if (hooks == nullptr) return document;
  json::object kept;
  for (const auto& [event, value] : *hooks) {
    const json::array* const groups = Json::objects(value);
    json::value rest = groups == nullptr ? value : json::value(stripTavrin(*groups));
    if (groups == nullptr || !rest.get_array().empty()) kept.emplace(event, std::move(rest));
  }
  if (kept.empty()) {
    document.stable_erase("hooks");  // plain erase would move the last key here
  } else {
    document["hooks"] = std::move(kept);
  }
  return document;
}

bool isInstalled(const json::object& document, std::string_view helperPath,
                 const AgentDefinition& definition) {
  const json::object* const hooks = Json::objectAt(document, "hooks");
  if (hooks == nullptr) return false;
  const std::string expected = command(helperPath, definition.helperFlag);
  const auto runsExpected = [&](const json::object& entry) {
    return Json::textAt(entry, "command") == expected;
  };
  return std::ranges::all_of(definition.events, [&](const EventSpec& spec) {
    return anyOf(Json::objectsAt(*hooks, spec.name), [&](const json::object& group) {
      return Json::textAt(group, "matcher") == spec.matcher &&
             anyOf(Json::objectsAt(group, "hooks"), runsExpected);
    });
  });
}

json::object ownFileDocument(std::string_view helperPath, const AgentDefinition& definition) {
  json::object hooks;
  for (const EventSpec& spec : definition.events) {
    std::string text = command(helperPath, definition.helperFlag);
    if (definition.eventFlag) {
      text += " --event ";
      text += spec.name;
    }
    json::object entry;
    entry["type"] = "command";
    entry["bash"] = text;
    entry["timeoutSec"] = spec.timeout;
    if (spec.matcher) entry["matcher"] = *spec.matcher;
    hooks[spec.name] = listOf(std::move(entry));
  }
  json::object document;
  document["version"] = 1;
  document["hooks"] = std::move(hooks);
  return document;
}

bool isOwnFile(const json::object& document) {
  const json::object* const hooks = Json::objectAt(document, "hooks");
  const auto isTavrinEntry = [](const json::object& entry) { return holdsMarker(entry, "bash"); };
  return hooks != nullptr && std::ranges::any_of(*hooks, [&](const json::key_value_pair& event) {
           return anyOf(Json::objects(event.value()), isTavrinEntry);
         });
}

}  // namespace tavrin::HookSettings
