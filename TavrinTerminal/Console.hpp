#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

/// Whether output is coloured, as the option --color has it.
enum class ColourChoice : std::uint8_t { automatic, always, never };

/// Everything that decides whether output is coloured. A variable that is not set is nullopt.
struct ColourFacts {
  ColourChoice choice = ColourChoice::automatic;
  std::optional<std::string> noColor;        ///< NO_COLOR (no-color.org)
  std::optional<std::string> cliColorForce;  ///< CLICOLOR_FORCE (bixense.com/clicolors)
  std::optional<std::string> term;           ///< TERM
  std::optional<std::string> ci;             ///< CI, which build services set
  bool isTerminal = false;                   ///< whether the output goes to a terminal
};

/// Whether to colour. The first that decides wins: the option, NO_COLOR, CLICOLOR_FORCE unless it is "0",
/// then a terminal that is not dumb and no build service. An empty variable counts as not set.
bool usesColour(const ColourFacts& facts);

/// The colours that output uses. Colour never carries meaning alone.
enum class Colour : std::uint8_t { plain, red, green, yellow, dim, bold };

/// Where a command writes and whom it can ask. `main` builds the real one; tests build their own.
struct Console {
  /// Writes bytes. Returns false if nobody reads them any more, which ends a command quietly.
  using Writer = std::function<bool(std::string_view bytes)>;

  Writer out;
  Writer error;
  /// Why the last write to `out` failed, as an errno value; 0 if none has failed. May be empty, which is 0.
  std::function<int()> outProblem = nullptr;
  /// One line that the person types, without its line feed; nullopt at the end of the input.
  std::function<std::optional<std::string>()> readLine;
  bool inputIsTerminal = false;
  bool outputIsTerminal = false;
  bool errorIsTerminal = false;
  int width = 80;          ///< columns of the terminal behind `out`
  bool colour = false;     ///< whether `out` is coloured
  int outDescriptor = -1;  ///< the descriptor behind `out`, or -1, to learn when its reader is gone

  /// `text` in a colour, when there is colour; else as it is.
  std::string painted(std::string_view text, Colour in) const;

  /// Whether a question can be asked: input and standard error are terminals.
  bool canAsk() const { return inputIsTerminal && errorIsTerminal; }

  /// Asks on standard error and reads a line. True for "y" and "yes" in any case; false for all else.
  bool confirms(std::string_view question) const;

  /// The console of this process. Its writers outlast signals and full pipes.
  static Console real(ColourChoice choice);
};

}  // namespace tavrin
