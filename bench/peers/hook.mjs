#!/usr/bin/env node
// tavrin-hook for Claude Code as a developer would write it by hand: the same record, lock and log.
//
// It knows Claude Code's events. It keeps the stored host, and does not rotate the log. Node has no flock(2).
// flock(1) locks the open file that it inherits, and the lock stays with this process.
import { spawnSync } from "node:child_process";
import { appendFileSync, existsSync, mkdirSync, openSync, readFileSync, renameSync, statSync, unlinkSync, writeFileSync }
  from "node:fs";
import { dirname } from "node:path";

const closes = new Set(["PostToolUse", "PostToolUseFailure", "PermissionDenied"]);
const forgets = new Set(["UserPromptSubmit", "Stop", "SessionStart"]);
const questions = new Set(["AskUserQuestion", "request_user_input"]);
const attention = new Set(["permission_prompt", "ToolPermission", "elicitation_dialog"]);
const actions = {
  UserPromptSubmit: "working", PreToolUse: "working", PostToolUse: "working", PostToolUseFailure: "working",
  PermissionDenied: "working", PermissionRequest: "needsYou", Elicitation: "needsYou", SessionStart: "idle",
  Stop: "idle", SessionEnd: "delete",
};

function action(event, old) {
  const name = event.hook_event_name;
  if (name === "Notification") return attention.has(event.notification_type) ? "needsYou" : "ignore";
  if (name === "SessionStart" && event.source === "compact") return "ignore";
  if (name === "PreToolUse" && questions.has(event.tool_name)) return "needsYou";
  const result = actions[name] ?? "ignore";
  if (old?.state === "needsYou" && result === "working") {
    if (name === "PreToolUse" && event.agent_id) return "needsYou";
    const key = callKey(event);
    if (closes.has(name) && name !== "PermissionDenied" && old.waitingOn.some((call) => call !== key)) {
      return "needsYou";
    }
  }
  return result;
}

function callKey(event) {
  return event.tool_use_id || (event.tool_name ? `name:${event.tool_name}` : undefined);
}

function agentPid() {
  let pid = process.ppid;
  for (let i = 0; i < 20; ++i) {
    let stat;
    try {
      stat = readFileSync(`/proc/${pid}/stat`, "utf8");
    } catch {
      break;
    }
    const end = stat.lastIndexOf(")");
    if (stat.slice(stat.indexOf("(") + 1, end) === "claude") return pid;
    pid = Number(stat.slice(end + 2).split(" ")[1]);
  }
  return process.ppid;
}

function repository(folder) {
  while (folder !== "/" && !existsSync(`${folder}/.git`)) folder = dirname(folder);
  return folder === "/" ? undefined : folder;
}

function advance(old, state, event, now) {
  const name = event.hook_event_name;
  const key = callKey(event);
  const record = old ? { ...old } : { sessionId: event.session_id, inFlight: [], waitingOn: [], cwd: event.cwd ?? "" };
  const wasNeeded = record.state === "needsYou";
  if (record.state !== state) record.stateSince = now;
  Object.assign(record, { agent: "claude", state, updatedAt: now, agentPid: agentPid() });
  if (event.transcript_path) record.transcriptPath = event.transcript_path;

  if (forgets.has(name)) record.inFlight = [];
  if (name === "PreToolUse" && key && !record.inFlight.includes(key)) {
    record.inFlight = [...record.inFlight, key].slice(-64);
  }
  if (closes.has(name)) {
    record.inFlight = record.inFlight.filter((call) => call !== key);
    record.waitingOn = record.waitingOn.filter((call) => call !== key);
  }

  if (state !== "needsYou") {
    record.waitingOn = [];
    delete record.needsYouTool;
    delete record.attentionId;
    delete record.attentionTranscriptOffset;
  } else {
    if (name === "PermissionRequest" || (name === "PreToolUse" && questions.has(event.tool_name))) {
      record.needsYouTool = event.tool_name;
    }
    if (!wasNeeded) {
      record.attentionId = readFileSync("/proc/sys/kernel/random/uuid", "utf8").trim().toUpperCase();
      record.waitingOn = name === "PreToolUse" && key ? [key] : [...record.inFlight];
      const transcript = record.transcriptPath && statSync(record.transcriptPath, { throwIfNoEntry: false });
      if (transcript) record.attentionTranscriptOffset = transcript.size;
    }
  }

  if (event.cwd) {
    if (event.cwd !== record.cwd || !record.repoRoot) {
      record.repoRoot = repository(event.cwd) ?? record.repoRoot;
    }
    record.cwd = event.cwd;
  }
  return record;
}

function main() {
  const event = JSON.parse(readFileSync(0, "utf8"));
  const home = process.env.HOME;
  const folder = `${home}/Library/Application Support/Tavrin/sessions`;
  mkdirSync(folder, { recursive: true });
  const name = event.session_id.replace(/[^\p{L}\p{N}_-]/gu, "");
  const now = new Date().toISOString().replace(/\.\d+/, "");
  const path = `${folder}/${name}.json`;

  const lock = openSync(`${folder}/.${name}.lock`, "a", 0o600);
  spawnSync("flock", ["-x", "3"], { stdio: ["ignore", "ignore", "ignore", lock] });
  let old;
  try {
    old = JSON.parse(readFileSync(path, "utf8"));
  } catch {
    // No record yet.
  }
  let outcome = action(event, old);
  if (outcome === "delete") {
    outcome = "ended";
    if (old) unlinkSync(path);
  } else if (outcome === "ignore") {
    outcome = "ignored";
  } else {
    const record = advance(old, outcome, event, now);
    const temporary = `${folder}/.${process.pid}.tmp`;
    writeFileSync(temporary, JSON.stringify(record, Object.keys(record).sort(), 2));
    renameSync(temporary, path);
    if (outcome === "needsYou") outcome += ` holding ${record.waitingOn.length}`;
  }

  const kind = event.notification_type === undefined ? "" : `(${event.notification_type})`;
  const call = event.tool_use_id ? `#${event.tool_use_id.slice(-6)}` : "";
  const subagent = event.agent_id === undefined ? "" : ` agent:${event.agent_id.slice(0, 6)}`;
  mkdirSync(`${home}/Library/Logs/Tavrin`, { recursive: true });
  appendFileSync(
    `${home}/Library/Logs/Tavrin/hook.log`,
    `${now} claude ${event.session_id.slice(0, 8)} ${event.hook_event_name}${kind} ${event.tool_name ?? ""}${call}` +
      `${subagent} → ${outcome}\n`);
}

try {
  main();
} catch {
  // Prints nothing, because an agent shows what a hook prints.
}
