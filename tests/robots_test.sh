#!/usr/bin/env bash
# Commands that speak to robots, on virtual ones: robots_test.sh ZKHAL SOURCE_DIR
set -u
zkhal=$1
cd "$2" || exit 1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

fail() {
  echo "$1"
  failures=$((failures + 1))
}
# expect NAME STATUS PATTERN COMMAND...: the pattern is looked for in what comes out on both ways.
expect() {
  local name=$1 status=$2 pattern=$3 got
  shift 3
  timeout 60 "$@" >"$dir/out" 2>&1 </dev/null
  got=$?
  [ "$got" = "$status" ] || fail "$name: exit status $got, not $status: $(head -c 600 "$dir/out")"
  grep -qE -- "$pattern" "$dir/out" || fail "$name: no '$pattern' in: $(head -c 600 "$dir/out")"
}

# Every lesson of the examples, on every robot that can.
for lesson in square lights clap; do
  for robot in orvik quill; do
    expect "$lesson on $robot" 0 'done: [0-9]+ reports, 0 lost' "$zkhal" run "examples/$lesson.jsonl" --robot "virtual:$robot"
    grep -q remark "$dir/out" && fail "$lesson on $robot: it has remarks"
  done
done
expect "lights on a Pell" 0 'done: ' "$zkhal" run examples/lights.jsonl --robot virtual:pell:7
# The square closes.
"$zkhal" run examples/square.jsonl --svg "$dir/square.svg" --record "$dir/square.capture" |
  grep -qE '"POSE" is answered: "-?0\.[0-9]+ -?0\.[0-9]+ -?0\.[0-9]+"' || fail "the square does not close"
[ "$(grep -c ' > AF230002 ' "$dir/square.capture")" -gt 10 ] || fail "the recording has no commands"
# What was recorded is played back, report for report, and decoded.
expect "a capture is played" 0 'done: 4[0-9][0-9] reports' "$zkhal" run --robot "capture:$dir/square.capture" <(printf '{"wait":13.5}\n')
"$zkhal" watch --robot "capture:$dir/square.capture" --json >"$dir/played"
[ "$(grep -c '^{"tm"' "$dir/played")" -gt 400 ] || fail "a capture is watched: $(wc -l <"$dir/played") reports"
"$zkhal" decode "$dir/square.capture" | cmp -s - "$dir/played" || fail "decode and watch read a recording differently"

# Faults of lessons, with their places; nothing is sent then.
while IFS='|' read -r line pattern; do
  printf '%s\n' '{"106":{"brightness":1}}' "$line" >"$dir/lesson"
  expect "$line" 1 "lesson:2:$pattern" "$zkhal" run "$dir/lesson" --record "$dir/none"
  [ ! -e "$dir/none" ] || { fail "$line: something was sent"; rm -f "$dir/none"; }
