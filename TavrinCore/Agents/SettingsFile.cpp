#include "TavrinCore/Agents/SettingsFile.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>

#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/FileReplacement.hpp"
#include "TavrinCore/Support/Json/JsonFields.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

namespace {

using FileReplacement::Read;
using FileReplacement::Result;
using Kind = SettingsFile::Outcome::Kind;

std::string systemReason(int code) {
  return std::generic_category().message(code);
}

// The record of an original: {"agent", "path", "text"}. The text is null if there was no file.
constexpr std::array<std::string_view, 3> originalKeys = {"agent", "path", "text"};

std::string originalRecord(Agent agent, std::string_view path, const Read& read) {
  std::string record = "{\"agent\":";
  appendJsonText(record, rawValue(agent));
  record += ",\"path\":";
  appendJsonText(record, path);
  record += ",\"text\":";
  if (read.kind == Read::Kind::file) {
    appendJsonText(record, read.text);
  } else {
    record += "null";
  }
  return record + "}\n";
}

// JSON may write one byte of a text as six.
constexpr std::size_t largestRecord = 6 * SettingsFile::largestFile + 10'000;

std::optional<SettingsFile::Original> originalFrom(std::string_view record, const std::string& file) {
  const std::optional<JsonFields> fields = JsonFields::ofRecord(record, originalKeys);
  if (!fields) return std::nullopt;
  const std::string* const agentName = (*fields)[0].asText();
  const std::string* const path = (*fields)[1].asText();
  const JsonField& text = (*fields)[2];
  const std::optional<Agent> agent = agentName == nullptr ? std::nullopt : agentFromRawValue(*agentName);
  if (!agent || path == nullptr || !path->starts_with('/')) return std::nullopt;
  if (text.kind != JsonField::Kind::null && text.asText() == nullptr) return std::nullopt;
  SettingsFile::Original original{.agent = *agent, .path = *path, .text = {}, .recordedIn = file};
  if (text.asText() != nullptr) original.text = *text.asText();
  return original;
}

std::optional<SettingsFile::Original> readOriginal(const std::string& file) {
  const Read record = FileReplacement::read(file, largestRecord);
  return record.kind == Read::Kind::file ? originalFrom(record.text, file) : std::nullopt;
}

// Writes the record of an original, which only its owner may read. An existing record is replaced only if
// `isFirst`. Returns false and sets errno on failure.
bool keepOriginal(const std::string& file, const std::string& record, bool isFirst) {
  const Read before = FileReplacement::read(file, largestRecord);
  if (before.kind == Read::Kind::failed) return false;
  if (before.kind == Read::Kind::file && (!isFirst || before.text == record)) return true;
  const std::string folder(Path::parent(file));
  if (!File::makeDirectories(std::string(Path::parent(folder)))) return false;
  constexpr mode_t ownerAlone = 0700;
  if (::mkdir(folder.c_str(), ownerAlone) != 0 && errno != EEXIST) return false;
  return FileReplacement::replace(file, before, record) != Result::failed;
}

}  // namespace

SettingsFile::SettingsFile(const AgentHome& home, std::string originals)
    : agent_(home.agent()),
      path_(home.settingsPath()),
      agentFolder_(home.directory()),
      originals_(std::move(originals)) {}

SettingsFile::SettingsFile(Agent agent, std::string path, std::string originals)
    : agent_(agent),
      path_(std::move(path)),
      agentFolder_(Path::parent(path_)),
      originals_(std::move(originals)) {}

std::string SettingsFile::defaultOriginals(std::string_view home) {
  return Path::joined(home, "Library/Application Support/Tavrin/originals");
}

std::string SettingsFile::originalFile() const {
  // A name that any path fits into: a UUID of version 5 (RFC 9562), which holds a SHA-1 hash.
  const boost::uuids::name_generator_sha1 generator(boost::uuids::ns::url());
  return Path::joined(originals_, boost::uuids::to_string(generator("file://" + path_)) + ".json");
}

std::optional<SettingsFile::Original> SettingsFile::original() const {
  std::optional<Original> original = readOriginal(originalFile());
  if (original && original->path != path_) original.reset();
  return original;
}

std::vector<SettingsFile::Original> SettingsFile::originalsIn(const std::string& originals) {
  std::vector<Original> found;
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(originals.c_str()), ::closedir);
  if (!listing) return found;
  while (const dirent* entry = ::readdir(listing.get())) {
    if (Path::extension(entry->d_name) != "json") continue;
    if (std::optional<Original> original = readOriginal(Path::joined(originals, entry->d_name)))
      found.push_back(*std::move(original));
  }
  std::ranges::sort(found, {}, &Original::path);
  return found;
}

