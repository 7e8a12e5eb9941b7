#include "TavrinCore/Hook/HookPayload.hpp"

#include <algorithm>
#include <array>

#include "TavrinCore/Support/FixedList.hpp"

namespace tavrin {

namespace {

struct Row {
  HookPayload::Field field;
  FixedList<std::string_view, 4> spellings;  // the keys to try, in this order
};

// To read another key, add it here and its field to HookEvent.
constexpr std::array<Row, 9> rows = {{
    {&HookEvent::sessionId, {"session_id", "sessionId"}},
    {&HookEvent::eventName, {"hook_event_name", "hookEventName"}},
    {&HookEvent::cwd, {"cwd"}},
    {&HookEvent::toolName, {"tool_name", "toolName"}},
    {&HookEvent::notificationType, {"notification_type", "notificationType"}},
    {&HookEvent::source, {"source"}},
    {&HookEvent::toolUseId, {"tool_use_id", "toolUseId", "tool_call_id", "toolCallId"}},
    {&HookEvent::agentId, {"agent_id", "agentId"}},
    {&HookEvent::transcriptPath, {"transcript_path", "transcriptPath"}},
}};

constexpr std::array<std::string_view, 2> marks = {"cursor_version", "workspaceRoot"};

// No field has two rows, and the fields of all rows together are as large as an event, so none is missing.
constexpr bool eachFieldHasOneRow() {
  std::size_t size = 0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (rows[i].field == rows[j].field) return false;
    }
    size += rows[i].field.text != nullptr ? sizeof(std::string) : sizeof(std::optional<std::string>);
  }
  return size == sizeof(HookEvent);
}
static_assert(eachFieldHasOneRow(), "each field of HookEvent needs one row");

// Where the keys of each row begin in `allKeys`, and where those of the last row end.
constexpr auto firstKeys = [] {
  std::array<std::size_t, rows.size() + 1> first{};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    first[i + 1] = first[i] + rows[i].spellings.size();
  }
  return first;
}();

// The rows' spellings one after the other, then the marks.
constexpr auto allKeys = [] {
  std::array<std::string_view, firstKeys.back() + marks.size()> keys;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    std::copy(rows[i].spellings.begin(), rows[i].spellings.end(), keys.begin() + firstKeys[i]);
  }
  std::copy(marks.begin(), marks.end(), keys.end() - marks.size());
  return keys;
}();

// Null if none of the row's keys has a string.
const std::string* textOfRow(const JsonFields& fields, std::size_t row) {
  for (std::size_t i = firstKeys[row]; i < firstKeys[row + 1]; ++i) {
    if (const std::string* const text = fields[i].asText()) return text;
  }
  return nullptr;
}

bool hasMark(const JsonFields& fields, std::size_t mark) {
  return fields[firstKeys.back() + mark].kind != JsonField::Kind::absent;
}

}  // namespace

std::span<const std::string_view> HookPayload::keys() {
  return allKeys;
}

HookPayload::HookPayload(std::string_view bytes) : fields_(JsonFields::ofMessage(bytes, allKeys)) {}

std::optional<std::string> HookPayload::text(Field field) const {
  const auto row = static_cast<std::size_t>(std::ranges::find(rows, field, &Row::field) - rows.begin());
  const std::string* const text = textOfRow(fields_, row);
  return text == nullptr ? std::nullopt : std::optional(*text);
}

void HookPayload::fill(HookEvent& event) const {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::string* const text = textOfRow(fields_, i);
    if (text == nullptr) continue;
    const Field& field = rows[i].field;
    if (field.text != nullptr) {
      event.*field.text = *text;
    } else {
      event.*field.optionalText = *text;
    }
  }
}

bool HookPayload::hasCursorVersion() const {
  return hasMark(fields_, 0);
}
bool HookPayload::hasWorkspaceRoot() const {
  return hasMark(fields_, 1);
}

}  // namespace tavrin
