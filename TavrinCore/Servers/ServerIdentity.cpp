#include "TavrinCore/Servers/ServerIdentity.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "TavrinCore/Servers/CommandLine.hpp"
#include "TavrinCore/Support/FixedList.hpp"
#include "TavrinCore/Support/Text.hpp"

namespace tavrin::ServerIdentity {

namespace {

// A process as the rules look at it; all but `arguments` is in lower case.
struct Process {
  const std::vector<std::string>& arguments;
  std::string command;
  std::string first;               // the first argument, "" without one
  std::string line;                // all arguments with a blank between them
  std::vector<std::string> names;  // the arguments' last components
  std::vector<std::string> stems;  // these without their extensions

  Process(std::string_view commandName, const std::vector<std::string>& argumentVector)
      : arguments(argumentVector), command(Text::lowerCased(commandName)) {
    for (const std::string& argument : arguments) {
      const std::string lower = Text::lowerCased(argument);
      const std::string_view component = CommandLine::lastComponent(lower);
      names.emplace_back(component);
      stems.emplace_back(CommandLine::stem(component));
      if (names.size() == 1) {
        first = lower;
      } else {
        line += ' ';
      }
      line += lower;
    }
  }
};

// One thing to be seen in a process.
struct Mark {
  enum class Where : std::uint8_t {
    anywhere,
    commandIs,
    commandBegins,
    firstIs,
    firstBegins,
    firstStemIs,
    lineHas,
    namesHave,
    stemsHave,
    argumentsHave,
  };

  Where where = Where::anywhere;
  std::string_view text;

  bool holds(const Process& process) const {
    const auto has = [&](const std::vector<std::string>& list) {
      return std::ranges::find(list, text) != list.end();
    };
    switch (where) {
      case Where::anywhere:
        return true;
      case Where::commandIs:
        return process.command == text;
      case Where::commandBegins:
        return process.command.starts_with(text);
      case Where::firstIs:
        return process.first == text;
      case Where::firstBegins:
        return process.first.starts_with(text);
      case Where::firstStemIs:
        return !process.stems.empty() && process.stems.front() == text;
      case Where::lineHas:
        return process.line.find(text) != std::string::npos;
      case Where::namesHave:
        return has(process.names);
      case Where::stemsHave:
        return has(process.stems);
      case Where::argumentsHave:
        return has(process.arguments);
    }
    return false;
  }
};

// Both marks must be seen.
struct Condition {
  Mark mark;
  Mark also;

  constexpr Condition() = default;
  constexpr Condition(Mark first, Mark second = {}) : mark(first), also(second) {}

  bool holds(const Process& process) const { return mark.holds(process) && also.holds(process); }
};

// Any one of the conditions gives the name.
struct Rule {
  std::string_view name;
  FixedList<Condition, 5> conditions;

  bool holds(const Process& process) const {
    return std::ranges::any_of(conditions,
                               [&](const Condition& condition) { return condition.holds(process); });
  }
};

// The words of the table below. Only `args` is compared in the letter case of the arguments.
constexpr Mark cmd(std::string_view text) {
  return {Mark::Where::commandIs, text};
}
constexpr Mark cmdBegins(std::string_view text) {
  return {Mark::Where::commandBegins, text};
}
constexpr Mark first(std::string_view text) {
  return {Mark::Where::firstIs, text};
}
constexpr Mark firstBegins(std::string_view text) {
  return {Mark::Where::firstBegins, text};
}
constexpr Mark firstStem(std::string_view text) {
  return {Mark::Where::firstStemIs, text};
}
constexpr Mark line(std::string_view text) {
  return {Mark::Where::lineHas, text};
}
constexpr Mark names(std::string_view text) {
  return {Mark::Where::namesHave, text};
}
constexpr Mark stems(std::string_view text) {
  return {Mark::Where::stemsHave, text};
}
constexpr Mark args(std::string_view text) {
  return {Mark::Where::argumentsHave, text};
}
constexpr Condition both(Mark mark, Mark also) {
  return {mark, also};
}

// The first rule that holds gives the name, so a tool stands above those it is built on or serves with.
// clang-format off
constexpr std::array<Rule, 31> rules = {{
    {"Next.js", {cmdBegins("next-server"), first("next-server"), firstBegins("next-server "), line("/next/dist/bin/"), both(stems("next"), args("dev"))}},
    {"Vite", {stems("vite"), line("/vite/bin/")}},
    {"Astro", {stems("astro"), line("/astro/dist/cli")}},
    {"Nuxt", {stems("nuxt"), stems("nuxi"), line("/nuxt/bin/"), line("/nuxi/bin/")}},
    {"SvelteKit", {line("svelte-kit"), line("@sveltejs/kit")}},
    {"Remix", {stems("remix"), line("@remix-run")}},
    {"Storybook", {stems("storybook"), line("/storybook/")}},
    {"Remotion", {line("remotion")}},
    {"Expo", {stems("expo"), line("/expo/bin/"), line("/@expo/cli")}},
    {"Wrangler", {stems("wrangler"), line("/wrangler/bin/")}},
    {"webpack", {stems("webpack-dev-server"), line("webpack-dev-server"), stems("webpack"), line("/webpack/bin/")}},
    {"Parcel", {stems("parcel")}},
    {"Angular", {both(stems("ng"), args("serve")), line("@angular/cli")}},
    {"Django", {both(names("manage.py"), args("runserver"))}},
    {"Flask", {stems("flask")}},
    {"Uvicorn", {stems("uvicorn")}},
    {"Gunicorn", {stems("gunicorn")}},
    {"Python http.server", {args("http.server")}},
    {"Streamlit", {stems("streamlit")}},
    {"Jupyter", {stems("jupyter"), stems("jupyter-lab"), stems("jupyter-notebook")}},
    {"MkDocs", {stems("mkdocs")}},
    {"Rails", {stems("rails"), stems("puma"), cmd("puma"), first("puma"), firstBegins("puma ")}},
    {"Jekyll", {stems("jekyll")}},
    {"Laravel", {both(names("artisan"), args("serve"))}},
    {"PHP", {both(cmd("php"), args("-S"))}},
    {"Go", {line("/go-build"), both(firstStem("go"), args("run"))}},
    {"http-server", {stems("http-server")}},
    {"live-server", {stems("live-server")}},
    {"serve", {stems("serve")}},
    {"Caddy", {cmd("caddy"), stems("caddy")}},
    {"nginx", {cmd("nginx"), stems("nginx")}},
}};
// clang-format on

constexpr FixedList<std::string_view, 9> scriptExtensions = {"js",  "mjs", "cjs", "ts", "tsx",
                                                             "mts", "py",  "rb",  "php"};

}  // namespace

std::optional<std::string> name(std::string_view command, const std::vector<std::string>& arguments) {
  const Process process(command, arguments);
  const auto* const rule =
      std::ranges::find_if(rules, [&](const Rule& candidate) { return candidate.holds(process); });
  return rule == rules.end() ? std::nullopt : std::optional<std::string>(rule->name);
}

std::optional<std::string> script(const std::vector<std::string>& arguments) {
  for (const std::string& argument :
       std::span(arguments).subspan(std::min<std::size_t>(1, arguments.size()))) {
    const std::string_view component = CommandLine::lastComponent(argument);
    if (scriptExtensions.contains(Text::lowerCased(CommandLine::extension(component))) &&
        argument.find("node_modules/") == std::string::npos) {
      return std::string(component);
    }
  }
  return std::nullopt;
}

}  // namespace tavrin::ServerIdentity
