#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <memory>
#include <utility>

#include "TavrinCore/Sessions/Session.hpp"

namespace tavrin {

/// A record that never changes, so copies of this share it instead of copying its texts. It compares as the
/// record does.
class SharedSession {
 public:
  /// An empty record. What was moved from is one, too.
  SharedSession() = default;
  SharedSession(Session record) : record_(std::make_shared<const Session>(std::move(record))) {}

  const Session& operator*() const {
    static const Session none;
    return record_ ? *record_ : none;
  }
  const Session* operator->() const { return &**this; }

  bool operator==(const SharedSession& other) const { return record_ == other.record_ || **this == *other; }

 private:
  std::shared_ptr<const Session> record_;
};

}  // namespace tavrin
