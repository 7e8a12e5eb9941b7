#include "TavrinCore/Panel/PanelFocus.hpp"

#include "TavrinCore/Support/Hash.hpp"

std::size_t std::hash<tavrin::PanelFocus>::operator()(const tavrin::PanelFocus& focus) const {
  if (const std::string* const id = focus.sessionId()) return tavrin::hashOf(focus.kind(), *id);
  if (const tavrin::PanelFocus::Server* const server = focus.server()) {
    return tavrin::hashOf(focus.kind(), server->pid, server->port);
  }
  if (const tavrin::Agent* const agent = focus.agent()) return tavrin::hashOf(focus.kind(), *agent);
  return tavrin::hashOf(focus.kind());
}
