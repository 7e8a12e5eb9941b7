#include "TavrinCore/Agents/SettingsEdit.hpp"

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <optional>

namespace tavrin {

namespace json = boost::json;

SettingsEdit::SettingsEdit(std::string_view text, const JsonLayout::Plain& plain)
    : text_(text), plain_(plain) {
  const std::size_t lineFeed = text.find('\n');
  if (lineFeed != std::string_view::npos && lineFeed > 0 && text[lineFeed - 1] == '\r') newLine_ = "\r\n";

  const List root = JsonLayout::listAt(plain.text, JsonLayout::rootPosition(plain.text));
  if (root.items.empty()) return;
  const Item& first = root.items.front();
  const std::string_view colon = text.substr(first.key.end, first.value.start - first.key.end);
  if (colon.size() <= 3 && colon.find_first_not_of(" :") == std::string_view::npos) colon_ = colon;
  if (before(root, 0).find('\n') != std::string_view::npos) {
    unit_ = indentAt(first.span.start);
    const std::string base = indentAt(root.open);
    if (unit_.starts_with(base)) unit_.erase(0, base.size());
  }
}

// The white space between an item and the bracket or comma before it. A comment there counts as spaces.
std::string_view SettingsEdit::before(const List& list, std::size_t index) const {
  const std::size_t start = index == 0 ? list.open + 1 : list.items[index - 1].comma.value() + 1;
  return std::string_view(plain_.text).substr(start, list.items[index].span.start - start);
}

bool SettingsEdit::isMultiline(const List& list) const {
  return !list.items.empty() && before(list, list.items.size() - 1).find('\n') != std::string_view::npos;
}

// The spaces and tabs that start the line of `position`, at most up to `position`.
std::string SettingsEdit::indentAt(std::size_t position) const {
  const std::size_t lineFeed = position == 0 ? std::string_view::npos : text_.rfind('\n', position - 1);
  std::size_t start = lineFeed == std::string_view::npos ? 0 : lineFeed + 1;
  if (start == 0 && text_.starts_with("\xEF\xBB\xBF")) start = 3;
  const std::size_t end = std::min(text_.find_first_not_of(" \t", start), position);
  return std::string(text_.substr(start, end - start));
}

// The indices of the first comment between two positions and of the one after the last.
std::pair<std::size_t, std::size_t> SettingsEdit::commentsIn(std::size_t from, std::size_t to) const {
  const auto start = [](const JsonLayout::Comment& comment) { return comment.span.start; };
  const auto first = std::ranges::lower_bound(plain_.comments, from, {}, start);
  const auto last = std::ranges::lower_bound(plain_.comments, to, {}, start);
  const auto index = [&](auto place) { return static_cast<std::size_t>(place - plain_.comments.begin()); };
  return {index(first), index(last)};
}

// The end of the last comment between two positions; `from` if there is none.
std::size_t SettingsEdit::afterComments(std::size_t from, std::size_t to) const {
  const auto [first, last] = commentsIn(from, to);
  return first == last ? from : plain_.comments[last - 1].span.end;
}

// The end of the line of a line comment that ends at `position`; nothing is there but the line's end.
std::size_t SettingsEdit::lineEndAt(std::size_t position) const {
  if (text_.substr(position).starts_with("\r\n")) return position + 2;
  return text_.substr(position).starts_with('\n') ? position + 1 : position;
}

bool SettingsEdit::endsLineComment(std::size_t position) const {
  const auto found = std::ranges::lower_bound(
      plain_.comments, position, {}, [](const JsonLayout::Comment& comment) { return comment.span.end; });
  return found != plain_.comments.end() && found->isLine && found->span.end == position;
}

std::string SettingsEdit::itemText(const New& added, const Layout& layout) const {
  std::string item;
  if (!added.key.empty()) {
    item += json::serialize(json::string_view(added.key.data(), added.key.size()));
    item += colon_;
  }
  render(item, *added.value, layout);
  return item;
}

void SettingsEdit::render(std::string& out, const json::value& value, const Layout& layout) const {
  const json::object* const object = value.if_object();
  const json::array* const array = value.if_array();
  if (object == nullptr && array == nullptr) {
    out += json::serialize(value);
    return;
  }
  const Layout inner{.isMultiline = layout.isMultiline, .indent = layout.indent + unit_};
  const std::string separator = colon_.ends_with(' ') ? ", " : ",";
  bool isFirst = true;
  const auto begin = [&] {
    if (layout.isMultiline) {
      if (!isFirst) out += ',';
      out += newLine_ + inner.indent;
    } else if (!isFirst) {
      out += separator;
    }
    isFirst = false;
  };
  out += object == nullptr ? '[' : '{';
  if (object != nullptr) {
    for (const auto& [key, member] : *object) {
      begin();
      out += itemText({.key = {key.data(), key.size()}, .value = &member}, inner);
    }
  } else {
    for (const json::value& element : *array) {
      begin();
      render(out, element, inner);
    }
  }
  if (layout.isMultiline) out += newLine_ + layout.indent;
  out += object == nullptr ? ']' : '}';
}

void SettingsEdit::append(const List& list, const std::vector<New>& added, const List* parent) {
  if (added.empty()) return;
  if (list.items.empty()) {
    fill(list, added, parent);
    return;
  }
  const Item& last = list.items.back();
  const std::string indent = indentAt(last.span.start);
  const std::string_view lastText =
      std::string_view(plain_.text).substr(last.span.start, last.span.end - last.span.start);
  Layout layout{.isMultiline = true, .indent = indent};
  std::string separator = newLine_ + indent;
  const std::size_t afterLast = last.comma ? *last.comma + 1 : last.span.end;
  const std::size_t place = afterComments(afterLast, list.close);
  if (!isMultiline(list)) {
    layout.isMultiline = lastText.find('\n') != std::string_view::npos;
    if (!endsLineComment(place)) separator = colon_.ends_with(' ') ? " " : "";
  }

  if (!last.comma) edits_.push_back({{last.span.end, last.span.end}, ","});
  std::string inserted;
  for (const New& item : added) {
    if (!inserted.empty() && !last.comma) inserted += ',';
    inserted += separator + itemText(item, layout);
    if (last.comma) inserted += ',';
  }
  edits_.push_back({{place, place}, std::move(inserted)});
}

// Puts items into an empty list. In the document's own list, always adds the line end after them, so that
// removing them also removes it, and "{}" and "{ }" come back as they were.
void SettingsEdit::fill(const List& list, const std::vector<New>& added, const List* parent) {
  const std::size_t place = afterComments(list.open + 1, list.close);
  const bool isAfterLineComment = endsLineComment(place);
  const std::string base = indentAt(list.open);
  const Layout layout{
      .isMultiline = parent == nullptr || isMultiline(*parent) || isAfterLineComment,
      .indent = base + unit_,
  };
  std::string inserted;
  for (const New& item : added) {
    if (!inserted.empty()) inserted += layout.isMultiline || !colon_.ends_with(' ') ? "," : ", ";
    if (layout.isMultiline) inserted += newLine_ + layout.indent;
    inserted += itemText(item, layout);
  }
  const bool hasLineEnd = text_.substr(place, list.close - place).find('\n') != std::string_view::npos;
  if (layout.isMultiline && (parent == nullptr ? !isAfterLineComment : !hasLineEnd))
    inserted += newLine_ + base;
  edits_.push_back({{place, place}, std::move(inserted)});
}

void SettingsEdit::replace(const List& list, const Item& item, const json::value& value) {
  const std::string_view old =
      std::string_view(plain_.text).substr(item.value.start, item.value.end - item.value.start);
  const Layout layout{.isMultiline = isMultiline(list) || old.find('\n') != std::string_view::npos,
                      .indent = indentAt(item.span.start)};
  std::string inserted;
  render(inserted, value, layout);
  edits_.push_back({item.value, std::move(inserted)});
}

// Removes everything between two positions except comments.
void SettingsEdit::removeBlank(std::size_t from, std::size_t to) {
  const auto [first, last] = commentsIn(from, to);
  if (first == last) {
    edits_.push_back({{from, to}, ""});
    return;
  }
  edits_.push_back({{from, plain_.comments[first].span.start}, ""});
  edits_.push_back({{plain_.comments[last - 1].span.end, to}, ""});
}

void SettingsEdit::remove(const List& list, const std::vector<std::size_t>& indices) {
  std::optional<std::size_t> lastKept;  // before the current item
  std::size_t next = 0;
  for (const std::size_t index : indices) {
    for (; next < index; ++next) lastKept = next;
    next = index + 1;
    const Item& item = list.items[index];
    const std::size_t start = index == 0 ? list.open + 1 : list.items[index - 1].comma.value() + 1;
    const std::size_t from = afterComments(start, item.span.start);
    std::size_t end = item.span.end;
    if (!item.comma && !lastKept) {
      // It was the only item. The line end that `fill` wrote after it goes as well.
      const std::string lineEnd = newLine_ + indentAt(list.open);
      const bool startsLine = before(list, index).find('\n') != std::string_view::npos;
      if (startsLine && !endsLineComment(from) && text_.substr(end).starts_with(lineEnd))
        end += lineEnd.size();
    }
    edits_.push_back({{from, end}, ""});
    if (item.comma) {
      removeBlank(item.span.end, *item.comma);
      edits_.push_back({{*item.comma, *item.comma + 1}, ""});
    } else if (lastKept) {
      const std::size_t comma = list.items[*lastKept].comma.value();
      edits_.push_back({{comma, comma + 1}, ""});
    }
  }
}

// All edits in the order of the text. Adjacent edits become one.
std::vector<SettingsEdit::Edit> SettingsEdit::ordered() const {
  std::vector<Edit> sorted = edits_;
  std::ranges::stable_sort(sorted, {}, [](const Edit& edit) { return edit.removed.start; });
  std::vector<Edit> joined;
  for (Edit& edit : sorted) {
    if (edit.removed.start == edit.removed.end && edit.inserted.empty()) continue;
    if (!joined.empty() && joined.back().removed.end == edit.removed.start) {
      joined.back().removed.end = edit.removed.end;
      joined.back().inserted += edit.inserted;
    } else {
      joined.push_back(std::move(edit));
    }
  }
  return joined;
}

std::string SettingsEdit::result() const {
  std::string result;
  std::size_t done = 0;
  for (const Edit& edit : ordered()) {
    std::size_t start = edit.removed.start;
    // A line comment must not swallow what comes next.
    if (edit.inserted.empty() && endsLineComment(start) && lineEndAt(edit.removed.end) == edit.removed.end)
      start = std::min(lineEndAt(start), edit.removed.end);
    result += text_.substr(done, start - done);
    result += edit.inserted;
    done = edit.removed.end;
  }
  result += text_.substr(done);
  return result;
}

}  // namespace tavrin
