#!/bin/sh
# What somebody does after installing the .deb, played by scripts/check-package.sh in a Debian with nothing else: connect
# an agent, see its session wait in the status bar of tmux, go there, disconnect. The agent is a stand-in that runs the
# command in its settings, as the real one does. The home directory is new. Prints what went wrong, and fails.
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
#!/bin/sh
[ "${1:-}" != --version ] || { echo "2.1.118 (Claude Code)"; exit 0; }
exec sleep 600
END
chmod +x "$HOME/bin/claude"
PATH=$HOME/bin:$PATH
export PATH

tavrin list >"$HOME/said" 2>&1 || fail "list: $(cat "$HOME/said")"
tavrin connect --yes claude >"$HOME/said" 2>&1 || fail "connect: $(cat "$HOME/said")"
grep -q /usr/lib/Tavrin/bin/tavrin-hook "$settings" || fail "connect wrote no hook"
tavrin connect --yes claude >"$HOME/said" 2>&1 || fail "connect: $(cat "$HOME/said")"

tmux="tmux -S $HOME/tmux -f /dev/null"
trap '$tmux kill-server 2>/dev/null || true' EXIT
$tmux new-session -d -s work -x 100 -y 30 "$HOME/bin/claude"
$tmux set-option -g status-right '#(tavrin status --format tmux)'
$tmux set-option -g status-interval 1
$tmux new-window -t work: sleep 600
pane=$($tmux display-message -p -t work:0 '#{pane_tty} #{pane_pid}')

# The agent's events, by the command that its settings have for each, from a process of its own in its terminal.
python3 - "$settings" "${pane% *}" "${pane#* }" "$($tmux display-message -p '#{socket_path},#{pid},0')" <<'END'
import json, os, subprocess, sys
settings, tty, pid, tmux = sys.argv[1:]
hooks = json.load(open(settings))["hooks"]
environment = dict(os.environ, TMUX=tmux, TMUX_PANE="%0")
for event, extra in (("UserPromptSubmit", {}), ("PermissionRequest", {"tool_name": "Bash"})):
    command = hooks[event][0]["hooks"][0]["command"]
    payload = json.dumps({"session_id": "first", "hook_event_name": event, "cwd": "/tmp", **extra})
    run = subprocess.run(["sh", "-c", command], input=payload.encode(), capture_output=True, env=environment)
    if run.returncode or run.stdout or run.stderr:
        sys.exit(f"{event}: the hook printed something or failed: {run}")
END
said=$(tavrin list --json --all) || fail "list failed"
case $said in *needsYou*) ;; *) fail "the session does not wait: $said" ;; esac
said=$(tavrin status --format tmux)
[ -n "$said" ] || fail "status printed nothing"
$tmux run-shell 'tavrin status --format tmux' >"$HOME/in-tmux" 2>&1
$tmux display-message -p '#(tavrin status --format tmux)' >/dev/null || fail "tmux rejects the status line"

tavrin doctor >"$HOME/said" 2>&1 || [ $? -eq 1 ] || fail "doctor: $(cat "$HOME/said")"
tavrin focus first >"$HOME/said" 2>&1 || [ $? -eq 1 ] || fail "focus: $(cat "$HOME/said")"
[ -s "$HOME/said" ] || [ "$($tmux display-message -p '#{window_index}')" = 0 ] ||
  fail "focus neither went to the session nor said where it is"

tavrin disconnect --yes claude >"$HOME/said" 2>&1 || fail "disconnect: $(cat "$HOME/said")"
cmp "$HOME/before" "$settings" || fail "disconnect did not give the old settings back"
