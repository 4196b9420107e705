#!/usr/bin/env bash
# Converts a library of books on a real Slurm cluster of one node, this
# machine, with the README's array job.
#
# Installs Debian's slurm-wlm and munge when they are missing, starts munged,
# slurmctld and slurmd with a configuration of its own in a temporary folder
# (listening on 127.0.0.1 only, on free ports), writes a library of text,
# HTML and MOBI books (a few of them broken), submits the README's job script
# as an array of 4 tasks that each run `kav-epub batch ... -j 2 --shard K/4`,
# waits for it, and checks that every good book was made exactly once and
# every broken one reported. Whatever happens, it stops the daemons it
# started and removes the folder. The last line gives the counts.
#
# Usage: bash scripts/slurm_demo.sh   (the build in $KAV_BUILD_DIR, default build/,
# relative to the project's folder)
set -euo pipefail
cd "$(dirname "$0")/.."
# The jobs start in this folder, as sbatch is run here.
tool=${KAV_BUILD_DIR:-build}/kav-epub
[ -x "$tool" ] || { echo "slurm_demo: no $tool (build first)" >&2; exit 1; }
fail() { echo "slurm_demo: FAIL: $*" >&2; exit 1; }

missing=()
for p in slurm-wlm munge; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "slurm_demo: installing ${missing[*]}" >&2
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  # policy-rc.d-less systems start the packages' own daemons: this script
  # never uses them (its own run beside them on other ports and sockets).
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq \
    --no-install-recommends "${missing[@]}" >/dev/null
fi

