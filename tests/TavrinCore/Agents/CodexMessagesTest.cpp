#include "TavrinCore/Agents/CodexMessages.hpp"

#include <gtest/gtest.h>

#include <string>

#include "TavrinCore/Agents/CodexActivation.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

using namespace CodexActivation;  // NOLINT(google-build-using-namespace)

std::string answer(const std::string& number) {
  return test::readFile(test::dataDirectory() / "rpc" / (number + "-response.json"));
}

TEST(CodexMessages, AreTheRequestsOnOneLine) {
  const std::vector<TrustUpdate> updates = {{.key = "a\nb", .hash = "c"}};
  const std::vector<std::pair<std::string, boost::json::object>> all = {
      {initializeMessage(1, "0.1\n"), initializeRequest(1, "0.1\n")},
      {hooksListMessage(2, {"/a", "/b"}), hooksListRequest(2, {"/a", "/b"})},
      {trustMessage(3, updates), trustRequest(3, updates)},
      {threadListMessage(4, 50), threadListRequest(4, 50)}};
  for (const auto& [message, request] : all) {
    EXPECT_EQ(Json::parse(message), boost::json::value(request));
    EXPECT_EQ(message.find('\n'), std::string::npos) << message;
  }
}

TEST(CodexMessages, ListTheHooksOfAnAnswer) {
  const auto hooks = hooksIn(answer("02"));
  ASSERT_TRUE(hooks);
  EXPECT_EQ(*hooks, parseHooks(Json::parse(answer("02")).value()));
  EXPECT_FALSE(hooks->empty());
}

TEST(CodexMessages, ErrorsAndGarbageListNothing) {
  for (const std::string& line :
       {answer("17"), std::string(), std::string("{"), std::string("[]"), std::string("{\"result\":{}}"),
        std::string("{\"result\":{\"data\":[1]}}"), std::string("{\"result\":[]}")}) {
    EXPECT_EQ(hooksIn(line), std::nullopt) << line;
    EXPECT_EQ(threadNamesIn(line), std::nullopt) << line;
  }
  EXPECT_EQ(hooksIn("{\"result\":{\"data\":[]}}"), std::vector<Hook>());
}

TEST(CodexMessages, NameThreads) {
  const auto names = threadNamesIn(R"({"id":5,"result":{"data":[{"id":"t","name":"My thread"}]}})");
  EXPECT_EQ(names, (std::map<std::string, std::string>{{"t", "My thread"}}));
}

TEST(CodexMessages, DistinguishAnswersFromNotificationsAndErrors) {
  EXPECT_EQ(answerIn(R"({"id":7,"result":{}})"), (Answer{.id = 7, .error = {}}));
  EXPECT_EQ(answerIn(R"({"method":"x"})"), Answer());
  EXPECT_EQ(answerIn(R"({"id":7,"error":{"message":"no"}})"), (Answer{.id = 7, .error = "no"}));
  EXPECT_EQ(answerIn(R"({"id":"7","error":{}})"), (Answer{.id = {}, .error = ""}));
  EXPECT_EQ(answerIn("[]"), std::nullopt);
  EXPECT_EQ(answerIn("no JSON"), std::nullopt);
}

}  // namespace
}  // namespace tavrin
