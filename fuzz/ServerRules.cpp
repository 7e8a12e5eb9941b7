#include "fuzz/ServerRules.hpp"

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <set>
#include <string_view>

#include "TavrinCore/Support/Text.hpp"
#include "fuzz/Laws.hpp"

namespace tavrin::fuzz::ServerRules {

namespace {

using Words = std::vector<std::string>;

std::string afterLastSlash(const std::string& path) {
  return std::string(split(path, '/').back());
}

// The text before and after the last dot.
std::pair<std::string, std::string> cutAtDot(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos ? std::pair(name, std::string())
                                  : std::pair(name.substr(0, dot), name.substr(dot + 1));
}

// The last non-empty piece between colons, if it is a port; otherwise 0.
int portOf(std::string_view text) {
  std::string_view last;
  for (const std::string_view piece : split(text, ':')) {
    if (!piece.empty()) last = piece;
  }
  if (last.starts_with('+')) last.remove_prefix(1);
  int port = 0;
  for (const char c : last) {
    if (c < '0' || c > '9') return 0;
    port = port * 10 + (c - '0');
    if (port > 65535) return 0;
  }
  return port;
}

// A row's conditions. "|" separates alternatives, "&" separates conditions that must all hold. "stem=x" asks
// for the stem x, "cmd^x" for a command that starts with x, "line~x" for a line that holds x.
struct Row {
  const char* name;
  const char* conditions;
};

constexpr std::array<Row, 31> table = {{
    {"Next.js",
     "cmd^next-server|first=next-server|first^next-server |line~/next/dist/bin/|stem=next&arg=dev"},
    {"Vite", "stem=vite|line~/vite/bin/"},
    {"Astro", "stem=astro|line~/astro/dist/cli"},
    {"Nuxt", "stem=nuxt|stem=nuxi|line~/nuxt/bin/|line~/nuxi/bin/"},
    {"SvelteKit", "line~svelte-kit|line~@sveltejs/kit"},
    {"Remix", "stem=remix|line~@remix-run"},
    {"Storybook", "stem=storybook|line~/storybook/"},
    {"Remotion", "line~remotion"},
    {"Expo", "stem=expo|line~/expo/bin/|line~/@expo/cli"},
    {"Wrangler", "stem=wrangler|line~/wrangler/bin/"},
    {"webpack", "stem=webpack-dev-server|line~webpack-dev-server|stem=webpack|line~/webpack/bin/"},
    {"Parcel", "stem=parcel"},
    {"Angular", "stem=ng&arg=serve|line~@angular/cli"},
    {"Django", "name=manage.py&arg=runserver"},
    {"Flask", "stem=flask"},
    {"Uvicorn", "stem=uvicorn"},
    {"Gunicorn", "stem=gunicorn"},
    {"Python http.server", "arg=http.server"},
    {"Streamlit", "stem=streamlit"},
    {"Jupyter", "stem=jupyter|stem=jupyter-lab|stem=jupyter-notebook"},
    {"MkDocs", "stem=mkdocs"},
    {"Rails", "stem=rails|stem=puma|cmd=puma|first=puma|first^puma "},
    {"Jekyll", "stem=jekyll"},
    {"Laravel", "name=artisan&arg=serve"},
    {"PHP", "cmd=php&arg=-S"},
    {"Go", "line~/go-build|first stem=go&arg=run"},
    {"http-server", "stem=http-server"},
    {"live-server", "stem=live-server"},
    {"serve", "stem=serve"},
    {"Caddy", "cmd=caddy|stem=caddy"},
    {"nginx", "cmd=nginx|stem=nginx"},
}};

using Facts = std::multimap<std::string, std::string, std::less<>>;

// Only arguments keep their letter case.
Facts factsOf(const std::string& command, const Words& arguments) {
  Facts facts = {{"cmd", Text::lowerCased(command)}};
  std::string line;
  for (const std::string& argument : arguments) {
    const std::string name = Text::lowerCased(afterLastSlash(argument));
    const std::string stem = cutAtDot(name).first;
    if (&argument == &arguments.front()) {
      facts.emplace("first", Text::lowerCased(argument));
      facts.emplace("first stem", stem);
    }
    facts.emplace("arg", argument);
    facts.emplace("name", name);
    facts.emplace("stem", stem);
    line += (line.empty() && &argument == &arguments.front() ? "" : " ") + argument;
  }
  facts.emplace("line", Text::lowerCased(line));
  return facts;
}

bool holds(std::string_view condition, const Facts& facts) {
  const std::size_t at = condition.find_first_of("=^~");
  const std::string_view wanted = condition.substr(at + 1);
  const auto [begin, end] = facts.equal_range(condition.substr(0, at));
  return std::any_of(begin, end, [&](const auto& fact) {
    if (condition[at] == '=') return fact.second == wanted;
    return condition[at] == '^' ? fact.second.starts_with(wanted)
                                : fact.second.find(wanted) != std::string::npos;
  });
}

}  // namespace

std::optional<std::string> name(const std::string& command, const Words& arguments) {
  const Facts facts = factsOf(command, arguments);
  for (const Row& row : table) {
    for (const std::string_view alternative : split(row.conditions, '|')) {
      const std::vector<std::string_view> conditions = split(alternative, '&');
      if (std::ranges::all_of(conditions, [&](auto condition) { return holds(condition, facts); }))
        return row.name;
    }
  }
  return std::nullopt;
}

std::optional<std::string> script(const Words& arguments) {
  const std::set<std::string> extensions = {"js", "mjs", "cjs", "ts", "tsx", "mts", "py", "rb", "php"};
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const std::string name = afterLastSlash(arguments[i]);
    if (extensions.contains(Text::lowerCased(cutAtDot(name).second)) &&
        arguments[i].find("node_modules/") == std::string::npos)
      return name;
  }
  return std::nullopt;
}

std::optional<int> nodeInspectorPort(const std::string& command, const Words& arguments) {
  const std::set<std::string> withOperand = {
      "-e", "--eval", "-p", "--print", "-r", "--require", "--import", "--loader", "--experimental-loader"};
  if (command != "node" && (arguments.empty() || afterLastSlash(arguments.front()) != "node"))
    return std::nullopt;
  std::optional<int> inspectPort;
  std::optional<int> explicitPort;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--" || !argument.starts_with('-')) break;
    const std::size_t equals = argument.find('=');
    const bool hasValue = equals != std::string::npos;
    const std::string key = argument.substr(0, equals);
    const std::string value = hasValue ? argument.substr(equals + 1) : "";
    if (key == "--inspect" || key == "--inspect-brk" || key == "--inspect-wait") {
      if (hasValue) {
        inspectPort = portOf(value);
      } else if (!inspectPort) {
        inspectPort = 9229;
      }
    } else if (key == "--inspect-port" || key == "--debug-port") {
      if (hasValue) {
        explicitPort = portOf(value);
      } else {
        ++i;
        explicitPort = i < arguments.size() ? portOf(arguments[i]) : 0;
      }
    } else if (withOperand.contains(key) && !hasValue) {
      ++i;
    }
  }
  return inspectPort && explicitPort ? explicitPort : inspectPort;
}

}  // namespace tavrin::fuzz::ServerRules
