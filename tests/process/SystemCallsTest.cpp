// The system calls of a run of the real executable on Linux, as strace(1) prints them, and the libraries that
// its file needs (elf(5)).
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <pwd.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <sstream>

#include "TavrinCore/Context/ProcFormats.hpp"
#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"
#include "tests/process/ProcessSupport.hpp"
#include "tests/support/Strace.hpp"

namespace tavrin::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t mostCalls = 45;
constexpr std::size_t mostCallsWithoutHost = 60;  // and nine ancestors

Outcome trace(const ScratchHome& home, const std::vector<std::string>& options,
              const std::vector<std::string>& words, std::string_view input,
              const Subprocess::Environment& environment) {
  return run(underStrace(home.path(), options, words), input, environment);
}

// A session after its first event: its host and its repository are known.
void storeKnownSession(const SeededHome& home) {
  Session session;
  session.sessionId = "s";
  session.state = SessionState::working;
  session.hostPid = 612;
  session.hostBundleId = "org.example.Terminal";
  session.cwd = "/Users/dev/src/app";
  session.repoRoot = "/Users/dev/src/app";
  session.transcriptPath = "/Users/dev/.claude/projects/app/s.jsonl";
  writeFile(home.record(), session.encode());
  writeFile(home.sessions() / ".s.lock", "");
  writeFile(home.logFile(), "");
}

TEST(SystemCalls, AnEventOfAKnownSessionTakesFewOfThemAndOpensJustItsFiles) {
  SeededHome home;
  storeKnownSession(home);
  EXPECT_EQ(trace(home, {}, {chainLink(), home / "links", "claude", "sh", "--", hookExecutable()},
                  toolStart("s", "call-1", "/Users/dev/src/app"), {{"HOME", home.string()}}),
            silentSuccess);
  home.expectUpdated("call-1");
  std::istringstream links(readFile(home / "links"));
  std::string agent;
  std::string shell;
  links >> agent >> shell;
  EXPECT_EQ(stored(home, "s").value().agentPid, std::stoi(agent));
  EXPECT_EQ(stored(home, "s").value().hostPid, 612);

  const std::vector<std::string> calls = callsOfHook(home.path());
  SCOPED_TRACE(table(calls));
  EXPECT_LE(calls.size(), mostCalls);
  EXPECT_GE(calls.size(), 20U) << "the trace is not whole";

  const std::vector<std::string> renamed = pathsOf(calls, "rename");
  ASSERT_EQ(renamed.size(), 1U);
  EXPECT_THAT(renamed[0], testing::AllOf(testing::StartsWith(home.sessions().string() + "/."),
                                         testing::EndsWith(".tmp")));
  EXPECT_THAT(
      pathsOf(calls, "openat"),
      ElementsAre((home.sessions() / ".s.lock").string(), home.record().string(), "/proc/" + shell + "/stat",
                  "/proc/" + agent + "/stat", renamed[0], home.logFile().string()));
  std::set<std::string> names;
  for (const std::string& call : calls) names.insert(nameOf(call));
  for (const std::string other :
       {"open", "creat", "mkdir", "mkdirat", "getdents", "getdents64", "chdir", "getcwd", "socket", "connect",
        "clone", "clone3", "fork", "vfork", "fsync", "fdatasync", "unlink"})
    EXPECT_THAT(names, testing::Not(Contains(other)));
}

// The files of processes that were opened, of this name.
std::size_t procFiles(const std::vector<std::string>& calls, const std::string& name) {
  const std::vector<std::string> opened = pathsOf(calls, "openat");
  const std::set<std::string> once(opened.begin(), opened.end());
  EXPECT_EQ(once.size(), opened.size()) << "a file was opened twice";
  return static_cast<std::size_t>(std::ranges::count_if(opened, [&](const std::string& path) {
    return path.starts_with("/proc/") && path.ends_with("/" + name);
  }));
}

// As under ssh(1), in a container or in tmux(1), where no application is ever found.
TEST(SystemCalls, AnEventWithoutAHostReadsEachProcessOnce) {
  const std::string cgroup = readFile("/proc/self/cgroup");
  if (ProcFormats::mayBeOfApplication(cgroup)) GTEST_SKIP() << "left out below a desktop:\n" << cgroup;
  SeededHome home;
  storeKnownSession(home);
  Session session = stored(home, "s").value();
  session.hostPid.reset();
  session.hostBundleId.reset();
  writeFile(home.record(), session.encode());
  EXPECT_EQ(trace(home, {},
                  {chainLink(), home / "links", "sshd+session", "sshd", "bash", "tmux", "zsh", "node", "bash",
                   "claude", "sh", "--", hookExecutable()},
                  toolStart("s", "call-1", "/Users/dev/src/app"), {{"HOME", home.string()}}),
            silentSuccess);
  home.expectUpdated("call-1");
  const std::vector<std::string> calls = callsOfHook(home.path());
  SCOPED_TRACE(table(calls));
  // Above the nine are those that run the test, with two calls each.
  const std::size_t ancestors = procFiles(calls, "stat");
  ASSERT_GE(ancestors, 9U);
  EXPECT_LE(calls.size(), mostCallsWithoutHost + 2 * (ancestors - 9));
  EXPECT_LE(procFiles(calls, "cgroup"), 2U);
  EXPECT_THAT(pathsOf(calls, "readlink"), ElementsAre("/proc/self/exe"));
}

