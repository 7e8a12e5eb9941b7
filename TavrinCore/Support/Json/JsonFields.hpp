#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// Why a text is no JSON document; what() is one short line without the text itself.
class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a document's top-level object holds under one key, as far as small formats use JSON.
struct JsonField {
  enum class Kind : std::uint8_t {
    absent,   ///< there is no such key
    null,     ///< null
    text,     ///< a string, in `text`
    number,   ///< a number, its digits as they stand in `text`
    texts,    ///< an array of strings, in `texts`
    another,  ///< true, false, an object, or an array of anything else
  };

  Kind kind = Kind::absent;
  std::string text;
  std::vector<std::string> texts;

  bool operator==(const JsonField&) const = default;

  /// The string, or null when the field holds none.
  const std::string* asText() const { return kind == Kind::text ? &text : nullptr; }

  /// The number as an integer when it is one that fits ("5", "5.0" and "5e0" are 5); else nothing.
  std::optional<std::int32_t> asInt32() const;
  std::optional<std::uint64_t> asUInt64() const;
};

/// The fields of a document's top-level object that the reader was asked for. Everything else in the document
/// is checked, and passed over without being kept.
class JsonFields {
 public:
  /// A message from outside: the last of equal keys counts, a number beyond a double's range is an error, and
  /// an unpaired surrogate escape reads as U+FFFD. Fields come in the order of `keys`. Throws JsonError when
  /// `document` is not JSON as JsonGrammar has it.
  static JsonFields ofMessage(std::string_view document, std::span<const std::string_view> keys);

  /// A record of Tavrin's own or of an app it reads. The first of equal keys counts. Returns nullopt if
  /// `document` is not JSON as JsonGrammar has it, or if a field in `keys` holds an unpaired surrogate escape.
  /// A number may be out of range until it is used.
  static std::optional<JsonFields> ofRecord(std::string_view document, std::span<const std::string_view> keys);

  /// False for a document that is an array or a bare value; then every field is absent.
  bool isObject() const { return isObject_; }
  const JsonField& operator[](std::size_t index) const { return fields_[index]; }

 private:
  friend class JsonFieldsHandler;

  bool isObject_ = false;
  std::vector<JsonField> fields_;
};

/// Appends `text` as a JSON string, quotes included, as the platform's encoder writes it: `"`, `\`, `/` and
/// control characters escaped, everything else raw. `text` must be UTF-8.
void appendJsonText(std::string& out, std::string_view text);

}  // namespace tavrin
