#include "TavrinCore/Agents/CodexActivation.hpp"

#include <algorithm>
#include <boost/json/array.hpp>
#include <iterator>
#include <utility>

#include "TavrinCore/Support/Json/Json.hpp"

namespace tavrin::CodexActivation {

namespace json = boost::json;

namespace {

// Calls `use` with each object in the list "data" of an answer's "result".
template <class Use>
void forEachIn(const json::value& response, Use use) {
  const json::object* const answer = response.if_object();
  const json::object* const result = answer == nullptr ? nullptr : Json::objectAt(*answer, "result");
  const json::array* const data = result == nullptr ? nullptr : Json::objectsAt(*result, "data");
  if (data == nullptr) return;
  for (const json::value& element : *data) use(element.get_object());
}

std::optional<Hook> hookIn(const json::object& listed) {
  const auto key = Json::textAt(listed, "key");
  const auto command = Json::textAt(listed, "command");
  const auto currentHash = Json::textAt(listed, "currentHash");
  if (!key || !command || !currentHash) return std::nullopt;
  return Hook{.key = std::string(*key),
              .command = std::string(*command),
              .sourcePath = std::string(Json::textAt(listed, "sourcePath").value_or("")),
              .eventName = std::string(Json::textAt(listed, "eventName").value_or("")),
              .trustStatus = std::string(Json::textAt(listed, "trustStatus").value_or("unknown")),
              .currentHash = std::string(*currentHash)};
}

bool isBlank(std::string_view name) {
  return name.find_first_not_of(" \t") == std::string_view::npos;
}

}  // namespace

bool Hook::isTavrin() const {
  return command.find(marker) != std::string::npos;
}

bool Hook::isTrusted() const {
  return trustStatus == "trusted" || trustStatus == "managed";
}

json::object rpc(std::int64_t id, std::string_view method, json::object params) {
  json::object request;
  request["jsonrpc"] = "2.0";
  request["id"] = id;
  request["method"] = method;
  request["params"] = std::move(params);
  return request;
}

json::object initializeRequest(std::int64_t id, std::string_view version) {
  json::object clientInfo;
  clientInfo["name"] = "Tavrin";
  clientInfo["title"] = "Tavrin";
  clientInfo["version"] = version;
  json::object params;
  params["clientInfo"] = std::move(clientInfo);
  return rpc(id, "initialize", std::move(params));
}

json::object hooksListRequest(std::int64_t id, const std::vector<std::string>& cwds) {
  json::object params;
  params["cwds"] = json::array(cwds.begin(), cwds.end());
  return rpc(id, "hooks/list", std::move(params));
}

json::object trustRequest(std::int64_t id, const std::vector<TrustUpdate>& updates) {
  json::object trust;
  for (const TrustUpdate& update : updates) {
    json::object hash;
    hash["trusted_hash"] = update.hash;
    trust[update.key] = std::move(hash);
  }
  json::object edit;
  edit["keyPath"] = "hooks.state";
  edit["value"] = std::move(trust);
  edit["mergeStrategy"] = "upsert";
  json::array edits;
  edits.emplace_back(std::move(edit));

  json::object params;
  params["edits"] = std::move(edits);
  params["filePath"] = nullptr;
  params["expectedVersion"] = nullptr;
  params["reloadUserConfig"] = true;
  return rpc(id, "config/batchWrite", std::move(params));
}

json::object threadListRequest(std::int64_t id, std::int64_t limit) {
  json::object params;
  params["limit"] = limit;
  return rpc(id, "thread/list", std::move(params));
}

std::vector<Hook> parseHooks(const json::value& response) {
  std::vector<Hook> hooks;
  forEachIn(response, [&](const json::object& directory) {
    const json::array* const listed = Json::objectsAt(directory, "hooks");
    if (listed == nullptr) return;
    for (const json::value& element : *listed) {
      if (std::optional<Hook> hook = hookIn(element.get_object())) hooks.push_back(*std::move(hook));
    }
  });
  return hooks;
}

std::map<std::string, std::string> parseThreadNames(const json::value& response) {
  std::map<std::string, std::string> names;
  forEachIn(response, [&](const json::object& thread) {
    const auto id = Json::textAt(thread, "id");
    auto name = Json::textAt(thread, "name");
    if (!name) name = Json::textAt(thread, "title");
    if (id && name && !isBlank(*name)) names.insert_or_assign(std::string(*id), *name);
  });
  return names;
}

std::vector<Hook> tavrinHooks(const std::vector<Hook>& hooks) {
  std::vector<Hook> ours;
  std::ranges::copy_if(hooks, std::back_inserter(ours), &Hook::isTavrin);
  return ours;
}

std::vector<TrustUpdate> needingTrust(const std::vector<Hook>& hooks) {
  std::vector<TrustUpdate> updates;
  for (const Hook& hook : hooks) {
    if (hook.isTavrin() && !hook.isTrusted()) updates.push_back({.key = hook.key, .hash = hook.currentHash});
  }
  return updates;
}

AgentReadiness readiness(bool installed, bool binaryFound, const std::optional<std::vector<Hook>>& hooks) {
  if (!installed) return AgentReadiness::notInstalled();
  if (!binaryFound) return AgentReadiness::inactive("open Codex once to activate", false);
  if (!hooks) return AgentReadiness::inactive("couldn\u2019t reach Codex \u2014 retry", true);
  if (needingTrust(*hooks).empty()) return AgentReadiness::active();
  return AgentReadiness::inactive("needs trust in Codex", true);
}

}  // namespace tavrin::CodexActivation
