#include "tests/support/TestData.hpp"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <sstream>

#include "tests/support/Scratch.hpp"

namespace tavrin::test {

namespace {

std::string decodedBase64(std::string_view text) {
  constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned pending = 0;
  unsigned bits = 0;
  for (const char c : text) {
    const std::size_t value = digits.find(c);
    if (value == std::string_view::npos) break;
    pending = (pending << 6U) | static_cast<unsigned>(value);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes += static_cast<char>((pending >> bits) & 0xFFU);
    }
  }
  return bytes;
}

std::vector<std::string> lines(const std::filesystem::path& file) {
  std::istringstream text(readFile(file));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

std::vector<std::filesystem::path> subdirectories(const std::filesystem::path& directory) {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.is_directory()) paths.push_back(entry.path());
  }
  std::ranges::sort(paths);
  return paths;
}

RecordedEvent recordedEvent(const std::filesystem::path& directory, const std::string& row) {
  const std::size_t fileEnd = row.find('\t');
  const std::size_t secondsEnd = row.find('\t', fileEnd + 1);
  RecordedEvent event{.file = directory / row.substr(0, fileEnd), .arguments = {}};
  std::istringstream words(row.substr(secondsEnd + 1));
  for (std::string word; words >> word;) event.arguments.push_back(word);
  return event;
}

}  // namespace

std::filesystem::path dataDirectory() {
  return TAVRIN_TEST_DATA;
}

std::vector<boost::json::value> jsonLines(std::string_view file) {
  boost::json::parse_options deep;
  deep.max_depth = 1000;
  std::vector<boost::json::value> values;
  for (const std::string& line : lines(dataDirectory() / file))
    values.push_back(boost::json::parse(line, {}, deep));
  return values;
}

std::string bytesOf(const boost::json::object& line, std::string_view key) {
  if (const auto* text = line.if_contains(key)) return std::string(text->as_string());
  return decodedBase64(line.at("base64").as_string());
}

std::vector<Scenario> recordedScenarios() {
  std::vector<Scenario> scenarios;
  for (const auto& agent : subdirectories(dataDirectory() / "events")) {
    for (const auto& directory : subdirectories(agent)) {
      Scenario scenario{
          .agent = agent.filename(), .name = directory.filename(), .directory = directory, .events = {}};
      const std::vector<std::string> rows = lines(directory / "events.tsv");
      for (std::size_t i = 1; i < rows.size(); ++i)
        scenario.events.push_back(recordedEvent(directory, rows[i]));
      scenarios.push_back(std::move(scenario));
    }
  }
  return scenarios;
}

}  // namespace tavrin::test
