#!/usr/bin/env bash
# The README's Slurm recipe on a real Slurm: starts a private single-node cluster on this
# machine (munged, slurmctld and slurmd, with their own configuration, key, state and logs
# in a temporary folder and ports of their own), submits the job script of "Collections"
# as a four-task array over a small corpus, and requires its results/ to hold the same
# files, byte for byte, as one run of detect-transients over the whole list.
# Installs slurm-wlm and munge where they are missing and builds in build-slurm/. Where the
# daemons cannot be started, it says so and exits 0. The daemons are stopped however it ends.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build="$top/build-slurm"
tasks=4

if ! "$top/tools/setup.sh" slurm-wlm munge; then
  echo "slurm test: slurm-wlm and munge are not installed and cannot be: skipped"
  exit 0
fi
cmake -S "$top" -B "$build" -DBUILD_TESTING=OFF -DBUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target transient-detector detect-transients make-example-recording >/dev/null

# The command lines that follow "with job.sh running" in the Collections section's block
# that uses the array task number, continuations joined, up to the next comment.
job=$(python3 - "$top/README.md" <<'EOF'
import re, sys
text = open(sys.argv[1]).read()
start = text.find('### Collections')
section = re.split(r'^##+ ', text[start:], flags=re.M)[1] if start >= 0 else ''
blocks = [b for b in re.findall(r'^```sh\n(.*?)^```', section.replace('\\\n', ' '), re.S | re.M)
          if 'SLURM_ARRAY_TASK_ID' in b]
lines = blocks[0].splitlines() if len(blocks) == 1 else []
start = next((i + 1 for i, l in enumerate(lines) if 'with job.sh running' in l), len(lines))
for line in lines[start:]:
    if line.startswith('#'):
        break
    print(line)
EOF
)
if [ -z "$job" ]; then
  echo "slurm test: README.md's Collections section has no Slurm job script after 'with job.sh running'" >&2
  exit 1
fi

