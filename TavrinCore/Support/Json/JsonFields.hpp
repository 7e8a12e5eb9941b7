#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// Says why a text is not valid JSON. what() is one short line, and never quotes the text.
class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The value of one key in a document's top-level object.
struct JsonField {
  enum class Kind : std::uint8_t {
    absent,   ///< there is no such key
    null,     ///< null
    text,     ///< a string, in `text`
    number,   ///< a number, in `text` as it is spelled
    texts,    ///< an array of strings, in `texts`
    another,  ///< true, false, an object, or an array of anything else
  };

  Kind kind = Kind::absent;
  std::string text;
  std::vector<std::string> texts;

  bool operator==(const JsonField&) const = default;

  /// The string, or null if the field is not a string.
  const std::string* asText() const { return kind == Kind::text ? &text : nullptr; }

  /// The number as an integer ("5", "5.0" and "5e0" are 5), or nullopt if it is not an integer that fits.
  std::optional<std::int32_t> asInt32() const;
  std::optional<std::uint64_t> asUInt64() const;
};

/// The values of some keys of a document's top-level object. Everything else in the document is checked, but
/// not kept.
class JsonFields {
 public:
  /// Reads a message of another program. The fields have the order of `keys`. The last of equal keys counts.
  /// An unpaired surrogate escape reads as U+FFFD. Throws JsonError if `document` is not JSON as JsonGrammar
  /// defines it, or holds a number beyond a double's range.
  static JsonFields ofMessage(std::string_view document, std::span<const std::string_view> keys);

  /// Reads a record that Tavrin or the Claude desktop app wrote. The first of equal keys counts. Returns
  /// nullopt if `document` is not JSON as JsonGrammar defines it, or if one of the fields holds an unpaired
  /// surrogate escape. Numbers of any size are accepted; asInt32 and asUInt64 check them.
  static std::optional<JsonFields> ofRecord(std::string_view document,
                                            std::span<const std::string_view> keys);

  /// False if the document is an array or a bare value. All fields are then absent.
  bool isObject() const { return isObject_; }
  const JsonField& operator[](std::size_t index) const { return fields_[index]; }

 private:
  friend class JsonFieldsHandler;

  bool isObject_ = false;
  std::vector<JsonField> fields_;
};

/// Appends `text`, which must be UTF-8, as a JSON string with its quotes. Like the encoder of macOS's
/// Foundation, it escapes `"`, `\`, `/` and control characters, and nothing else.
void appendJsonText(std::string& out, std::string_view text);

}  // namespace tavrin
