#!/usr/bin/env bash
# tavrin status as somebody would write it by hand, with jq: counts the sessions whose agent is alive. As in tavrin, an
# agent is dead if its process is gone, or started after the record, or the system did. A record whose folder is not here
# belongs to another machine and counts. It reads none of the agents' own files, which tavrin does.
needsYou=0 working=0 idle=0
while read -r name booted _; do [[ $name == btime ]] && break; done </proc/stat
while IFS=$'\t' read -r state pid updated folder; do
  if [[ -d $folder ]]; then
    { read -r stat <"/proc/$pid/stat"; } 2>/dev/null || continue
    read -ra fields <<<"${stat##*) }"
    ((updated >= booted && booted + fields[19] / 100 <= updated + 5)) || continue
  fi
  case $state in
    needsYou) ((++needsYou)) ;;
    working) ((++working)) ;;
    *) ((++idle)) ;;
  esac
done < <(jq -r '[.state, .agentPid, (.updatedAt | fromdate), .cwd] | @tsv' \
  "$HOME/Library/Application Support/Tavrin/sessions/"*.json)
line=
((working)) && line+="$working burning"
((needsYou)) && line+="${line:+ · }$needsYou needs you"
((idle)) && line+="${line:+ · }$idle idle"
echo "$line"