tmp=$(mktemp -d)
pids=()
stop() {
  [ -n "${submitter:-}" ] && kill "$submitter" 2>/dev/null
  # Cancel what is still queued or running so that no job step outlives its slurmd.
  if [ ${#pids[@]} -ge 2 ]; then
    scancel --user="$(id -un)" 2>/dev/null || true
    for _ in $(seq 20); do
      [ -z "$(squeue -h 2>/dev/null)" ] && break
      sleep 0.5
    done
  fi
  # slurmd first, munged last: each needs the ones after it while it shuts down.
  local i pid
  for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
    pid=${pids[i]}
    kill "$pid" 2>/dev/null || continue
    for _ in $(seq 40); do
      kill -0 "$pid" 2>/dev/null || break
      sleep 0.25
    done
    kill -9 "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  rm -rf "$tmp"
}
trap stop EXIT
trap 'exit 130' INT TERM HUP

# Ends the test as skipped, with the last error the daemon logged.
skip() {
  local why
  why=$(grep -hiE 'fatal|error' "$2" 2>/dev/null | tail -n 1 || true)
  echo "slurm test: $1 could not be started (${why:-its log gives no reason}): skipped"
  exit 0
}

# Two neighbouring ports that nothing listens on, below Linux's ephemeral range (32768 and
# up) so that no outgoing connection takes one meanwhile.
free() { ! (: </dev/tcp/127.0.0.1/"$1") 2>/dev/null; }
for _ in $(seq 100); do
  ctld_port=$((20000 + RANDOM % 12000))
  slurmd_port=$((ctld_port + 1))
  free $ctld_port && free $slurmd_port && break
done

# munged wants every folder above its socket searchable by all (its clients run as anyone).
chmod 711 "$tmp"
mkdir -p "$tmp/state" "$tmp/spool"
head -c 1024 /dev/urandom >"$tmp/munge.key"
chmod 400 "$tmp/munge.key"
: >"$tmp/plugstack.conf"
user=$(id -un)
host=$(hostname -s)
cat >"$tmp/slurm.conf" <<EOF
ClusterName=transients
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=$ctld_port
SlurmdPort=$slurmd_port
SlurmUser=$user
SlurmdUser=$user
AuthType=auth/munge
CredType=cred/munge
AuthInfo=socket=$tmp/munge.socket
StateSaveLocation=$tmp/state
SlurmdSpoolDir=$tmp/spool
SlurmctldPidFile=$tmp/slurmctld.pid
SlurmdPidFile=$tmp/slurmd.pid
SlurmctldLogFile=$tmp/slurmctld.log
SlurmdLogFile=$tmp/slurmd.log
PlugStackConfig=$tmp/plugstack.conf
# No cgroups: a container may not offer them, and the test needs no confinement.
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
JobCompType=jobcomp/none
MpiDefault=none
SwitchType=switch/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
ReturnToService=2
NodeName=$host NodeAddr=127.0.0.1 CPUs=$(nproc) State=UNKNOWN
PartitionName=test Nodes=$host Default=YES MaxTime=10 State=UP
EOF
export SLURM_CONF="$tmp/slurm.conf"

# Each daemon must show that it works, within 20 s, or the test is skipped.
ready() {
  local pid=$1 name=$2 log=$3
  shift 3
  for _ in $(seq 80); do
    "$@" >/dev/null 2>&1 && return 0
    kill -0 "$pid" 2>/dev/null || skip "$name" "$log"
    sleep 0.25
  done
  skip "$name" "$log"
}
idle() { [ "$(sinfo -h -n "$host" -o %t 2>/dev/null)" = idle ]; }

munged -F --key-file="$tmp/munge.key" --socket="$tmp/munge.socket" --pid-file="$tmp/munged.pid" \
  --log-file="$tmp/munged.log" --seed-file="$tmp/munged.seed" 2>>"$tmp/munged.log" &
pids+=($!)
ready "${pids[0]}" munged "$tmp/munged.log" test -S "$tmp/munge.socket"
slurmctld -D -f "$SLURM_CONF" 2>>"$tmp/slurmctld.log" &
pids+=($!)
ready "${pids[1]}" slurmctld "$tmp/slurmctld.log" scontrol ping
slurmd -D -f "$SLURM_CONF" -N "$host" 2>>"$tmp/slurmd.log" &
pids+=($!)
ready "${pids[2]}" slurmd "$tmp/slurmd.log" idle

# Sorted, the list gives shard 0 of 4 only files from a/: a shard that mirrored below the
# folder its own files share would write those two flat, where one run writes them in a/.
work="$tmp/work"
mkdir -p "$work/corpus/a" "$work/corpus/b/deep"
seed=1
for name in a/take1 a/take2 a/take3 a/take4 a/take5 b/take1 b/deep/take2 b/deep/take3; do
  "$build/tools/make-example-recording" "$work/corpus/$name.wav" --seconds 1.5 --seed $((seed++)) >/dev/null
done
cd "$work"
find corpus -name '*.wav' | LC_ALL=C sort >list.txt
"$build/tools/detect-transients" --files-from list.txt --output-dir one --mirror -q

{
  echo '#!/bin/sh'
  echo 'set -e'
  echo "PATH=$(printf %q "$build/tools"):\$PATH"
  echo "$job"
} >job.sh
start=$SECONDS
# In the background, so that a signal reaches the trap without waiting for the array.
timeout 120 sbatch --wait --quiet --array=0-$((tasks - 1)) job.sh &
submitter=$!
status=0
wait "$submitter" || status=$?
submitter=
if [ $status -ne 0 ]; then
  echo "slurm test: the array job failed; its tasks' output:" >&2
  tail -n +1 slurm-*.out >&2 || true
  exit 1
fi
echo "slurm test: $tasks array tasks ran in $((SECONDS - start)) s"

inputs=$(wc -l <list.txt)
outputs=$(find one -type f | wc -l)
if [ "$outputs" -ne "$inputs" ]; then
  echo "slurm test: one run wrote $outputs outputs for $inputs inputs" >&2
  exit 1
fi
if ! differences=$(diff -rq one results 2>&1); then
  echo "slurm test: the array's results/ differ from one run's outputs (one/):" >&2
  echo "$differences" >&2
  exit 1
fi
echo "slurm test: the array's results/ equal one run's outputs, $inputs files, byte for byte"
