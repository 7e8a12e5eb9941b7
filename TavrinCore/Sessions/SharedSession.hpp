#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <memory>
#include <utility>

#include "TavrinCore/Sessions/Session.hpp"

namespace tavrin {

/// A record that nobody changes any more, so that copies of this share it. It compares as the record does.
class SharedSession {
 public:
  /// An empty record.
  SharedSession() = default;
  SharedSession(Session record)  // NOLINT(google-explicit-constructor): it is a record
      : record_(std::make_shared<const Session>(std::move(record))) {}

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
