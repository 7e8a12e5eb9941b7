#pragma once

#include <functional>
#include <string>

#include "TavrinCore/Sessions/Session.hpp"

namespace tavrin::test {

/// The session "s1" of Claude Code, which needs its user: a record of 2,048 bytes with every field.
Session wholeRecord();

/// How a record's text is damaged: cut off before a byte, or with one bit flipped.
struct Damage {
  std::string name;  ///< "cut:OFFSET" or "flip:OFFSET:BIT", as --case takes it
  std::string text;  ///< what is left of the record
};

/// Calls `body` with each way to cut `text` off, and with each of its bits flipped.
void forEachCut(const std::string& text, const std::function<void(const Damage&)>& body);
void forEachFlip(const std::string& text, const std::function<void(const Damage&)>& body);

/// The number of fields in which two records differ.
int fieldsThatDiffer(const Session& one, const Session& other);

}  // namespace tavrin::test
