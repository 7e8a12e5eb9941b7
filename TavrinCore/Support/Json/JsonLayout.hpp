#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Finds the positions of a JSON document's parts in its text, for edits that keep every other byte. It
/// returns positions, never values: values come from Json::parse.
namespace tavrin::JsonLayout {

/// The bytes from `start` to before `end`.
struct Span {
  std::size_t start = 0;
  std::size_t end = 0;

  bool operator==(const Span&) const = default;
};

struct Comment {
  Span span;            ///< without the line feed (or CR LF) that ends a line comment
  bool isLine = false;  ///< "// ..." and not "/* ... */"
};

/// A text whose comments are overwritten with spaces, so that positions stay the same.
struct Plain {
  std::string text;  ///< every byte of a comment is a space
  std::vector<Comment> comments;
  std::optional<std::size_t> unclosed;  ///< where a comment begins that never ends
};

/// Finds the comments of `text` in the form that editors allow in JSON files ("JSONC"). Text inside strings
/// is not a comment.
Plain withoutComments(std::string_view text);

/// The first comma with no element after it, outside strings. `text` has no comments.
std::optional<std::size_t> trailingComma(std::string_view text);

/// The kinds of errors at which Json::parse stops.
enum class Fault { none, tooEarlyEnd, tooDeep, numberTooLarge, notUtf8, other };

struct FaultAt {
  Fault fault = Fault::none;
  std::size_t position = 0;  ///< the byte at which the parser stopped
};

/// Why Json::parse rejects `text`, and where.
FaultAt faultIn(std::string_view text);

/// One element of an array, or one member of an object from its key to the end of its value.
struct Item {
  Span span;
  Span key;                          ///< the quoted key; empty for elements
  Span value;                        ///< the value; for elements the same as `span`
  std::optional<std::size_t> comma;  ///< the comma after it
};

/// An array or object in the text.
struct List {
  std::size_t open = 0;   ///< the opening bracket
  std::size_t close = 0;  ///< the closing bracket
  std::vector<Item> items;

  bool hasTrailingComma() const { return !items.empty() && items.back().comma.has_value(); }
};

/// Where the document's value begins. `text` is valid and has no comments, here and below.
std::size_t rootPosition(std::string_view text);

/// The list whose opening bracket stands at `open`. Takes time in proportion to its length.
List listAt(std::string_view text, std::size_t open);

/// What a quoted text with its quotes spells, as Json::parse reads it.
std::string unquoted(std::string_view quoted);

}  // namespace tavrin::JsonLayout
