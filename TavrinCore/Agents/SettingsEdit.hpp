#pragma once

// Part of Tavrin::Core. Needs Boost.JSON and the standard library.

#include <boost/json/value.hpp>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Support/Json/JsonLayout.hpp"

namespace tavrin {

/// Edits a JSON text and keeps all other bytes. Elements and members are removed, added at the end of their
/// list, or replaced. Adding something at the end of a list and removing it again restores the bytes. Edits
/// are collected, and `result` makes them all at once.
class SettingsEdit {
 public:
  using List = JsonLayout::List;
  using Item = JsonLayout::Item;

  /// `text` is valid JSON once its comments are overwritten with spaces, as in `plain`. Both must outlive
  /// this object.
  SettingsEdit(std::string_view text, const JsonLayout::Plain& plain);

  /// A new member of an object, or a new element of an array.
  struct New {
    std::string_view key;  ///< empty for elements; new members never have an empty key
    const boost::json::value* value;
  };

  /// Puts `added` at the end of `list`, in the style of its last item. `parent` is the list that contains
  /// `list`, and decides the style if `list` is empty. It is null for the document's own list.
  void append(const List& list, const std::vector<New>& added, const List* parent);

  /// Replaces the value of `item`, which is in `list`, by `value`.
  void replace(const List& list, const Item& item, const boost::json::value& value);

  /// Removes the items at `indices`, which are in ascending order.
  void remove(const List& list, const std::vector<std::size_t>& indices);

  /// The text with all edits made.
  std::string result() const;

 private:
  using Span = JsonLayout::Span;
  struct Edit {
    Span removed;
    std::string inserted;
  };

  // The layout of a value: on several lines, indented by `indent`, or on one line.
  struct Layout {
    bool isMultiline = true;
    std::string indent;
  };

  bool isMultiline(const List& list) const;
  std::string indentAt(std::size_t position) const;
  std::string_view before(const List& list, std::size_t index) const;
  std::size_t afterComments(std::size_t from, std::size_t to) const;
  std::pair<std::size_t, std::size_t> commentsIn(std::size_t from, std::size_t to) const;
  std::size_t lineEndAt(std::size_t position) const;
  bool endsLineComment(std::size_t position) const;
  std::string itemText(const New& added, const Layout& layout) const;
  void render(std::string& out, const boost::json::value& value, const Layout& layout) const;
  void fill(const List& list, const std::vector<New>& added, const List* parent);
  void removeBlank(std::size_t from, std::size_t to);
  std::vector<Edit> ordered() const;

  std::string_view text_;
  const JsonLayout::Plain& plain_;
  std::string newLine_ = "\n";
  std::string unit_ = "  ";
  std::string colon_ = ": ";
  std::vector<Edit> edits_;
};

}  // namespace tavrin
