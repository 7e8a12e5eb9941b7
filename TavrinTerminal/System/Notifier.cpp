#include "TavrinTerminal/System/Notifier.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/SessionChanges.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/Executables.hpp"
#include "TavrinTerminal/System/TerminalFocus.hpp"

namespace tavrin {

namespace {

constexpr std::string_view focusAction = "focus";

// Notification servers may read the body as markup (Desktop Notifications Specification, "Markup").
std::string withoutMarkup(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    if (character == '&') {
      escaped += "&amp;";
    } else if (character == '<') {
      escaped += "&lt;";
    } else if (character == '>') {
      escaped += "&gt;";
    } else {
      escaped += character;
    }
  }
  return escaped;
}

// A name for a file or a group, whatever an id holds.
std::string plainName(std::string_view id) {
  constexpr std::size_t longest = 128;
  return Text::onlyNameCharacters(id).substr(0, longest);
}

ChildCommand commandOf(std::string program, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), std::move(program));
  return {.words = std::move(arguments), .input = ""};
}

}  // namespace

struct Notifier::Wait {
  Session session;
  std::string attentionId;
  Texts texts;
  std::unique_ptr<Timer> settling;
  std::unique_ptr<ChildProcess> shown;  // notify-send, which waits for the person
  std::string heard;
  std::string notification;  // its id, once it is known
  bool isShown = false;
};

Notifier::Notifier(EventLoop& loop, Tools tools) : loop_(loop), tools_(std::move(tools)) {
  forgetOldClaims();
}

Notifier::~Notifier() {
  for (auto& [id, wait] : waits_) {
    // Runs on a loop of its own, because `loop_` may call others that expect no more calls.
    const std::optional<ChildCommand> command = withdrawal(*wait);
    wait->shown.reset();
    if (command) ChildProcess::run(*command);
  }
}

std::unique_ptr<Notifier> Notifier::ofThisSystem(EventLoop& loop, const Surroundings& surroundings, Way way) {
  const auto terminals = std::make_shared<TerminalFocus>(TerminalFocus::ofThisSystem(surroundings));
  const std::string path = surroundings.environment("PATH").value_or("");
  Tools tools{.executable = [path](std::string_view name) { return Executables::find(name, path); },
              .isInFront = [terminals](const Session& session) { return terminals->isInFront(session); },
              .focus = [terminals](const Session& session) { terminals->focus(session); },
              .now = surroundings.now,
              .claims = Path::joined(Path::parent(surroundings.sessionsDirectory()), "notified"),
              .way = way};
#ifdef __APPLE__
  tools.isMac = true;
#endif
  return std::make_unique<Notifier>(loop, std::move(tools));
}

void Notifier::changed(const SessionChange& change) {
  const Session& record = *change.row.session.record;
  const std::string attentionId = change.row.session.attentionId.value_or("");
  const bool isWaiting = change.kind != SessionChange::Kind::gone &&
                         change.row.session.state == SessionState::needsYou && !attentionId.empty();
  const auto known = waits_.find(record.sessionId);
  if (known != waits_.end()) {
    if (isWaiting && known->second->attentionId == attentionId) return;
    withdraw(*known->second);
    waits_.erase(known);
  }
  if (!isWaiting) return;
  auto wait = std::make_unique<Wait>();
  wait->session = record;
  wait->attentionId = attentionId;
  wait->texts = textsOf(change);
  wait->settling = std::make_unique<Timer>(loop_, [this, raw = wait.get()] { show(*raw); });
  wait->settling->start(settleTime);
  waits_.emplace(record.sessionId, std::move(wait));
}

void Notifier::show(Wait& wait) {
  if (tools_.isInFront(wait.session) || !claims(wait.attentionId)) return;
  if (tools_.way == Way::bell) {
    ring(wait.session.tty.value_or(""));
    return;
  }
  wait.isShown = true;
  if (tools_.isMac) {
    if (std::optional<std::string> program = tools_.executable("terminal-notifier")) {
      run(commandOf(*std::move(program), terminalNotifier(wait.texts, wait.session.sessionId,
                                                          wait.session.hostBundleId.value_or(""))));
      return;
    }
    if (std::optional<std::string> program = tools_.executable("osascript")) {
      run(commandOf(*std::move(program), AppleScripts::notify(wait.texts.title, wait.texts.body)));
      return;
    }
  } else if (const std::optional<std::string> program = tools_.executable("notify-send")) {
    showWithNotifySend(wait, *program);
    return;
  }
  ring(wait.session.tty.value_or(""));
}

void Notifier::showWithNotifySend(Wait& wait, const std::string& program) {
  // A notify-send with an action waits for the person, and prints the id only then. So one without runs
  // first.
  ChildCommand first = commandOf(program, notifySend(wait.texts));
  first.timeout = tools_.patience;
  const ChildOutcome outcome = ChildProcess::run(first);
  const std::string id = outcome.output.substr(0, outcome.output.find('\n'));
  const bool isNumber = !id.empty() && id.find_first_not_of("0123456789") == std::string::npos;
  if (!outcome.succeeded() || !isNumber) {
    // Either notify-send is old, or nothing shows notifications. If the options that old versions know fail
    // too, the bell rings.
    const bool isShown = ChildProcess::run(commandOf(program, plainNotifySend(wait.texts))).succeeded();
    if (!isShown) ring(wait.session.tty.value_or(""));
    return;
  }
  wait.notification = id;
  ChildCommand second = commandOf(program, notifySendWithAction(wait.texts, id));
  second.timeout = std::chrono::hours(24);
  wait.shown = std::make_unique<ChildProcess>(
      loop_.native(), second, [](const ChildOutcome&) {},
      [this, &wait](std::string_view bytes) { heard(wait, bytes); });
  wait.shown->closeInput();
}

