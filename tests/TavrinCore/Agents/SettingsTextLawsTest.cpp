// Laws that hold for every settings text, checked on thousands of generated texts and on all real ones.

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Agents/SettingsText.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinCore/Support/Json/JsonLayout.hpp"
#include "tests/support/Random.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/SettingsOracle.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

namespace json = boost::json;
using SettingsText::Outcome;

const std::string path = "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook";
const std::string movedPath = "/Volumes/Geräte/Tavrin/bin/tavrin-hook";

// Generates settings texts as many editors leave them: any layout, any spelling, anything in odd places.
class TextGenerator {
 public:
  explicit TextGenerator(unsigned seed) : random_(seed) {}

  std::string text(const AgentDefinition& definition) {
    definition_ = &definition;
    allowsComments_ = definition.agent == Agent::gemini && oneIn(2);
    newLine_ = oneIn(4) ? "\r\n" : "\n";
    unit_ = std::string(pick({"", " ", "  ", "    ", "\t", "\t\t", "   "}));
    style_ = static_cast<Style>(random_.below(4));
    colon_ = std::string(pick({": ", ":", " : "}));
    out_.clear();
    if (oneIn(6)) out_ += "\xEF\xBB\xBF";
    if (oneIn(8)) trivia(0);
    list('{', 0, upTo(4), [this](std::size_t) { topMember(); });
    if (!oneIn(4)) out_ += newLine_;
    return out_;
  }

 private:
  enum class Style : std::uint8_t { compact, spaced, pretty, messy };

  std::size_t upTo(std::size_t most) { return random_.below(most + 1); }
  bool oneIn(std::size_t n) { return random_.below(n) == 0; }
  std::string_view pick(std::initializer_list<std::string_view> list) {
    return list.begin()[random_.below(list.size())];
  }

  // The text between two tokens at this depth. `isLine`: a pretty printer would start a line here.
  void trivia(std::size_t depth, bool isLine = true) {
    const auto indent = [&] {
      for (std::size_t i = 0; i < depth; ++i) out_ += unit_;
    };
    if (style_ == Style::spaced && isLine && oneIn(2)) out_ += ' ';
    if (style_ == Style::pretty && isLine) {
      out_ += newLine_;
      indent();
    }
    if (style_ == Style::messy) {
      for (std::size_t i = upTo(3); i > 0; --i) out_ += pick({" ", "\t", "\n", "\r\n", "  ", "\r"});
    }
    if (!allowsComments_ || !oneIn(4)) return;
    if (oneIn(2)) {
      out_ += pick({"/* c */", "/**/", "/* \"a\", } \n */", "/*/*/"});
    } else {
      out_ += pick({"// c", "//", "// \"x\": [,", "// /*"});
      out_ += newLine_;
      indent();
    }
    if (oneIn(3)) out_ += ' ';
  }

  template <class Element>
  void list(char open, std::size_t depth, std::size_t count, Element element) {
    out_ += open;
    for (std::size_t i = 0; i < count; ++i) {
      trivia(depth + 1);
      element(depth + 1);
      if (i + 1 < count || (allowsComments_ && oneIn(4))) {
        if (style_ == Style::messy || allowsComments_) trivia(depth + 1, false);
        out_ += ',';
      }
    }
    if (count > 0 || oneIn(3)) trivia(depth);
    out_ += open == '{' ? '}' : ']';
  }

  void string(std::string_view text) {
    out_ += '"';
    for (const char c : text) {
      const bool isAscii = static_cast<unsigned char>(c) < 0x80;
      if (c == '"' || c == '\\') {
        out_ += '\\';
        out_ += c;
      } else if (c == '\n') {
        out_ += "\\n";
      } else if (isAscii && escapes_ && oneIn(6)) {
        constexpr std::string_view hex = "0123456789aBcDeF";
        out_ += "\\u00";
        out_ += hex[static_cast<unsigned char>(c) >> 4U];
        out_ += hex[static_cast<unsigned char>(c) & 0xFU];
      } else {
        out_ += c;
      }
    }
    out_ += '"';
  }

  void key(std::string_view name, std::size_t depth) {
    escapes_ = oneIn(10);
    string(name);
    escapes_ = false;
    if (style_ == Style::messy) trivia(depth, false);
    out_ += style_ == Style::messy ? ":" : colon_;
    if (style_ == Style::messy) trivia(depth, false);
  }

