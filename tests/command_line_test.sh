#!/usr/bin/env bash
# The command line as its users meet it: command_line_test.sh ZKHAL SOURCE_DIR
set -u
zkhal=$(realpath "$1")
cd "$2" || exit 1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# expect NAME STATUS STDOUT STDERR COMMAND...: texts are compared whole; "~X" means: contains X.
expect() {
  local name=$1 status=$2 out=$3 err=$4 got
  shift 4
  "$@" >"$dir/out" 2>"$dir/err" </dev/null
  got=$?
  [ "$got" = "$status" ] || { echo "$name: exit status $got, not $status"; failures=$((failures + 1)); }
  matches "$name: stdout" "$out" "$dir/out"
  matches "$name: stderr" "$err" "$dir/err"
}
matches() {
  local text
  text=$(cat "$3")
  case "$2" in
    "~"*) case "$text" in *"${2#\~}"*) return ;; esac ;;
    *) [ "$text" = "$2" ] && return ;;
  esac
  printf '%s:\n  expected %s\n  got      %s\n' "$1" "$2" "$text"
  failures=$((failures + 1))
}

expect "one document" 0 "01 01 2C FE D4" "" "$zkhal" encode '{"211":{"left_cm_s":10,"right_cm_s":-10}}'
expect "in words" 0 $'01 01 2C FE D4\n    wheel speeds: left 10 cm/s, right -10 cm/s' "" \
  "$zkhal" encode --explain '{"211":{"left_cm_s":10,"right_cm_s":-10}}'
expect "another robot" 0 "06 CC 0C" "" "$zkhal" encode --robot Quill '{"203":{"degree":133}}'
expect "a type code" 0 "06 CC 0C" "" "$zkhal" encode --robot 1003 '{"203":{"degree":133}}'
expect "no robot" 2 "" "~orvik, pell, quill, rusk" "$zkhal" encode --robot bo '{}'
expect "a third packet is marked" 0 "~third packet: json2Packets drops it" "~third packet" \
  "$zkhal" encode '{"6001":0,"5000":{"avatar":1},"106":{"brightness":1}}'

printf '%s\n' '{"304":{"perc1":1}}' '' '{"304":{"perc1":1}' '{"304":{"perc1":1}}' >"$dir/lines"
expect "one document a line, state carries over, a bad one is skipped" 1 \
  $'21 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00\n28 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00' \
  "$dir/lines:3:19: refused: not JSON: the text ends before the document does" "$zkhal" encode "$dir/lines"
printf '{\n "106": {"brightness": 1}\n}\n' >"$dir/pretty"
expect "one document over lines" 0 "0D FF" "" "$zkhal" encode "$dir/pretty"
expect "remarks do not fail" 0 "0D 00" "document:1:9: remark: \"b\" is no parameter of light 106: ignored" \
  "$zkhal" encode '{"106":{"b":1}}'
expect "check only" 0 "1 document accepted for Orvik (1001)" "" "$zkhal" encode --check '{"106":{"brightness":1}}'
expect "check refuses" 1 "" "~1:18: refused" "$zkhal" encode --check '{"100":{"index":{"13":1}}}'
{ printf '{"106":{'; for i in $(seq 3000); do printf '"zzz":1,'; done; printf '}}\n{"106":{"brightness":1}}\n'; } >"$dir/many"
expect "more findings than are kept" 0 $'0D 00\n0D FF' "~... and more" "$zkhal" encode "$dir/many"
printf '{"106":{"brightness":1}}\0{"1":{}}\n' >"$dir/zero"
expect "a zero byte" 1 "" "$dir/zero:1: a zero byte is no text" "$zkhal" encode "$dir/zero"
printf '\xEF\xBB\xBF{"106":{"brightness":1}}\r\n{"106":{"brightness":0}}\r\n' >"$dir/marked"
expect "a byte order mark" 0 $'0D FF\n0D 00' "" "$zkhal" encode "$dir/marked"
printf '\xFF\xFE{\0}\0' >"$dir/wide"
expect "text of two bytes a character" 1 "" "zkhal encode: $dir/wide: this text is UTF-16: save it as UTF-8" \
  "$zkhal" encode "$dir/wide"
expect "no such file" 1 "" "zkhal encode: nowhere.json: No such file or directory" "$zkhal" encode nowhere.json
expect "a folder" 1 "" "~Is a directory" "$zkhal" encode "$dir"
expect "standard input" 0 "" "" "$zkhal" encode -

