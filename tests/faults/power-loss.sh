#!/bin/sh
# What a loss of power leaves of a run of tavrin-hook, on a file system in a file. A run is killed on its way into a
# system call, or ends. The file is copied some time after that: it then holds what the kernel has written so far, as a
# disk would after a loss of power. The copy is mounted, and the next event is handled there.
#
#   power-loss.sh HOOK WORK TYPE OPTIONS SIZE START OTHERS MOMENT...
#
# Run it as root in a mount namespace of its own. WORK must hold four files and nothing else: the events of the session
# "s" (event-0, event-1, event-2) and an event of another session (event-other).
#
#   TYPE, OPTIONS, SIZE  of the file system, as mkfs(8), mount(8) and truncate(1) take them
#   START                "new" if there is no record before the run, "replaced" if the disk already has one
#   OTHERS               "quiet" if no other program runs, "sync" if one syncs a file of its own after the run
#   MOMENT               a system call, or how many seconds after the run
#
# For each moment, WORK/results/MOMENT holds the record as it was found ("found"; missing if there was none), the record
# after the next event ("next"), and what the runs printed ("output").
set -eu
hook=$1 work=$2 type=$3 options=$4 size=$5 start=$6 others=$7
shift 7
cd "$work"
mkdir disk results
export HOME="$work/disk/home"
record="$HOME/Library/Application Support/Tavrin/sessions/s.json"

attach() { mount -t "$type" -o "loop,$options" "$1" disk; }

truncate -s "$size" base
case $type in
  ext4) mkfs.ext4 -q -F base ;;
  xfs) mkfs.xfs -q base ;;
  btrfs) mkfs.btrfs -q base >/dev/null ;;
esac
attach base
mkdir "$HOME"
"$hook" <event-other
if [ "$start" = replaced ]; then "$hook" <event-0 && cp "$record" old; fi
umount disk

for moment in "$@"; do
  result="results/$moment"
  mkdir "$result"
  cp --sparse=always base image
  attach image
  device=$(findmnt -n -o SOURCE disk)
  case $moment in
    [0-9]*)
      "$hook" <event-1 >>"$result/output" 2>&1
      sleep "$moment"
      ;;
    *)
      # The shell reports that it was killed.
      { strace -o trace -e "inject=$moment:signal=KILL:when=1" "$hook" <event-1 >>"$result/output" || true; } 2>/dev/null
      ;;
  esac
  if [ "$others" = sync ]; then echo text | dd of=disk/other conv=fsync 2>/dev/null; fi
  # Once more if the kernel has written something meanwhile, because the copy would then be of no single moment.
  counts="/sys/block/${device#/dev/}/stat"
  until
    before=$(cat "$counts")
    cp --sparse=always image copy
    [ "$before" = "$(cat "$counts")" ]
  do :; done
  umount disk
  rm image

  attach copy
  if [ -e "$record" ]; then cp "$record" "$result/found"; fi
  "$hook" <event-2 >>"$result/output" 2>&1
  if [ -e "$record" ]; then cp "$record" "$result/next"; fi
  umount disk
  rm copy
done
