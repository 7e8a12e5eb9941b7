#include "TavrinTerminal/JsonObject.hpp"

#include <utility>

#include "TavrinTerminal/ShownText.hpp"

namespace tavrin {

namespace {

void appendUnit(std::string& out, unsigned unit) {
  constexpr std::string_view digits = "0123456789abcdef";
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += digits[(unit >> static_cast<unsigned>(shift)) & 0xFU];
}

void appendEscape(std::string& out, char32_t c) {
  constexpr char32_t firstBeyondUnits = 0x10000;
  if (c < firstBeyondUnits) {
    appendUnit(out, c);
    return;
  }
  appendUnit(out, 0xD800U + ((c - firstBeyondUnits) >> 10U));
  appendUnit(out, 0xDC00U + ((c - firstBeyondUnits) & 0x3FFU));
}

}  // namespace

void appendJsonString(std::string& out, std::string_view text) {
  out += '"';
  ShownText::forEachPiece(text, [&](std::string_view piece, ShownText::Piece kind, char32_t c) {
    if (kind == ShownText::Piece::notText) {
      out += "\uFFFD";
    } else if (c == U'\n') {
      out += "\\n";
    } else if (kind != ShownText::Piece::shown) {
      appendEscape(out, c);
    } else if (c == U'"' || c == U'\\') {
      out += '\\';
      out += piece;
    } else {
      out += piece;
    }
  });
  out += '"';
}

void JsonObject::begin(std::string_view key) {
  out_ += out_.empty() ? '{' : ',';
  appendJsonString(out_, key);
  out_ += ':';
}

void JsonObject::text(std::string_view key, std::string_view value) {
  begin(key);
  appendJsonString(out_, value);
}

void JsonObject::optionalText(std::string_view key, const std::optional<std::string>& value) {
  if (value) text(key, *value);
}

void JsonObject::number(std::string_view key, std::int64_t value) {
  begin(key);
  out_ += std::to_string(value);
}

void JsonObject::boolean(std::string_view key, bool value) {
  begin(key);
  out_ += value ? "true" : "false";
}

void JsonObject::json(std::string_view key, std::string_view value) {
  begin(key);
  out_ += value;
}

void JsonObject::list(std::string_view key, const std::vector<std::string>& values) {
  begin(key);
  out_ += '[';
  for (const std::string& value : values) {
    if (out_.back() != '[') out_ += ',';
    out_ += value;
  }
  out_ += ']';
}

std::string JsonObject::finish() {
  if (out_.empty()) out_ += '{';
  out_ += '}';
  return std::move(out_);
}

}  // namespace tavrin