expect "explain" 0 $'0D 7F 0E 55\n    light 106: brightness 127/255\n    volume: 85%' "" "$zkhal" explain 0D7f0E55
expect "explain bytes" 0 $'0D 7F\n    light 106: brightness 127/255' "" "$zkhal" explain 0D 7F
expect "explain what is cut off" 1 $'0D 7F 01 02\n    light 106: brightness 127/255\n    unread: 01 02 (wheel speeds is cut off)' \
  "" "$zkhal" explain 0D7F0102
expect "explain no hex" 1 "" "zkhal explain: 0D7: a byte has two hex digits" "$zkhal" explain 0D7
"$zkhal" encode bench/documents/head_eye.json >"$dir/packets" 2>/dev/null
expect "explain what encode prints" 0 "~ping: id 4660" "" sh -c "'$zkhal' explain <'$dir/packets'"

# Sensors
hex=0012000800000010000000000000000000000000
expect "a report given as hex" 0 "~\"z\":0}" "" "$zkhal" decode "$hex"
expect "pretty" 0 $'~{\n  "tm": 18,\n  "2003": {' "" "$zkhal" decode --pretty "$hex"
printf '# comment\n\n0.5 %s\n%s zz\n%s%s\n12\n' $hex $hex $hex $hex >"$dir/capture"
expect "malformed lines are skipped" 1 "~\"5102\"" $'~capture:4: \'z\' is no hex digit' "$zkhal" decode "$dir/capture"
expect "sizes are told" 1 "~\"tm\"" "~capture:6: a report is one or two packets of 20 bytes, not 1 byte" \
  "$zkhal" decode "$dir/capture"
expect "a time of six decimals, and an indented remark" 0 "~\"tm\":18" "" \
  sh -c "printf '  # begins\n0.033333 $hex\n1e-3 $hex\n' | '$zkhal' decode"
printf '\xEF\xBB\xBF0.5 %s\n' $hex >"$dir/capture"
expect "a capture with a byte order mark" 0 "~\"tm\":18" "" "$zkhal" decode "$dir/capture"
expect "an exponent in an argument" 0 "~\"tm\":18" "" "$zkhal" decode "1e-3 $hex"
expect "a time before a packet that is cut off" 1 "" "~not 19 bytes" "$zkhal" decode "10 ${hex:2}"
expect "bytes in pairs" 0 "~\"tm\":18" "" "$zkhal" decode "$(echo $hex | sed 's/../& /g')"
expect "a name that is cut off" 0 '~"name": "\ufffd(' "" "$zkhal" advert 0301 $'\xc3\x28'
[ "$( (echo $hex; sleep 0.3; echo $hex) | "$zkhal" decode --live - | head -n 1 | wc -l)" = 1 ] || { echo "live"; failures=$((failures + 1)); }
expect "quality" 0 "~\"tm\"" "~seqNum: 0 seriesCount:   0 packetCount:     1" "$zkhal" decode --quality "$hex"
expect "a picture" 0 "~\"2002\"" "" "$zkhal" decode --svg "$dir/drive.svg" examples/drive.capture
grep -q '>Battery<' "$dir/drive.svg" && grep -q '</svg>' "$dir/drive.svg" || { echo "no picture"; failures=$((failures + 1)); }
"$zkhal" decode examples/drive.capture >"$dir/first"
"$zkhal" decode examples/drive.capture | cmp -s - "$dir/first" || { echo "captures differ"; failures=$((failures + 1)); }
expect "no folder for the picture" 1 "~\"tm\"" "~No such file or directory" "$zkhal" decode --svg "$dir/no/x.svg" "$hex"
expect "an advertisement" 0 $'~"robot": "Orvik"' "" \
  "$zkhal" advert 03010010070301980A000000A1B2C30005206F6E2033 "Orvik num"
expect "a Quill's second way to charge" 0 $'~"chargeMode": 2,\n  "charge": "charging",' "" "$zkhal" advert 0303000000000002
expect "an application's language" 0 '~"language": "' "" "$zkhal" advert 0301000000000000000A
expect "a bootloader has none" 0 '~"robot": "Orvik, bootloader"' "" "$zkhal" advert 0101000000000000000A
grep -q '"language"' "$dir/out" && { echo "a bootloader has a language"; failures=$((failures + 1)); }
expect "too long an advertisement" 1 "" "zkhal advert: Unexpected dataLength of 27" "$zkhal" advert "$(printf '00%.0s' $(seq 27))"

