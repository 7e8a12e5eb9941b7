#include "TavrinCore/Support/FileReplacement.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/Uninterrupted.hpp"
#include "TavrinCore/Support/Uuid.hpp"

#ifdef TAVRIN_HAVE_FCOPYFILE
#include <copyfile.h>
#else
#include <sys/xattr.h>
#endif

namespace tavrin::FileReplacement {

namespace {

// Removes a file and leaves errno alone.
void discard(const std::string& path) {
  const int kept = errno;
  File::remove(path);
  errno = kept;
}

std::string temporaryBeside(const std::string& path) {
  return Path::joined(Path::parent(path), "." + Uuid::random() + ".tmp");
}

#ifdef TAVRIN_HAVE_FCOPYFILE
bool copyAttributes(int from, int to) {
  return ::fcopyfile(from, to, nullptr, COPYFILE_ACL | COPYFILE_XATTR) == 0;
}
#else
// Labels that the system sets on new files by its own rules, and that programs may not be allowed to set.
bool belongsToSystem(std::string_view name) {
  return name.starts_with("security.") || name.starts_with("trusted.");
}

// Copies one extended attribute. ACLs are attributes as well (acl(5)).
bool copyAttribute(int from, int to, const char* name) {
  const ssize_t size = ::fgetxattr(from, name, nullptr, 0);
  if (size < 0) return errno == ENODATA || belongsToSystem(name);
  std::string value(static_cast<std::size_t>(size), '\0');
  const ssize_t length = ::fgetxattr(from, name, value.data(), value.size());
  if (length < 0) return errno == ENODATA || belongsToSystem(name);
  return ::fsetxattr(to, name, value.data(), static_cast<std::size_t>(length), 0) == 0 ||
         belongsToSystem(name);
}

bool copyAttributes(int from, int to) {
  const ssize_t size = ::flistxattr(from, nullptr, 0);
  if (size < 0) return errno == ENOTSUP;
  std::string names(static_cast<std::size_t>(size), '\0');
  const ssize_t length = ::flistxattr(from, names.data(), names.size());
  if (length < 0) return false;
  names.resize(static_cast<std::size_t>(length));
  for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
    if (!copyAttribute(from, to, names.c_str() + at)) return false;
  }
  return true;
}
#endif

// Gives the new file what the old one has. The mode comes last: chown(2) may clear bits of it, and until then
// nobody else may read the new file.
bool copyProperties(const std::string& path, const struct stat& status, int to) {
  const FileDescriptor from = FileDescriptor::open(path, O_RDONLY | O_NONBLOCK);
  if (!from.isOpen()) return false;
  struct stat own = {};
  if (::fstat(to, &own) != 0) return false;
  const bool isSameOwner = own.st_uid == status.st_uid && own.st_gid == status.st_gid;
  if (!isSameOwner && ::fchown(to, status.st_uid, status.st_gid) != 0) return false;
  constexpr mode_t permissions = 0777;
  return copyAttributes(from.number(), to) && ::fchmod(to, status.st_mode & permissions) == 0;
}

// Exchanges two names in one step. False with EINVAL, ENOSYS or ENOTSUP where the file system cannot.
bool exchange(const std::string& a, const std::string& b) {
#if defined(TAVRIN_HAVE_RENAMEAT2)
  return uninterrupted(
             [&] { return ::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE); }) == 0;
#elif defined(TAVRIN_HAVE_RENAMEX_NP)
  return uninterrupted([&] { return ::renamex_np(a.c_str(), b.c_str(), RENAME_SWAP); }) == 0;
#else
  (void)a;
  (void)b;
  errno = ENOTSUP;
  return false;
#endif
}

bool holds(const std::string& path, std::string_view text) {
  const std::optional<std::string> bytes = File::contents(path, text.size());
  return bytes && *bytes == text;
}

void syncDirectory(const std::string& path) {
  const FileDescriptor directory = FileDescriptor::open(std::string(Path::parent(path)), O_RDONLY);
  if (directory.isOpen()) ::fsync(directory.number());
}

