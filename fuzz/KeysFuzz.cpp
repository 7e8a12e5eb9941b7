// What a terminal sends, read as keys: at once, and in pieces.
#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/Panel/KeyParser.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "fuzz/Laws.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)

namespace {

void add(std::vector<Key>& keys, std::vector<Key> more) {
  std::ranges::move(more, std::back_inserter(keys));
}

void check(const Key& key) {
  if (key.kind == Key::Kind::character) {
    require(!key.text.empty() && key.text.size() <= 4, "a character has one to four bytes");
    require(Text::isValidUtf8(key.text), "a character is UTF-8");
    require(ShownText::clean(key.text) == key.text, "a character controls nothing");
  } else {
    require(key.text.empty(), "only characters have a text");
  }
  require(key.column >= 0 && key.row >= 0, "a click is on the screen or beyond it, never before it");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = textOf(data, size);
  KeyParser atOnce;
  std::vector<Key> keys = atOnce.take(bytes);
  add(keys, atOnce.giveUp());
  require(!atOnce.isWaiting(), "nothing waits once the parser gave up");
  require(keys.size() <= bytes.size(), "a key takes at least a byte");
  for (const Key& key : keys) check(key);

  // Pieces of all sizes; the input itself says which.
  KeyParser inPieces;
  std::vector<Key> again;
  for (std::string_view rest = bytes; !rest.empty();) {
    const std::size_t length =
        std::min<std::size_t>(rest.size(), 1 + static_cast<unsigned char>(rest.front()) % 7U);
    add(again, inPieces.take(rest.substr(0, length)));
    rest.remove_prefix(length);
  }
  add(again, inPieces.giveUp());
  require(again == keys, "where the bytes are cut does not matter");
  return 0;
}
