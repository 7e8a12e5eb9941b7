#include "TavrinCore/Hook/AgentArgument.hpp"

#include "TavrinCore/Support/Text.hpp"

namespace tavrin::AgentArgument {

namespace {

// The value of `option` if it is at words[index]. Sets `index` to the last word of the option.
std::optional<std::string_view> valueOf(std::string_view option, std::span<const std::string_view> words,
                                        std::size_t& index) {
  const std::string_view word = words[index];
  if (!word.starts_with(option)) return std::nullopt;
  if (word.size() == option.size()) {
    if (index + 1 == words.size()) return std::nullopt;
    return words[++index];
  }
  return word[option.size()] == '=' ? std::optional(word.substr(option.size() + 1)) : std::nullopt;
}

}  // namespace

Parsed parseAll(std::span<const std::string_view> words) {
  Parsed parsed;
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (const auto agent = valueOf("--agent", words, i)) {
      parsed.agent = agentFromRawValue(*agent).value_or(Agent::claude);
    } else if (const auto event = valueOf("--event", words, i)) {
      parsed.event = event->empty() ? std::nullopt : std::optional(Text::repaired(*event));
    }
  }
  return parsed;
}

Agent parse(std::span<const std::string_view> words) {
  return parseAll(words).agent;
}

}  // namespace tavrin::AgentArgument
