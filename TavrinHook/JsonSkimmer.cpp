#include "TavrinHook/JsonSkimmer.hpp"

#include <algorithm>

#include "TavrinCore/Support/Json/JsonEscape.hpp"
#include "TavrinHook/JsonText.hpp"

namespace tavrin {

namespace {

// The length of the invalid part at the front of a string's content: one escape or one byte.
std::size_t wrongLength(std::string_view text) {
  if (text.front() != '\\') return 1;
  return JsonEscape::unit(text) < 0 ? std::min<std::size_t>(2, text.size()) : JsonEscape::length;
}

}  // namespace

std::size_t JsonSkimmer::add(std::string_view bytes, bool isLast) {
  std::size_t i = 0;
  while (i < bytes.size()) {
    const std::size_t start = i;
    if (!isInText_) {
      i = skimStructure(bytes, i);
    } else {
      i = isKey_ || isWanted_ ? keepText(bytes, i, isLast) : dropText(bytes, i, isLast);
    }
    if (i == start) break;
  }
  return i;
}

std::size_t JsonSkimmer::skimStructure(std::string_view bytes, std::size_t i) {
  const std::size_t start = i;
  while (i < bytes.size()) {
    const char c = bytes[i++];
    if (c == '"') {
      isInText_ = true;
      break;
    }
    if (c == '{' || c == '[') ++depth_;
    if (c == '}' || c == ']') --depth_;
    if (depth_ == 1 && (c == ':' || c == ',')) isValue_ = c == ':';
  }
  out_.append(bytes, start, i - start);
  if (isInText_) beginText();
  return i;
}

void JsonSkimmer::beginText() {
  textStart_ = out_.size();
  isKey_ = depth_ == 1 && !isValue_;
}

void JsonSkimmer::endText() {
  isInText_ = false;
  if (isKey_) {
    const std::string_view key = std::string_view(out_).substr(textStart_);
    // An escape may spell one of the keys.
    isWanted_ = key.find('\\') != std::string_view::npos || std::ranges::find(keys_, key) != keys_.end();
  }
  out_ += '"';
}

std::size_t JsonSkimmer::keepText(std::string_view bytes, std::size_t i, bool isLast) {
  const std::size_t start = i;
  i += JsonText::lengthBeforeQuote(bytes.substr(i));
  const bool isQuoteNext = i < bytes.size() && bytes[i] == '"';
  if (!isQuoteNext && isLast) i = bytes.size();
  out_.append(bytes, start, i - start);
  if (!isQuoteNext) return i;
  endText();
  return i + 1;
}

std::size_t JsonSkimmer::dropText(std::string_view bytes, std::size_t i, bool isLast) {
  for (;;) {
    i += JsonText::soundLength(bytes.substr(i));
    if (i == bytes.size()) return i;
    if (bytes[i] == '"') {
      endText();
      return i + 1;
    }
    const std::string_view rest = bytes.substr(i);
    if (rest.size() <= mostLeftOver && !isLast) return i;
    // Kept, with a space between it and anything wrong before it.
    const std::size_t length = wrongLength(rest);
    out_ += ' ';
    out_.append(rest, 0, length);
    i += length;
  }
}

}  // namespace tavrin
