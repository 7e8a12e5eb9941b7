#pragma once

#include <pthread.h>

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/TestData.hpp"

namespace tavrin::test {

/// A text and its JSON value, or nullopt if the text is rejected.
struct JsonDocument {
  std::string name;
  std::string text;
  std::optional<boost::json::value> value;
};

inline boost::json::value deepValue(std::string_view text) {
  boost::json::parse_options deep;
  deep.max_depth = 1000;
  return boost::json::parse(text, {}, deep);
}

/// Documents that we read differently from macOS's Foundation, by name. nullopt means rejected.
inline const std::map<std::string, std::optional<std::string>>& readOtherwise() {
  static const std::map<std::string, std::optional<std::string>> table = {
      // An unpaired surrogate escape must not lose an event: agents cut their texts between two halves.
      {"lone high", R"({"a":"\ufffd"})"},
      {"lone low", R"({"a":"\ufffd"})"},
      {"high then text", R"({"a":"\ufffdx"})"},
      {"high high", R"({"a":"\ufffd\ufffd"})"},
      {"high then other escape", R"({"a":"\ufffd\n"})"},
      {"low high", R"({"a":"\ufffd\ufffd"})"},
      {"lone high in key", R"({"\ufffd":1})"},
      {"lone high elsewhere", R"({"session_id":"s","x":"\ufffd"})"},
      // Keys are equal if their bytes are equal.
      {"canonically equal keys", "{\"\u00e9\":1,\"e\u0301\":2}"},
      // JSON comes in UTF-8. No agent sends another encoding.
      {"utf-16-le", std::nullopt},
      {"utf-16-le bom", std::nullopt},
      {"utf-16-be", std::nullopt},
      {"utf-16-be bom", std::nullopt},
      {"utf-32-le", std::nullopt},
      {"utf-32-le bom", std::nullopt},
      {"utf-32-be", std::nullopt},
      {"utf-32-be bom", std::nullopt},
  };
  return table;
}

/// The documents recorded with macOS's Foundation. We accept a bare scalar, which Foundation rejects by
/// default.
inline std::vector<JsonDocument> jsonDocuments() {
  std::vector<JsonDocument> documents;
  for (const auto& value : jsonLines("platform/json.jsonl")) {
    const auto& line = value.as_object();
    JsonDocument document{
        .name = std::string(line.at("name").as_string()), .text = bytesOf(line), .value = {}};
    const auto other = readOtherwise().find(document.name);
    if (other != readOtherwise().end()) {
      if (other->second) document.value = deepValue(*other->second);
    } else if (line.at("accepted").as_bool()) {
      // The file holds no value for deep documents. The document itself is the value.
      document.value =
          line.contains("value") ? deepValue(line.at("value").as_string()) : deepValue(document.text);
    } else if (line.at("acceptedAsTopLevelScalar").as_bool()) {
      document.value = deepValue(document.text);
    }
    documents.push_back(std::move(document));
  }
  return documents;
}

inline std::string repeated(std::string_view text, std::size_t count) {
  std::string out;
  for (; count > 0; --count) out += text;
  return out;
}

/// `depth` levels of arrays and objects, alternating.
inline std::string nested(std::size_t depth) {
  std::string text = depth % 2 == 1 ? "[" : "";
  text += repeated("[{\"a\":", depth / 2);
  text += "0";
  text += repeated("}]", depth / 2);
  text += depth % 2 == 1 ? "]" : "";
  return text;
}

/// Runs `work` to its end on a thread with a stack of `bytes`.
inline void onAStackOf(std::size_t bytes, std::function<void()> work) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_t thread{};
  const bool started = pthread_attr_setstacksize(&attributes, bytes) == 0 &&
                       pthread_create(
                           &thread, &attributes,
                           [](void* argument) -> void* {
                             (*static_cast<std::function<void()>*>(argument))();
                             return nullptr;
                           },
                           &work) == 0;
  pthread_attr_destroy(&attributes);
  if (!started) throw std::runtime_error("no thread");
  pthread_join(thread, nullptr);
}

/// Several times what the deepest document needs, and a fraction of any process's stack.
inline constexpr std::size_t smallStack = 256 * 1024;

}  // namespace tavrin::test
