#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinTerminal/Surroundings.hpp"
#include "TavrinTerminal/System/ChildProcess.hpp"
#include "TavrinTerminal/System/EventLoop.hpp"

namespace tavrin {

/// Notifies the person when a session starts to wait: once for each wait, after it has lasted 300 ms, and not
/// while the session is in front. The notification is withdrawn when the wait is over.
///
/// Several notifiers share a folder with a file for each wait that one of them has taken (O_EXCL of open(2)),
/// so only one shows it.
class Notifier : public SessionChangeObserver {
 public:
  static constexpr std::chrono::milliseconds settleTime{300};

  /// How the person is notified.
  enum class Way : std::uint8_t {
    desktop,  ///< by the desktop, and by the bell where nothing else can
    bell,     ///< by the bell of the session's own terminal; not at all for a session without one
  };

  struct Tools {
    std::function<std::optional<std::string>(std::string_view name)> executable;  ///< the path of a program
    std::function<bool(const Session& session)> isInFront;
    std::function<void(const Session& session)> focus;
    std::function<Date()> now;
    std::string claims;  ///< the folder of claims
    bool isMac = false;
    Way way = Way::desktop;
    std::chrono::milliseconds patience = std::chrono::seconds(2);  ///< how long notify-send may take
  };

  Notifier(EventLoop& loop, Tools tools);

  /// Withdraws everything that is shown.
  ~Notifier() override;

  /// One for the running system. "Library/Application Support/Tavrin/notified" holds the claims.
  static std::unique_ptr<Notifier> ofThisSystem(EventLoop& loop, const Surroundings& surroundings,
                                                Way way = Way::desktop);

  void changed(const SessionChange& change) override;

  /// The texts of a notification: cleaned, the body at most 200 columns.
  struct Texts {
    std::string title;  ///< "Claude needs you"
    std::string body;   ///< "shop · checkout: Bash"
    bool operator==(const Texts&) const = default;
  };
  static Texts textsOf(const SessionChange& change);

  /// The arguments of notify-send(1) 0.8 that show a notification and print its id.
  static std::vector<std::string> notifySend(const Texts& texts);
  /// Those that give the notification an action, and wait until the person chooses it or the notification is
  /// closed.
  static std::vector<std::string> notifySendWithAction(const Texts& texts, std::string_view id);
  /// Those that versions before 0.8 know too.
  static std::vector<std::string> plainNotifySend(const Texts& texts);
  /// The arguments of gdbus(1) that close a notification.
  static std::vector<std::string> close(std::string_view id);
  /// The arguments of terminal-notifier that show, and remove, the notification of a session.
  static std::vector<std::string> terminalNotifier(const Texts& texts, std::string_view sessionId,
                                                   std::string_view bundleId);
  static std::vector<std::string> removeFromTerminalNotifier(std::string_view sessionId);

  /// Rings the bell of a terminal, which marks its window in tmux. Returns whether `tty` is a terminal that
  /// this user may write to.
  static bool ring(const std::string& tty);

 private:
  struct Wait;

  void show(Wait& wait);
  void showWithNotifySend(Wait& wait, const std::string& program);
  void heard(Wait& wait, std::string_view bytes);
  void run(const ChildCommand& command);
  std::optional<ChildCommand> withdrawal(const Wait& wait) const;
  void withdraw(Wait& wait);
  bool claims(const std::string& attentionId) const;
  void forgetOldClaims() const;

  EventLoop& loop_;
  Tools tools_;
  std::map<std::string, std::unique_ptr<Wait>> waits_;  // by session id
  std::size_t lastChild_ = 0;
  std::map<std::size_t, std::unique_ptr<ChildProcess>> children_;  // that nobody waits for
};

}  // namespace tavrin