// The names of the calls that a program makes after those of the C library's start.
std::vector<std::string> namesFromMain(const std::vector<std::string>& calls) {
  std::vector<std::string> names;
  for (const std::string& call : calls) {
    if (!names.empty() || nameOf(call) == "rt_sigaction") names.push_back(nameOf(call));
  }
  return names;
}

// Otherwise the benchmark would compare with a program that does less, or more.
TEST(SystemCalls, TheFloorOfTheBenchmarkMakesTheSameOnes) {
  const bool mayHaveHost = ProcFormats::mayBeOfApplication(readFile("/proc/self/cgroup"));
  for (const bool hasHost : {true, false}) {
    if (!hasHost && mayHaveHost) GTEST_SKIP() << "a session without a host is left out below a desktop";
    SCOPED_TRACE(hasHost);
    std::vector<std::vector<std::string>> names;
    for (const bool isFloor : {false, true}) {
      SeededHome home;
      storeKnownSession(home);
      if (!hasHost) {
        Session session = stored(home, "s").value();
        session.hostPid.reset();
        session.hostBundleId.reset();
        writeFile(home.record(), session.encode());
      }
      std::vector<std::string> words = {chainLink(), home / "links", "claude", "sh", "--"};
      if (isFloor) {
        words.insert(words.end(), {TAVRIN_FLOOR_CALLS, "s"});
        if (!hasHost) words.emplace_back("without-host");
      } else {
        words.push_back(hookExecutable());
      }
      EXPECT_EQ(
          trace(home, {}, words, toolStart("s", "call-1", "/Users/dev/src/app"), {{"HOME", home.string()}}),
          silentSuccess);
      names.push_back(namesFromMain(
          callsOf(home.path(), isFloor ? std::filesystem::path(TAVRIN_FLOOR_CALLS) : hookExecutable())));
    }
    EXPECT_GE(names[0].size(), 25U);
    EXPECT_EQ(names[0], names[1]);
  }
}

TEST(SystemCalls, AnEventWithoutASessionTouchesOnlyTheLog) {
  SeededHome home;
  EXPECT_EQ(trace(home, {}, {hookExecutable()}, "garbage", {{"HOME", home.string()}}), silentSuccess);
  EXPECT_THAT(pathsOf(callsOfHook(home.path()), "openat"), ElementsAre(home.logFile().string()));
  home.expectUntouched();
}

TEST(SystemCalls, APayloadOfAnotherToolOpensNoFileAtAll) {
  const ScratchHome home;
  EXPECT_EQ(trace(home, {}, {hookExecutable()}, R"({"cursor_version":1})", {{"HOME", home.string()}}),
            silentSuccess);
  EXPECT_THAT(pathsOf(callsOfHook(home.path()), "openat"), IsEmpty());
}

// The password database is the first file opened. The system refuses to open any other file, so the test
// touches nothing in the real home directory.
TEST(SystemCalls, WithoutAnAbsoluteHomeThePasswordDatabaseNamesTheHome) {
  const passwd* const entry = ::getpwuid(::getuid());
  ASSERT_NE(entry, nullptr);
  const std::string library = std::string(entry->pw_dir) + "/Library/";
  const std::vector<Subprocess::Environment> environments = {
      {}, {{"HOME", ""}}, {{"HOME", "relative"}}, {{"HOME", "~"}}, {{"HOME", "./here"}}};
  for (const Subprocess::Environment& environment : environments) {
    const ScratchHome home;
    EXPECT_EQ(trace(home, {"-e", "inject=openat:error=EACCES:when=2+"}, {hookExecutable()},
                    toolStart("s", "call-1"), environment),
              silentSuccess);
    const std::vector<std::string> calls = callsOfHook(home.path());
    EXPECT_THAT(pathsOf(calls, "openat"),
                ElementsAre("/etc/passwd", library + "Application Support/Tavrin/sessions/.s.lock",
                            library + "Logs/Tavrin/hook.log"))
        << table(calls);
    EXPECT_THAT(pathsOf(calls, "mkdir"), IsEmpty());
  }
}