// One edit of the file: the text that was read, the text to write, and how the attempt ended.
struct SettingsFile::Attempt {
  const SettingsFile& file;
  std::string target;
  Read before;

  Outcome outcome(Kind kind, std::string sentence) const {
    Outcome outcome{.kind = kind, .sentence = std::move(sentence), .before = {}, .after = {}};
    if (before.kind == Read::Kind::file) outcome.before = before.text;
    outcome.after = outcome.before;
    return outcome;
  }
  Outcome refused(const std::string& reason) const {
    return outcome(Kind::refused, file.path_ + " was not changed: " + reason);
  }
  Outcome failed(const std::string& what, int code) const {
    return outcome(Kind::failed, file.path_ + " was not changed: " + what + ": " + systemReason(code) + ".");
  }

  // Why the file cannot be edited, whatever it contains, in words that follow "it".
  std::optional<std::string> obstacle() const {
    switch (before.kind) {
      case Read::Kind::other:
        return "is not an ordinary file";
      case Read::Kind::tooLarge:
        return "is larger than " + std::to_string(largestFile) + " bytes";
      case Read::Kind::failed:
        return "cannot be read: " + systemReason(errno);
      default:
        return std::nullopt;
    }
  }
  bool isReadOnly() const {
    constexpr mode_t anyWrite = 0222;
    return before.kind == Read::Kind::file && (before.status.st_mode & anyWrite) == 0;
  }
};

SettingsFile::Outcome SettingsFile::connect(std::string_view helperPath, const AgentDefinition& definition,
                                            Mode mode) const {
  return edited({.helperPath = helperPath, .definition = &definition, .mode = mode, .isConnect = true});
}

SettingsFile::Outcome SettingsFile::disconnect(Mode mode) const {
  return edited({.helperPath = {},
                 .definition = &AgentDefinition::definition(agent_),
                 .mode = mode,
                 .isConnect = false});
}

SettingsFile::Outcome SettingsFile::edited(const Edit& edit) const {
  for (int i = 0; i < mostTries; ++i) {
    if (std::optional<Outcome> outcome = tried(edit)) return *std::move(outcome);
  }
  return {.kind = Kind::failed,
          .sentence = path_ + " was not changed: another program kept writing it. Try again.",
          .before = {},
          .after = {}};
}

// nullopt if another program wrote the file in between.
std::optional<SettingsFile::Outcome> SettingsFile::tried(const Edit& edit) const {
  Attempt attempt{.file = *this, .target = {}, .before = {}};
  const std::optional<std::string> target = FileReplacement::linkTarget(path_);
  if (!target) return attempt.failed("its link cannot be followed", errno);
  attempt.target = *target;
  attempt.before = FileReplacement::read(*target, largestFile);
  if (const std::optional<std::string> obstacle = attempt.obstacle()) {
    const bool isFailure = attempt.before.kind == Read::Kind::failed;
    return attempt.outcome(isFailure ? Kind::failed : Kind::refused,
                           path_ + " was not changed: it " + *obstacle + ".");
  }
  return edit.isConnect ? connected(attempt, edit) : disconnected(attempt, edit);
}

std::optional<SettingsFile::Outcome> SettingsFile::connected(const Attempt& attempt, const Edit& edit) const {
  const AgentDefinition& definition = *edit.definition;
  const std::string_view before = attempt.before.text;
  const SettingsText::Outcome result = connectedText(before, edit.helperPath, definition);
  if (result.kind == SettingsText::Outcome::Kind::refused)
    return attempt.outcome(Kind::refused, result.refusal.sentence(path_));
  const std::string name(definition.name);
  if (result.kind == SettingsText::Outcome::Kind::unchanged)
    return attempt.outcome(Kind::unchanged, name + " was connected already.");
  if (attempt.isReadOnly()) return attempt.refused("it is read-only. Make it writable, then try again.");

  Outcome outcome = attempt.outcome(Kind::changed, name + " is connected through " + path_ + ".");
  outcome.after = result.text;
  if (edit.mode == Mode::preview) return outcome;

  const std::string folder(Path::parent(attempt.target));
  if (!File::isDirectory(folder)) {
    if (!File::isDirectory(agentFolder_)) {
      return attempt.refused("there is no folder " + agentFolder_ + " yet. Start " + name +
                             " once, then connect.");
    }
    // A path with ".." in it may lead anywhere.
    if (Path::standardized(folder, "/") != folder || !folder.starts_with(agentFolder_ + "/"))
      return attempt.refused("it is a link into a folder that does not exist, " + folder + ".");
    if (!File::makeDirectories(folder)) return attempt.failed("its folder cannot be made", errno);
  }
  const bool isFirst = SettingsText::contents(before, definition).entries.empty();
  if (!keepOriginal(originalFile(), originalRecord(agent_, path_, attempt.before), isFirst))
    return attempt.failed("its original cannot be kept in " + originals_, errno);
  switch (FileReplacement::replace(attempt.target, attempt.before, result.text)) {
    case Result::overtaken:
      return std::nullopt;
    case Result::failed:
      return attempt.failed("it cannot be replaced", errno);
    default:
      return outcome;
  }
}

