#include "TavrinCore/Agents/SettingsText.hpp"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <unordered_map>
#include <utility>
#include <variant>

#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Agents/SettingsEdit.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinCore/Support/Json/JsonLayout.hpp"
#include "TavrinCore/Support/Text.hpp"

namespace tavrin::SettingsText {

namespace json = boost::json;

namespace {

using JsonLayout::Item;
using JsonLayout::List;

struct Document {
  JsonLayout::Plain plain;
  json::object object;
};

// The reason and the place in words: "REASON at line 2, column 3".
Refusal refusalAt(std::string_view text, std::size_t position, const std::string& reason,
                  std::string advice) {
  if (text.starts_with("\xEF\xBB\xBF")) {
    text.remove_prefix(3);
    position -= std::min<std::size_t>(position, 3);
  }
  const std::string_view before = text.substr(0, position);
  const auto line = static_cast<std::size_t>(std::ranges::count(before, '\n')) + 1;
  // npos + 1 is 0: the first line.
  const std::string_view lineBefore = before.substr(before.rfind('\n') + 1);
  const auto startsCharacter = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; };
  const auto column = static_cast<std::size_t>(std::ranges::count_if(lineBefore, startsCharacter)) + 1;
  return {.line = line,
          .column = column,
          .reason = reason + " at line " + std::to_string(line) + ", column " + std::to_string(column),
          .advice = std::move(advice)};
}

Refusal commentRefusal(std::string_view text, std::size_t position, const AgentDefinition& definition) {
  return refusalAt(text, position, std::string(definition.name) + " does not accept the comment",
                   "Remove the comment, then try again.");
}

Refusal faultRefusal(std::string_view text, std::string_view plain, const AgentDefinition& definition) {
  const auto [fault, position] = JsonLayout::faultIn(plain);
  const std::string_view rest = plain.substr(position);
  if (rest.starts_with("//") || rest.starts_with("/*")) return commentRefusal(text, position, definition);
  switch (fault) {
    case JsonLayout::Fault::tooEarlyEnd:
      return refusalAt(text, position, "its JSON ends too early", "Complete the file, then try again.");
    case JsonLayout::Fault::tooDeep:
      return refusalAt(text, position, "it is nested more than 512 levels deep",
                       "Make it less deep, then try again.");
    case JsonLayout::Fault::numberTooLarge:
      return refusalAt(text, position, "it holds a number that is too large",
                       "Correct the number, then try again.");
    case JsonLayout::Fault::notUtf8:
      return refusalAt(text, position, "it is not UTF-8", "Save the file as UTF-8, then try again.");
    default:
      return refusalAt(text, position, "it is not valid JSON",
                       "Correct the file at that place, then try again.");
  }
}

std::variant<Document, Refusal> parse(std::string_view text, const AgentDefinition& definition) {
  const bool isLenient = definition.agent == Agent::gemini;
  Document document;
  if (text.empty()) return document;
  if (isLenient) {
    document.plain = JsonLayout::withoutComments(text);
    if (document.plain.unclosed) {
      return refusalAt(text, *document.plain.unclosed, "it has a comment without an end",
                       "End the comment with */, then try again.");
    }
  } else {
    document.plain.text = text;
  }
  std::optional<json::value> value = Json::parse(document.plain.text);
  if (!value) return faultRefusal(text, document.plain.text, definition);
  if (!isLenient) {
    if (const std::optional<std::size_t> comma = JsonLayout::trailingComma(text)) {
      return refusalAt(text, *comma,
                       std::string(definition.name) + " does not accept the comma after the last element",
                       "Remove the comma, then try again.");
    }
  }
  json::object* const object = value->if_object();
  if (object == nullptr) {
    return refusalAt(text, JsonLayout::rootPosition(document.plain.text),
                     "it is not a JSON object: something else begins",
                     "Put settings in braces there, then try again.");
  }
  document.object = std::move(*object);
  return document;
}

Outcome refused(Refusal refusal, std::string_view text) {
  return {.kind = Outcome::Kind::refused, .text = std::string(text), .refusal = std::move(refusal)};
}

Outcome unchanged(std::string_view text, bool isEmpty) {
  return {.kind = Outcome::Kind::unchanged, .text = std::string(text), .isEmpty = isEmpty};
}

Outcome changed(std::string text, bool isEmpty) {
  return {.kind = Outcome::Kind::changed, .text = std::move(text), .isEmpty = isEmpty};
}

std::optional<Refusal> unfitPath(std::string_view path) {
  const auto refusal = [](std::string reason) {
    return Refusal{.reason = std::move(reason), .advice = "Install tavrin-hook at another path."};
  };
  const std::string quoted = "the path of tavrin-hook, " + Text::repaired(path) + ",";
  if (!path.starts_with('/') || !path.ends_with(HookSettings::marker))
    return refusal(quoted + " does not end in " + std::string(HookSettings::marker));
  const auto isUnfit = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F || std::string_view("\"$`\\").find(c) != std::string_view::npos;
  };
  if (std::ranges::any_of(path, isUnfit) || !Text::isValidUtf8(path)) {
    return refusal(
        "the path of tavrin-hook holds a quote, a dollar sign, a backquote, a backslash or a byte "
        "that is not text");
  }
  return std::nullopt;
}

