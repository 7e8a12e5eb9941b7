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

// Lines as they are inside a JSON text.
constexpr std::array<std::string_view, 4> escapedLines = {
    R"(\tconst label = t(\u0022caf\u00e9\u0022) + count;\n)",
    R"(    // 設定ファイルを読み込んで、変更があれば保存する。\t\n)",
    R"(  print(\"Größe: {}\", größe)\n)",
    R"(\tif (name != \"na\u00efve\") return \u2014 1;\n)",
};

// Lines picked from `lines` that take `size` bytes inside a JSON text, where a line takes `sizeOf` it.
template <class Lines, class SizeOf>
std::string textOf(const Lines& lines, std::size_t size, SizeOf sizeOf) {
  std::mt19937 random(20'260'711);
  std::string text;
  for (;;) {
    const std::string_view line = lines[random() % lines.size()];
    const std::size_t lineSize = sizeOf(line);
    if (lineSize > size) break;
    text += line;
    size -= lineSize;
  }
  return text + std::string(size, '/');
}

// The event with an empty file, of at most `size` bytes.
json::object eventWithoutText(std::size_t size) {
  json::object event =
      json::parse(test::readFile(TAVRIN_TEST_DATA "/events/claude/p01-plain/007-PreToolUse.json"))
          .as_object();
  event.at("tool_input").at("content") = "";
  for (const char* key : {"prompt_id", "effort", "permission_mode", "transcript_path"}) {
    if (json::serialize(event).size() > size) event.stable_erase(event.find(key));
  }
  if (json::serialize(event).size() > size) throw std::runtime_error("no event is that small");
  return event;
}

std::string ofSize(std::string payload, std::size_t size) {
  if (payload.size() != size) throw std::runtime_error("the event has another size than asked for");
  return payload;
}

}  // namespace

std::string eventPayload(std::size_t size) {
  json::object event = eventWithoutText(size);
  const std::size_t frame = json::serialize(event).size();
  event.at("tool_input").at("content") = textOf(sourceLines, size - frame, sizeInJson);
  return ofSize(json::serialize(event), size);
}

std::string escapedEventPayload(std::size_t size) {
  std::string payload = json::serialize(eventWithoutText(size));
  constexpr std::string_view start = R"("content":")";
  const std::size_t place = payload.find(start);
  if (place == std::string::npos) throw std::runtime_error("the event has no text");
  const auto sizeOf = [](std::string_view line) { return line.size(); };
  payload.insert(place + start.size(), textOf(escapedLines, size - payload.size(), sizeOf));
  return ofSize(std::move(payload), size);
}

}  // namespace tavrin::bench
