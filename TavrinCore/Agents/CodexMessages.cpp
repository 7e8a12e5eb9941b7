#include "TavrinCore/Agents/CodexMessages.hpp"

#include <boost/json/serialize.hpp>

#include "TavrinCore/Agents/CodexActivation.hpp"
#include "TavrinCore/Support/Json/Json.hpp"

namespace tavrin::CodexActivation {

namespace json = boost::json;

namespace {

// The answer, if it has a result with a list of data.
std::optional<json::value> listIn(std::string_view line) {
  std::optional<json::value> answer = Json::parse(line);
  const json::object* const object = answer ? answer->if_object() : nullptr;
  const json::object* const result = object == nullptr ? nullptr : Json::objectAt(*object, "result");
  if (result == nullptr || Json::objectsAt(*result, "data") == nullptr) return std::nullopt;
  return answer;
}

}  // namespace

std::string initializeMessage(std::int64_t id, std::string_view version) {
  return json::serialize(initializeRequest(id, version));
}

std::string hooksListMessage(std::int64_t id, const std::vector<std::string>& cwds) {
  return json::serialize(hooksListRequest(id, cwds));
}

std::string trustMessage(std::int64_t id, const std::vector<TrustUpdate>& updates) {
  return json::serialize(trustRequest(id, updates));
}

std::string threadListMessage(std::int64_t id, std::int64_t limit) {
  return json::serialize(threadListRequest(id, limit));
}

std::optional<Answer> answerIn(std::string_view line) {
  const std::optional<json::value> value = Json::parse(line);
  const json::object* const object = value ? value->if_object() : nullptr;
  if (object == nullptr) return std::nullopt;
  Answer answer;
  if (const json::value* const id = object->if_contains("id"); id != nullptr && id->is_int64())
    answer.id = id->get_int64();
  if (const json::object* const error = Json::objectAt(*object, "error"))
    answer.error = Json::textAt(*error, "message").value_or("");
  return answer;
}

std::optional<std::vector<Hook>> hooksIn(std::string_view line) {
  const std::optional<json::value> answer = listIn(line);
  return answer ? std::optional(parseHooks(*answer)) : std::nullopt;
}

std::optional<std::map<std::string, std::string>> threadNamesIn(std::string_view line) {
  const std::optional<json::value> answer = listIn(line);
  return answer ? std::optional(parseThreadNames(*answer)) : std::nullopt;
}

}  // namespace tavrin::CodexActivation
