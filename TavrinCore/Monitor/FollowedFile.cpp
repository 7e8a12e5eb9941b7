#include "TavrinCore/Monitor/FollowedFile.hpp"

#include <algorithm>

namespace tavrin {

namespace {

constexpr std::size_t rememberedEnd = 64;

}  // namespace

FollowedFile::Change FollowedFile::look(const MonitorFiles& files, const Reader& reader) {
  const std::optional<FileStatus> now = files.status(path_);
  if (!now || now->isDirectory) {
    const bool wasThere = status_.has_value();
    status_.reset();
    return wasThere ? Change::vanished : Change::none;
  }
  if (status_ == now) return Change::none;

  Change change = Change::grew;
  if (!status_) {
    change = Change::started;
  } else if (status_->identity != now->identity || now->size < offset_ || !hasSameEnd(files)) {
    change = Change::replaced;
  }
  status_ = now;
  if (change != Change::grew) {
    // The offset is valid only in the file that it was taken from.
    const bool mayEnter = change == Change::started && start_ && *start_ <= now->size;
    begin(mayEnter ? *start_ : startOf(files, now->size, reader));
    start_.reset();
    reader.restart();
  }
  readOn(files, reader.take);
  return change;
}

std::uint64_t FollowedFile::startOf(const MonitorFiles& files, std::uint64_t size,
                                    const Reader& reader) const {
  for (std::uint64_t tail = firstTail; size > tail; tail *= 2) {
    if (tail >= longestTail) return size - longestTail;
    FollowedFile end(path_);
    end.begin(size - tail);
    bool isFound = false;
    end.readOn(files, [&](std::string_view line) { isFound = isFound || reader.startsTurn(line); });
    if (isFound) return size - tail;
  }
  return 0;
}

void FollowedFile::begin(std::uint64_t offset) {
  offset_ = offset;
  half_.clear();
  end_.clear();
  passesOver_ = offset > 0;
  // Starts one byte earlier, because that byte shows whether a line starts at `offset`.
  if (passesOver_) --offset_;
}

void FollowedFile::readOn(const MonitorFiles& files, const std::function<void(std::string_view)>& take) {
  for (;;) {
    const std::optional<std::string> piece = files.read(path_, offset_, pieceSize);
    if (!piece || piece->empty()) return;
    offset_ += piece->size();
    end_.append(*piece, piece->size() - std::min(piece->size(), rememberedEnd));
    if (end_.size() > rememberedEnd) end_.erase(0, end_.size() - rememberedEnd);

    std::string_view rest = *piece;
    while (!rest.empty()) {
      const std::size_t end = rest.find('\n');
      const std::string_view part = rest.substr(0, end);
      if (!passesOver_ && half_.size() + part.size() > longestLine) passesOver_ = true;
      if (passesOver_) {
        half_.clear();
        half_.shrink_to_fit();
      } else if (end == std::string_view::npos || !half_.empty()) {
        half_ += part;
      }
      if (end == std::string_view::npos) break;
      if (!passesOver_) take(half_.empty() ? part : std::string_view(half_));
      half_.clear();
      passesOver_ = false;
      rest.remove_prefix(end + 1);
    }
    if (piece->size() < pieceSize) return;
  }
}

bool FollowedFile::hasSameEnd(const MonitorFiles& files) const {
  if (end_.empty()) return true;
  const std::optional<std::string> there = files.read(path_, offset_ - end_.size(), end_.size());
  return there == end_;
}

}  // namespace tavrin
