#include "TavrinCore/Panel/PanelFocus.hpp"

#include "TavrinCore/Support/Hash.hpp"

std::size_t std::hash<tavrin::PanelFocus>::operator()(const tavrin::PanelFocus& focus) const {
  return tavrin::hashOf(focus.kind_, focus.sessionId_, focus.server_.pid, focus.server_.port, focus.agent_);
}