// The name of the action, if the person chooses it.
void Notifier::heard(Wait& wait, std::string_view bytes) {
  constexpr std::size_t most = 1000;
  wait.heard += bytes.substr(0, most);
  if (!wait.heard.starts_with(std::string(focusAction) + "\n")) return;
  wait.heard.clear();
  tools_.focus(wait.session);
}

void Notifier::run(const ChildCommand& command) {
  const std::size_t number = ++lastChild_;
  children_.emplace(number, nullptr);
  children_[number] = std::make_unique<ChildProcess>(
      loop_.native(), command, [this, number](const ChildOutcome&) { children_.erase(number); });
}

std::optional<ChildCommand> Notifier::withdrawal(const Wait& wait) const {
  if (!wait.isShown || (!tools_.isMac && wait.notification.empty())) return std::nullopt;
  std::optional<std::string> program = tools_.executable(tools_.isMac ? "terminal-notifier" : "gdbus");
  if (!program) return std::nullopt;
  return commandOf(*std::move(program), tools_.isMac ? removeFromTerminalNotifier(wait.session.sessionId)
                                                     : close(wait.notification));
}

void Notifier::withdraw(Wait& wait) {
  wait.settling.reset();
  const std::optional<ChildCommand> command = withdrawal(wait);
  wait.shown.reset();
  if (command) run(*command);
}

bool Notifier::claims(const std::string& attentionId) const {
  const std::string name = plainName(attentionId);
  if (name.empty() || !File::makeDirectories(tools_.claims)) return !name.empty();
  const FileDescriptor claim =
      FileDescriptor::open(Path::joined(tools_.claims, name), O_WRONLY | O_CREAT | O_EXCL, 0600);
  // Without a place for claims a second notification is better than none.
  return claim.isOpen() || errno != EEXIST;
}

void Notifier::forgetOldClaims() const {
  const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(tools_.claims.c_str()), ::closedir);
  if (!open) return;
  constexpr std::chrono::hours kept(48);
  while (const dirent* const entry = ::readdir(open.get())) {
    const std::string path = Path::joined(tools_.claims, static_cast<const char*>(entry->d_name));
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
    if (dateFromSeconds(static_cast<double>(status.st_mtime)) + kept < tools_.now()) ::unlink(path.c_str());
  }
}

Notifier::Texts Notifier::textsOf(const SessionChange& change) {
  constexpr std::size_t mostColumns = 200;
  const SessionRow& row = change.row;
  std::string body = row.label;
  if (!row.tool.empty()) body += ": " + row.tool;
  return {.title = std::string(displayName(row.session.record->agent)) + " needs you",
          .body = ShownText::cut(ShownText::clean(body), mostColumns)};
}

std::vector<std::string> Notifier::notifySend(const Texts& texts) {
  return {"--app-name=Tavrin", "--print-id", "--", texts.title, withoutMarkup(texts.body)};
}

std::vector<std::string> Notifier::notifySendWithAction(const Texts& texts, std::string_view id) {
  return {"--app-name=Tavrin", "--replace-id=" + std::string(id), "--action=focus=Go there", "--",
          texts.title,         withoutMarkup(texts.body)};
}

std::vector<std::string> Notifier::plainNotifySend(const Texts& texts) {
  return {"--", texts.title, withoutMarkup(texts.body)};
}

std::vector<std::string> Notifier::close(std::string_view id) {
  return {"call",          "--session",
          "--dest",        "org.freedesktop.Notifications",
          "--object-path", "/org/freedesktop/Notifications",
          "--method",      "org.freedesktop.Notifications.CloseNotification",
          std::string(id)};
}

std::vector<std::string> Notifier::terminalNotifier(const Texts& texts, std::string_view sessionId,
                                                    std::string_view bundleId) {
  // It takes a text that starts with "[" as something else, and has no sign that ends the options.
  const auto plain = [](const std::string& text) {
    return text.starts_with('[') || text.starts_with('-') ? " " + text : text;
  };
  std::vector<std::string> words = {"-title",          texts.title, "-message",
                                    plain(texts.body), "-group",    "tavrin-" + plainName(sessionId)};
  if (!bundleId.empty()) words.insert(words.end(), {"-activate", std::string(bundleId)});
  return words;
}

std::vector<std::string> Notifier::removeFromTerminalNotifier(std::string_view sessionId) {
  return {"-remove", "tavrin-" + plainName(sessionId)};
}

bool Notifier::ring(const std::string& tty) {
  if (!tty.starts_with("/dev/")) return false;
  const FileDescriptor terminal = FileDescriptor::open(tty, O_WRONLY | O_NOCTTY | O_NONBLOCK);
  return terminal.isOpen() && ::isatty(terminal.number()) == 1 && File::writeAll(terminal.number(), "\a");
}

}  // namespace tavrin
