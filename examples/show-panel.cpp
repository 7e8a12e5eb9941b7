// Prints once what a panel shows: lsof -nP -iTCP -sTCP:LISTEN -F pcn | show-panel [FOLDER-OF-SESSION-FILES]
// Needs Tavrin::Panel.

#include <chrono>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "TavrinCore/Panel/PanelRows.hpp"
#include "TavrinCore/Panel/SessionAggregator.hpp"
#include "TavrinCore/Servers/ServerScan.hpp"
#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Sessions/SessionLabels.hpp"
#include "TavrinCore/Sessions/SessionRowText.hpp"

using namespace tavrin;

void print(const LocalServer& server) {
  std::cout << "  " << server.displayName() << " " << server.portLabel(false) << "  " << server.url() << "\n";
}

int main(int argc, char** argv) {
  const SessionFileStore store = argc > 1 ? SessionFileStore(argv[1]) : SessionFileStore();
  const std::vector<Session> sessions = store.loadAll().sessions;
  const std::string lsofFields(std::istreambuf_iterator<char>(std::cin), {});
  const std::vector<LocalServer> servers = ServerScan::servers(
      PortScan::parse(lsofFields), ProcessFacts::ofThisSystem(), std::chrono::system_clock::now());

  const PanelRows::Rows rows = PanelRows::visible(sessions, /*hideIdle=*/false);
  const std::vector<std::string> labels = SessionLabels::ofEach(rows);
  ServerPlacement::Placed placed = PanelRows::place(servers, rows);
  std::cout << SessionAggregator::summary(sessions).statusLine() << "\n";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    std::cout << SessionRowText::title(*rows[i], labels[i]) << "\n";
    for (const LocalServer& server : placed.bySession[rows[i]->sessionId]) print(server);
  }
  if (!placed.orphans.empty()) std::cout << "Other servers\n";
  for (const LocalServer& server : placed.orphans) print(server);
}