# Virtual robots
if "$zkhal" demo --help >/dev/null 2>&1; then  # not where it is built without hosts
  "$zkhal" demo --seed 1 | diff - tests/golden/lesson-orvik.txt || { echo "the lesson differs"; failures=$((failures + 1)); }
  faults=drop=0.05,duplicate=0.05,delay=0.1,reorder=0.1,corrupt=0.05,truncate=0.05,cut=0.2
  for robot in orvik pell quill rusk; do
    expect "a lesson" 0 "~host   disconnects" "" "$zkhal" demo --robot $robot --svg "$dir/$robot.svg"
    grep -q '</svg>' "$dir/$robot.svg" || { echo "no picture of $robot"; failures=$((failures + 1)); }
    expect "a lesson over a bad link" 0 "~faults of the link" "" "$zkhal" demo --robot $robot --seed 3 --faults $faults
  done
  expect "no such fault" 2 "" "~there are drop duplicate" "$zkhal" demo --faults lose=1
  expect "no such robot" 2 "" "~no virtual robot" "$zkhal" demo --robot virtual:bo
  printf 'NAME\r\n\nECHO a b\n' >"$dir/commands"
  expect "a shell" 0 $'Virtual Rusk\na b' "" sh -c "'$zkhal' shell --robot rusk --quiet <'$dir/commands'"
  expect "a shell without an answer" 1 "~<- C8 3E 3F 4E 4F 03" "" sh -c "printf 'NO\nSLEEP\n' | '$zkhal' shell"
fi

# Puppets
expect "a recording" 0 "" "" "$zkhal" record -o "$dir/eight.csv"
expect "its sequence" 0 "" "" "$zkhal" puppet "$dir/eight.csv" -o "$dir/eight.json"
(cd "$dir" && "$zkhal" animate eight.json --slot 3 >listed 2>told) || { echo "no animation"; failures=$((failures + 1)); }
expect "the file lists as it was made" 0 "~122 frames, 2424 bytes" "" "$zkhal" animate --list "$dir/SYSTPUPPET3AN"
"$zkhal" animate --list "$dir/SYSTPUPPET3AN" | diff - <(head -n -1 "$dir/listed") || failures=$((failures + 1))
expect "a replay" 0 "~122 frames in " "" \
  "$zkhal" replay --over "$dir/eight.csv" --svg "$dir/eight.svg" "$dir/SYSTPUPPET3AN"
grep -q '>Path<' "$dir/eight.svg" || { echo "no picture of a replay"; failures=$((failures + 1)); }
printf 'operation, tAnim, tPose, x, y, theta, pan, tilt\nMEAS, 0.000000, 0.500000, 1.000000, 2.000000, 0.000000, 0.000000, 0.000000\n' >"$dir/measured.csv"
expect "a log of the library" 0 '~"x":1.0000,"y":2.0000' "" "$zkhal" puppet --from 0 --to 1 "$dir/measured.csv"
printf '\xEF\xBB\xBFt,x,y,theta,pan,tilt\n0,1,2\n' >"$dir/short.csv"
expect "a short line" 1 "" "~short.csv:2: six numbers are wanted, not 3" "$zkhal" puppet "$dir/short.csv"
printf 'x\n' >"$dir/none.csv"
expect "no recording" 1 "" "~none.csv:1: a recording begins with" "$zkhal" puppet "$dir/none.csv"
for time in nan -inf 1e99; do
  expect "no time" 2 "" "~a number from -1e+09 to 1e+09, not '$time'" "$zkhal" puppet --to $time "$dir/measured.csv"
done
printf '\x81\x03' >"$dir/one"
expect "one frame" 0 "~1 frame, 2 bytes, 0.003 s" "" "$zkhal" animate --list "$dir/one"
printf '{"data":[{"duration":0.3,"commands":{}},{"duration":1,"commands":{}}]}' >"$dir/bad.json"
expect "a refused sequence" 1 "" "~refused: frame 2: \"duration\" is written with a point: 1.0" "$zkhal" animate "$dir/bad.json"
printf '\x43\x01' >"$dir/cut"
expect "a file that is cut off" 1 "~0 frames" "~byte 0: the record is cut off" "$zkhal" animate --list "$dir/cut"
expect "a robot without wheels" 1 "" "~does not drive" "$zkhal" replay --robot pell "$dir/SYSTPUPPET3AN"

# Sounds, where there are any
# tone FILE RATE HZ LEVEL: half a second that swells and fades; HZ 0: steps between half of full scale and LEVEL.
tone() {
  python3 - "$@" <<'END'
import math, struct, sys, wave
name, rate, hz, level = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), float(sys.argv[4])
count = rate // 2
def sample(i):
    if hz == 0:
        return int(level) if i // 50 % 2 == 0 else 16384
    return round(32767 * level * math.sin(math.pi * i / count) ** 2 * math.sin(2 * math.pi * hz * i / rate))
