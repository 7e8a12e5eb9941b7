// Laws that hold for every document, checked on thousands of generated ones.

#include <gtest/gtest.h>

#include <array>
#include <boost/json/serialize.hpp>
#include <string>
#include <vector>

#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/support/Random.hpp"

namespace tavrin {
namespace {

namespace json = boost::json;

const std::string path = "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook";
const std::string movedPath = "/Volumes/Geräte/Tavrin/bin/tavrin-hook";

std::string text(const json::value& value) {
  return Json::print(value);
}

// Generates unusual settings files: mostly of the right shape, sometimes of another.
class DocumentGenerator {
 public:
  explicit DocumentGenerator(unsigned seed) : random_(seed) {}

  json::object document(const AgentDefinition& definition) {
    json::object document;
    for (std::size_t i = upTo(3); i > 0; --i) document[pick(keys)] = anything(2);
    if (!oneIn(8)) document["hooks"] = oneIn(12) ? anything(1) : json::value(hooks(definition));
    for (std::size_t i = upTo(2); i > 0; --i) document[pick(keys)] = anything(2);
    return document;
  }

 private:
  static constexpr std::array<const char*, 8> keys = {"model", "permissions", "env", "Ümlaut",
                                                      "",      "mcpServers",  "a/b", "matcher"};
  static constexpr std::array<const char*, 4> foreignEvents = {"PreCompact", "SubagentStop", "stop", "hooks"};
  static constexpr std::array<const char*, 5> matchers = {"", "*", "Bash", "permission_prompt",
                                                          "permission_prompt|elicitation_dialog"};
  static constexpr std::array<const char*, 5> userCommands = {"make lint", "", "tavrin-hook",
                                                              "echo \"$HOME\"\n", "/usr/bin/Tavrin"};

  std::size_t upTo(std::size_t most) { return random_.below(most + 1); }
  bool oneIn(std::size_t n) { return upTo(n - 1) == 0; }
  template <class List>
  const char* pick(const List& list) {
    return list[upTo(list.size() - 1)];
  }

  json::value anything(int depth) {
    switch (upTo(depth > 0 ? 9 : 7)) {
      case 0:
        return nullptr;
      case 1:
        return oneIn(2);
      case 2:
        return random_.any<std::int64_t>();
      case 3:
        return random_.any<std::uint64_t>();
      case 4:
        return static_cast<double>(upTo(10));
      case 5:
        return static_cast<double>(random_.any<std::uint64_t>()) / 1e25;
      case 6:
        return json::value("\"" + path + "\"");
      case 7:
        return pick(userCommands);
      case 8: {
        json::array array;
        for (std::size_t i = upTo(3); i > 0; --i) array.push_back(anything(depth - 1));
        return array;
      }
      default: {
        json::object object;
        for (std::size_t i = upTo(3); i > 0; --i) object[pick(keys)] = anything(depth - 1);
        return object;
      }
    }
  }

  json::object hooks(const AgentDefinition& definition) {
    json::object hooks;
    for (std::size_t i = upTo(4); i > 0; --i) {
      const std::string event(oneIn(3) ? pick(foreignEvents)
                                       : definition.events[upTo(definition.events.size() - 1)].name);
      hooks[event] = oneIn(10) ? anything(2) : json::value(listOf(4, 20, [this] { return group(); }));
    }
    return hooks;
  }

  json::value group() {
    json::object group;
    if (oneIn(3)) group[pick(keys)] = anything(1);
    if (oneIn(2)) group["matcher"] = oneIn(6) ? anything(1) : json::value(pick(matchers));
    if (!oneIn(10))
      group["hooks"] = oneIn(10) ? anything(1) : json::value(listOf(3, 20, [this] { return entry(); }));
    if (oneIn(3)) group[pick(keys)] = anything(1);
    return group;
  }

  json::value entry() {
    json::object entry;
    if (oneIn(2)) entry["type"] = "command";
    if (oneIn(3)) {
      entry["command"] = (oneIn(2) ? "\"" + path + "\"" : "/old/Tavrin/bin/tavrin-hook") +
                         (oneIn(2) ? " --agent codex" : "");
    } else if (!oneIn(5)) {
      entry["command"] = oneIn(6) ? anything(1) : json::value(pick(userCommands));
    }
    if (oneIn(2)) entry["timeout"] = anything(0);
    return entry;
  }

