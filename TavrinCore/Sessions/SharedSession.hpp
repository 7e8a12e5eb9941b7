#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <memory>
#include <utility>

#include "TavrinCore/Sessions/Session.hpp"

namespace tavrin {

/// A record that never changes. Copies share it instead of copying its texts. Two are equal if their records
/// are.
class SharedSession {
 public:
  /// Holds an empty record, as one that was moved from does.
  SharedSession() = default;
  SharedSession(Session record) : record_(std::make_shared<const Session>(std::move(record))) {}

  const Session& operator*() const {
    if (record_) return *record_;
    static const Session none;
    return none;
  }
  const Session* operator->() const { return &**this; }

  bool operator==(const SharedSession& other) const { return record_ == other.record_ || **this == *other; }

 private:
  std::shared_ptr<const Session> record_;
};

}  // namespace tavrin
