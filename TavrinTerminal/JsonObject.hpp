#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// Writes one JSON object (RFC 8259) in one line, its members in the order in which they are added.
class JsonObject {
 public:
  void text(std::string_view key, std::string_view value);
  void optionalText(std::string_view key, const std::optional<std::string>& value);
  void number(std::string_view key, std::int64_t value);
  void boolean(std::string_view key, bool value);
  /// A value that is JSON already.
  void json(std::string_view key, std::string_view value);
  /// An array of values that are JSON already.
  void list(std::string_view key, const std::vector<std::string>& values);

  /// The whole object, without a line feed.
  std::string finish();

 private:
  void begin(std::string_view key);

  std::string out_;
};

/// Appends `text` as a JSON string. All that could control a terminal is escaped, so that a document can be
/// shown on one; the string that it spells is `text`, with U+FFFD for each byte that is not UTF-8.
void appendJsonString(std::string& out, std::string_view text);

}  // namespace tavrin
