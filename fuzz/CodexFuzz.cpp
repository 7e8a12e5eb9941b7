// An answer of Codex's app server: which hooks and thread names it lists, and which hooks count as trusted
// because of it.
#include <algorithm>
#include <map>
#include <optional>
#include <string>

#include "TavrinCore/Agents/CodexActivation.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "fuzz/Laws.hpp"
#include "fuzz/PlainJson.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)
using CodexActivation::Hook;
using CodexActivation::TrustUpdate;
using PlainJson::Value;

namespace {

const std::string* textUnder(const Value& object, std::string_view key) {
  const Value* const value = object.last(key);
  return value == nullptr ? nullptr : value->asText();
}

// The list under `key`; empty if it is not a list or holds anything but objects.
std::vector<Value> objectsUnder(const Value& object, std::string_view key) {
  const Value* const list = object.last(key);
  if (list == nullptr || list->kind != Value::Kind::array ||
      !std::ranges::all_of(list->elements,
                           [](const Value& element) { return element.kind == Value::Kind::object; }))
    return {};
  return list->elements;
}

std::vector<Value> dataOf(const Value& response) {
  const Value* const result = response.last("result");
  return result == nullptr ? std::vector<Value>() : objectsUnder(*result, "data");
}

std::vector<Hook> hooksPlainly(const Value& response) {
  std::vector<Hook> hooks;
  for (const Value& directory : dataOf(response)) {
    for (const Value& listed : objectsUnder(directory, "hooks")) {
      const auto* const key = textUnder(listed, "key");
      const auto* const command = textUnder(listed, "command");
      const auto* const hash = textUnder(listed, "currentHash");
      if (key == nullptr || command == nullptr || hash == nullptr) continue;
      const auto orElse = [&](std::string_view name, const char* other) {
        const auto* const text = textUnder(listed, name);
        return text == nullptr ? other : *text;
      };
      hooks.push_back({.key = *key,
                       .command = *command,
                       .sourcePath = orElse("sourcePath", ""),
                       .eventName = orElse("eventName", ""),
                       .trustStatus = orElse("trustStatus", "unknown"),
                       .currentHash = *hash});
    }
  }
  return hooks;
}

std::map<std::string, std::string> threadNamesPlainly(const Value& response) {
  std::map<std::string, std::string> names;
  for (const Value& thread : dataOf(response)) {
    const auto* const id = textUnder(thread, "id");
    const auto* const name = textUnder(thread, "name");
    const auto* const shown = name == nullptr ? textUnder(thread, "title") : name;
    if (id == nullptr || shown == nullptr) continue;
    const bool isBlank = std::ranges::all_of(*shown, [](char c) { return c == ' ' || c == '\t'; });
    if (!isBlank) names[*id] = *shown;
  }
  return names;
}

void checkTrust(std::vector<Hook> hooks) {
  const std::vector<TrustUpdate> updates = CodexActivation::needingTrust(hooks);
  std::vector<TrustUpdate> expected;
  for (const Hook& hook : hooks) {
    const bool isOurs = hook.command.find("/Tavrin/bin/tavrin-hook") != std::string::npos;
    const bool isTrusted = hook.trustStatus == "trusted" || hook.trustStatus == "managed";
    if (isOurs && !isTrusted) expected.push_back({.key = hook.key, .hash = hook.currentHash});
  }
  require(updates == expected, "trust is for our own hooks that lack it");
  require(updates.size() <= CodexActivation::tavrinHooks(hooks).size(), "and for no others");

  std::map<std::string, std::string> hashes;
  for (const TrustUpdate& update : updates) hashes[update.key] = update.hash;
  const std::string sent = Json::print(CodexActivation::trustRequest(3, updates));
  const std::optional<boost::json::value> request = Json::parse(sent);
  require(request.has_value(), "a request is JSON");
  const boost::json::object& values =
      request->at_pointer("/params/edits/0/value").as_object();  // throws if it is missing
  require(values.size() == hashes.size(), "each hook is trusted once");
  for (const auto& [key, hash] : hashes) {
    require(Json::textAt(values.at(key).as_object(), "trusted_hash") == hash, "with its last hash");
  }

  const auto active = AgentReadiness::active();
  require((CodexActivation::readiness(true, true, hooks) == active) == updates.empty(),
          "Codex is ready when nothing lacks trust");
  for (Hook& hook : hooks) {
    if (hook.isTavrin()) hook.trustStatus = "trusted";
  }
  require(CodexActivation::readiness(true, true, hooks) == active, "and once all of ours are trusted");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = textOf(data, size);
  const std::optional<Value> plain = PlainJson::parseMessage(text);
  const std::optional<boost::json::value> response = Json::parse(text);
  require(response.has_value() == plain.has_value(), "both readers take the same answers");
  if (!response) return 0;
  const std::vector<Hook> hooks = CodexActivation::parseHooks(*response);
  require(hooks == hooksPlainly(*plain), "both readers see the same hooks");
  require(CodexActivation::parseThreadNames(*response) == threadNamesPlainly(*plain), "and the same threads");
  checkTrust(hooks);
  return 0;
}
