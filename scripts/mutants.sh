#!/usr/bin/env bash
# Mutation testing: how many deliberate faults does the test suite catch?
#
# Each row of MUTANTS below is one small fault written into the sources. For
# each row the script puts the fault in, rebuilds, runs the suite and restores
# the file. A mutant is "caught" when the suite fails (or, rarely, when the
# build fails), "missed" when the suite still passes. A row whose text does
# not occur exactly once is "not applied": an error to fix in the row, never
# counted as caught.
#
# The packaging tests (package, client_package) and the browser test of the
# web console (console) are left out: they check the install layout and the
# page, not the behaviour these mutants change, and they are the slowest.
#
# Usage: scripts/mutants.sh [--build DIR] [--only ID[,ID...]] [--list] [--help]
set -euo pipefail

ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=$ROOT/build-mutants
ONLY=
LIST=0
CTEST_EXCLUDE='^(package|client_package|console)'

usage() {
    sed -n '2,/^set -euo/p' "$0" | sed -e '$d' -e 's/^# \{0,1\}//'
    cat <<'EOF'
Options:
  --build DIR      build directory (default build-mutants/), configured once
                   with -DORU_BUILD_BENCH=OFF and built incrementally
  --only ID,...    run only these mutants
  --list           list the mutants and whether each one applies, run nothing
  --help           this text

The results go to DIR/mutants.txt as a table, the score to its last line.
The working tree must be clean (git diff --quiet) before and is clean after.
EOF
}

while [ $# -gt 0 ]; do
    case $1 in
    --build) BUILD=$(realpath -m "$2"); shift 2 ;;
    --build=*) BUILD=$(realpath -m "${1#*=}"); shift ;;
    --only) ONLY=$2; shift 2 ;;
    --only=*) ONLY=${1#*=}; shift ;;
    --list) LIST=1; shift ;;
    -h | --help) usage; exit 0 ;;
    *) echo "mutants.sh: unknown argument '$1' (see --help)" >&2; exit 2 ;;
    esac
done