  // At most `most` elements. One in `odds` is of another type.
  template <class Element>
  json::array listOf(std::size_t most, std::size_t odds, Element element) {
    json::array list;
    for (std::size_t i = upTo(most); i > 0; --i) list.push_back(oneIn(odds) ? anything(1) : element());
    return list;
  }

  test::Random random_;
};

bool isListOfObjects(const json::value& value) {
  if (!value.is_array()) return false;
  for (const json::value& element : value.get_array()) {
    if (!element.is_object()) return false;
  }
  return true;
}

bool isOurs(const json::value& entry) {
  const json::value* const command = entry.get_object().if_contains("command");
  return command != nullptr && command->is_string() &&
         std::string(command->get_string().c_str()).find("/Tavrin/bin/tavrin-hook") != std::string::npos;
}

bool isListed(const AgentDefinition& definition, const std::string& event) {
  for (const HookSettings::EventSpec& spec : definition.events) {
    if (spec.name == event) return true;
  }
  return false;
}

// Everything in a document that belongs to the user, one line for each thing, in order. Values of the wrong
// type in the place of a definition's entries belong to nobody.
std::vector<std::string> usersThings(const json::object& document, const AgentDefinition& definition) {
  std::vector<std::string> things;
  for (const auto& [key, value] : document) {
    if (key != "hooks") {
      things.push_back(std::string(key) + " = " + json::serialize(value));
      continue;
    }
    if (!value.is_object()) continue;
    for (const auto& [event, groups] : value.get_object()) {
      const std::string eventName(event);
      if (!isListOfObjects(groups)) {
        if (!isListed(definition, eventName)) things.push_back(eventName + " = " + json::serialize(groups));
        continue;
      }
      for (const json::value& group : groups.get_array()) {
        const json::value* const entries = group.get_object().if_contains("hooks");
        if (entries == nullptr || !isListOfObjects(*entries) || entries->get_array().empty()) {
          things.push_back(eventName + " group " + json::serialize(group));
          continue;
        }
        std::vector<std::string> users;
        for (const json::value& entry : entries->get_array()) {
          if (!isOurs(entry)) users.push_back(eventName + " entry " + json::serialize(entry));
        }
        if (users.empty()) continue;
        for (const auto& [groupKey, groupValue] : group.get_object()) {
          things.push_back(eventName + " group key " + std::string(groupKey) +
                           (groupKey == "hooks" ? "" : " = " + json::serialize(groupValue)));
        }
        things.insert(things.end(), users.begin(), users.end());
      }
    }
  }
  return things;
}

// The number of our entries that are where an agent finds them.
std::size_t ourEntries(const json::object& document, const AgentDefinition& definition) {
  std::size_t count = 0;
  for (const HookSettings::EventSpec& spec : definition.events) {
    for (const json::value& group : document.at("hooks").at(spec.name).as_array()) {
      const json::value* const entries = group.get_object().if_contains("hooks");
      if (entries == nullptr || !isListOfObjects(*entries)) continue;
      for (const json::value& entry : entries->get_array()) count += isOurs(entry) ? 1 : 0;
    }
  }
  return count;
}

// Calls `law` with 1,000 documents for each agent, and with fewer under an emulator.
template <class Law>
void forGeneratedDocuments(Law law) {
  constexpr int documents = test::generatedCases(1'000);
  const unsigned seed = test::randomSeed();
  DocumentGenerator generator(seed);
  int count = 0;
  for (const AgentDefinition& definition : AgentDefinition::all) {
    for (int i = 0; i < documents; ++i, ++count) {
      const json::object document = generator.document(definition);
      const std::string before = text(document);
      law(document, definition);
      ASSERT_EQ(text(document), before) << "the argument was changed";
      if (::testing::Test::HasFailure())
        FAIL() << "seed " << seed << " " << definition.name << "\n" << before;
    }
  }
  EXPECT_EQ(count, documents * static_cast<int>(AgentDefinition::all.size()));
}

TEST(HookSettingsLaws, MergedTwiceIsMergedOnce) {
  forGeneratedDocuments([](const json::object& document, const AgentDefinition& definition) {
    const json::object once = HookSettings::merged(document, path, definition);
    EXPECT_EQ(text(HookSettings::merged(once, path, definition)), text(once));
  });
}

TEST(HookSettingsLaws, WhatIsMergedIsInstalledAndWhatIsRemovedIsNot) {
  forGeneratedDocuments([](const json::object& document, const AgentDefinition& definition) {
    const json::object merged = HookSettings::merged(document, path, definition);
    EXPECT_TRUE(HookSettings::isInstalled(merged, path, definition));
    EXPECT_FALSE(HookSettings::isInstalled(merged, movedPath, definition));
    EXPECT_FALSE(HookSettings::isInstalled(HookSettings::removed(merged), path, definition));
    EXPECT_FALSE(HookSettings::isInstalled(HookSettings::removed(document), path, definition));
  });
}

TEST(HookSettingsLaws, WhatBelongsToTheUserIsNotLostMovedOrChanged) {
  std::size_t things = 0;
  forGeneratedDocuments([&](const json::object& document, const AgentDefinition& definition) {
    const std::vector<std::string> users = usersThings(document, definition);
    things += users.size();
    const json::object merged = HookSettings::merged(document, path, definition);
    EXPECT_EQ(usersThings(merged, definition), users);
    EXPECT_EQ(usersThings(HookSettings::removed(merged), definition), users);
    EXPECT_EQ(usersThings(HookSettings::removed(document), definition), users);
  });
  EXPECT_GT(static_cast<int>(things), test::generatedCases(12'000));
}

TEST(HookSettingsLaws, RemovingAfterMergingEqualsRemovingAlone) {
  int wellFormed = 0;
  forGeneratedDocuments([&](const json::object& document, const AgentDefinition& definition) {
    const json::value* const hooks = document.if_contains("hooks");
    if (hooks != nullptr && !hooks->is_object()) return;
    if (hooks != nullptr) {
      for (const auto& [event, groups] : hooks->get_object()) {
        if (isListed(definition, std::string(event)) && !isListOfObjects(groups)) return;
      }
    }
    ++wellFormed;
    EXPECT_EQ(text(HookSettings::removed(HookSettings::merged(document, path, definition))),
              text(HookSettings::removed(document)));
  });
  EXPECT_GT(wellFormed, test::generatedCases(2'000));
}

TEST(HookSettingsLaws, RemovedTwiceIsRemovedOnce) {
  forGeneratedDocuments([](const json::object& document, const AgentDefinition& /*definition*/) {
    const json::object once = HookSettings::removed(document);
    EXPECT_EQ(text(HookSettings::removed(once)), text(once));
  });
}

TEST(HookSettingsLaws, AMovedToolLeavesOneSetOfEntries) {
  forGeneratedDocuments([](const json::object& document, const AgentDefinition& definition) {
    const json::object merged = HookSettings::merged(document, path, definition);
    const json::object moved = HookSettings::merged(merged, movedPath, definition);
    EXPECT_EQ(text(moved), text(HookSettings::merged(document, movedPath, definition)));
    EXPECT_EQ(ourEntries(merged, definition), definition.events.size());
    EXPECT_EQ(ourEntries(moved, definition), definition.events.size());
    EXPECT_FALSE(HookSettings::isInstalled(moved, path, definition));
  });
}

TEST(HookSettingsLaws, AnyDocumentComesBackThroughTheFile) {
  forGeneratedDocuments([](const json::object& document, const AgentDefinition& definition) {
    for (const json::object& written : {document, HookSettings::merged(document, path, definition)}) {
      const std::optional<json::value> read = Json::parse(text(written));
      ASSERT_TRUE(read);
      EXPECT_EQ(*read, json::value(written));
      EXPECT_EQ(json::serialize(*read), json::serialize(written));
    }
  });
}

}  // namespace
}  // namespace tavrin
