#pragma once

#include <boost/json/value.hpp>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Support/Json/JsonLayout.hpp"

namespace tavrin {

/// Edits of a JSON text that keep all other bytes: elements and members are taken out, put in at the end of
/// their list, or replaced. What was put into a list at its end and is then taken out leaves the bytes that
/// were there before. Edits are collected, and all made at once by `result`.
class SettingsEdit {
 public:
  using List = JsonLayout::List;
  using Item = JsonLayout::Item;

  /// `text` is valid once its comments are blanked out, as `plain` is. Both outlive this.
  SettingsEdit(std::string_view text, const JsonLayout::Plain& plain);

  /// A member of an object, or an element of an array, to be put in.
  struct New {
    std::string_view key;  ///< empty for elements; no member has an empty key here
    const boost::json::value* value;
  };

  /// Puts `added` at the end of `list`, in the style of its last item. `parent` is the list that `list`
  /// stands in and decides the style of one that is empty; the document's own list has none.
  void append(const List& list, const std::vector<New>& added, const List* parent);

  /// Writes `value` in the place of the value of `item`, which stands in `list`.
  void replace(const List& list, const Item& item, const boost::json::value& value);

  /// Takes out the items at `indices`, which are in order.
  void remove(const List& list, const std::vector<std::size_t>& indices);

  /// The text with all edits made.
  std::string result() const;

 private:
  using Span = JsonLayout::Span;
  struct Edit {
    Span removed;
    std::string inserted;
  };

  // How a value is laid out: on lines of its own from `indent` on, or on one line.
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
