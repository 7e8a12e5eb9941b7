#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace tavrin::test {

/// Sets HOME, or removes it, as long as this object exists.
class HomeVariable {
 public:
  explicit HomeVariable(const std::optional<std::string>& value) {
    if (const char* before = std::getenv("HOME")) before_ = before;
    set(value);
  }
  ~HomeVariable() { set(before_); }
  HomeVariable(const HomeVariable&) = delete;
  HomeVariable& operator=(const HomeVariable&) = delete;

 private:
  static void set(const std::optional<std::string>& value) {
    if (value) {
      ::setenv("HOME", value->c_str(), 1);
    } else {
      ::unsetenv("HOME");
    }
  }

  std::optional<std::string> before_;
};

}  // namespace tavrin::test
