// Compares what README says of tavrin's commands with their one description.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TavrinTerminal/CommandTable.hpp"
#include "tests/docs/Documents.hpp"

namespace tavrin {
namespace {

TEST(ReadmeCommands, HaveALineEach) {
  const std::string text = test::document("README.md");
  const std::string table = text.substr(text.find("| Command | What it does |"));
  for (const CommandTable::CommandDescription& command : CommandTable::commands())
    EXPECT_NE(table.find("`tavrin " + std::string(command.name) + "`"), std::string::npos) << command.name;
}

TEST(ReadmeCommands, ForStatusBarsAreThoseThatTheHelpPrints) {
  const std::vector<std::string> blocks = test::codeBlocks(test::document("README.md"), "conf");
  ASSERT_EQ(blocks.size(), 1U);
  const auto* const status = CommandTable::command("status");
  ASSERT_NE(status, nullptr);
  std::size_t count = 0;
  for (const std::string& line : test::linesOf(blocks.front())) {
    if (line.starts_with('#')) continue;
    EXPECT_NE(status->details.find("  " + line + "\n"), std::string_view::npos) << line;
    ++count;
  }
  EXPECT_EQ(count, 13U);
}

}  // namespace
}  // namespace tavrin
