#include "TavrinTerminal/System/CodexServer.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <boost/json/parse.hpp>

#include "TavrinCore/Support/File.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

using Problem = CodexAnswer::Problem;
using namespace std::chrono_literals;

constexpr std::size_t ours = 8;  // hooks in the recorded list

class CodexServerTest : public testing::Test {
 protected:
  // A server that behaves as `mode` says; see stand-ins/codex-app-server.py.
  CodexServer server(const std::string& mode) const {
    const std::string path = (directory_ / "codex").string();
    test::writeFile(path, "#!/bin/sh\nexec python3 '" TAVRIN_STAND_INS "/codex-app-server.py' '" + mode +
                              "' '" + (test::dataDirectory() / "rpc").string() + "' '" +
                              (directory_ / "log").string() + "' \"$@\"\n");
    ::chmod(path.c_str(), 0755);
    return {.executable = path, .version = "1.0", .directory = "/Users/dev/src/app", .timeout = 60s};
  }

  // What the server was asked, a value each.
  std::vector<boost::json::value> requests() const {
    std::vector<boost::json::value> values;
    const std::string log = File::contents((directory_ / "log").string()).value_or("");
    for (std::size_t start = 0; start < log.size();) {
      const std::size_t end = log.find('\n', start);
      values.push_back(boost::json::parse(log.substr(start, end - start)));
      start = end + 1;
    }
    return values;
  }

  static boost::json::value recorded(const std::string& file) {
    return boost::json::parse(test::readFile(test::dataDirectory() / "rpc" / file));
  }

  test::ScratchDirectory directory_;
};

TEST_F(CodexServerTest, TrustsWhatIsOursAndListsAgain) {
  const CodexAnswer answer = server("plays").activate();
  EXPECT_EQ(Problem::none, answer.problem);
  EXPECT_EQ(ours, answer.trusted);
  ASSERT_TRUE(answer.hooks);
  EXPECT_EQ(ours, CodexActivation::tavrinHooks(*answer.hooks).size());
  EXPECT_TRUE(CodexActivation::needingTrust(*answer.hooks).empty());
  EXPECT_EQ("", answer.sentence());
  // The very requests to which the real server gave these answers.
  EXPECT_EQ((std::vector{recorded("01-request.json"), recorded("02-request.json"),
                         recorded("03-request.json"), recorded("04-request.json")}),
            requests());
}

TEST_F(CodexServerTest, ListsWithoutTrusting) {
  const CodexAnswer answer = server("plays").list();
  ASSERT_TRUE(answer.hooks);
  EXPECT_EQ(ours, CodexActivation::needingTrust(*answer.hooks).size());
  EXPECT_EQ(0U, answer.trusted);
  EXPECT_EQ(2U, requests().size());
}

TEST_F(CodexServerTest, PassesOverNotificationsAndReadsAnswersInPieces) {
  EXPECT_EQ(server("plays").activate(), server("notifies").activate());
}

TEST_F(CodexServerTest, SaysThatItCouldNotBeStarted) {
  CodexServer missing = server("plays");
  missing.executable = (directory_ / "missing").string();
  EXPECT_EQ("Codex\u2019s app server could not be started: No such file or directory.",
            missing.activate().sentence());
}

TEST_F(CodexServerTest, SaysThatItDidNotAnswerInTime) {
  CodexServer slow = server("never answers");
  slow.timeout = 300ms;
  const CodexAnswer answer = slow.activate();
  EXPECT_EQ(Problem::timedOut, answer.problem);
  EXPECT_EQ(std::nullopt, answer.hooks);
  EXPECT_EQ("Codex\u2019s app server did not answer in time.", answer.sentence());
}

TEST_F(CodexServerTest, SaysThatItEndedEarly) {
  EXPECT_EQ("Codex\u2019s app server ended before it had answered: \uFFFD[31mno config\uFFFD[0m.",
            server("dies at once").activate().sentence());
  for (const char* mode : {"dies after 1", "dies after 2", "dies after 3"}) {
    const CodexAnswer answer = server(mode).activate();
    EXPECT_EQ("Codex\u2019s app server ended before it had answered: killed by a test.", answer.sentence())
        << mode;
    EXPECT_EQ(std::nullopt, answer.hooks);
  }
  EXPECT_EQ("Codex\u2019s app server ended before it had answered.",
            server("dies within an answer").activate().sentence());
}

TEST_F(CodexServerTest, SaysThatTrustWasGivenBeforeItEnded) {
  EXPECT_EQ(0U, server("dies after 2").activate().trusted);
  EXPECT_EQ(ours, server("dies after 3").activate().trusted);
}

TEST_F(CodexServerTest, SaysThatItAnsweredGarbage) {
  for (const char* mode : {"garbles", "answers a list", "answers nothing", "floods"}) {
    const CodexAnswer answer = server(mode).activate();
    EXPECT_EQ(Problem::garbled, answer.problem) << mode;
    EXPECT_EQ("Codex\u2019s app server answered with something that is not an answer.", answer.sentence());
  }
}

TEST_F(CodexServerTest, SaysWhichErrorItAnswered) {
  for (const char* mode : {"refuses 1", "refuses 2", "refuses 3", "refuses 4"}) {
    const CodexAnswer answer = server(mode).activate();
    EXPECT_EQ("Codex\u2019s app server answered with an error: Not \uFFFDinitialized\uFFFD.",
              answer.sentence())
        << mode;
  }
  EXPECT_EQ("Codex\u2019s app server answered with an error: parse error.",
            server("cannot read").activate().sentence());
}

TEST_F(CodexServerTest, EndsAServerThatDoesNotEndItself) {
  const CodexAnswer answer = server("ignores the end").activate();
  EXPECT_EQ(Problem::none, answer.problem);
  EXPECT_EQ(ours, answer.trusted);
}

TEST_F(CodexServerTest, StopsWhenInterrupted) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, ::pipe(ends.data()));
  const FileDescriptor readEnd(ends[0]);
  const FileDescriptor writeEnd(ends[1]);
  ASSERT_EQ(1, ::write(writeEnd.number(), "!", 1));
  CodexServer interrupted = server("never answers");
  interrupted.interrupt = readEnd.number();
  EXPECT_EQ(Problem::interrupted, interrupted.activate().problem);
}

}  // namespace
}  // namespace tavrin