// The indices of Tavrin's entries in a group; empty if the group's entries are not a list of objects.
std::vector<std::size_t> ownEntries(const json::value& group) {
  std::vector<std::size_t> own;
  const json::array* const entries = Json::objectsAt(group.get_object(), "hooks");
  if (entries == nullptr) return own;
  for (std::size_t i = 0; i < entries->size(); ++i) {
    if (HookSettings::isTavrinHook((*entries)[i].get_object())) own.push_back(i);
  }
  return own;
}

bool hasNothingToDo(const json::object& document, std::string_view helperPath,
                    const AgentDefinition& definition) {
  if (!HookSettings::isInstalled(document, helperPath, definition)) return false;
  const json::object* const hooks = Json::objectAt(document, "hooks");
  return std::ranges::all_of(definition.events, [&](const HookSettings::EventSpec& spec) {
    std::size_t count = 0;
    for (const json::value& group : *Json::objectsAt(*hooks, spec.name)) count += ownEntries(group).size();
    return count == 1;
  });
}

// The indices of an object's members, by key. If a key occurs several times, the last one counts.
using Members = std::unordered_map<std::string, std::vector<std::size_t>>;

Members membersOf(std::string_view plain, const List& object) {
  Members members;
  for (std::size_t i = 0; i < object.items.size(); ++i) {
    const JsonLayout::Span quoted = object.items[i].key;
    members[JsonLayout::unquoted(plain.substr(quoted.start, quoted.end - quoted.start))].push_back(i);
  }
  return members;
}

// Removes Tavrin's entries from the groups of one event. Then appends `group`, unless it is null.
void editGroups(SettingsEdit& edit, std::string_view plain, const Item& event, const json::array& groups,
                const json::value* group, const List& parent) {
  const List list = JsonLayout::listAt(plain, event.value.start);
  std::vector<std::size_t> own;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    const std::vector<std::size_t> entries = ownEntries(groups[i]);
    if (entries.empty()) continue;
    if (entries.size() == Json::objectsAt(groups[i].get_object(), "hooks")->size()) {
      own.push_back(i);
      continue;
    }
    const List members = JsonLayout::listAt(plain, list.items[i].value.start);
    const Item& hooks = members.items[membersOf(plain, members).at("hooks").back()];
    edit.remove(JsonLayout::listAt(plain, hooks.value.start), entries);
  }
  if (group != nullptr && !own.empty() && own.back() + 1 == groups.size()) {
    edit.replace(list, list.items.back(), *group);
    own.pop_back();
  } else if (group != nullptr) {
    edit.append(list, {{.key = {}, .value = group}}, &parent);
  }
  edit.remove(list, own);
}

std::string withHooks(std::string_view text, const Document& document, const json::value& hooks) {
  const std::string& plain = document.plain.text;
  SettingsEdit edit(text, document.plain);
  const List root = JsonLayout::listAt(plain, JsonLayout::rootPosition(plain));
  const Members members = membersOf(plain, root);
  const auto places = members.find("hooks");
  const json::object* const present = Json::objectAt(document.object, "hooks");
  if (places == members.end()) {
    edit.append(root, {{.key = "hooks", .value = &hooks}}, nullptr);
    return edit.result();
  }
  const Item& place = root.items[places->second.back()];
  if (present == nullptr) {
    edit.replace(root, place, hooks);
    return edit.result();
  }
  const List events = JsonLayout::listAt(plain, place.value.start);
  const Members byName = membersOf(plain, events);
  std::vector<SettingsEdit::New> added;
  for (const auto& [name, groups] : hooks.get_object()) {
    const auto found = byName.find(std::string(name));
    const json::array* const others = Json::objectsAt(*present, name);
    if (found == byName.end()) {
      added.push_back({.key = name, .value = &groups});
    } else if (others == nullptr) {
      edit.replace(events, events.items[found->second.back()], groups);
    } else {
      editGroups(edit, plain, events.items[found->second.back()], *others, &groups.get_array().front(),
                 events);
    }
  }
  edit.append(events, added, &root);
  return edit.result();
}

