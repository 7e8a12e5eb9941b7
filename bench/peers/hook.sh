#!/usr/bin/env bash
# tavrin-hook for Claude Code as a developer would write it by hand, with jq: the same record, lock and log.
#
# It knows Claude Code's events. It keeps the stored host, and does not rotate the log. It starts four processes: jq to
# take a few fields from a payload that may be large, flock, jq for the record, and mv. If there is a transcript, it
# starts stat too.
exec 2>/dev/null

{ IFS= read -r name && IFS= read -r event && IFS= read -r root && IFS= read -r transcript; } < <(jq -cr '
  (.session_id | gsub("[^\\p{L}\\p{N}_-]"; "")),
  {session_id, hook_event_name, cwd, tool_name, tool_use_id, notification_type, source, agent_id, transcript_path}
  | if type == "object" then with_entries(select(.value != null)), .cwd // "", .transcript_path // "" else . end') ||
  exit 0

folder="$HOME/Library/Application Support/Tavrin/sessions"
log="$HOME/Library/Logs/Tavrin/hook.log"
[[ -d $folder && -d ${log%/*} ]] || mkdir -p "$folder" "${log%/*}"
record="$folder/$name.json"

exec 9>>"$folder/.$name.lock"
flock 9

agent_pid=$PPID
pid=$PPID
for _ in {1..20}; do
  read -r stat <"/proc/$pid/stat" || break
  command=${stat#*\(}
  command=${command%)*}
  if [[ $command == claude ]]; then
    agent_pid=$pid
    break
  fi
  read -r _ pid _ <<<"${stat##*)}"
done
while [[ $root == */* && ! -e $root/.git ]]; do root=${root%/*}; done
size=null
[[ -f $transcript ]] && size=$(stat -c %s "$transcript")
read -r uuid </proc/sys/kernel/random/uuid
TZ=UTC printf -v now '%(%Y-%m-%dT%H:%M:%SZ)T'
old=null
[[ -s $record ]] && old=$(<"$record")

# The outcome for the log on the first line, then the record.
result=$(jq -nr --argjson event "$event" --argjson old "$old" --argjson pid "$agent_pid" \
  --arg now "$now" --arg uuid "${uuid^^}" --arg root "$root" --argjson size "${size:-null}" '
  def among(list): . as $it | any(list[]; . == $it);
  ($event.hook_event_name) as $name |
  (if ($event.tool_use_id // "") != "" then $event.tool_use_id
   elif ($event.tool_name // "") != "" then "name:" + $event.tool_name else null end) as $key |
  ($event.tool_name | among(["AskUserQuestion", "request_user_input"])) as $question |
  ($name | among(["PostToolUse", "PostToolUseFailure", "PermissionDenied"])) as $closes |
  ($old.state == "needsYou") as $needed |
  (if $name == "Notification" then
     if $event.notification_type | among(["permission_prompt", "ToolPermission", "elicitation_dialog"])
     then "needsYou" else "ignored" end
   elif $name == "SessionStart" and $event.source == "compact" then "ignored"
   elif $name == "PreToolUse" and $question then "needsYou"
   elif $needed and $name == "PreToolUse" and ($event.agent_id // "") != "" then "needsYou"
   elif $needed and $closes and $name != "PermissionDenied" and ($old.waitingOn - [$key]) != [] then "needsYou"
   else {UserPromptSubmit: "working", PreToolUse: "working", PostToolUse: "working",
         PostToolUseFailure: "working", PermissionDenied: "working", PermissionRequest: "needsYou",
         Elicitation: "needsYou", SessionStart: "idle", Stop: "idle", SessionEnd: "ended"}[$name] // "ignored"
   end) as $state |
  (($old // {sessionId: $event.session_id, inFlight: [], waitingOn: [], cwd: ($event.cwd // "")})
   | if .state != $state then .stateSince = $now else . end
   | .agent = "claude" | .agentPid = $pid | .state = $state | .updatedAt = $now
   | if ($event.transcript_path // "") != "" then .transcriptPath = $event.transcript_path else . end
   | if $name | among(["UserPromptSubmit", "Stop", "SessionStart"]) then .inFlight = [] else . end
   | if $name == "PreToolUse" and $key != null and (.inFlight | index($key)) == null
     then .inFlight = (.inFlight + [$key])[-64:] else . end
   | if $closes then .inFlight -= [$key] | .waitingOn -= [$key] else . end
   | if $state != "needsYou"
     then .waitingOn = [] | del(.needsYouTool, .attentionId, .attentionTranscriptOffset)
     else (if $name == "PermissionRequest" or ($name == "PreToolUse" and $question)
           then .needsYouTool = $event.tool_name else . end)
       | if $needed then . else
           .attentionId = $uuid
           | if $size then .attentionTranscriptOffset = $size else . end
           | .waitingOn = (if $name == "PreToolUse" and $key != null then [$key] else .inFlight end) end
     end
   | if $root != "" and (.repoRoot == null or .cwd != $event.cwd) then .repoRoot = $root else . end
   | if ($event.cwd // "") != "" then .cwd = $event.cwd else . end) as $record |
  $state + (if $state == "needsYou" then " holding \($record.waitingOn | length)" else "" end),
  "\($event.session_id[:8]) \($name)" +
    (if $event.notification_type then "(\($event.notification_type))" else "" end) +
    " \($event.tool_name // "")" +
    (if ($event.tool_use_id // "") != "" then "#\($event.tool_use_id[-6:])" else "" end) +
    (if $event.agent_id then " agent:\($event.agent_id[:6])" else "" end),
  ($record | tojson)') || exit 0
{ IFS= read -r outcome; IFS= read -r line; IFS= read -r text; } <<<"$result"

case $outcome in
  ended) rm -f "$record" ;;
  ignored) ;;
  *)
    printf '%s\n' "$text" >"$folder/.$$.tmp"
    mv -f "$folder/.$$.tmp" "$record"
    ;;
esac
printf '%s claude %s → %s\n' "$now" "$line" "$outcome" >>"$log"