with wave.open(name, "wb") as out:
    out.setparams((1, 2, rate, count, "NONE", ""))
    out.writeframes(struct.pack("<%dh" % count, *(sample(i) for i in range(count))))
END
}
if "$zkhal" --help | grep -q '^ *sound '; then
  # The level that is left, as a part of what it was: 40 dB are 0.01, 0.5 dB are 0.944.
  for each in "44100 12000 0 0.01" "44100 1000 0.944 1.06" "48000 9000 0 0.01" "8000 1000 0.944 1.06" "96000 6500 0.944 1.06"; do
    read -r rate hz least most <<<"$each"
    tone "$dir/tone.wav" "$rate" "$hz" 0.5
    "$zkhal" sound --no-normalize "$dir/tone.wav" |
      awk -v least="$least" -v most="$most" '$1 == "peak" { found = 1; part = $2 / 50 } END { exit !(found && part >= least && part <= most) }' ||
      { echo "$hz Hz at $rate Hz: $("$zkhal" sound --no-normalize "$dir/tone.wav")"; failures=$((failures + 1)); }
  done
  for low in -32768 -32767; do
    tone "$dir/steps.wav" 16000 0 $low
    "$zkhal" sound "$dir/steps.wav" -o "$dir/STEPS$low" >"$dir/out"
  done
  cmp "$dir/STEPS-32768" "$dir/STEPS-32767" || failures=$((failures + 1))
  tone "$dir/steps.wav" 44100 0 -32768
  expect "the filter overshoots" 0 "~peak 100.0% of full scale, made 0.99 times as loud: 99.0%" "" "$zkhal" sound "$dir/steps.wav"
fi
if "$zkhal" --help | grep -q '^ *sound ' && command -v espeak-ng >/dev/null; then
  espeak-ng -w "$dir/hello.wav" "Hello, class"
  expect "a sound" 0 "~the sound file is" "" "$zkhal" sound "$dir/hello.wav" -o "$dir/HELLO"
  expect "what is in it" 0 "~of 1024 samples at 16000 Hz" "" "$zkhal" sound --info "$dir/HELLO"
  "$zkhal" sound "$dir/hello.wav" -o - --no-normalize 2>/dev/null | head -c 4 | cmp -s - <(printf '\x2f\x00\x80\x3e') ||
    { echo "no sound on standard output"; failures=$((failures + 1)); }
  head -c 500 "$dir/HELLO" >"$dir/CUT"
  expect "a damaged one" 1 "~frames" "~bytes behind it, there are 491" "$zkhal" sound --info "$dir/CUT"
  printf '\x10' | dd of="$dir/HELLO" bs=1 seek=11 conv=notrunc status=none
  expect "frames of another kind" 1 "~their own headers say 44100 Hz" "~is not of the robots' kind" "$zkhal" sound --info "$dir/HELLO"
  head -c 44 "$dir/hello.wav" >"$dir/empty.wav"
  expect "no samples" 1 "" "~there are no samples in it" "$zkhal" sound "$dir/empty.wav"
  expect "no sound at all" 1 "" "~zkhal sound: README.md: " "$zkhal" sound README.md
  expect "no such recording" 1 "" "~No such file" "$zkhal" sound "$dir/nowhere.wav"
fi

# The demonstration fails where a command of it does, in a pipe too.
mkdir "$dir/build" "$dir/build/examples"
for failing in explain decode animate; do
  printf '#!/bin/sh\n[ "$1" = %s ] && exit 3\nexec "%s" "$@"\n' $failing "$zkhal" >"$dir/build/zkhal"
  printf '#!/bin/sh\n' >"$dir/build/examples/host"
  chmod +x "$dir/build/zkhal" "$dir/build/examples/host"
  expect "a demonstration without $failing" 1 "~hello" "~status 3" scripts/demo "$dir/build"
done

expect "help" 0 "~zkhal encode --explain" "" "$zkhal" encode --help
expect "version" 0 "~zkhal 0." "" "$zkhal" --version
expect "no command" 2 "" "~subcommand is required" "$zkhal"
expect "no such command" 2 "" "~'bogus' is no command."$'\n'"Commands: " "$zkhal" bogus
expect "nearly a command" 2 "" "~'encdoe' is no command. Did you mean encode?" "$zkhal" encdoe '{}'
expect "the beginning of a command" 2 "" "~Did you mean vocabulary?" "$zkhal" vocab
expect "an unknown option" 2 "" "~--nope" "$zkhal" encode --nope
expect "a full disk" 1 "" "zkhal: cannot write the result" sh -c "'$zkhal' explain 0D7F >/dev/full"

[ "$failures" -eq 0 ] && echo "command line: all as expected"
exit "$((failures > 0))"
