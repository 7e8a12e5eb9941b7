#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// What a person pressed or clicked.
struct Key {
  enum class Kind : std::uint8_t {
    character,  ///< `text` holds it, as UTF-8
    enter,
    escape,
    backspace,
    up,
    down,
    pageUp,
    pageDown,
    home,
    end,
    redraw,  ///< Control-L
    press,   ///< the first mouse button went down at `column` and `row`
    wheelUp,
    wheelDown,
  };

  Kind kind = Kind::character;
  std::string text = {};
  int column = 0;  ///< from 0
  int row = 0;

  bool operator==(const Key&) const = default;
};

/// Turns what a terminal sends into keys. It knows the keys of xterm and those that took after it, in both
/// cursor key modes, and its mouse reports in SGR form (XTerm Control Sequences). What it does not know is
/// dropped whole.
class KeyParser {
 public:
  /// The longest sequence that is read as one; a longer one is dropped.
  static constexpr std::size_t longestSequence = 64;

  /// The keys that `bytes` complete. The beginning of a key waits for the rest.
  std::vector<Key> take(std::string_view bytes);

  /// Whether the beginning of a key waits. A lone Escape is the beginning of one.
  bool isWaiting() const { return !pending_.empty(); }

  /// The rest does not come. Returns the keys that were typed in its place: a lone Escape is the key.
  std::vector<Key> giveUp();

 private:
  std::string pending_;
  bool isSkipping_ = false;
};

}  // namespace tavrin
