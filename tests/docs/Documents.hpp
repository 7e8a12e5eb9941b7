#pragma once

#include <filesystem>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {

inline std::filesystem::path repository() {
  return dataDirectory().parent_path().parent_path();
}

/// The text of a document, by its path in the repository.
inline std::string document(std::string_view path) {
  return readFile(repository() / path);
}

/// The texts between "```LANGUAGE" and "```", in order.
inline std::vector<std::string> codeBlocks(std::string_view text, std::string_view language) {
  const std::string start = "\n```" + std::string(language) + "\n";
  std::vector<std::string> blocks;
  for (std::size_t at = text.find(start); at != std::string_view::npos; at = text.find(start, at)) {
    at += start.size();
    blocks.emplace_back(text.substr(at, text.find("```", at) - at));
  }
  return blocks;
}

inline std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace tavrin::test
