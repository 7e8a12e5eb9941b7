// AppleScript, in the dictionaries of iTerm2 3 and of Terminal 2.
#include "TavrinTerminal/System/TerminalFocus.hpp"

namespace tavrin::AppleScripts {

namespace {

// osascript takes what follows the scripts as arguments, but what starts with "-" as options.
std::vector<std::string> withArguments(std::string_view script, const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {"-e", std::string(script), "--"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

}  // namespace

std::vector<std::string> selectInITerm(std::string_view tty) {
  return withArguments(R"(on run argv
  set wanted to item 1 of argv
  tell application id "com.googlecode.iterm2"
    repeat with aWindow in windows
      repeat with aTab in tabs of aWindow
        repeat with aSession in sessions of aTab
          if tty of aSession is wanted then
            select aWindow
            select aTab
            select aSession
            activate
            return "found"
          end if
        end repeat
      end repeat
    end repeat
  end tell
  return "missing"
end run)",
                       {std::string(tty)});
}

std::vector<std::string> selectInTerminal(std::string_view tty) {
  return withArguments(R"(on run argv
  set wanted to item 1 of argv
  tell application id "com.apple.Terminal"
    repeat with aWindow in windows
      repeat with aTab in tabs of aWindow
        if tty of aTab is wanted then
          set selected of aTab to true
          set index of aWindow to 1
          activate
          return "found"
        end if
      end repeat
    end repeat
  end tell
  return "missing"
end run)",
                       {std::string(tty)});
}

std::vector<std::string> notify(std::string_view title, std::string_view text) {
  return withArguments(R"(on run argv
  display notification (item 2 of argv) with title (item 1 of argv)
end run)",
                       {std::string(title), std::string(text)});
}

}  // namespace tavrin::AppleScripts
