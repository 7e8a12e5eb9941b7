#include "TavrinCore/Panel/ServerPlacement.hpp"

#include <utility>

#include "TavrinCore/Panel/PanelRows.hpp"

namespace tavrin::ServerPlacement {

Placed place(std::vector<LocalServer> servers, const std::vector<Session>& sessions) {
  return PanelRows::place(std::move(servers), PanelRows::rowsOf(sessions));
}

}  // namespace tavrin::ServerPlacement
