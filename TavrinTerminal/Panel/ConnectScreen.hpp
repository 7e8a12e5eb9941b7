#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinTerminal/AgentStanding.hpp"
#include "TavrinTerminal/Panel/PanelLine.hpp"
#include "TavrinTerminal/Panel/PanelTexts.hpp"

namespace tavrin {

/// The part of the panel that connects agents: a row for each agent, and a question with the change that an
/// answer would make. It changes nothing itself.
class ConnectScreen {
 public:
  /// What can be done with an agent.
  enum class Deed : std::uint8_t {
    connect,
    renew,  ///< connect what is connected but does not work
    disconnect,
  };

  /// What the person is asked.
  struct Question {
    Agent agent = Agent::claude;
    Deed deed = Deed::connect;
    std::string change;  ///< lines that show what would be done, cleaned
  };

  ConnectScreen() : agents_(unknownStandings()) {}

  void takeAgents(std::vector<AgentStanding> agents);
  const std::vector<AgentStanding>& agents() const { return agents_; }

  const AgentStanding& selected() const { return agents_[selected_]; }
  std::size_t selectedRow() const { return selected_; }
  void move(PanelNavigation::Direction direction);
  void moveToEnd(PanelNavigation::Direction direction);
  /// Selects a row. Returns whether it was selected already; nullopt when there is no such row.
  std::optional<bool> select(std::size_t row);

  /// What Enter does with the selected agent; nullopt when nothing can be done.
  std::optional<Deed> deed() const;

  void ask(Question question) { question_ = std::move(question); }
  void endQuestion() { question_.reset(); }
  const std::optional<Question>& question() const { return question_; }

  /// The headline: the question, or how many agents are connected.
  std::string title() const;
  /// The rows and, below them, what there is to say about the selected one.
  std::vector<PanelLine> rows(int columns) const;
  /// The change that is asked about.
  std::vector<PanelLine> change() const;
  std::vector<PanelTexts::KeyHint> hints() const;

 private:
  std::string advice() const;

  std::vector<AgentStanding> agents_;
  std::size_t selected_ = 0;
  std::optional<Question> question_;
};

}  // namespace tavrin