done <<'LESSONS'
{"wait":-1}|2: "wait" is a number of seconds
{"wait":"a"}|2: "wait" is a number
{"shell":""}|2: "shell" is a text
{"shell":"NAME","timeout":0}|2: an answer takes longer
{"until":{"1000":{"s":"x"}}}|19: "until" is like
{"until":{}}|2: "until" is like
{"wait":1,"106":{}}|2: commands stand on a line of their own
{"wait":1,"shell":"NAME"}|11: a step does one thing
{"hands":{"kick":1}}|2: "hands" is like
{"brightness":1}|2: "brightness" is no component
[1]|1: a step of a lesson is a JSON object
{"106":|8: refused: not JSON
{"wait":1} {"wait":2}|12: one object stands on a line
{"hands":{"press":77}}|2: "hands" is like
{"until":{"9999":{"s":1}}}|19: no sensor "9999" has a number "s"
{"until":{"1000":{"zz":1}}}|19: no sensor "1000" has a number "zz"
LESSONS
: >"$dir/lesson"
expect "an empty lesson" 1 'lesson:1:1: there is no step' "$zkhal" run "$dir/lesson"
# The place in the file, also of an animation's frames.
printf '{\n "data": [\n  {"duration": 0.1, "commands": {}},\n  {"duration": 0.1,\n   "commands": {"100": {"index": {"13": 1}}}}\n ]\n}\n' >"$dir/lesson"
expect "a frame that is refused" 1 'lesson:5:35: refused: "13"' "$zkhal" run "$dir/lesson"
printf '{"data":[{"duration":0.1,"commands":{}},]' >"$dir/lesson"
expect "an animation that is cut off" 1 'lesson:1:42: refused: not JSON' "$zkhal" run "$dir/lesson"
expect "commands for a robot that has a shell" 1 'lights.jsonl:2:1: Virtual Rusk takes no command documents' \
  "$zkhal" run examples/lights.jsonl --robot virtual:rusk
# More packets than are kept waiting.
for _ in $(seq 5000); do echo '{"102":{"r":1},"100":{"brightness":1,"index":[1]}}'; done >"$dir/lesson"
expect "a long lesson without pauses" 0 'done: ' "$zkhal" run "$dir/lesson"
expect "a recording that cannot be" 1 'none/x: No such file' "$zkhal" run examples/square.jsonl --record "$dir/none/x"
expect "one robot twice" 1 'virtual:ORVIK:1 is given twice' "$zkhal" run examples/square.jsonl --robot virtual:orvik --robot virtual:ORVIK:1
printf '0.0 * advertisement 00 "x"\n0.1 0012000800000010000000000000000000000000\n' >"$dir/lesson"
expect "a capture of no robot" 3 'no robot in reach' "$zkhal" watch --robot "capture:$dir/lesson"
printf '{"to":"virtual:quill:1","100":{"index":{"13":1}}}\n' >"$dir/lesson"
expect "a refused document" 1 'lesson:1:41: refused: "13"' "$zkhal" run "$dir/lesson" --robot virtual:quill
printf '{"to":"Bo","106":{}}\n' >"$dir/lesson"
expect "for nobody" 1 'lesson:1:2: "Bo" is none of the robots' "$zkhal" run "$dir/lesson"
printf '{"until":{"1000":{"s":1}},"timeout":2}\n' >"$dir/lesson"
expect "not met" 1 'lesson:1: this was not met within 2 s' "$zkhal" run "$dir/lesson"
printf '\xef\xbb\xbf{"shell":"SLEEP","timeout":0.5}\r\n{"shell":"NAME"}\r\n' >"$dir/lesson"
expect "not answered, and on" 1 '"NAME" is answered: "Virtual Rusk"' "$zkhal" run "$dir/lesson" --robot virtual:rusk
expect "only checked" 0 'steps are accepted' "$zkhal" run --check examples/square.jsonl

# Several robots, and lines for one of them.
printf '%s\n' '{"to":"VIRTUAL ORV","shell":"ECHO one"}' '{"to":"virtual:pell","shell":"ECHO two"}' >"$dir/lesson"
expect "lines for one robot" 0 'Pell "ECHO two" is answered: "two"' "$zkhal" run "$dir/lesson" --robot virtual:orvik --robot virtual:pell
[ "$(grep -c answered "$dir/out")" = 2 ] || fail "a line for one robot went to both"
expect "a robot that is lost for good" 3 'is lost: the connection is lost' \
  "$zkhal" run examples/square.jsonl --faults cut=1 --retries 2
# An animation is a lesson too.
"$zkhal" record -o "$dir/eight.csv" >/dev/null 2>&1 && "$zkhal" puppet "$dir/eight.csv" -o "$dir/eight.json" >/dev/null 2>&1
expect "an animation" 0 'done: ' "$zkhal" run "$dir/eight.json"

expect "scan" 0 '"name": "Virtual Quill".*"batteryLevel": 20' "$zkhal" scan --virtual 5 --seconds 1
[ "$(wc -l <"$dir/out")" = 5 ] || fail "scan: not one line a robot"
expect "scan for one" 0 '"name": "Virtual Pell"' "$zkhal" scan --virtual 5 --seconds 1 --robot virtual:pell
[ "$(wc -l <"$dir/out")" = 1 ] || fail "scan for one: $(cat "$dir/out")"
expect "scan for one that is not there" 1 'Bo is not in reach' "$zkhal" scan --virtual 2 --seconds 1 --robot Bo
expect "watch" 0 '^seconds,1000\.s,.*9000\.pingCount$' "$zkhal" watch --robot virtual:quill --seconds 2 --csv
[ "$(awk -F, '{print NF}' "$dir/out" | sort -u | wc -l)" = 1 ] || fail "watch: rows of different lengths"
expect "watch several" 0 '^\{"robot":"Virtual Pell","report":\{"tm"' "$zkhal" watch --robot virtual:orvik --robot virtual:pell --seconds 1
expect "no virtual robot" 2 'there are virtual:orvik, pell, quill and rusk' "$zkhal" watch --robot virtual:bo
expect "robots of two kinds" 1 'robots of one kind at a time' "$zkhal" watch --robot virtual:orvik --robot Bo
expect "drive wants a terminal" 1 'wants a terminal' "$zkhal" drive

# Ctrl-C stops the wheels before it leaves.
printf '%s\n' '{"211":{"left_cm_s":10,"right_cm_s":10}}' '{"wait":60}' >"$dir/lesson"
"$zkhal" run "$dir/lesson" --pace real --record "$dir/cut.capture" >"$dir/out" 2>&1 &
sleep 1
kill -INT $!
wait $!
[ $? = 130 ] || fail "Ctrl-C: not status 130"
grep -qE ' > AF230002 0100000000' "$dir/cut.capture" || fail "Ctrl-C: the wheels go on: $(cat "$dir/out")"

# So does a reader who has seen enough.
printf '%s\n' '{"211":{"left_cm_s":10,"right_cm_s":10}}' >"$dir/lesson"
for i in $(seq 40); do printf '{"shell":"ECHO %05000d"}\n{"wait":0.05}\n' "$i"; done >>"$dir/lesson"
"$zkhal" run "$dir/lesson" --pace real --record "$dir/pipe.capture" | true
grep -qE ' > AF230002 0100000000' "$dir/pipe.capture" || fail "a closed pipe: the wheels go on"
"$zkhal" demo --pace real >"$dir/out" 2>&1 &
sleep 1.5
kill -INT $!
wait $!
[ $? = 130 ] || fail "Ctrl-C in a demo: not status 130"
grep -q goodbye "$dir/out" && fail "Ctrl-C in a demo: it goes on"

[ "$failures" -eq 0 ] && echo "robots: all as expected"
exit "$failures"
