#!/usr/bin/env bash
# The demo: installs what is missing, builds the tools, starts the simulated
# gateway (oru-dgw-sim) and drives it with oru-client like a main client would:
# a few single commands, then one scripted session with a summary. Leaves a
# snapshot, two MJPEG clips and the gateway's output in demo-output/.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
build=${BUILD_DIR:-build-demo}
echo "== Building oru-client and oru-dgw-sim (Release, in $build/)"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build "$build" -j"$(nproc)" --target oru-client oru-dgw-sim > /dev/null

out=demo-output
rm -rf "$out"
mkdir -p "$out"
# Server names of this run only, so that nothing else is disturbed.
msg=oru_demo_message_$$
stream=oru_demo_stream_$$
sim="$build/tools/oru-dgw-sim/oru-dgw-sim"
client=("$build/tools/oru-client/oru-client" --server "$msg" --stream-server "$stream" --timeout 5000)

"$sim" --message-server "$msg" --stream-server "$stream" --alarm-interval 3 --fps 10 > "$out/gateway.log" 2>&1 &
sim_pid=$!
trap 'kill "$sim_pid" 2>/dev/null || true' EXIT
for _ in $(seq 100); do
  grep -q "oru-dgw-sim:" "$out/gateway.log" 2>/dev/null && break
  kill -0 "$sim_pid" 2>/dev/null || { cat "$out/gateway.log"; echo "demo: the gateway did not start" >&2; exit 1; }
  sleep 0.1
done
echo "== Gateway started: $(grep -m1 'oru-dgw-sim:' "$out/gateway.log" | cut -c15-)"

# Each call is bounded: nothing here can hang the demo.
run() {
  echo
  echo "\$ oru-client $*"
  timeout 60 "${client[@]}" "$@"
}
run presets --dev cam1 --channel 1
run recordings --dev cam1 --from -1h
run rtsp --dev nvr1 --channel 3
run watch --count 2 --seconds 10

echo
echo "== Scripted session (oru-client demo): it says hello, so the gateway stops when it says exit"
status=0
timeout 120 "${client[@]}" demo --out "$out" --seconds 3 --exit || status=$?

# The gateway ends by itself once its main client has left.
for _ in $(seq 100); do
  kill -0 "$sim_pid" 2>/dev/null || break
  sleep 0.1
done
if kill -0 "$sim_pid" 2>/dev/null; then
  echo "demo: the gateway did not stop after exit" >&2
  exit 1
fi
wait "$sim_pid" && sim_status=0 || sim_status=$?
trap - EXIT

echo
echo "== Gateway: exit code $sim_status, $(grep -c ' -> \| push \|stream ' "$out/gateway.log") lines logged for requests, pushes and streams (see $out/gateway.log)"
echo "== Files in $out/:"
ls -l "$out" | tail -n +2
echo "(live.mjpeg and playback.mjpeg are plain concatenated JPEG pictures; e.g. 'ffplay -f mjpeg $out/live.mjpeg')"
[ "$status" -eq 0 ] && [ "$sim_status" -eq 0 ]
