#include "TavrinCore/Servers/ServerIdentity.hpp"

#include <algorithm>
#include <span>

#include "TavrinCore/Servers/CommandLine.hpp"
#include "TavrinCore/Support/FixedList.hpp"
#include "TavrinCore/Support/Text.hpp"

namespace tavrin::ServerIdentity {

namespace {

// A process as the rules see it. Everything but `arguments` is in lower case.
class Process {
 public:
  Process(std::string_view commandName, const std::vector<std::string>& argumentVector)
      : command(Text::lowerCased(commandName)), arguments_(argumentVector) {
    for (const std::string& argument : arguments_) {
      const std::string lower = Text::lowerCased(argument);
      const std::string_view component = CommandLine::afterLastSlash(lower);
      if (names_.empty()) {
        first = lower;
      } else {
        line_ += ' ';
      }
      names_.emplace_back(component);
      stems_.emplace_back(CommandLine::stem(component));
      line_ += lower;
    }
  }

  std::string command;
  std::string first;  // the first argument, or "" if there is none

  bool hasArgument(std::string_view text) const { return isIn(arguments_, text); }
  bool lineHas(std::string_view text) const { return line_.find(text) != std::string::npos; }
  // Whether an argument's last component is `text`.
  bool hasName(std::string_view text) const { return isIn(names_, text); }
  // The same without the component's extension.
  bool hasStem(std::string_view text) const { return isIn(stems_, text); }
  bool firstStemIs(std::string_view text) const { return !stems_.empty() && stems_.front() == text; }

 private:
  static bool isIn(const std::vector<std::string>& list, std::string_view text) {
    return std::ranges::find(list, text) != list.end();
  }

  const std::vector<std::string>& arguments_;
  std::string line_;  // all arguments with a space between them
  std::vector<std::string> names_;
  std::vector<std::string> stems_;
};

// The first rule that holds gives the name, or "". A tool comes before the tools that it is built on or
// serves with.
std::string_view nameOf(const Process& process) {
  const std::string& cmd = process.command;
  const std::string& first = process.first;
  const auto line = [&](std::string_view text) { return process.lineHas(text); };
  const auto name = [&](std::string_view text) { return process.hasName(text); };
  const auto stem = [&](std::string_view text) { return process.hasStem(text); };
  const auto arg = [&](std::string_view text) { return process.hasArgument(text); };

  if (cmd.starts_with("next-server") || first == "next-server" || first.starts_with("next-server ") ||
      line("/next/dist/bin/") || (stem("next") && arg("dev")))
    return "Next.js";
  if (stem("vite") || line("/vite/bin/")) return "Vite";
  if (stem("astro") || line("/astro/dist/cli")) return "Astro";
  if (stem("nuxt") || stem("nuxi") || line("/nuxt/bin/") || line("/nuxi/bin/")) return "Nuxt";
  if (line("svelte-kit") || line("@sveltejs/kit")) return "SvelteKit";
  if (stem("remix") || line("@remix-run")) return "Remix";
  if (stem("storybook") || line("/storybook/")) return "Storybook";
  if (line("remotion")) return "Remotion";
  if (stem("expo") || line("/expo/bin/") || line("/@expo/cli")) return "Expo";
  if (stem("wrangler") || line("/wrangler/bin/")) return "Wrangler";
  if (stem("webpack-dev-server") || line("webpack-dev-server") || stem("webpack") || line("/webpack/bin/"))
    return "webpack";
  if (stem("parcel")) return "Parcel";
  if ((stem("ng") && arg("serve")) || line("@angular/cli")) return "Angular";
  if (name("manage.py") && arg("runserver")) return "Django";
  if (stem("flask")) return "Flask";
  if (stem("uvicorn")) return "Uvicorn";
  if (stem("gunicorn")) return "Gunicorn";
  if (arg("http.server")) return "Python http.server";
  if (stem("streamlit")) return "Streamlit";
  if (stem("jupyter") || stem("jupyter-lab") || stem("jupyter-notebook")) return "Jupyter";
  if (stem("mkdocs")) return "MkDocs";
  if (stem("rails") || stem("puma") || cmd == "puma" || first == "puma" || first.starts_with("puma "))
    return "Rails";
  if (stem("jekyll")) return "Jekyll";
  if (name("artisan") && arg("serve")) return "Laravel";
  if (cmd == "php" && arg("-S")) return "PHP";
  if (line("/go-build") || (process.firstStemIs("go") && arg("run"))) return "Go";
  if (stem("http-server")) return "http-server";
  if (stem("live-server")) return "live-server";
  if (stem("serve")) return "serve";
  if (cmd == "caddy" || stem("caddy")) return "Caddy";
  if (cmd == "nginx" || stem("nginx")) return "nginx";
  return "";
}

constexpr FixedList<std::string_view, 9> scriptExtensions = {"js",  "mjs", "cjs", "ts", "tsx",
                                                             "mts", "py",  "rb",  "php"};

}  // namespace

std::optional<std::string> name(std::string_view command, const std::vector<std::string>& arguments) {
  const std::string_view name = nameOf(Process(command, arguments));
  return name.empty() ? std::nullopt : std::optional<std::string>(name);
}

std::optional<std::string> script(const std::vector<std::string>& arguments) {
  for (const std::string& argument :
       std::span(arguments).subspan(std::min<std::size_t>(1, arguments.size()))) {
    const std::string_view component = CommandLine::afterLastSlash(argument);
    if (scriptExtensions.contains(Text::lowerCased(CommandLine::extension(component))) &&
        argument.find("node_modules/") == std::string::npos) {
      return std::string(component);
    }
  }
  return std::nullopt;
}

}  // namespace tavrin::ServerIdentity