bool write(const std::string& temporary, const std::string& path, const Read& before, std::string_view text) {
  FileDescriptor file = FileDescriptor::open(temporary, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  if (!file.isOpen()) return false;
  const bool isNew = before.kind == Read::Kind::missing;
  return File::writeAll(file.number(), text) &&
         (isNew || copyProperties(path, before.status, file.number())) && ::fsync(file.number()) == 0 &&
         file.closeWritten();
}

// Gives the written temporary its name, unless that is taken by now.
Result create(const std::string& temporary, const std::string& path) {
  if (::link(temporary.c_str(), path.c_str()) == 0) return Result::done;
  if (errno == EEXIST) return Result::overtaken;
  // A file system without hard links.
  if (errno != EPERM && errno != ENOTSUP && errno != ENOSYS) return Result::failed;
  if (File::exists(path)) return Result::overtaken;
  return File::rename(temporary, path) ? Result::done : Result::failed;
}

// Puts back the file that another program wrote between the comparison and the exchange. It is in the
// temporary now, and `text` is in its place. If a program writes once more meanwhile, its file is newer
// still, and is put back in turn.
Result giveBack(const std::string& temporary, const std::string& path, std::string_view text) {
  constexpr int mostExchanges = 1000;
  std::optional<std::string> inPlace = std::string(text);
  std::optional<std::string> newest = File::contents(temporary);
  for (int i = 0; i < mostExchanges; ++i) {
    if (!exchange(temporary, path)) return errno == ENOENT ? Result::overtaken : Result::failed;
    std::optional<std::string> taken = File::contents(temporary);
    if (taken == inPlace) break;
    inPlace = std::move(newest);
    newest = std::move(taken);
  }
  return Result::overtaken;
}

Result swapIn(const std::string& temporary, const std::string& path, const Read& before,
              std::string_view text) {
  if (!holds(path, before.text)) return Result::overtaken;
  if (exchange(temporary, path))
    return holds(temporary, before.text) ? Result::done : giveBack(temporary, path, text);
  if (errno == ENOENT) return Result::overtaken;
  if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) return Result::failed;
  return File::rename(temporary, path) ? Result::done : Result::failed;
}

}  // namespace

std::optional<std::string> linkTarget(const std::string& path) {
  std::string target = path;
  constexpr int mostLinks = 40;
  for (int i = 0; i < mostLinks; ++i) {
    const std::optional<std::string> next = File::readLink(target);
    // A missing file, or one that is not a link, ends the search.
    if (!next) return errno == EINVAL || errno == ENOENT ? std::optional(target) : std::nullopt;
    // Any ".." stays in the path, because the system follows links before it, which a shortened path would
    // skip.
    target = next->starts_with('/') ? *next : Path::joined(Path::parent(target), *next);
  }
  errno = ELOOP;
  return std::nullopt;
}

Read read(const std::string& path, std::size_t limit) {
  Read result;
  const FileDescriptor file = FileDescriptor::open(path, O_RDONLY | O_NONBLOCK);
  if (!file.isOpen()) {
    result.kind = errno == ENOENT ? Read::Kind::missing : Read::Kind::failed;
    return result;
  }
  result.kind = Read::Kind::failed;
  if (::fstat(file.number(), &result.status) != 0) return result;
  if (!S_ISREG(result.status.st_mode)) {
    result.kind = Read::Kind::other;
    return result;
  }
  constexpr std::size_t most = 65'536;
  std::string buffer(most, '\0');
  for (;;) {
    const ssize_t count = File::read(file.number(), buffer.data(), buffer.size());
    if (count < 0) return result;
    result.text.append(buffer.data(), static_cast<std::size_t>(count));
    if (result.text.size() > limit) {
      result.kind = Read::Kind::tooLarge;
      return result;
    }
    if (count == 0) break;
  }
  result.kind = Read::Kind::file;
  return result;
}

Result replace(const std::string& path, const Read& before, std::string_view text) {
  const std::string temporary = temporaryBeside(path);
  if (!write(temporary, path, before, text)) {
    const bool isGone = errno == ENOENT && before.kind == Read::Kind::file && !File::exists(path);
    discard(temporary);
    return isGone ? Result::overtaken : Result::failed;
  }
  const Result result =
      before.kind == Read::Kind::missing ? create(temporary, path) : swapIn(temporary, path, before, text);
  discard(temporary);
  if (result == Result::done) syncDirectory(path);
  return result;
}

Result remove(const std::string& path, const Read& before) {
  const std::string aside = temporaryBeside(path);
  if (!File::rename(path, aside)) return errno == ENOENT ? Result::overtaken : Result::failed;
  if (holds(aside, before.text)) {
    discard(aside);
    syncDirectory(path);
    return Result::done;
  }
  // Another program wrote the file in between. If there is a file at `path` again, it is newer still.
  if (::link(aside.c_str(), path.c_str()) != 0 && errno != EEXIST && !File::exists(path) &&
      !File::rename(aside, path))
    return Result::failed;
  discard(aside);
  return Result::overtaken;
}

}  // namespace tavrin::FileReplacement
