#!/bin/sh
# What somebody does after installing the .deb, played by scripts/check-package.sh in a Debian with nothing else: connect
# an agent, see its session wait in the status bar of tmux, go there, do the same in the panel, disconnect. The agent is a
# stand-in that runs the command in its settings, as the real one does. The home directory is new. Prints what went
# wrong, and fails.
set -eu

fail() {
  echo "first use: $*" >&2
  exit 1
}

settings=$HOME/.claude/settings.json
mkdir -p "$HOME/.claude" "$HOME/bin"
printf '{\n  "model": "opus"\n}\n' >"$settings"
cp "$settings" "$HOME/before"
cat >"$HOME/bin/claude" <<'END'
#!/usr/bin/python3
import json, os, signal, subprocess, sys
if sys.argv[1:] == ["--version"]:
    sys.exit(print("2.1.118 (Claude Code)"))
home = os.environ["HOME"]
hooks = json.load(open(home + "/.claude/settings.json"))["hooks"]
trouble = ""
for event, extra in (("UserPromptSubmit", {}), ("PermissionRequest", {"tool_name": "Bash"})):
    payload = json.dumps({"session_id": "first", "hook_event_name": event, "cwd": "/tmp", **extra})
    command = hooks[event][0]["hooks"][0]["command"]
    run = subprocess.run(["sh", "-c", command], input=payload.encode(), capture_output=True)
    if run.returncode or run.stdout or run.stderr:
        trouble += f"{event}: the hook failed or printed something: {run}\n"
open(home + "/played", "w").write(trouble)
signal.pause()
END
chmod +x "$HOME/bin/claude"
PATH=$HOME/bin:$PATH
export PATH

tavrin list >"$HOME/said" 2>&1 || fail "list: $(cat "$HOME/said")"
tavrin connect --yes claude >"$HOME/said" 2>&1 || fail "connect: $(cat "$HOME/said")"
grep -q /usr/lib/Tavrin/bin/tavrin-hook "$settings" || fail "connect wrote no hook"
cp "$settings" "$HOME/connected"
tavrin connect --yes claude >"$HOME/said" 2>&1 || fail "connect: $(cat "$HOME/said")"
cmp "$HOME/connected" "$settings" || fail "connecting a second time changed the settings"

# The agent works in a window of tmux that is not the one in front. A second tmux is the person's terminal.
mkfifo "$HOME/played"
tmux() { command tmux -S "$HOME/tmux" -f /dev/null "$@"; }
terminal() { command tmux -S "$HOME/terminal" -f /dev/null "$@"; }
trap 'tmux kill-server 2>/dev/null || true; terminal kill-server 2>/dev/null || true' EXIT
tmux new-session -d -s work -x 100 -y 30 "$HOME/bin/claude"
trouble=$(timeout 30 cat "$HOME/played") || fail "the agent's events were not played within 30 s"
[ -z "$trouble" ] || fail "$trouble"
tmux set-option -g status-right '#(tavrin status --format tmux)'
tmux set-option -g status-interval 1
tmux new-window -t work: sleep 600
terminal new-session -d -x 100 -y 32 "tmux -S '$HOME/tmux' attach"

said=$(tavrin list --json --all) || fail "list failed"
case $said in *'"state":"needsYou"'*) ;; *) fail "the session does not wait: $said" ;; esac
shown=
for _ in $(seq 100); do # tmux runs the command in its own time
  shown=$(terminal capture-pane -p)
  case $shown in *"1 needs you"*) break ;; esac
  sleep 0.1
done
case $shown in *"1 needs you"*) ;; *) fail "the status bar of tmux shows: $shown" ;; esac

[ "$(tmux display-message -p -t work '#{window_index}')" = 1 ] || fail "the agent's window is in front already"
tavrin focus first >"$HOME/said" 2>&1 || fail "focus: $(cat "$HOME/said")"
[ "$(tmux display-message -p -t work '#{window_index}')" = 0 ] || fail "focus did not go to the agent's window"

# The panel shows the session, goes to it at Enter, and ends at q.
tmux new-window -t work: "tavrin; echo \$? >'$HOME/panel'"
panel=$(tmux display-message -p -t work '#{window_index}')
for _ in $(seq 100); do
  shown=$(tmux capture-pane -p -t "work:$panel")
  case $shown in *"1 needs you"*Claude*) break ;; esac
  sleep 0.1
done
case $shown in *"1 needs you"*Claude*) ;; *) fail "the panel shows: $shown" ;; esac
tmux send-keys -t "work:$panel" Enter
for _ in $(seq 100); do
  [ "$(tmux display-message -p -t work '#{window_index}')" = 0 ] && break
  sleep 0.1
done
[ "$(tmux display-message -p -t work '#{window_index}')" = 0 ] || fail "Enter in the panel did not go to the agent"
tmux send-keys -t "work:$panel" q
for _ in $(seq 100); do
  [ -s "$HOME/panel" ] && break
  sleep 0.1
done
[ "$(cat "$HOME/panel")" = 0 ] || fail "the panel did not end at q"

# Findings are status 1: the stand-in is not all that doctor knows of an agent.
tavrin doctor >"$HOME/said" 2>&1 || [ $? -eq 1 ] || fail "doctor: $(cat "$HOME/said")"

tavrin disconnect --yes claude >"$HOME/said" 2>&1 || fail "disconnect: $(cat "$HOME/said")"
cmp "$HOME/before" "$settings" || fail "disconnect did not give the old settings back"
