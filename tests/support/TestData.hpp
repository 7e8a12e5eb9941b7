#pragma once

#include <boost/json/value.hpp>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin::test {

/// The folder tests/data.
std::filesystem::path dataDirectory();

/// The JSON values, one per line, of a file in tests/data.
std::vector<boost::json::value> jsonLines(std::string_view file);

/// The bytes of the text under `key`. Without that key, the bytes that the text under "base64" encodes.
std::string bytesOf(const boost::json::object& line, std::string_view key = "text");

/// One event of an agent as its hook received it.
struct RecordedEvent {
  std::filesystem::path file;
  std::vector<std::string> arguments;  ///< the command line after the program's name
};

/// One recorded session, or a few in a row.
struct Scenario {
  std::string agent;
  std::string name;
  std::filesystem::path directory;
  std::vector<RecordedEvent> events;  ///< in the order in which they came
};

/// Every scenario in tests/data/events, in a fixed order.
std::vector<Scenario> recordedScenarios();

}  // namespace tavrin::test
