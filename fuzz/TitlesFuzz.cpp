// A metadata file of the Claude desktop app, read from a directory and by a second reader.
#include <optional>
#include <string>

#include "TavrinCore/Support/Text.hpp"
#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"
#include "fuzz/Laws.hpp"
#include "fuzz/PlainJson.hpp"
#include "tests/support/Scratch.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)

namespace {

// The first text under equal keys; null if it is not a text. Clears `isWhole` if it was cut between two
// surrogates.
const PlainJson::Value* fieldOf(const PlainJson::Value& object, std::string_view key, bool& isWhole) {
  const PlainJson::Value* const value = object.first(key);
  if (value == nullptr) return nullptr;
  if (value->hasLoneSurrogate) isWhole = false;
  return value->asText() == nullptr ? nullptr : value;
}

std::optional<std::string> titlePlainly(std::string_view text) {
  const std::optional<PlainJson::Value> metadata = PlainJson::parse(text);
  if (!metadata) return std::nullopt;
  bool isWhole = true;
  const PlainJson::Value* const id = fieldOf(*metadata, "sessionId", isWhole);
  const PlainJson::Value* const title = fieldOf(*metadata, "title", isWhole);
  if (!isWhole || id == nullptr || id->text != "local_s1" || title == nullptr) return std::nullopt;
  return shownTitle(title->text);
}

// A word that starts with a combining mark, which is possible after a tab, marks the space that then stands
// before it. Both are one character, which is white space.
bool hasMarkedBlank(std::string_view title) {
  for (std::size_t i = title.find(' '); i != std::string_view::npos; i = title.find(' ', i + 1)) {
    if (Text::firstCharacters(title.substr(i), 1) != " ") return true;
  }
  return false;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::ScratchDirectory directory;
  const std::string_view text = textOf(data, size);
  test::writeFile(directory / "local_s1.json", text);
  const std::optional<std::string> title = ClaudeSessionTitles::resolve("s1", directory.string());
  require(title == titlePlainly(text), "both readers see the same title");
  if (!title) return 0;
  require(!title->empty() && title->size() <= 1024, "a title is neither empty nor long");
  require(hasMarkedBlank(*title) || shownTitle(*title) == title, "a title is shown as it is");
  return 0;
}
