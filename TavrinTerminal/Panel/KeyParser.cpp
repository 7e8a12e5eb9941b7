#include "TavrinTerminal/Panel/KeyParser.hpp"

#include <array>
#include <charconv>
#include <optional>
#include <utility>

#include "TavrinTerminal/ShownText.hpp"

namespace tavrin {

namespace {

constexpr char escape = '\033';

bool isFinal(char c) {
  return c >= '@' && c <= '~';
}

// Bytes of parameters and intermediates (ECMA-48, 5.4).
bool isWithin(char c) {
  return c >= ' ' && c <= '?';
}

std::optional<Key::Kind> cursorKey(char final) {
  switch (final) {
    case 'A':
      return Key::Kind::up;
    case 'B':
      return Key::Kind::down;
    case 'H':
      return Key::Kind::home;
    case 'F':
      return Key::Kind::end;
    case 'M':
      return Key::Kind::enter;  // of the number pad, behind SS3
    default:
      return std::nullopt;
  }
}

std::optional<Key::Kind> numberedKey(std::string_view parameters) {
  const std::string_view number = parameters.substr(0, parameters.find(';'));
  if (number == "1" || number == "7") return Key::Kind::home;
  if (number == "4" || number == "8") return Key::Kind::end;
  if (number == "5") return Key::Kind::pageUp;
  if (number == "6") return Key::Kind::pageDown;
  return std::nullopt;
}

// A mouse report "<button;column;row" with the final "M" for a press.
std::optional<Key> mouse(std::string_view parameters) {
  std::array<int, 3> numbers{};
  for (int& number : numbers) {
    const auto [end, error] =
        std::from_chars(parameters.data(), parameters.data() + parameters.size(), number);
    if (error != std::errc() || number < 0) return std::nullopt;
    parameters.remove_prefix(static_cast<std::size_t>(end - parameters.data()));
    const bool isLast = &number == &numbers.back();
    if (isLast != parameters.empty()) return std::nullopt;
    if (!isLast && parameters.front() != ';') return std::nullopt;
    if (!isLast) parameters.remove_prefix(1);
  }
  constexpr int modifiers = 4 + 8 + 16;
  constexpr int wheelUp = 64;
  constexpr int wheelDown = 65;
  Key key = {.kind = Key::Kind::press, .text = {}, .column = numbers[1] - 1, .row = numbers[2] - 1};
  if (key.column < 0 || key.row < 0) return std::nullopt;
  switch (numbers[0] & ~modifiers) {
    case 0:
      return key;
    case wheelUp:
      key.kind = Key::Kind::wheelUp;
      return key;
    case wheelDown:
      key.kind = Key::Kind::wheelDown;
      return key;
    default:
      return std::nullopt;
  }
}

std::optional<Key> controlSequence(std::string_view parameters, char final) {
  if (parameters.starts_with('<')) return final == 'M' ? mouse(parameters.substr(1)) : std::nullopt;
  const auto kind = final == '~' ? numberedKey(parameters) : cursorKey(final);
  if (!kind || *kind == Key::Kind::enter) return std::nullopt;
  return Key{.kind = *kind};
}

std::optional<Key> controlKey(char c) {
  switch (c) {
    case '\r':
    case '\n':
      return Key{.kind = Key::Kind::enter};
    case '\b':
    case '\177':
      return Key{.kind = Key::Kind::backspace};
    case '\f':
      return Key{.kind = Key::Kind::redraw};
    case '\016':  // Control-N
      return Key{.kind = Key::Kind::down};
    case '\020':  // Control-P
      return Key{.kind = Key::Kind::up};
    default:
      return std::nullopt;
  }
}

// How many bytes a character has, by its first (RFC 3629); 0 for a byte that begins none.
std::size_t lengthOf(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte < 0x80) return 1;
  if (byte < 0xC2 || byte > 0xF4) return 0;
  if (byte < 0xE0) return 2;
  return byte < 0xF0 ? 3 : 4;
}

// How many bytes at the front are one key, and the key; 0 bytes when the rest is missing.
struct Taken {
  std::size_t bytes = 0;
  std::optional<Key> key = std::nullopt;
};

Taken takeSequence(std::string_view text) {
  if (text.size() < 2) return {};
  if (text[1] == 'O') {
    if (text.size() < 3) return {};
    if (!isFinal(text[2])) return {.bytes = 2};
    const auto kind = cursorKey(text[2]);
    return {.bytes = 3, .key = kind ? std::optional(Key{.kind = *kind}) : std::nullopt};
  }
  if (text[1] != '[') {
    // Escape was a key of its own, or Alt was held: the next byte is read as it stands.
    return {.bytes = 1, .key = Key{.kind = Key::Kind::escape}};
  }
  std::size_t end = 2;
  while (end < text.size() && isWithin(text[end])) ++end;
  if (end == text.size()) return {};
  if (!isFinal(text[end])) return {.bytes = end};  // broken off
  return {.bytes = end + 1, .key = controlSequence(text.substr(2, end - 2), text[end])};
}

Taken takeCharacter(std::string_view text) {
  const std::size_t length = lengthOf(text.front());
  if (length == 0) return {.bytes = 1};
  for (std::size_t i = 1; i < length && i < text.size(); ++i) {
    const bool continues = (static_cast<unsigned char>(text[i]) & 0xC0U) == 0x80U;
    if (!continues) return {.bytes = i};
  }
  if (text.size() < length) return {};
  const std::string_view character = text.substr(0, length);
  if (length == 1 && (text.front() < ' ' || text.front() == '\177'))
    return {.bytes = 1, .key = controlKey(text.front())};
  if (ShownText::clean(character) != character) return {.bytes = length};
  return {.bytes = length, .key = Key{.kind = Key::Kind::character, .text = std::string(character)}};
}

}  // namespace

std::vector<Key> KeyParser::take(std::string_view bytes) {
  std::vector<Key> keys;
  pending_ += bytes;
  std::string_view rest = pending_;
  while (!rest.empty()) {
    if (isSkipping_) {
      // The tail of a sequence that was too long.
      isSkipping_ = isWithin(rest.front());
      const bool isTail = isSkipping_ || isFinal(rest.front());
      if (isTail) rest.remove_prefix(1);
      continue;
    }
    Taken taken = rest.front() == escape ? takeSequence(rest) : takeCharacter(rest);
    const bool isTooLong = (taken.bytes == 0 ? rest.size() : taken.bytes) > longestSequence;
    if (isTooLong) {
      isSkipping_ = true;
      rest.remove_prefix(longestSequence);
      continue;
    }
    if (taken.bytes == 0) break;
    if (taken.key) keys.push_back(std::move(*taken.key));
    rest.remove_prefix(taken.bytes);
  }
  pending_.erase(0, pending_.size() - rest.size());
  return keys;
}

std::vector<Key> KeyParser::giveUp() {
  const std::string given = std::exchange(pending_, {});
  isSkipping_ = false;
  if (given.empty() || given.front() != escape) return {};
  std::vector<Key> keys = {{.kind = Key::Kind::escape}};
  if (given.size() == 2) keys.push_back({.kind = Key::Kind::character, .text = given.substr(1)});
  return keys;
}

}  // namespace tavrin