// How many calls an event takes in the Claude desktop app, whose folders hold so many files of other
// sessions.
std::size_t callsInDesktopApp(int files, bool hasTitle, bool hasFolder = false) {
  SeededHome home;
  storeKnownSession(home);
  Session session = stored(home, "s").value();
  session.hostBundleId = ClaudeSessionTitles::desktopBundleIdentifier;
  writeFile(home.record(), session.encode());
  const std::filesystem::path folder =
      ClaudeSessionTitles::defaultDirectory(home.string()) + "/account/project";
  for (int i = 0; i < files; ++i) writeFile(folder / ("local_" + std::to_string(i) + ".json"), "");
  if (hasFolder) writeFile(folder / "folder/file", "");
  if (hasTitle) writeFile(folder / "local_s.json", R"({"sessionId":"local_s","title":"A title"})");
  EXPECT_EQ(trace(home, {}, {chainLink(), home / "links", "claude", "sh", "--", hookExecutable()},
                  toolStart("s", "call-1", "/Users/dev/src/app"), {{"HOME", home.string()}}),
            silentSuccess);
  EXPECT_EQ(stored(home, "s").value().title, hasTitle ? std::optional<std::string>("A title") : std::nullopt);
  return callsOfHook(home.path()).size();
}

TEST(SystemCalls, ATitleAmongThousandsOfFilesTakesAsManyAsAmongFew) {
  EXPECT_EQ(callsInDesktopApp(3'000, true), callsInDesktopApp(1, true));
  struct statfs system = {};
  ASSERT_EQ(::statfs(std::filesystem::temp_directory_path().c_str(), &system), 0);
  constexpr std::array<std::uint32_t, 3> counting = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, TMPFS_MAGIC};
  if (std::ranges::find(counting, static_cast<std::uint32_t>(system.f_type)) == counting.end())
    GTEST_SKIP() << "the rest is left out: this file system does not count a folder's links";
  EXPECT_EQ(callsInDesktopApp(3'000, false), callsInDesktopApp(1, false));
}

// With a folder among them, the files are listed, wherever the links are counted and wherever not.
TEST(SystemCalls, FewOfThousandsOfFilesAreListedForATitle) {
  EXPECT_LE(callsInDesktopApp(3'000, false, true), callsInDesktopApp(100, false, true));
}

// As sudo(8) runs an agent: the files would be root's, and every later event of the user would fail.
TEST(SystemCalls, RootTakesNothingToTheHomeOfAnotherUser) {
  if (::geteuid() != 0) GTEST_SKIP() << "left out: it takes root to run as root";
  const std::string library = std::string(::getpwuid(0)->pw_dir) + "/Library/";
  const ScratchHome home;
  ASSERT_EQ(::chown(home.path().c_str(), 12345, 12345), 0);
  EXPECT_EQ(trace(home, {"-e", "inject=openat:error=EACCES:when=2+"}, {hookExecutable()},
                  toolStart("s", "call-1"), {{"HOME", home.string()}}),
            silentSuccess);
  const std::vector<std::string> calls = callsOfHook(home.path());
  EXPECT_THAT(pathsOf(calls, "openat"),
              ElementsAre("/etc/passwd", library + "Application Support/Tavrin/sessions/.s.lock",
                          library + "Logs/Tavrin/hook.log"))
      << table(calls);
  EXPECT_FALSE(std::filesystem::exists(home / "Library"));
}

template <class Part>
Part partAt(const std::string& bytes, std::size_t offset) {
  Part part{};
  if (offset + sizeof part > bytes.size()) throw std::runtime_error("the file is cut off");
  std::memcpy(&part, bytes.data() + offset, sizeof part);
  return part;
}

TEST(SystemCalls, TheExecutableIsOneFileWithoutInterpreterOrLibraries) {
  const std::string bytes = readFile(hookExecutable());
  const auto header = partAt<Elf64_Ehdr>(bytes, 0);
  ASSERT_EQ(std::memcmp(&header.e_ident, ELFMAG, SELFMAG), 0);
  ASSERT_EQ(header.e_ident[EI_CLASS], ELFCLASS64);
  EXPECT_EQ(header.e_type, ET_DYN) << "to be loaded at a random place";
  int dynamicEntries = 0;
  int stacks = 0;
  for (std::size_t i = 0; i < header.e_phnum; ++i) {
    const auto segment = partAt<Elf64_Phdr>(bytes, header.e_phoff + i * header.e_phentsize);
    EXPECT_NE(segment.p_type, PT_INTERP);
    if (segment.p_type == PT_GNU_STACK) {
      EXPECT_EQ(segment.p_flags & PF_X, 0U) << "the stack is executable";
      ++stacks;
    }
    if (segment.p_type != PT_DYNAMIC) continue;
    for (std::size_t at = 0; at < segment.p_filesz; at += sizeof(Elf64_Dyn)) {
      const auto entry = partAt<Elf64_Dyn>(bytes, segment.p_offset + at);
      if (entry.d_tag == DT_NULL) break;
      EXPECT_NE(entry.d_tag, DT_NEEDED);
      ++dynamicEntries;
    }
  }
  EXPECT_EQ(stacks, 1);
  EXPECT_GT(dynamicEntries, 0) << "the headers were not read";
}

}  // namespace
}  // namespace tavrin::test