// `kept` is what stays of the hooks; null if nothing stays.
std::string withoutHooks(std::string_view text, const Document& document, const json::object* kept) {
  const std::string& plain = document.plain.text;
  SettingsEdit edit(text, document.plain);
  const List root = JsonLayout::listAt(plain, JsonLayout::rootPosition(plain));
  const std::vector<std::size_t> places = membersOf(plain, root).at("hooks");
  if (kept == nullptr) {
    edit.remove(root, places);
    return edit.result();
  }
  const List events = JsonLayout::listAt(plain, root.items[places.back()].value.start);
  const Members byName = membersOf(plain, events);
  std::vector<std::size_t> gone;
  for (const auto& [name, value] : *Json::objectAt(document.object, "hooks")) {
    const json::array* const groups = Json::objects(value);
    if (groups == nullptr) continue;
    const std::vector<std::size_t>& found = byName.at(std::string(name));
    if (kept->contains(name)) {
      editGroups(edit, plain, events.items[found.back()], *groups, nullptr, events);
    } else {
      gone.insert(gone.end(), found.begin(), found.end());
    }
  }
  std::ranges::sort(gone);
  edit.remove(events, gone);
  return edit.result();
}

Outcome connectOwnFile(std::string_view text, const json::object& document, std::string_view helperPath,
                       const AgentDefinition& definition) {
  const json::object own = HookSettings::ownFileDocument(helperPath, definition);
  if (document == own) return unchanged(text, false);
  if (document.empty() || HookSettings::isOwnFile(document)) return changed(Json::print(own), false);
  return refused({.reason = "it holds somebody else's hooks",
                  .advice = "Move them to another file in the same folder, then try again."},
                 text);
}

std::string quotedPath(std::string_view command) {
  const std::size_t open = command.find('"');
  if (open == std::string_view::npos) return {};
  const std::size_t close = command.find('"', open + 1);
  return close == std::string_view::npos ? std::string()
                                         : std::string(command.substr(open + 1, close - open - 1));
}

void addEntry(std::vector<Entry>& entries, std::string_view event, std::optional<std::string_view> command) {
  if (!command || command->find(HookSettings::marker) == std::string_view::npos) return;
  entries.push_back(
      {.event = std::string(event), .command = std::string(*command), .helperPath = quotedPath(*command)});
}

}  // namespace

std::string Refusal::sentence(std::string_view file) const {
  return std::string(file) + " was not changed: " + reason + ". " + advice;
}

Outcome connect(std::string_view text, std::string_view helperPath, const AgentDefinition& definition) {
  if (std::optional<Refusal> refusal = unfitPath(helperPath)) return refused(*std::move(refusal), text);
  std::variant<Document, Refusal> parsed = parse(text, definition);
  if (auto* const refusal = std::get_if<Refusal>(&parsed)) return refused(std::move(*refusal), text);
  const auto& document = std::get<Document>(parsed);
  if (definition.format == HookConfigFormat::ownFile)
    return connectOwnFile(text, document.object, helperPath, definition);
  if (hasNothingToDo(document.object, helperPath, definition))
    return unchanged(text, document.object.empty());
  const json::object fresh = HookSettings::merged(json::object(), helperPath, definition);
  if (text.empty()) return changed(Json::print(fresh), false);
  return changed(withHooks(text, document, fresh.at("hooks")), false);
}

Outcome disconnect(std::string_view text, const AgentDefinition& definition) {
  std::variant<Document, Refusal> parsed = parse(text, definition);
  if (auto* const refusal = std::get_if<Refusal>(&parsed)) return refused(std::move(*refusal), text);
  const auto& document = std::get<Document>(parsed);
  if (definition.format == HookConfigFormat::ownFile) {
    if (HookSettings::isOwnFile(document.object)) return changed("", true);
    return unchanged(text, document.object.empty());
  }
  const json::object* const hooks = Json::objectAt(document.object, "hooks");
  if (hooks == nullptr) return unchanged(text, document.object.empty());
  json::object before;
  before["hooks"] = *hooks;
  const json::object after = HookSettings::removed(before);
  if (after == before) return unchanged(text, false);
  const json::object* const kept = Json::objectAt(after, "hooks");
  return changed(withoutHooks(text, document, kept), kept == nullptr && document.object.size() == 1);
}

Contents contents(std::string_view text, const AgentDefinition& definition) {
  std::variant<Document, Refusal> parsed = parse(text, definition);
  if (auto* const refusal = std::get_if<Refusal>(&parsed))
    return {.refusal = std::move(*refusal), .entries = {}};
  Contents contents;
  const json::object* const hooks = Json::objectAt(std::get<Document>(parsed).object, "hooks");
  if (hooks == nullptr) return contents;
  for (const auto& [event, value] : *hooks) {
    const json::array* const list = Json::objects(value);
    if (list == nullptr) continue;
    for (const json::value& element : *list) {
      if (definition.format == HookConfigFormat::ownFile) {
        addEntry(contents.entries, event, Json::textAt(element.get_object(), "bash"));
        continue;
      }
      const json::array* const entries = Json::objectsAt(element.get_object(), "hooks");
      if (entries == nullptr) continue;
      for (const json::value& entry : *entries)
        addEntry(contents.entries, event, Json::textAt(entry.get_object(), "command"));
    }
  }
  return contents;
}

bool isConnected(std::string_view text, std::string_view helperPath, const AgentDefinition& definition) {
  return connect(text, helperPath, definition).kind == Outcome::Kind::unchanged;
}

}  // namespace tavrin::SettingsText
