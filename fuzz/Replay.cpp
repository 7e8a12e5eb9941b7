// Goes through inputs without a fuzzer: main for a target that is built as a test. Its arguments are files,
// and folders of files. The status is 0 if there was at least one input and every law held for each.
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "fuzz/Laws.hpp"
#include "tests/support/Scratch.hpp"

namespace {

std::vector<std::filesystem::path> inputsIn(const std::filesystem::path& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  std::vector<std::filesystem::path> inputs;
  for (const auto& entry : std::filesystem::directory_iterator(path)) inputs.push_back(entry.path());
  return inputs;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t count = 0;
  for (const char* argument : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
    for (const std::filesystem::path& input : inputsIn(argument)) {
      // If a law is broken, this is the last line on the screen, above the law's name.
      std::fprintf(stderr, "%s\n", input.c_str());
      const std::string bytes = tavrin::test::readFile(input);
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++count;
    }
  }
  std::printf("%zu inputs\n", count);
  return count > 0 ? 0 : 1;
}
