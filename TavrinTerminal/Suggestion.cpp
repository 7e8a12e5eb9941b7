#include "TavrinTerminal/Suggestion.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "TavrinCore/Support/Text.hpp"

namespace tavrin::Suggestion {

namespace {

// A word as it is compared: without dashes in front, in lower case.
std::string folded(std::string_view word) {
  word.remove_prefix(std::min(word.find_first_not_of('-'), word.size()));
  return Text::lowerCased(word);
}

// The number of letters that are missing, extra, another or swapped: the optimal string alignment distance of
// Damerau and Levenshtein.
std::size_t distance(std::string_view a, std::string_view b) {
  // Rows of the table for the first i-2, i-1 and i letters of `a`. Column j is for the first j letters of
  // `b`.
  std::vector<std::size_t> beforeLast(b.size() + 1);
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::swap(beforeLast, last);
    std::swap(last, row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
  }
  return row[b.size()];
}

}  // namespace

std::vector<std::string_view> nearest(std::string_view mistyped, const std::vector<std::string_view>& known) {
  constexpr std::size_t longest = 64;  // no known word is near to a longer one, and comparing would take time
  constexpr std::size_t most = 2;
  const std::string word = folded(mistyped);
  if (word.empty() || word.size() > longest) return {};
  std::size_t least = std::max<std::size_t>(1, word.size() / 3);
  std::vector<std::string_view> near;
  for (const std::string_view each : known) {
    const std::string candidate = folded(each);
    const std::size_t wrong = candidate.starts_with(word) ? 0 : distance(word, candidate);
    if (wrong > least) continue;
    if (wrong < least) near.clear();
    least = wrong;
    near.push_back(each);
  }
  return near.size() <= most ? near : std::vector<std::string_view>();
}

std::string noneOf(std::string_view kind, std::string_view word, const std::vector<std::string_view>& known) {
  std::string text = "There is no ";
  text += kind;
  text += " \"";
  text += word;
  text += "\".";
  std::string_view before = " Did you mean ";
  for (const std::string_view each : nearest(word, known)) {
    text += before;
    text += '"';
    text += each;
    text += '"';
    before = " or ";
  }
  if (before == " or ") text += '?';
  return text;
}

}  // namespace tavrin::Suggestion
