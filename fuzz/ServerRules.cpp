#include "fuzz/ServerRules.hpp"

#include <set>
#include <string_view>

#include "TavrinCore/Support/Text.hpp"
#include "fuzz/Laws.hpp"

namespace tavrin::fuzz::ServerRules {

namespace {

using Words = std::vector<std::string>;

std::string lastComponent(const std::string& path) {
  return std::string(split(path, '/').back());
}

// What stands before and after the last dot.
std::pair<std::string, std::string> cutAtDot(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos ? std::pair(name, std::string())
                                  : std::pair(name.substr(0, dot), name.substr(dot + 1));
}

// The last of the pieces between colons that are not empty, if it is a port; 0 if it is none.
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

}  // namespace

std::optional<std::string> name(const std::string& command, const Words& arguments) {
  const std::string cmd = Text::lowerCased(command);
  const std::string first = arguments.empty() ? "" : Text::lowerCased(arguments.front());
  std::string line;
  std::set<std::string> names;
  std::set<std::string> stemSet;
  std::string firstStem;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (i > 0) line += ' ';
    line += arguments[i];
    const std::string name = Text::lowerCased(lastComponent(arguments[i]));
    names.insert(name);
    stemSet.insert(cutAtDot(name).first);
    if (i == 0) firstStem = cutAtDot(name).first;
  }
  line = Text::lowerCased(line);
  const auto has = [&](const char* text) { return line.find(text) != std::string::npos; };
  const auto stem = [&](const char* text) { return stemSet.contains(text); };
  const auto arg = [&](const char* text) {
    return std::set<std::string>(arguments.begin(), arguments.end()).contains(text);
  };

  if (cmd.starts_with("next-server") || first == "next-server" || first.starts_with("next-server ") ||
      has("/next/dist/bin/") || (stem("next") && arg("dev")))
    return "Next.js";
  if (stem("vite") || has("/vite/bin/")) return "Vite";
  if (stem("astro") || has("/astro/dist/cli")) return "Astro";
  if (stem("nuxt") || stem("nuxi") || has("/nuxt/bin/") || has("/nuxi/bin/")) return "Nuxt";
  if (has("svelte-kit") || has("@sveltejs/kit")) return "SvelteKit";
  if (stem("remix") || has("@remix-run")) return "Remix";
  if (stem("storybook") || has("/storybook/")) return "Storybook";
  if (has("remotion")) return "Remotion";
  if (stem("expo") || has("/expo/bin/") || has("/@expo/cli")) return "Expo";
  if (stem("wrangler") || has("/wrangler/bin/")) return "Wrangler";
  if (stem("webpack-dev-server") || has("webpack-dev-server") || stem("webpack") || has("/webpack/bin/"))
    return "webpack";
  if (stem("parcel")) return "Parcel";
  if ((stem("ng") && arg("serve")) || has("@angular/cli")) return "Angular";
  if (names.contains("manage.py") && arg("runserver")) return "Django";
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
  if (names.contains("artisan") && arg("serve")) return "Laravel";
  if (cmd == "php" && arg("-S")) return "PHP";
  if (has("/go-build") || (firstStem == "go" && arg("run"))) return "Go";
  if (stem("http-server")) return "http-server";
  if (stem("live-server")) return "live-server";
  if (stem("serve")) return "serve";
  if (cmd == "caddy" || stem("caddy")) return "Caddy";
  if (cmd == "nginx" || stem("nginx")) return "nginx";
  return std::nullopt;
}

std::optional<std::string> script(const Words& arguments) {
  const std::set<std::string> extensions = {"js", "mjs", "cjs", "ts", "tsx", "mts", "py", "rb", "php"};
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const std::string name = lastComponent(arguments[i]);
    if (extensions.contains(Text::lowerCased(cutAtDot(name).second)) &&
        arguments[i].find("node_modules/") == std::string::npos)
      return name;
  }
  return std::nullopt;
}

std::optional<int> nodeInspectorPort(const std::string& command, const Words& arguments) {
  const std::set<std::string> withOperand = {
      "-e", "--eval", "-p", "--print", "-r", "--require", "--import", "--loader", "--experimental-loader"};
  if (command != "node" && (arguments.empty() || lastComponent(arguments.front()) != "node"))
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