// Entries for events that the definition does not list would stay, so they are removed first.
SettingsText::Outcome SettingsFile::connectedText(std::string_view text, std::string_view helperPath,
                                                  const AgentDefinition& definition) {
  const auto isListed = [&](const SettingsText::Entry& entry) {
    return std::ranges::any_of(definition.events, [&](const auto& spec) { return spec.name == entry.event; });
  };
  const SettingsText::Contents contents = SettingsText::contents(text, definition);
  if (std::ranges::all_of(contents.entries, isListed))
    return SettingsText::connect(text, helperPath, definition);
  return SettingsText::connect(SettingsText::disconnect(text, definition).text, helperPath, definition);
}

std::optional<SettingsFile::Outcome> SettingsFile::disconnected(const Attempt& attempt,
                                                                const Edit& edit) const {
  const AgentDefinition& definition = *edit.definition;
  const std::string name(definition.name);
  const SettingsText::Contents contents = SettingsText::contents(attempt.before.text, definition);
  if (contents.refusal) return attempt.outcome(Kind::refused, contents.refusal->sentence(path_));
  if (contents.entries.empty()) {
    if (edit.mode == Mode::write) File::remove(originalFile());
    return attempt.outcome(Kind::unchanged, name + " was not connected through " + path_ + ".");
  }
  if (attempt.isReadOnly()) return attempt.refused("it is read-only. Make it writable, then try again.");

  // Without this record nobody knows whether there was a file before.
  const Read record = FileReplacement::read(originalFile(), largestRecord);
  if (record.kind == Read::Kind::failed)
    return attempt.failed("its original cannot be read in " + originals_, errno);
  const std::optional<Original> before = originalFrom(record.text, originalFile());

  const SettingsText::Outcome result = SettingsText::disconnect(attempt.before.text, definition);
  const bool isRemoved = result.isEmpty && (definition.format == HookConfigFormat::ownFile ||
                                            (before && !before->text.has_value()));
  const bool wasEmpty = result.isEmpty && before && before->text == "";
  Outcome outcome =
      attempt.outcome(Kind::changed, name + " is not connected through " + path_ + " any more.");
  outcome.after = isRemoved ? std::nullopt : std::optional(wasEmpty ? std::string() : result.text);
  if (edit.mode == Mode::preview) return outcome;

  const Result written = isRemoved ? FileReplacement::remove(attempt.target, attempt.before)
                                   : FileReplacement::replace(attempt.target, attempt.before, *outcome.after);
  if (written == Result::overtaken) return std::nullopt;
  if (written == Result::failed)
    return attempt.failed(isRemoved ? "it cannot be removed" : "it cannot be replaced", errno);
  File::remove(originalFile());
  return outcome;
}

SettingsFile::State SettingsFile::state(std::string_view helperPath,
                                        const AgentDefinition& definition) const {
  State state;
  Attempt attempt{.file = *this, .target = {}, .before = {}};
  const std::optional<std::string> target = FileReplacement::linkTarget(path_);
  if (!target) {
    state.trouble = path_ + " is a link that cannot be followed: " + systemReason(errno) + ".";
    return state;
  }
  attempt.before = FileReplacement::read(*target, largestFile);
  state.exists = attempt.before.kind != Read::Kind::missing;
  if (const std::optional<std::string> obstacle = attempt.obstacle()) {
    state.trouble = path_ + " " + *obstacle + ".";
    return state;
  }
  SettingsText::Contents contents = SettingsText::contents(attempt.before.text, definition);
  if (contents.refusal) {
    state.trouble = path_ + " does not load: " + contents.refusal->reason + ".";
    return state;
  }
  state.entries = std::move(contents.entries);
  // A refusal leaves the text as it is too.
  state.isConnected = connectedText(attempt.before.text, helperPath, definition).kind ==
                      SettingsText::Outcome::Kind::unchanged;
  return state;
}

}  // namespace tavrin
