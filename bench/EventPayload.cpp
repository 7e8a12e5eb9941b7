#include "bench/EventPayload.hpp"

#include <array>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <random>
#include <stdexcept>

#include "tests/support/Scratch.hpp"

namespace tavrin::bench {

namespace {

namespace json = boost::json;

constexpr std::array<std::string_view, 12> sourceLines = {
    "  const auto total = std::accumulate(sizes.begin(), sizes.end(), std::size_t{0});\n",
    "    return found == nullptr ? std::nullopt : std::make_optional(*found);\n",
    "#include \"reader/line_reader.hpp\"\n",
    "\n",
    "/// Reads one line; gives nothing at the end of the file, or when `limit` is passed.\n",
    "  if (line.empty() || line.front() == '#') continue;  // a comment\n",
    "\tprintf(\"%s: %zu bytes\\n\", name.c_str(), size);\n",
    "}\n",
    "export const label = (count) => `${count} — ${count === 1 ? \"line\" : \"lines\"}`;\n",
    "        self.assertEqual(parse_line(\"{\\\"key\\\": [1, 2]}\"), {\"key\": [1, 2]})\n",
    "static const std::regex word(\"[A-Za-zÄÖÜäöüß]+\\\\s*\");\n",
    "  \"scripts\": { \"test\": \"node --test\", \"build\": \"tsc -p .\" },\n",
};

std::size_t sizeInJson(std::string_view text) {
  return json::serialize(json::string(text)).size() - 2;
}

// Source text that takes `size` bytes inside a JSON text.
std::string sourceText(std::size_t size) {
  std::mt19937 random(20'260'711);
  std::string text;
  for (;;) {
    const std::string_view line = sourceLines[random() % sourceLines.size()];
    const std::size_t lineSize = sizeInJson(line);
    if (lineSize > size) break;
    text += line;
    size -= lineSize;
  }
  return text + std::string(size, '/');
}

}  // namespace

std::string eventPayload(std::size_t size) {
  json::object event =
      json::parse(test::readFile(TAVRIN_TEST_DATA "/events/claude/p01-plain/007-PreToolUse.json"))
          .as_object();
  json::value& content = event.at("tool_input").at("content");
  content = "";
  for (const char* key : {"prompt_id", "effort", "permission_mode", "transcript_path"}) {
    if (json::serialize(event).size() > size) event.stable_erase(event.find(key));
  }
  const std::size_t frame = json::serialize(event).size();
  if (frame > size) throw std::runtime_error("no event is that small");
  event.at("tool_input").at("content") = sourceText(size - frame);
  std::string payload = json::serialize(event);
  if (payload.size() != size) throw std::runtime_error("the event has another size than asked for");
  return payload;
}

}  // namespace tavrin::bench
