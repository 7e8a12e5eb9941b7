#include "TavrinCore/Sessions/SessionFileStore.hpp"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <memory>

#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/PosixError.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinCore/Support/Uuid.hpp"

namespace tavrin {

namespace {

std::string sessionFileName(std::string_view sessionId) {
  return Text::onlyNameCharacters(sessionId) + ".json";
}

std::string lockFileName(std::string_view sessionId) {
  return "." + Text::onlyNameCharacters(sessionId) + ".lock";
}

std::string temporaryFileName() {
  return "." + Uuid::random() + ".tmp";
}

// A record holds at most 64 calls twice and a few more texts. Each is as long as a payload at most, and twice
// as long in the file if every slash is escaped. A longer file is not a record.
constexpr std::size_t largestRecord = 512'000'000;

std::optional<Session> read(const std::string& path) {
  const std::optional<std::string> text = File::contents(path, largestRecord);
  return text ? Session::decode(*text) : std::nullopt;
}

// Removes a temporary file after a failure, and throws that failure.
[[noreturn]] void abandon(const std::string& temporary, std::string_view operation) {
  const int code = errno;
  File::remove(temporary);
  throwPosixError(code, operation, temporary);
}

}  // namespace

std::string SessionFileStore::defaultDirectory(std::string_view home) {
  return Path::joined(home, "Library/Application Support/Tavrin/sessions");
}

std::string SessionFileStore::fileURL(std::string_view sessionId) const {
  return Path::joined(directory_, sessionFileName(sessionId));
}

void SessionFileStore::ensureDirectory() const {
  if (!File::makeDirectories(directory_)) throwPosixError(errno, "make directory", directory_);
}

FileDescriptor SessionFileStore::openOrCreate(const std::string& path, int flags, mode_t mode) const {
  FileDescriptor file = FileDescriptor::open(path, flags | O_CREAT, mode);
  if (!file.isOpen() && (errno == ENOENT || errno == ENOTDIR)) {
    ensureDirectory();
    file = FileDescriptor::open(path, flags | O_CREAT, mode);
  }
  if (!file.isOpen()) throwPosixError(errno, "open", path);
  return file;
}

SessionFileStore::Lock SessionFileStore::lock(std::string_view sessionId) const {
  const std::string path = Path::joined(directory_, lockFileName(sessionId));
  FileDescriptor file = openOrCreate(path, O_RDWR, 0600);
  if (!file.lock()) throwPosixError(errno, "lock", path);
  return {std::move(file), afterUse_};
}

std::optional<Session> SessionFileStore::load(std::string_view sessionId) const {
  return read(fileURL(sessionId));
}

void SessionFileStore::save(const Session& session) const {
  const std::string record = session.encode();
  const std::string target = fileURL(session.sessionId);
  const std::string temporary = Path::joined(directory_, temporaryFileName());

  FileDescriptor file = openOrCreate(temporary, O_WRONLY | O_EXCL, 0666);
  if (!File::writeAll(file.number(), record)) abandon(temporary, "write");
  if (!file.closeWritten()) abandon(temporary, "close");
  if (!File::rename(temporary, target)) abandon(temporary, "rename");
}

void SessionFileStore::deleteSession(std::string_view sessionId) const {
  deleteFile(fileURL(sessionId));
}

void SessionFileStore::deleteFile(const std::string& path) {
  File::remove(path);
}

SessionFileStore::Loaded SessionFileStore::loadAll() const {
  Loaded loaded;
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(directory_.c_str()), ::closedir);
  if (!listing) return loaded;
  while (const dirent* entry = ::readdir(listing.get())) {
    if (Path::extension(entry->d_name) != "json") continue;
    std::string path = Path::joined(directory_, entry->d_name);
    if (std::optional<Session> session = read(path)) {
      loaded.sessions.push_back(*std::move(session));
    } else {
      loaded.corrupt.push_back(std::move(path));
    }
  }
  return loaded;
}

}  // namespace tavrin
