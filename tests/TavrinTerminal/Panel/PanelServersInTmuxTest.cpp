// Servers in the panel, with real ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include "tests/TavrinTerminal/Panel/PanelInTmux.hpp"

namespace tavrin::test {
namespace {

const std::string python = "/usr/bin/python3";

// The program of a server that listens in `folder` on a free port and prints its number. It does `first` at
// its start, and nothing else.
std::string idleServer(const std::string& folder, const std::string& first = "pass") {
  return "import os, signal, socket; os.chdir('" + folder + "'); " + first +
         "; s = socket.create_server(('127.0.0.1', 0)); print(s.getsockname()[1]); signal.pause()";
}

// Installs a stand-in for the system's opener, which writes each address to the file "opened".
void writeOpener(const std::filesystem::path& home) {
  writeFile(home / "bin/xdg-open", "#!/bin/sh\necho \"$1\" >>\"$HOME/opened\"\n");
  std::filesystem::permissions(home / "bin/xdg-open", std::filesystem::perms::owner_all);
}

TEST_F(PanelInTmux, OpensAServerInTheBrowser) {
  if (!std::filesystem::exists(python)) GTEST_SKIP() << "python3 is not installed, so no server is opened.";
  const Subprocess server({python, "-uc", idleServer(home.string())});
  const std::string port = server.readLine();
  const std::filesystem::path log = home.path() / "opened";
  writeOpener(home.path());
  openAndSelectServer(port, {.variables = {"PATH=" + home.string() + "/bin:/usr/bin:/bin"}});
  EXPECT_TRUE(pane->shows("o open")) << pane->screen();
  const std::string line = "http://127.0.0.1:" + port + "\n";
  const auto isOpened = [&](const std::string& text) {
    return TmuxPane::waitFor([&] { return std::filesystem::exists(log) && readFile(log) == text; });
  };
  pane->press("o");
  EXPECT_TRUE(isOpened(line)) << pane->screen();
  pane->press("Enter");
  EXPECT_TRUE(isOpened(line + line)) << pane->screen();
}

TEST_F(PanelInTmux, ASecondClickOpensAServer) {
  if (!std::filesystem::exists(python)) GTEST_SKIP() << "python3 is not installed, so no server is opened.";
  const std::filesystem::path opened = home.path() / "opened";
  writeOpener(home.path());
  writeFile(home.path() / "alpha/.git/HEAD", "ref: refs/heads/main\n");
  hook("a", "UserPromptSubmit", "alpha");
  const Subprocess server({python, "-uc", idleServer((home.path() / "alpha").string())});
  const std::string port = server.readLine();
  openAndWait({.variables = {"PATH=" + home.string() + "/bin:/usr/bin:/bin"}});
  // It stands below its session.
  EXPECT_TRUE(TmuxPane::waitFor([&] {
    const std::string screen = pane->screen();
    const std::size_t at = screen.find("  " + port);
    return at != std::string::npos &&
           std::count(screen.begin(), screen.begin() + static_cast<long>(at), '\n') == 3;
  })) << pane->screen();
  selectTheFirstRow();
  click(3);
  EXPECT_TRUE(isAt(3)) << pane->screen();
  EXPECT_FALSE(std::filesystem::exists(opened));
  click(3);
  const std::string url = "http://127.0.0.1:" + port + "\n";
  EXPECT_TRUE(TmuxPane::waitFor([&] { return std::filesystem::exists(opened) && readFile(opened) == url; }))
      << pane->screen();
  pane->type("q");
  expectAsBefore();
  EXPECT_EQ(readFile(opened), url);
}

TEST_F(PanelInTmux, StopsAServerAfterAsking) {
  if (!std::filesystem::exists(python)) GTEST_SKIP() << "python3 is not installed, so no server is stopped.";
  const std::filesystem::path folder = home.path() / "site";
  std::filesystem::create_directories(folder);
  const Subprocess server({python, "-uc",
                           "import os, http.server as h; os.chdir('" + folder.string() +
                               "'); s = h.HTTPServer(('127.0.0.1', 0), h.SimpleHTTPRequestHandler); "
                               "print(s.server_port); s.serve_forever()"});
  const std::string port = server.readLine();
  openAndSelectServer(port);
  pane->type("s");
  EXPECT_TRUE(pane->shows("on port " + port + "? (y/n)")) << pane->screen();
  pane->type("n");
  EXPECT_TRUE(pane->shows("s stop")) << pane->screen();
  EXPECT_EQ(::kill(server.pid(), 0), 0);
  pane->type("sy");
  EXPECT_TRUE(pane->shows("on port " + port + " has stopped.")) << pane->screen();
  EXPECT_TRUE(pane->shows("Nothing matches the filter.")) << pane->screen();
}

TEST_F(PanelInTmux, KillsAServerOnlyAfterAskingAgain) {
  if (!std::filesystem::exists(python)) GTEST_SKIP() << "python3 is not installed, so no server is killed.";
  const Subprocess server(
      {python, "-uc", idleServer(home.string(), "signal.signal(signal.SIGTERM, signal.SIG_IGN)")});
  const std::string port = server.readLine();
  openAndSelectServer(port);
  pane->type("sy");
  EXPECT_TRUE(pane->shows("did not stop within 5 s. Kill it?")) << pane->screen();
  pane->type("n");
  EXPECT_TRUE(pane->shows("s stop")) << pane->screen();
  EXPECT_EQ(::kill(server.pid(), 0), 0);
  pane->type("sy");
  EXPECT_TRUE(pane->shows("did not stop within 5 s. Kill it?")) << pane->screen();
  pane->type("y");
  EXPECT_TRUE(pane->shows("on port " + port + " has stopped.")) << pane->screen();
  pane->type("q");
  expectAsBefore();
}

TEST_F(PanelInTmux, LeavesAtOnceWhileAServerDoesNotStop) {
  if (!std::filesystem::exists(python)) GTEST_SKIP() << "python3 is not installed, so no server is stopped.";
  const Subprocess server(
      {python, "-uc", idleServer(home.string(), "signal.signal(signal.SIGTERM, signal.SIG_IGN)")});
  const std::string port = server.readLine();
  openAndSelectServer(port);
  pane->type("sy");
  EXPECT_TRUE(pane->shows("Stopping ")) << pane->screen();
  pane->type("q");
  expectAsBefore();
  EXPECT_EQ(::kill(server.pid(), 0), 0);
}

}  // namespace
}  // namespace tavrin::test