# One row per mutant, fields separated by " @@ ":
#   id @@ file @@ text to find @@ replacement @@ what the fault is @@ why a miss is accepted
# In the texts, \n is a newline and \\ a backslash. The last field is empty
# unless the suite misses the mutant for a reason stated there.
MUTANTS=$(cat <<'EOF'
P01 @@ oru_protocol/frame_codec.cpp @@ qint64(size) + 1, out @@ qint64(size) + 2, out @@ frame writer: announced length one too long @@
P02 @@ oru_protocol/frame_codec.cpp @@ null ? 0xFFFFFFFFu : quint32(size) @@ quint32(size) @@ frame writer: null payload written as empty, not 0xFFFFFFFF @@
P03 @@ oru_protocol/frame_codec.cpp @@ if (available - kFrameHeaderSize < payloadSize) @@ if (available - kFrameHeaderSize <= payloadSize) @@ client frame splitter: off by one, waits for a byte more than the frame @@
P04 @@ oru_protocol/frame_codec.cpp @@ static_cast<qint8>(in[8]) @@ static_cast<qint8>(in[7]) @@ client frame splitter: type read from the wrong byte @@
P05 @@ oru_protocol/frame_codec.h @@ (pendingLength > maxLength || pendingLength < 0) @@ (pendingLength >= maxLength || pendingLength < 0) @@ frame reader: a frame of exactly the limit refused @@
P06 @@ oru_protocol/frame_codec.h @@         pendingLength = 0;\n @@ @@ frame reader: length of the frame just read not reset @@
W01 @@ oru_sdk/wire_convert.cpp @@ ROW(DevNetInfo, subNetMask, sub_net_mask); @@ ROW(DevNetInfo, subNetMask, default_gateway); @@ conversion: net info mask read from (and written to) the gateway field @@
W02 @@ oru_sdk/wire_convert.cpp @@ ROW(InitDgwCondition, ak, ak); @@ ROW(InitDgwCondition, ak, sk); @@ conversion: init request ak read from (and written to) sk @@
W03 @@ oru_sdk/wire_convert.cpp @@ double wireDouble(double d) { return d == 0.0 ? 0.0 : d; } @@ double wireDouble(double d) { return d; } @@ conversion: -0.0 no longer normalised @@
W04 @@ oru_sdk/wire_convert.cpp @@ kDateTimeFormat = QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz") @@ kDateTimeFormat = QStringLiteral("yyyy-MM-dd hh:mm:ss") @@ conversion: milliseconds lost from date-times @@
W05 @@ oru_sdk/wire_convert.cpp @@ io(channel, FIELD(m, channel)); @@ io(channel, FIELD(m, channel));\n    if constexpr (std::is_same_v<Io, Reader>)\n        channel += 1; @@ conversion: channel index off by one on reading @@
H01 @@ oru_sdk/message_hamal.cpp @@                     if (!pendingRequests.take(routingId(firstOf(args...)), &target)) @@                     qintptr asker = 0;\n                    if (!pendingRequests.take(routingId(firstOf(args...)), &asker)) @@ routing: answers go to every connection, not the asker @@
H02 @@ oru_sdk/message_hamal.cpp @@ qintptr target = kAllSockets; @@ qintptr target = 0; @@ routing: pushes go to one descriptor, not broadcast @@
H04 @@ oru_protocol/plain_text.h @@ { return textUpToZero(payload.constData()); } @@ { return QString::fromUtf8(payload.constData(), payload.size()); } @@ plain-text requests: no cut at the first zero byte @@
H05 @@ oru_sdk/inbound.h @@             logError(failure());\n            return size; @@             logError(failure()); @@ validation skipped: an unparsable request is still emitted @@
H06 @@ oru_protocol/message_type.h @@ "client ptz req" @@ "client ptz request" @@ log text: one request's lines changed (success and its derived failure) @@
H08 @@ oru_sdk/message_hamal.cpp @@ m.set_alarm_id(utf8(QUuid::createUuid().toString())); @@ m.set_alarm_id(std::string()); @@ default: an alarm without id goes out without one @@
H09 @@ oru_sdk/message_hamal.cpp @@ pendingRequests.maxPerConnection = Limits::current().maxPendingPerConnection; @@ pendingRequests.maxPerConnection = 0; @@ limit: pending requests per connection unbounded @@
H10 @@ oru_sdk/message_hamal.cpp @@ emit dgw().signalCommonReq(channel, text(m.request_id()), text(m.req_json())); @@ emit dgw().signalCommonReq(channel, text(m.req_json()), text(m.request_id())); @@ swapped arguments: common request id and json @@
H12 @@ oru_sdk/message_hamal.cpp @@ m.set_action(int(op)); @@ m.set_action(0); @@ kept quirk lost: the operation no longer goes into the action field @@
S01 @@ oru_sdk/message_server.cpp @@ msgSocket = socket; @@ @@ hello ignored: no connection becomes the main client @@
S02 @@ oru_sdk/message_server.cpp @@ if (!msgSocket)\n                return false; @@ @@ validation skipped: exit accepted before any hello @@
S03 @@ oru_sdk/message_server.cpp @@                 writes->append(socket, header, message);\n        }\n        return; @@                 writes->append(socket, header, message);\n            break;\n        }\n        return; @@ fan-out: a push reaches only the first connection @@
S04 @@ oru_sdk/message_server.cpp @@ if (QLocalSocket *socket = sockets.value(socketName)) @@ if (QLocalSocket *socket = sockets.isEmpty() ? nullptr : *sockets.begin()) @@ routing: an answer goes to the first connection, not the asker @@
S05 @@ oru_sdk/message_server.cpp @@ StreamWorker::instance()->stop(); @@ @@ main client exit leaves the stream server listening @@
S06 @@ oru_sdk/message_server.cpp @@ logInfo(QStringLiteral("main client exit message")); @@ @@ dropped log line: main client exit @@
S08 @@ oru_sdk/message_server.cpp @@ writes->sendNow(s); @@ @@ answers of the last pass not sent before the exit signal @@
T01 @@ oru_sdk/stream_worker.cpp @@ if (known != liveIds.cend())\n        return *known; @@ @@ live id sharing: equal live requests no longer share one stream @@
T02 @@ oru_sdk/stream_worker.cpp @@ hashedText(QStringLiteral("%1%2%3") @@ hashedText(QStringLiteral("%1%3%2") @@ live id formula: channel and stream type swapped @@
T03 @@ oru_sdk/stream_worker.cpp @@                 server->addStreamSocket(id, socket);\n                emit(dgw().*signal)(id, c); @@                 emit(dgw().*signal)(id, c);\n                server->addStreamSocket(id, socket); @@ stream opened: the host hears of it before the socket joins @@
T04 @@ oru_sdk/stream_worker.cpp @@ emit dgw().signalPlaybackCtrlReq(id, static_cast<PlaybackCtrl>(m.ctrl())); @@ emit dgw().signalPlaybackCtrlReq(0, static_cast<PlaybackCtrl>(m.ctrl())); @@ playback control: stream id lost @@
T05 @@ oru_sdk/stream_worker.cpp @@ emit dgw().signalDisconnectStream(streamId); @@ @@ last reader gone: the host is not told @@
T06 @@ oru_sdk/stream_worker.cpp @@ push.set_offset_time(offsetTime);\n    push.set_duration(duration); @@ push.set_offset_time(duration);\n    push.set_duration(offsetTime); @@ swapped fields: playback progress offset and duration @@
T07 @@ oru_sdk/stream_worker.cpp @@ streamServer->writeToStream(streamId, MessageType::StreamData, data); @@ streamServer->writeToStream(streamId, MessageType::PushStreamEventMsg, data); @@ stream data sent with the wrong frame type @@
T09 @@ oru_sdk/stream_server.cpp @@         if (socket->isValid())\n            writes->append(socket, header, data); @@         if (socket->isValid()) {\n            writes->append(socket, header, data);\n            break;\n        } @@ fan-out: stream data reaches only one reader @@
B01 @@ oru_sdk/write_batch.cpp @@ if (held == 0 || held + size <= limit) { @@ if (held + size <= limit) { @@ limit: a frame larger than the queue limit never reaches an idle socket @@
B02 @@ oru_sdk/write_batch.cpp @@ return QByteArray(bytes.constData(), bytes.size()); @@ return shared; @@ host buffers wrapped with fromRawData not copied before the call returns @@
R01 @@ oru_sdk/resource_limits.cpp @@ unit = qint64(1) << 10; @@ unit = qint64(1000); @@ limits: K means 1000, not 1024 @@
R02 @@ oru_sdk/resource_limits.cpp @@ read.policy("ORU_CONTROL_QUEUE_POLICY", Policy::Close) @@ read.policy("ORU_CONTROL_QUEUE_POLICY", Policy::Drop) @@ wrong default: control queue over its limit drops instead of closing @@
K01 @@ oru_sdk_kit/oru_log.cpp @@ if (v == "error")\n        return LevelError; @@ if (v == "error")\n        return LevelInfo; @@ log level: ORU_LOG_LEVEL=error keeps info lines @@
K02 @@ oru_sdk_kit/oru_log.cpp @@ before + qint64(end - lineStart) > maxBytes_ @@ before + qint64(end - lineStart) >= maxBytes_ @@ rotation: a file exactly at the limit rotated early @@
K03 @@ oru_sdk_kit/oru_log.cpp @@ removeFile(numbered(path_, maxFiles_)); @@ removeFile(numbered(path_, maxFiles_ + 1)); @@ rotation: one old file too many kept @@ equivalent where rename replaces its target (POSIX std::rename): the oldest copy is overwritten anyway; the removal is for Windows, whose _wrename does not replace
K06 @@ oru_sdk_kit/oru_log.cpp @@ if (LevelInfo < g_threshold.load(std::memory_order_relaxed)) @@ if (LevelInfo <= g_threshold.load(std::memory_order_relaxed)) @@ log level: info lines dropped at level info @@
L01 @@ oru_client/client.cpp @@ void Client::exit() { conn.sendFrame(T::MainClientExit); } @@ void Client::exit() { conn.sendFrame(T::MainClientHello); } @@ client library: exit sends a hello @@
C01 @@ tools/oru-client/main.cpp @@         return f.code;\n @@         return f.code ? 1 : 0;\n @@ CLI exit code: every failure exits 1 @@
C02 @@ tools/oru-client/main.cpp @@ if (positional.size() > (cmd->actions.isEmpty() ? 1 : 2)) @@ if (false) @@ CLI validation skipped: extra arguments accepted @@
D01 @@ tools/oru-dgw-sim/main.cpp @@ framesPerSecond > 60 @@ framesPerSecond > 600 @@ simulator validation: --fps over 60 accepted @@
D02 @@ tools/oru-dgw-sim/device_model.cpp @@ questions.append(s.first); @@ questions.append(s.second); @@ simulator: secret answers handed out as questions @@
EOF
)

# ---------------------------------------------------------------------------

fields() { # row -> ID FILE FIND REPL DESC REASON
    local s=$1 parts=() p i
    while [[ $s == *"@@"* ]]; do
        parts+=("${s%%@@*}")
        s=${s#*@@}
    done
    parts+=("$s")
    for i in "${!parts[@]}"; do # one space of the separator on each side
        p=${parts[$i]}
        p=${p# }
        parts[$i]=${p% }
    done
    ID=${parts[0]} FILE=${parts[1]} FIND=${parts[2]} REPL=${parts[3]} DESC=${parts[4]} REASON=${parts[5]:-}
}

# mutate FILE FIND REPL [--dry]: prints the number of occurrences; writes the
# file only when there is exactly one.
mutate() {
    python3 - "$@" <<'PY'
import sys
def unescape(s):
    out, i = [], 0
    while i < len(s):
        if s[i] == '\\' and i + 1 < len(s) and s[i + 1] in 'n\\':
            out.append('\n' if s[i + 1] == 'n' else '\\')
            i += 2
        else:
            out.append(s[i])
            i += 1
    return ''.join(out)
path, find, repl = sys.argv[1], unescape(sys.argv[2]), unescape(sys.argv[3])
text = open(path, encoding='utf-8').read()
n = text.count(find) if find else 0
print(n)
if n == 1 and len(sys.argv) < 5:
    open(path, 'w', encoding='utf-8').write(text.replace(find, repl))
PY
}

selected() {
    [ -z "$ONLY" ] && return 0
    case ",$ONLY," in *",$1,"*) return 0 ;; esac
    return 1
}

cd "$ROOT"
ROWS=()
while IFS= read -r line; do
    [ -n "$line" ] || continue
    fields "$line"
    selected "$ID" && ROWS+=("$line")
done <<<"$MUTANTS"
if [ ${#ROWS[@]} -eq 0 ]; then
    echo "mutants.sh: no mutant matches --only $ONLY" >&2
    exit 2
fi

if [ $LIST -eq 1 ]; then
    bad=0
    for line in "${ROWS[@]}"; do
        fields "$line"
        n=$( [ -f "$FILE" ] && mutate "$FILE" "$FIND" "$REPL" --dry || echo 0)
        state=ok; [ "$n" = 1 ] || { state="NOT APPLIED ($n matches)"; bad=1; }
        printf '%-4s %-36s %s%s\n' "$ID" "$FILE" "$DESC" "$([ "$state" = ok ] || echo " -- $state")"
    done
    echo "${#ROWS[@]} mutants"
    exit $bad
fi

if ! git diff --quiet; then
    echo "mutants.sh: the working tree has uncommitted changes; commit or stash them first" >&2
    exit 2
fi

BACKUP=$(mktemp -d)
CURRENT=
restore() {
    if [ -n "$CURRENT" ]; then
        cp -p "$BACKUP/file" "$ROOT/$CURRENT"
        touch "$ROOT/$CURRENT" # newer than the mutant's objects: the next build recompiles it
        CURRENT=
    fi
}
cleanup() {
    restore
    rm -rf "$BACKUP"
    if ! git -C "$ROOT" diff --quiet; then
        echo "mutants.sh: WARNING: the working tree is not clean after the run" >&2
    fi
}
trap cleanup EXIT
trap 'echo; echo "mutants.sh: interrupted" >&2; exit 130' INT TERM

mkdir -p "$BUILD"
LOG=$BUILD/mutants-log
mkdir -p "$LOG"
build() { nice -n 5 cmake --build "$BUILD" -j2 >"$1" 2>&1; }
suite() { # the Qt Test output of a failing run is kept beside ctest's summary
    local rc=0
    (cd "$BUILD" && nice -n 5 ctest -j2 --stop-on-failure --timeout 120 -E "$CTEST_EXCLUDE") >"$1" 2>&1 || rc=$?
    cp "$BUILD/Testing/Temporary/LastTest.log" "${1%.txt}-full.log" 2>/dev/null || true
    return $rc
}

if [ ! -f "$BUILD/CMakeCache.txt" ]; then
    echo "configuring $BUILD"
    # A mutant changes no interface: programs need not be relinked when a
    # shared library they use is rebuilt.
    cmake -S "$ROOT" -B "$BUILD" -DORU_BUILD_BENCH=OFF -DCMAKE_LINK_DEPENDS_NO_SHARED=ON >"$LOG/configure.txt" 2>&1 || {
        echo "mutants.sh: configure failed, see $LOG/configure.txt" >&2
        exit 1
    }
fi
start=$(date +%s)
echo "building and testing the unmutated tree"
if ! build "$LOG/base-build.txt"; then
    echo "mutants.sh: the unmutated tree does not build, see $LOG/base-build.txt" >&2
    exit 1
fi
if ! suite "$LOG/base-test.txt"; then
    echo "mutants.sh: the unmutated suite fails in $BUILD, see $LOG/base-test.txt; no score without a green suite" >&2
    exit 1
fi

TABLE=$BUILD/mutants.txt
{
    echo "# mutation run of $(git rev-parse --short HEAD) at $(date -u '+%Y-%m-%d %H:%M UTC')"
    printf '%-4s | %-15s | %-36s | %s\n' id result file description
} >"$TABLE"
caught=0 missed=0 errors=0 total=0
for line in "${ROWS[@]}"; do
    fields "$line"
    total=$((total + 1))
    t0=$(date +%s)
    if [ ! -f "$FILE" ]; then
        result="not applied"
    else
        cp -p "$FILE" "$BACKUP/file"
        CURRENT=$FILE
        n=$(mutate "$FILE" "$FIND" "$REPL")
        if [ "$n" != 1 ]; then
            CURRENT=
            result="not applied"
        elif ! build "$LOG/$ID-build.txt"; then
            result="caught (build)"
        elif ! suite "$LOG/$ID-test.txt"; then
            result="caught"
        else
            result="missed"
        fi
        restore
    fi
    case $result in
    caught*) caught=$((caught + 1)) ;;
    missed) missed=$((missed + 1)) ;;
    *) errors=$((errors + 1)) ;;
    esac
    failed=
    if [ "$result" = caught ]; then
        failed=$(grep -o '[0-9]* - [A-Za-z0-9_.]* (Failed\|[0-9]* - [A-Za-z0-9_.]* (Timeout\|[0-9]* - [A-Za-z0-9_.]* (SEGFAULT\|[0-9]* - [A-Za-z0-9_.]* (Subprocess aborted' "$LOG/$ID-test.txt" | sed 's/^[0-9]* - \([A-Za-z0-9_.]*\).*/\1/' | sort -u | tr '\n' ' ' || true)
    fi
    printf '%-4s | %-15s | %-36s | %s%s%s\n' "$ID" "$result" "$FILE" "$DESC" \
        "${failed:+ [by: ${failed% }]}" "${REASON:+ -- accepted: $REASON}" | tee -a "$TABLE"
    echo "     ($(($(date +%s) - t0)) s)"
done

# Leave the build matching the tree.
build "$LOG/final-build.txt" || true
elapsed=$(($(date +%s) - start))
{
    echo "# caught $caught/$total, missed $missed, not applied $errors; $((elapsed / 60)) min $((elapsed % 60)) s"
} | tee -a "$TABLE"
echo "table: $TABLE"
[ $errors -eq 0 ]
