#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"

#if __has_include(<elf.h>)
#include <elf.h>
#include <link.h>

#include <cstring>
#endif

// The collator is large, and its library is larger. A hook that runs several times a second needs neither.

namespace tavrin {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(HookLibraries, TheExecutableNamesNoCollator) {
  const std::string executable = test::readFile(test::hookExecutable());
  ASSERT_GT(executable.size(), 100'000U);
  for (const char* text : {"libicu", "ucol_", "CoreFoundation.framework", "CFStringCompare"}) {
    EXPECT_EQ(executable.find(text), std::string::npos) << text;
  }
}

#if __has_include(<elf.h>)

template <class Record>
Record recordAt(const std::string& file, std::size_t offset) {
  Record record{};
  EXPECT_LE(offset + sizeof record, file.size());
  std::memcpy(&record, file.data() + offset, sizeof record);
  return record;
}

// The libraries that an executable's dynamic section names (elf(5)).
std::vector<std::string> neededLibraries(const std::string& file) {
  const auto header = recordAt<ElfW(Ehdr)>(file, 0);
  std::vector<ElfW(Phdr)> segments;
  for (std::size_t i = 0; i < header.e_phnum; ++i) {
    segments.push_back(recordAt<ElfW(Phdr)>(file, header.e_phoff + i * header.e_phentsize));
  }
  std::vector<std::size_t> names;
  std::size_t table = 0;
  for (const ElfW(Phdr) & segment : segments) {
    if (segment.p_type != PT_DYNAMIC) continue;
    for (std::size_t offset = 0; offset < segment.p_filesz; offset += sizeof(ElfW(Dyn))) {
      const auto entry = recordAt<ElfW(Dyn)>(file, segment.p_offset + offset);
      if (entry.d_tag == DT_NEEDED) names.push_back(entry.d_un.d_val);
      if (entry.d_tag == DT_STRTAB) table = entry.d_un.d_ptr;
    }
  }
  for (const ElfW(Phdr) & segment : segments) {
    const bool holdsTable =
        segment.p_type == PT_LOAD && segment.p_vaddr <= table && table < segment.p_vaddr + segment.p_filesz;
    if (!holdsTable) continue;
    table = table - segment.p_vaddr + segment.p_offset;
    break;
  }
  std::vector<std::string> libraries;
  libraries.reserve(names.size());
  for (const std::size_t name : names) libraries.emplace_back(file.c_str() + table + name);
  return libraries;
}

TEST(HookLibraries, TheDynamicSectionNamesNoCollator) {
  for (const std::string& library : neededLibraries(test::readFile(test::hookExecutable()))) {
    EXPECT_THAT(library, Not(HasSubstr("icu")));
  }
}

TEST(HookLibraries, TheCollatorWouldBeSeenInADynamicSection) {
  const std::vector<std::string> libraries = neededLibraries(test::readFile("/proc/self/exe"));
  EXPECT_THAT(libraries, testing::Contains(HasSubstr("icu")));
}

#endif

}  // namespace
}  // namespace tavrin