  void topMember() {
    if (oneIn(2)) {
      key("hooks", 1);
      if (oneIn(10)) {
        anything(1, 2);
      } else {
        list('{', 1, upTo(4), [this](std::size_t) { event(); });
      }
      return;
    }
    key(pick({"model", "permissions", "env", "Ümlaut", "", "a/b"}), 1);
    anything(1, 3);
  }

  void event() {
    const auto& events = definition_->events;
    key(oneIn(3) ? pick({"PreCompact", "stop", "hooks", "Ä"}) : events[upTo(events.size() - 1)].name, 2);
    if (oneIn(10)) {
      anything(2, 2);
    } else {
      list('[', 2, upTo(3), [this](std::size_t) { group(); });
    }
  }

  void group() {
    if (oneIn(20)) return anything(3, 1);
    list('{', 3, upTo(3), [this](std::size_t) {
      if (oneIn(3)) {
        key("matcher", 4);
        string(pick({"Bash", "", "permission_prompt"}));
      } else if (oneIn(12)) {
        key("hooks", 4);
        anything(4, 2);
      } else {
        key("hooks", 4);
        list('[', 4, upTo(3), [this](std::size_t) { entry(); });
      }
    });
  }

  void entry() {
    list('{', 5, upTo(3), [this](std::size_t) {
      if (oneIn(3)) {
        key("timeout", 6);
        anything(6, 0);
        return;
      }
      key("command", 6);
      escapes_ = oneIn(8);
      if (oneIn(2)) {
        string(pick({"\"/old/Tavrin/bin/tavrin-hook\"", "/x/Tavrin/bin/tavrin-hook --agent codex",
                     "\"/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook\""}));
      } else {
        string(pick({"make lint", "", "tavrin-hook", "echo \"{,]\"\n"}));
      }
      escapes_ = false;
    });
  }

  void anything(std::size_t depth, std::size_t deeper) {
    switch (upTo(deeper > 0 ? 7 : 5)) {
      case 0:
        out_ += pick({"null", "true", "false"});
        break;
      case 1:
        out_ += pick({"0", "-1", "1e3", "0.10", "12345678901234567890123", "-0.0", "9007199254740993"});
        break;
      case 2:
      case 3:
        escapes_ = oneIn(3);
        string(pick({"text", "", "// no comment", "/*", "é😀", "{\"hooks\": [", "\\", "a\nb"}));
        escapes_ = false;
        break;
      case 4:
        out_ += pick({"\"\\ud83e\"", "\"\\ud83d\\ude00\"", "\"\\\\\"", "\"\\/\""});
        break;
      case 5:
        out_ += pick({"{}", "[]", "{ }", "[ ]"});
        break;
      case 6:
        list('[', depth, upTo(3), [&](std::size_t inner) { anything(inner, deeper - 1); });
        break;
      default:
        list('{', depth, upTo(3), [&](std::size_t inner) {
          key(pick({"a", "b", "hooks", "command"}), inner);
          anything(inner, deeper - 1);
        });
    }
  }

  test::Random random_;
  const AgentDefinition* definition_ = nullptr;
  Style style_ = Style::pretty;
  bool allowsComments_ = false;
  bool escapes_ = false;
  std::string newLine_;
  std::string unit_;
  std::string colon_;
  std::string out_;
};

std::vector<std::string> listed(const AgentDefinition& definition) {
  std::vector<std::string> names;
  for (const auto& spec : definition.events) names.emplace_back(spec.name);
  return names;
}

std::vector<const AgentDefinition*> sharedDefinitions() {
  return {&AgentDefinition::claude, &AgentDefinition::codex, &AgentDefinition::gemini,
          &AgentDefinition::grok};
}

json::object parsed(std::string_view text, const AgentDefinition& definition) {
  if (text.empty()) return {};
  const bool isLenient = definition.agent == Agent::gemini;
  const std::string plain = isLenient ? JsonLayout::withoutComments(text).text : std::string(text);
  return Json::parse(plain).value().as_object();
}

