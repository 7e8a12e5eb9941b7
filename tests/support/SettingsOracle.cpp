#include "tests/support/SettingsOracle.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace tavrin::test::SettingsOracle {

namespace {

// A value with its bytes. A member's bytes start at its key.
struct Node {
  char kind = 0;  // its first byte
  std::size_t start = 0;
  std::size_t end = 0;
  std::string text;  // a string's meaning, as far as it is needed here: escapes of ASCII characters
  std::vector<std::string> keys;
  std::vector<Node> children;
  std::vector<std::size_t> memberStarts;

  bool isObject() const { return kind == '{'; }
  bool isListOfObjects() const {
    return kind == '[' &&
           std::all_of(children.begin(), children.end(), [](const Node& child) { return child.isObject(); });
  }
  const Node* last(std::string_view key) const {
    const Node* found = nullptr;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (keys[i] == key) found = &children[i];
    }
    return found;
  }
};

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  Node document() {
    if (text_.substr(0, 3) == "\xEF\xBB\xBF") at_ = 3;
    skip();
    return value();
  }

  void skip() {
    while (at_ < text_.size()) {
      if (std::string_view(" \t\r\n").find(text_[at_]) != std::string_view::npos) {
        ++at_;
      } else if (text_.substr(at_, 2) == "//") {
        while (at_ < text_.size() && text_[at_] != '\n') ++at_;
      } else if (text_.substr(at_, 2) == "/*") {
        at_ = text_.find("*/", at_ + 2) + 2;
      } else {
        return;
      }
    }
  }

 private:
  std::string string() {
    std::string meaning;
    for (++at_; text_[at_] != '"'; ++at_) {
      if (text_[at_] != '\\') {
        meaning += text_[at_];
        continue;
      }
      ++at_;
      if (text_[at_] == 'u') {
        const long unit = std::strtol(std::string(text_.substr(at_ + 1, 4)).c_str(), nullptr, 16);
        meaning += unit < 0x80 ? static_cast<char>(unit) : '?';
        at_ += 4;
      } else {
        meaning += text_[at_];
      }
    }
    ++at_;
    return meaning;
  }

  Node value() {
    Node node;
    node.kind = text_[at_];
    node.start = at_;
    if (node.kind == '"') {
      node.text = string();
    } else if (node.kind == '{' || node.kind == '[') {
      ++at_;
      skip();
      while (text_[at_] != '}' && text_[at_] != ']') {
        node.memberStarts.push_back(at_);
        if (node.kind == '{') {
          node.keys.push_back(string());
          skip();
          ++at_;  // the colon
          skip();
        }
        node.children.push_back(value());
        skip();
        if (text_[at_] == ',') ++at_;
        skip();
      }
      ++at_;
    } else {
      while (at_ < text_.size() && std::string_view(",]} \t\r\n/").find(text_[at_]) == std::string_view::npos)
        ++at_;
    }
    node.end = at_;
    return node;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

bool isOurs(const Node& entry) {
  const Node* const command = entry.last("command");
  return command != nullptr && command->kind == '"' &&
         command->text.find("/Tavrin/bin/tavrin-hook") != std::string::npos;
}

class Marks {
 public:
  Marks(std::string_view text, const std::vector<std::string>& listed)
      : listed_(listed), isOurs_(text.size(), false) {}

  void document(const Node& root) {
    const Node* const hooks = root.last("hooks");
    if (hooks == nullptr) return;
    bool isAll = true;
    if (hooks->isObject()) {
      std::vector<std::string> done;
      for (const std::string& name : hooks->keys) {
        if (std::find(done.begin(), done.end(), name) != done.end()) continue;
        done.push_back(name);
        if (event(name, *hooks->last(name))) {
          members(*hooks, name);
        } else {
          isAll = false;
        }
      }
    }
    if (isAll) members(root, "hooks");
  }

  bool operator[](std::size_t index) const { return isOurs_[index]; }

 private:
  void mark(std::size_t start, std::size_t end) {
    for (std::size_t i = start; i < end; ++i) isOurs_[i] = true;
  }

  void members(const Node& object, const std::string& key) {
    for (std::size_t i = 0; i < object.keys.size(); ++i) {
      if (object.keys[i] == key) mark(object.memberStarts[i], object.children[i].end);
    }
  }

  // Whether it holds nothing of others.
  bool event(const std::string& name, const Node& groups) {
    if (!groups.isListOfObjects()) return std::find(listed_.begin(), listed_.end(), name) != listed_.end();
    bool isAll = true;
    for (const Node& group : groups.children) {
      const Node* const entries = group.last("hooks");
      const bool hasEntries = entries != nullptr && entries->isListOfObjects() && !entries->children.empty();
      if (hasEntries && std::all_of(entries->children.begin(), entries->children.end(), isOurs)) {
        mark(group.start, group.end);
        continue;
      }
      isAll = false;
      if (!hasEntries) continue;
      for (const Node& entry : entries->children) {
        if (isOurs(entry)) mark(entry.start, entry.end);
      }
    }
    return isAll;
  }

  const std::vector<std::string>& listed_;
  std::vector<bool> isOurs_;
};

}  // namespace

std::string others(std::string_view text, const std::vector<std::string>& listed) {
  if (text.empty()) text = "{}";
  Marks marks(text, listed);
  marks.document(Reader(text).document());
  std::string rest;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t end = i + 1;
    if (text[i] == '"') {
      while (text[end] != '"') end += text[end] == '\\' ? 2 : 1;
      ++end;
    } else if (text.substr(i, 2) == "//") {
      while (end < text.size() && text[end] != '\n') ++end;
      if (end < text.size() && text[end - 1] == '\r') --end;
    } else if (text.substr(i, 2) == "/*") {
      end = text.find("*/", i + 2) + 2;
    } else if (std::string_view(", \t\r\n").find(text[i]) != std::string_view::npos) {
      ++i;
      continue;
    }
    for (; i < end; ++i) {
      if (!marks[i]) rest += text[i];
    }
  }
  return rest;
}

bool isPartOf(std::string_view part, std::string_view whole) {
  std::size_t found = 0;
  for (const char c : whole) {
    if (found < part.size() && part[found] == c) ++found;
  }
  return found == part.size();
}

}  // namespace tavrin::test::SettingsOracle
