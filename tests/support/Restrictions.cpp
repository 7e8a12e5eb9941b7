#include "tests/support/Restrictions.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>

namespace tavrin::test {

Umask::Umask(mode_t mask) : before_(::umask(mask)) {}

Umask::~Umask() {
  ::umask(before_);
}

FileSizeLimit::FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
  ::getrlimit(RLIMIT_FSIZE, &before_);
  const rlimit limit{.rlim_cur = bytes, .rlim_max = before_.rlim_max};
  if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) throw std::runtime_error("cannot limit the size of files");
}

FileSizeLimit::~FileSizeLimit() {
  ::setrlimit(RLIMIT_FSIZE, &before_);
  std::signal(SIGXFSZ, handler_);
}

ReadOnly::ReadOnly(std::filesystem::path directory) : directory_(std::move(directory)) {
  constexpr uid_t nobody = 65'534;
  std::filesystem::permissions(directory_, std::filesystem::perms(0555));
  if (::geteuid() == 0 && ::seteuid(nobody) != 0) throw std::runtime_error("cannot become another user");
}

ReadOnly::~ReadOnly() {
  if (::seteuid(::getuid()) == 0) std::filesystem::permissions(directory_, std::filesystem::perms(0755));
}

}  // namespace tavrin::test