started=$(date +%s)
work=$(mktemp -d "${TMPDIR:-/tmp}/kav-slurm.XXXXXX")
chmod 711 "$work"  # every user reaches the munge socket below it (munged checks)
pids=()
job=
stop_all() {
  local status=$?
  if [ -n "$job" ]; then scancel "$job" 2>/dev/null || true; fi
  local i
  for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
    kill "${pids[i]}" 2>/dev/null || true
    # Each daemon is given five seconds to stop, then killed.
    for _ in $(seq 50); do kill -0 "${pids[i]}" 2>/dev/null || break; sleep 0.1; done
    kill -9 "${pids[i]}" 2>/dev/null || true
    wait "${pids[i]}" 2>/dev/null || true
  done
  if [ $status -ne 0 ]; then
    for log in "$work"/*.log; do
      [ -f "$log" ] && { echo "--- last lines of $(basename "$log")" >&2; tail -n 15 "$log" >&2; }
    done
  fi
  rm -rf "$work"
}
trap stop_all EXIT
trap 'exit 130' INT TERM

# Two free ports on the loopback interface.
read -r ctld_port slurmd_port < <(python3 -c '
import socket
s = [socket.socket() for _ in range(2)]
for x in s: x.bind(("127.0.0.1", 0))
print(*(x.getsockname()[1] for x in s))')
user=$(id -un)
cpus=$(nproc)
mkdir -p "$work/munge" "$work/state" "$work/spool" "$work/logs"
chmod 711 "$work/munge"
dd if=/dev/urandom of="$work/munge/munge.key" bs=1024 count=1 status=none
chmod 400 "$work/munge/munge.key"
socket=$work/munge/munge.socket
export SLURM_CONF=$work/slurm.conf
cat >"$SLURM_CONF" <<EOF
ClusterName=kavdemo
SlurmctldHost=localhost(127.0.0.1)
SlurmctldPort=$ctld_port
SlurmdPort=$slurmd_port
CommunicationParameters=NoCtldInAddrAny,NoInAddrAny
SlurmUser=$user
SlurmdUser=$user
AuthType=auth/munge
AuthInfo=socket=$socket
CredType=cred/munge
StateSaveLocation=$work/state
SlurmdSpoolDir=$work/spool
SlurmctldPidFile=$work/slurmctld.pid
SlurmdPidFile=$work/slurmd.pid
SlurmctldLogFile=$work/slurmctld.log
SlurmdLogFile=$work/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
JobCompType=jobcomp/none
SwitchType=switch/none
MpiDefault=none
MailProg=/bin/true
ReturnToService=2
SchedulerType=sched/backfill
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
NodeName=localhost NodeAddr=127.0.0.1 CPUs=$cpus State=UNKNOWN
PartitionName=demo Nodes=localhost Default=YES MaxTime=INFINITE State=UP
EOF

munged --foreground --force --socket="$socket" --key-file="$work/munge/munge.key" \
  --pid-file="$work/munge/munged.pid" --seed-file="$work/munge/seed" >>"$work/munged.log" 2>&1 &
pids+=($!)
for _ in $(seq 100); do [ -S "$socket" ] && break; sleep 0.1; done
[ -S "$socket" ] || fail "munged did not start"
slurmctld -D -f "$SLURM_CONF" >>"$work/slurmctld.log" 2>&1 &
pids+=($!)
slurmd -D -N localhost -f "$SLURM_CONF" >>"$work/slurmd.log" 2>&1 &
pids+=($!)
for _ in $(seq 300); do
  [ "$(sinfo -h -n localhost -o %t 2>/dev/null)" = idle ] && break
  sleep 0.1
done
[ "$(sinfo -h -n localhost -o %t 2>/dev/null)" = idle ] || fail "the node did not come up"

# The library: texts in folders, HTML books of two pages with a picture,
# the MOBI test books (a KF8 one also as .azw3), and four broken MOBI files.
library=$work/library epubs=$work/epubs
mkdir -p "$library" "$epubs"
good=0
for i in $(seq 1 30); do
  folder=$library/texts/shelf$((i % 4))
  mkdir -p "$folder"
  for line in $(seq 1 $((40 + i * 17))); do
    if [ $((line % 9)) -eq 1 ]; then printf '\n    Chapter %d, part %d\n\n' "$i" "$line"; fi
    printf 'Line %d of book %d: the clockmaker wound the %d springs again.\n' "$line" "$i" "$line"
  done >"$folder/book$i.txt"
  good=$((good + 1))
done
for i in $(seq 1 6); do
  folder=$library/html/site$i
  mkdir -p "$folder"
  cp tests/data/mobi/src/cover.jpg "$folder/"
  printf '<html><head><title>Site %d</title></head><body><h1>Site %d</h1><p><img src="cover.jpg"/></p><p><a href="more.html">More</a></p></body></html>\n' \
    "$i" "$i" >"$folder/index.html"
  printf '<html><head><title>More</title></head><body><p>The second page of site %d.</p></body></html>\n' \
    "$i" >"$folder/more.html"
  good=$((good + 1))
done
mkdir -p "$library/mobi/kindle"
for book in tests/data/mobi/*.mobi; do
  cp "$book" "$library/mobi/"
  good=$((good + 1))
done
cp tests/data/mobi/lantern_kf8.mobi "$library/mobi/kindle/lantern.azw3"
good=$((good + 1))
mkdir -p "$library/mobi/damaged"
broken=()
for book in tests/data/mobi/invalid/*.mobi; do
  cp "$book" "$library/mobi/damaged/"
  broken+=("mobi/damaged/$(basename "$book")")
done

# The README's job script, with this run's folders.
cat >"$work/convert.sh" <<EOF
#!/bin/sh
#SBATCH --array=1-4 --cpus-per-task=2
exec $tool batch $library $epubs -j 2 --shard "\$SLURM_ARRAY_TASK_ID/4"
EOF
echo "slurm_demo: $((good + ${#broken[@]})) books; sbatch --array=1-4 of:"
sed 's/^/  /' "$work/convert.sh"
job=$(sbatch --parsable --output="$work/logs/task-%a.out" "$work/convert.sh")
job=${job%%;*}
for _ in $(seq 1200); do
  [ -z "$(squeue -h -j "$job" 2>/dev/null)" ] && break
  sleep 0.25
done
[ -z "$(squeue -h -j "$job")" ] || fail "job $job did not end within five minutes"
job_done=$job
job=

# Every task ran and summed up; together they converted every good book
# once (nothing was made twice, nothing skipped) and reported every broken one.
converted=0 skipped=0 failed=0
for k in 1 2 3 4; do
  log=$work/logs/task-$k.out
  summary=$(grep -E '^converted [0-9]+, skipped [0-9]+, failed [0-9]+$' "$log" 2>/dev/null) ||
    fail "task $k wrote no summary: $(cat "$log" 2>/dev/null)"
  read -r c s f <<<"$(echo "$summary" | tr -cs '0-9' ' ')"
  converted=$((converted + c)) skipped=$((skipped + s)) failed=$((failed + f))
done
[ $converted -eq $good ] && [ $skipped -eq 0 ] ||
  fail "converted $converted and skipped $skipped of $good good books"
for book in "${broken[@]}"; do
  [ "$(cat "$work"/logs/task-*.out | grep -c "^failed: $book: ")" -eq 1 ] ||
    fail "$book was not reported once as failed"
done
[ $failed -eq ${#broken[@]} ] || fail "failed $failed, broken ${#broken[@]}"
made=$(find "$epubs" -type f | wc -l)
[ "$made" -eq $good ] || fail "$made files in the output for $good good books"
while IFS= read -r input; do
  rel=${input#"$library"/}
  epub=$epubs/${rel%.*}.epub
  # A book starts with its stored mimetype entry, whose name is at byte 30.
  [ "$(head -c 38 "$epub" 2>/dev/null | tail -c 8)" = mimetype ] || fail "no book for $rel"
done < <(find "$library" -name '*.txt' -o -name '*.azw3' -o -name 'index.html' -o -name '*.mobi' -not -path '*/damaged/*')

echo "slurm_demo: job $job_done, 4 tasks on $(sinfo -h -o %D) node: $((good + ${#broken[@]})) books," \
  "converted $converted, failed $failed (all ${#broken[@]} broken ones reported)," \
  "in $(($(date +%s) - started)) s"