// All laws for one text that parses.
void expectLaws(const std::string& text, const AgentDefinition& definition) {
  const json::object document = parsed(text, definition);
  const std::vector<std::string> events = listed(definition);
  const json::object merged = HookSettings::merged(document, path, definition);

  const Outcome connected = SettingsText::connect(text, path, definition);
  ASSERT_NE(connected.kind, Outcome::Kind::refused) << connected.refusal.sentence("it");
  if (connected.kind == Outcome::Kind::changed) {
    EXPECT_EQ(json::value(parsed(connected.text, definition)), json::value(merged));
    EXPECT_EQ(connected.text.starts_with("\xEF"), text.starts_with("\xEF"));
  } else {
    EXPECT_EQ(connected.text, text);
    EXPECT_TRUE(HookSettings::isInstalled(document, path, definition));
  }
  using test::SettingsOracle::isPartOf;
  using test::SettingsOracle::others;
  EXPECT_EQ(others(connected.text, events), others(text, events));
  const Outcome again = SettingsText::connect(connected.text, path, definition);
  EXPECT_EQ(again.kind, Outcome::Kind::unchanged);
  EXPECT_EQ(again.text, connected.text);

  const Outcome disconnected = SettingsText::disconnect(text, definition);
  ASSERT_NE(disconnected.kind, Outcome::Kind::refused);
  EXPECT_EQ(json::value(parsed(disconnected.text, definition)), json::value(HookSettings::removed(document)));
  EXPECT_TRUE(isPartOf(disconnected.text, text));
  EXPECT_EQ(others(disconnected.text, {}), others(text, {}));
  EXPECT_EQ(disconnected.kind == Outcome::Kind::unchanged, disconnected.text == text);
  EXPECT_EQ(SettingsText::disconnect(disconnected.text, definition).kind, Outcome::Kind::unchanged);

  const Outcome back = SettingsText::disconnect(connected.text, definition);
  const json::object removedAgain = HookSettings::removed(merged);
  if (connected.kind == Outcome::Kind::changed) {
    EXPECT_EQ(json::value(parsed(back.text, definition)), json::value(removedAgain));
    if (json::value(removedAgain) == json::value(document) && !text.empty()) {
      EXPECT_TRUE(isPartOf(text, connected.text));
      EXPECT_EQ(back.text, text);
    }
  }
  const Outcome moved = SettingsText::connect(connected.text, movedPath, definition);
  EXPECT_EQ(json::value(parsed(moved.text, definition)),
            json::value(HookSettings::merged(parsed(connected.text, definition), movedPath, definition)));
  EXPECT_EQ(others(moved.text, events), others(text, events));
}

TEST(SettingsTextLaws, HoldForGeneratedTexts) {
  constexpr int texts = test::generatedCases(500);
  const unsigned seed = test::randomSeed();
  TextGenerator generator(seed);
  int cameBack = 0;
  for (const AgentDefinition* definition : sharedDefinitions()) {
    for (int i = 0; i < texts; ++i) {
      const std::string text = generator.text(*definition);
      expectLaws(text, *definition);
      if (HasFailure())
        FAIL() << "seed " << seed << ", text " << i << " " << definition->name << "\n" << text;
      const Outcome connected = SettingsText::connect(text, path, *definition);
      if (SettingsText::disconnect(connected.text, *definition).text == text) ++cameBack;
    }
  }
  EXPECT_GT(cameBack, texts);
}

TEST(SettingsTextLaws, HoldForTheRealFiles) {
  for (const char* name :
       {"claude-settings.json", "codex-hooks.json", "gemini-settings.json", "grok-tavrin.json"}) {
    std::string text = test::readFile(test::dataDirectory() / "settings" / name);
    for (const AgentDefinition* definition : sharedDefinitions()) {
      expectLaws(text, *definition);
      std::string carriageReturns;
      for (const char c : text) carriageReturns += c == '\n' ? "\r\n" : std::string(1, c);
      expectLaws(carriageReturns, *definition);
      expectLaws("\xEF\xBB\xBF" + text, *definition);
      expectLaws(text.substr(0, text.find_last_not_of('\n') + 1), *definition);
    }
  }
}

TEST(SettingsTextLaws, HoldForEveryShortObject) {
  // All texts of up to seven tokens around an object's braces.
  constexpr std::array<std::string_view, 6> tokens = {" ", "\n",      "\"hooks\":{}",
                                                      ",", "\"a\":1", "\"hooks\":0"};
  std::size_t tried = 0;
  for (std::size_t number = 0; number < 6 * 6 * 6 * 6 * 6; ++number) {
    std::string text = "{";
    std::size_t rest = number;
    for (int i = 0; i < 5; ++i, rest /= 6) text += tokens.at(rest % 6);
    text += "}";
    if (SettingsText::contents(text, AgentDefinition::claude).refusal) continue;
    ++tried;
    expectLaws(text, AgentDefinition::claude);
    if (HasFailure()) FAIL() << text;
  }
  EXPECT_GT(tried, 100U);
}

}  // namespace
}  // namespace tavrin
