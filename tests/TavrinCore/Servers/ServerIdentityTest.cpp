#include "TavrinCore/Servers/ServerIdentity.hpp"

#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace tavrin {
namespace {

using Arguments = std::vector<std::string>;

std::string joined(const Arguments& arguments) {
  std::string text;
  for (const std::string& argument : arguments) text += "[" + argument + "]";
  return text;
}

struct Case {
  const char* command;
  Arguments arguments;
  const char* name;  // null for none
};

// At least one case for each way to get each name.
const std::vector<Case> cases = {
    {"next-server (v15", {}, "Next.js"},
    {"NEXT-SERVER", {}, "Next.js"},
    {"node", {"next-server"}, "Next.js"},
    {"node", {"Next-Server (v15.1.0)"}, "Next.js"},
    {"node", {"node", "/repo/node_modules/next/dist/bin/next", "start"}, "Next.js"},
    {"node", {"node", "/repo/node_modules/.bin/next", "dev"}, "Next.js"},
    {"node", {"node", "next.js", "dev"}, "Next.js"},
    {"node", {"node", "next", "DEV"}, nullptr},
    {"node", {"node", "next", "start"}, nullptr},
    {"node", {"next-servers"}, nullptr},
    {"node", {"node", "next-server"}, nullptr},
    {"node", {"node", "/repo/node_modules/.bin/vite"}, "Vite"},
    {"node", {"node", "/repo/node_modules/vite/bin/v.js"}, "Vite"},
    {"node", {"node", "VITE.js"}, "Vite"},
    {"node", {"node", "vite.config.js"}, nullptr},
    {"node", {"node", "/repo/.bin/astro", "dev"}, "Astro"},
    {"node", {"node", "/repo/node_modules/astro/dist/cli/index.js"}, "Astro"},
    {"node", {"node", "nuxt"}, "Nuxt"},
    {"node", {"node", "nuxi.mjs"}, "Nuxt"},
    {"node", {"node", "/x/nuxt/bin/y"}, "Nuxt"},
    {"node", {"node", "/x/nuxi/bin/y"}, "Nuxt"},
    {"node", {"node", "x-svelte-kit-y"}, "SvelteKit"},
    {"node", {"node", "/x/@sveltejs/kit/z.js"}, "SvelteKit"},
    {"node", {"remix"}, "Remix"},
    {"node", {"node", "/x/@remix-run/dev/z.js"}, "Remix"},
    {"node", {"node", "storybook"}, "Storybook"},
    {"node", {"node", "/x/storybook/index.js"}, "Storybook"},
    {"node", {"node", "/x/Remotion-cli.js"}, "Remotion"},
    {"x", {"x", "re", "motion"}, nullptr},
    {"node", {"node", "expo"}, "Expo"},
    {"node", {"node", "/x/expo/bin/cli"}, "Expo"},
    {"node", {"node", "/x/@expo/cli/build"}, "Expo"},
    {"node", {"node", "wrangler"}, "Wrangler"},
    {"node", {"node", "/x/wrangler/bin/w.js"}, "Wrangler"},
    {"node", {"node", "webpack-dev-server.js"}, "webpack"},
    {"node", {"node", "/x/webpack-dev-server-y/z"}, "webpack"},
    {"node", {"node", "webpack", "serve"}, "webpack"},
    {"node", {"node", "/x/webpack/bin/w.js"}, "webpack"},
    {"node", {"node", "parcel"}, "Parcel"},
    {"node", {"node", "ng", "serve"}, "Angular"},
    {"node", {"node", "ng", "build"}, nullptr},
    {"node", {"node", "/x/@angular/cli/y"}, "Angular"},
    {"python3", {"python3", "manage.py", "runserver"}, "Django"},
    {"python3", {"python3", "/site/Manage.PY", "runserver", "8000"}, "Django"},
    {"python3", {"python3", "manage.py", "migrate"}, nullptr},
    {"python3", {"python3", "manage.pyc", "runserver"}, nullptr},
    {"python3", {"python3", "/x/bin/flask", "run"}, "Flask"},
    {"python3", {"python3", "uvicorn", "app:app"}, "Uvicorn"},
    {"python3", {"/x/bin/gunicorn", "app"}, "Gunicorn"},
    {"python3", {"python3", "-m", "http.server", "8000"}, "Python http.server"},
    {"python3", {"python3", "-m", "HTTP.server"}, nullptr},
    {"python3", {"python3", "-m", "http.server2"}, nullptr},
    {"python3", {"python3", "streamlit", "run"}, "Streamlit"},
    {"python3", {"python3", "jupyter"}, "Jupyter"},
    {"python3", {"python3", "/x/jupyter-lab"}, "Jupyter"},
    {"python3", {"python3", "/x/jupyter-notebook"}, "Jupyter"},
    {"python3", {"mkdocs", "serve"}, "MkDocs"},
    {"ruby", {"ruby", "bin/rails", "server"}, "Rails"},
    {"ruby", {"ruby", "/x/puma"}, "Rails"},
    {"Puma", {}, "Rails"},
    {"ruby", {"puma"}, "Rails"},
    {"ruby", {"puma 6.4.0 (tcp://localhost:3000) [app]"}, "Rails"},
    {"ruby", {"pumas 6.4.0"}, nullptr},
    {"ruby", {"jekyll", "serve"}, "Jekyll"},
    {"php", {"php", "artisan", "serve"}, "Laravel"},
    {"php", {"php", "artisan", "migrate"}, nullptr},
    {"php", {"php", "-S", "localhost:8000"}, "PHP"},
    {"php", {"php", "-s", "localhost:8000"}, nullptr},
    {"php8", {"php", "-S", "localhost:8000"}, nullptr},
    {"main", {"/var/folders/x/go-build123/b001/exe/main"}, "Go"},
    {"go", {"/usr/local/bin/go", "run", "."}, "Go"},
    {"go", {"/usr/local/bin/go", "build"}, nullptr},
    {"x", {"x", "go", "run"}, nullptr},
    {"node", {"node", "http-server"}, "http-server"},
    {"node", {"node", "live-server"}, "live-server"},
    {"node", {"node", "/x/.bin/serve"}, "serve"},
    {"Caddy", {}, "Caddy"},
    {"x", {"/usr/bin/caddy", "run"}, "Caddy"},
    {"nginx", {"nginx: master process nginx"}, "nginx"},
    {"x", {"/opt/nginx"}, "nginx"},
    {"foo", {"foo", "bar"}, nullptr},
    {"foo", {}, nullptr},
    {"", {}, nullptr},
    {"", {""}, nullptr},
    {"node", {"node", "/x/vite/"}, nullptr},
};

TEST(ServerIdentity, KnowsFrameworksByTheirCommandLines) {
  std::set<std::string> names;
  for (const Case& each : cases) {
    const std::optional<std::string> expected =
        each.name == nullptr ? std::nullopt : std::optional(std::string(each.name));
    EXPECT_EQ(ServerIdentity::name(each.command, each.arguments), expected)
        << each.command << joined(each.arguments);
    if (expected) names.insert(*expected);
  }
  EXPECT_EQ(names.size(), 31U);
}

// Puts each name's mark behind those of all names above it: the upper name wins.
TEST(ServerIdentity, TheUpperRuleWins) {
  const struct {
    const char* name;
    Arguments arguments;
  } marks[] = {
      {"Next.js", {"/next/dist/bin/"}},
      {"Vite", {"/vite/bin/"}},
      {"Astro", {"/astro/dist/cli"}},
      {"Nuxt", {"nuxi"}},
      {"SvelteKit", {"svelte-kit"}},
      {"Remix", {"@remix-run"}},
      {"Storybook", {"storybook"}},
      {"Remotion", {"remotion"}},
      {"Expo", {"expo"}},
      {"Wrangler", {"wrangler"}},
      {"webpack", {"webpack"}},
      {"Parcel", {"parcel"}},
      {"Angular", {"ng", "serve"}},
      {"Django", {"manage.py", "runserver"}},
      {"Flask", {"flask"}},
      {"Uvicorn", {"uvicorn"}},
      {"Gunicorn", {"gunicorn"}},
      {"Python http.server", {"http.server"}},
      {"Streamlit", {"streamlit"}},
      {"Jupyter", {"jupyter-lab"}},
      {"MkDocs", {"mkdocs"}},
      {"Rails", {"rails"}},
      {"Jekyll", {"jekyll"}},
      {"Laravel", {"artisan", "serve"}},
      {"PHP", {"-S"}},
      {"Go", {"/go-build"}},
      {"http-server", {"http-server"}},
      {"live-server", {"live-server"}},
      {"serve", {"serve"}},
      {"Caddy", {"caddy"}},
      {"nginx", {"nginx"}},
  };
  ASSERT_EQ(std::size(marks), 31U);
  int pairs = 0;
  for (std::size_t upper = 0; upper < std::size(marks); ++upper) {
    for (std::size_t lower = upper + 1; lower < std::size(marks); ++lower) {
      Arguments arguments = {"program"};
      arguments.insert(arguments.end(), marks[lower].arguments.begin(), marks[lower].arguments.end());
      arguments.insert(arguments.end(), marks[upper].arguments.begin(), marks[upper].arguments.end());
      EXPECT_EQ(ServerIdentity::name("php", arguments), marks[upper].name) << joined(arguments);
      ++pairs;
    }
  }
  EXPECT_EQ(pairs, 465);
  EXPECT_EQ(ServerIdentity::name("node", {"node", "storybook", "/x/vite/bin/vite.js"}), "Vite");
}

TEST(ServerIdentity, TheScriptIsTheFirstSourceFile) {
  const struct {
    Arguments arguments;
    const char* script;
  } scripts[] = {
      {{"node", "server.js"}, "server.js"},
      {{"node", "/repo/node_modules/x/cli.js", "app.ts"}, "app.ts"},
      {{"node"}, nullptr},
      {{"server.js"}, nullptr},
      {{}, nullptr},
      {{"ruby", "APP.RB"}, "APP.RB"},
      {{"node", "--require", "./src/setup.cjs", "main.mjs"}, "setup.cjs"},
      {{"node", "main.mjs"}, "main.mjs"},
      {{"bun", "src/index.tsx"}, "index.tsx"},
      {{"deno", "run", "a.mts"}, "a.mts"},
      {{"python3", "-m", "http.server"}, nullptr},
      {{"python3", "/a/b.c/app.py", "x.py"}, "app.py"},
      {{"php", "-S", "x", "router.php"}, "router.php"},
      {{"node", "server.jsx", "server", "x.json", "js", "dir.js/"}, nullptr},
      {{"node", "a.js:b"}, nullptr},
      {{"node", "mynode_modules/a.js"}, nullptr},
      {{"node", "node_modules.js"}, "node_modules.js"},
      {{"node", "/x/a.b.js"}, "a.b.js"},
  };
  for (const auto& [arguments, script] : scripts) {
    EXPECT_EQ(ServerIdentity::script(arguments),
              script == nullptr ? std::nullopt : std::optional(std::string(script)))
        << joined(arguments);
  }
}

TEST(ServerIdentity, TakesAnyBytes) {
  const std::string huge(1'000'000, '/');
  const std::string bytes("\0\xff.\xc3/\0", 6);
  const Arguments arguments = {huge, bytes, "", ".", "/", huge + "vite"};
  EXPECT_EQ(ServerIdentity::name(bytes, arguments), "Vite");
  EXPECT_EQ(ServerIdentity::script({huge, bytes, huge + ".js"}), ".js");
  EXPECT_EQ(ServerIdentity::name("x", Arguments(100'000, "x")), std::nullopt);
}

}  // namespace
}  // namespace tavrin
