#include "TavrinCore/Monitor/FollowedFacts.hpp"

#include <algorithm>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Monitor/ChildEvidence.hpp"

namespace tavrin {

namespace {

using Kind = SessionFact::Kind;

// A turn may have any number of calls; the oldest that have their result are forgotten.
constexpr std::size_t mostFacts = 512;

bool endsTurn(Kind kind) {
  return kind == Kind::turnEnded || kind == Kind::interrupted || kind == Kind::refused ||
         kind == Kind::failed || kind == Kind::sessionEnded;
}

}  // namespace

bool FollowedFacts::look(const MonitorFiles& files) {
  bool isChanged = false;
  const std::optional<Date> wasRunning = runningSince_;
  const FollowedFile::Reader reader{
      .startsTurn =
          [&](std::string_view line) {
            const LineEvidence found = evidenceInLine(line, agent_);
            return found.startsTurn || std::ranges::any_of(found.facts, [](const SessionFact& fact) {
                     return fact.kind == Kind::turnStarted;
                   });
          },
      .restart =
          [&] {
            facts_.clear();
            runningSince_.reset();
            firstOwnLine_ = 0;
            isChanged = true;
          },
      .take =
          [&](std::string_view line) {
            const std::uint64_t before = added_;
            take(line);
            isChanged = isChanged || added_ != before;
          }};
  const FollowedFile::Change change = file_.look(files, reader);
  // An agent that is stopped before its first word takes the prompt back: the file is rewritten without it.
  if (change == FollowedFile::Change::replaced && wasRunning && !runningSince_) {
    const bool holdsTurn =
        std::ranges::any_of(facts_, [&](const SessionFact& fact) { return fact.at >= *wasRunning; });
    if (!holdsTurn) add({.kind = Kind::interrupted, .at = file_.modifiedAt(), .call = {}, .command = {}});
  }
  return isChanged;
}

void FollowedFacts::take(std::string_view line) {
  if (agent_ == Agent::codex) {
    if (const auto meta = CodexEvidence::meta(line)) {
      firstOwnLine_ = std::max(firstOwnLine_, meta->firstOwnLine);
      return;
    }
    if (CodexEvidence::ordinal(line).value_or(firstOwnLine_) < firstOwnLine_) return;
  }
  LineEvidence found = evidenceInLine(line, agent_);
  if (!found.isKnown) ++unknown_;
  if (!found.subagent.empty()) subagents_.insert(std::move(found.subagent));
  for (SessionFact& fact : found.facts) isSubagents_ ? addOfSubagent(std::move(fact)) : add(std::move(fact));
}

void FollowedFacts::add(SessionFact fact) {
  if (fact.kind == Kind::turnStarted) {
    // A sub-agent in the background may wait for an answer across turns.
    std::vector<SessionFact> kept;
    for (const SessionFact* const question : ChildEvidence::openQuestions(facts_))
      if (question->isSubagents) kept.push_back(*question);
    facts_ = std::move(kept);
    runningSince_ = fact.at;
  }
  if (endsTurn(fact.kind)) runningSince_.reset();
  facts_.push_back(std::move(fact));
  ++added_;
  if (facts_.size() > mostFacts) shorten();
}

// A sub-agent's turn may end while its questions are open. They end with it.
void FollowedFacts::addOfSubagent(SessionFact fact) {
  if (fact.kind == Kind::turnStarted || fact.kind == Kind::output || fact.kind == Kind::stepStarted) return;
  if (!endsTurn(fact.kind)) {
    fact.isSubagents = true;
    add(std::move(fact));
    return;
  }
  std::vector<std::string> open;
  for (const SessionFact& known : facts_) {
    if (known.kind == Kind::asked)
      open.push_back(known.call);
    else if (const auto at = std::ranges::find(open, known.call); at != open.end())
      open.erase(at);
  }
  for (std::string& call : open)
    add({.kind = Kind::withdrawn,
         .at = fact.at,
         .call = std::move(call),
         .command = {},
         .isSubagents = true});
}

// Drops the older half of the facts, except open questions and starts of turns.
void FollowedFacts::shorten() {
  const std::size_t half = facts_.size() / 2;
  std::vector<SessionFact> kept;
  for (std::size_t i = 0; i < facts_.size(); ++i) {
    const SessionFact& fact = facts_[i];
    const bool isOpen = fact.kind == Kind::asked &&
                        std::none_of(facts_.begin() + static_cast<std::ptrdiff_t>(i) + 1, facts_.end(),
                                     [&](const SessionFact& later) { return later.call == fact.call; });
    if (i >= half || isOpen || fact.kind == Kind::turnStarted) kept.push_back(fact);
  }
  facts_ = std::move(kept);
}

}  // namespace tavrin
