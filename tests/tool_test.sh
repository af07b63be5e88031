#!/usr/bin/env bash
# install-cpputil run as a process: each row's exit status, standard output, standard error and
# the log it leaves; the demo stopped by signals; and the README's examples.
# Usage: tool_test.sh TOOL REPO [windows] (TOOL is a command; under Wine, one that runs it there)
set -uo pipefail
tool=$1 repo=$2 windows=${3:-}
work=$(mktemp -d)
trap 'chmod -R u+rwx "$work"; rm -rf "$work"' EXIT
cd "$work" && chmod 755 .
export TMPDIR=$work TMP=$work # never the real default log
failures=0
fail() { printf '%s\n' "$@"; failures=$((failures + 1)); }
# A file with each time stamp made "(T) ", and a "." after it, which $(...) keeps.
plain() { [ ! -f "$1" ] || sed -E 's/\([A-Z][a-z]{2} [0-9]{2}, [0-9]{4} [0-9:]{8}\) /(T) /g' "$1"; echo .; }
run=()
# row STATUS OUT ERR LOG ARGS...: what the tool run with ARGS must give, and leave in "log".
row() {
  local want="$1|$2.|$3.|$4." got
  shift 4
  rm -f log
  "${run[@]}" "$tool" "$@" >stdout 2>stderr
  got="$?|$(plain stdout)|$(plain stderr)|$(plain log)"
  [ "$got" = "$want" ] || fail "install-cpputil $*" "--- wanted" "$want" "--- got" "$got"
}
# refused TEXT ARGS...: the one line of an error, and status 2.
refused() { row 2 "" "install-cpputil: $1"$'\n' "" "${@:2}"; }

mkdir -p plain/root/qx_anchor sandboxed/root folder/qx_anchor
printf 'a = 1\n' >in
: >sandboxed/qx_anchor
printf 'line one\nline two' >side && : >empty
printf 'Name = V"\r\nproduct.Alpha_Tools\nproduct.Beta\ncaf\xC3\xA9 = cr\xC3\xA8me\n' >json
truncate -s 100G huge
traced=$'[install::cpputil::InputFileParser] 4  line=a = 1\n'
nosuch="No such file or directory" && [ -z "$windows" ] || nosuch=$("$tool" parse none.txt 2>&1 | sed 's/.*: //')

refused "not a version number: '1.99999999999'" compare 1.99999999999 1
refused "not a version number: '1.x'" compare 1.x 2.y
# compare A OP B answers by its status alone: each operator with A smaller, equal and greater.
for relation in "lt 0 1 1" "le 0 0 1" "eq 1 0 1" "ne 0 1 0" "ge 1 0 0" "gt 1 1 0"; do
  read -r op smaller equal greater <<<"$relation"
  row "$smaller" "" "" "" compare 1.2 "$op" 1.10
  row "$equal" "" "" "" compare 2.0.1 "$op" 2.0.1
  row "$greater" "" "" "" compare 1.10 "$op" 1.2
done
refused "not a comparison operator: 'lq' (lt, le, eq, ne, ge or gt)" compare 1 lq 2
refused "not a version number: '2.y'" compare 1 lt 2.y
refused "B is required (see --help)" compare 1
# The anchor, a file or a folder, beside the root, which need not exist; not in the root.
row 0 $'false\n' "" "" sandbox --root plain/root
row 0 $'true\n' "" "" sandbox --root sandboxed//root//
row 0 $'true\n' "" "" sandbox --root folder/gone
row 1 "" "" "" sandbox -q --root plain/root
row 0 "" "" "" sandbox --quiet --root sandboxed/root
row 0 $'{\n  "caf\xC3\xA9": "cr\xC3\xA8me",\n  "name": "V\\"",\n  "product": [\n    "Alpha Tools",\n    "Beta"\n  ]\n}\n' \
  "" "" parse json --json
# Every rule; "check" prints each violation, in key order, and a failed file rule logs two lines.
printf 's1 = strval:a,b,c\ns2 = strval:,a\ns3 = strval:a:b\ns4 = strval\nb1 = boolval\nb2 = boolval
i1 = intval:1-10\ni2 = intval\ni3 = intval\nu = StrVal:a\nf = rfile\n' >rules
printf 's1 = B\ns2 =\ns3 = a:b\ns4 = strval\nb1 = tRuE\nb2 = yess\ni1 = \t+7x\ni2 = 2147483648
i3 = -\nu = abc\nf = none.txt\n' >bad
row 1 $'key=\'b2\' value=\'yess\' rule=\'boolval\'\nkey=\'f\' value=\'none.txt\' rule=\'rfile\'
key=\'i2\' value=\'2147483648\' rule=\'intval\'\nkey=\'i3\' value=\'-\' rule=\'intval\'
key=\'s1\' value=\'B\' rule=\'strval:a,b,c\'\n' \
  "" $'(T) Error reading file none.txt\n(T) File \'none.txt\' does not exist or it\'s empty\n' \
  check bad --rules rules --log log
# Windows' console and null device are no readable files either, nor waited on.
printf 'x = rfile\ny = rfile\n' >devices && printf 'x = CON\ny = NUL\n' >names
row 1 $'key=\'x\' value=\'CON\' rule=\'rfile\'\nkey=\'y\' value=\'NUL\' rule=\'rfile\'\n' "" "" \
  check names --rules devices
[ -n "$windows" ] || [ -s "zembrak_$(id -un).log" ] || fail "no default log zembrak_$(id -un).log" # Wine has its own
row 0 "" "" $'(T) 1st\n(T) 2nd\n(T) Content of the file side\nline one\nline two\nEnd of the file side
(T) Content of the file empty\nEnd of the file empty\n' log --to log --file side --file empty 1st 2nd
row 0 "" "" $'(T) --trace\n' log --to log -- --trace
row 0 "" "" $'(T) x\n(T) Content of the file -\nline one\nline two\nEnd of the file -\n' \
  log --to log --file - x <side
refused "-: larger than 256 MiB, too large to copy into the log" log --to log --file - x <huge
# Arguments beyond ASCII and the code page, a file name among them, reach the log as UTF-8.
cp side $'s\xC3\xA9'
row 0 "" "" $'(T) \xE6\x97\xA5 caf\xC3\xA9\n(T) Content of the file s\xC3\xA9\nline one\nline two\nEnd of the file s\xC3\xA9\n' \
  log --to log --file $'s\xC3\xA9' $'\xE6\x97\xA5 caf\xC3\xA9'
# A record cut short by a file-size limit (Wine's host sets it, Windows has none) is taken back
# whole, and its drop traced; its SIGXFSZ, at the default disposition, stops nothing (under Wine,
# whose host signal Windows code cannot hold, it is ignored).
lost=$( (ulimit -f 4 && { [ -z "$windows" ] || trap '' XFSZ; } && "$tool" --trace 4 log --to limited.log small \
  "$(printf '%10000s' '' | tr ' ' x)" after 2>&1 >/dev/null) | grep -c 'for u8msg (.*) xxxx')
[ "$(plain limited.log)|$lost" = $'(T) small\n(T) after\n.|1' ] || fail "a record cut short: $(cat limited.log)"
refused "none.txt: $nosuch" parse none.txt
refused ".: is a folder, not a file" parse .
refused "no: $nosuch" log --to log --file no x
refused "huge: larger than 256 MiB, too large to copy into the log" log --to log --file huge x
refused 'Install Logger: Cannot open file ""' log --to "" x
row 0 $'a = 1\n' "$traced" "" --trace 012 parse in
row 0 $'a = 1\n' "$traced" "" parse in --trace 0x0C
refused "not a trace mask: '+4'" --trace +4 locale
refused "unknown command 'bogus' (see --help)" bogus
refused "FILE is required (see --help)" parse
# Kept lines trimmed and traced, comments and blank lines dropped, the byte-order mark kept, and
# warned of: a rule for the key behind it never applies.
printf '\xEF\xBB\xBFKey=1\r\n# k=2\r\n\n\t product.Alpha_Tools \r\nplatform.x_1' >bom
t='[install::cpputil::InputFileParser] 4  line='
marked="the first line begins with a byte-order mark, which stays part of its key"$'\n'
row 0 $'platform[] = x 1\nproduct[] = Alpha Tools\n\xEF\xBB\xBFkey = 1\n' \
  "$t"$'\xEF\xBB\xBFKey=1\n'"$t"$'product.Alpha_Tools\n'"$t"$'platform.x_1\n'"install-cpputil: warning: bom: $marked" \
  "" --trace 4 parse bom
printf '\xEF\xBB\xBFmode = bogus\n' >marked && printf 'mode = strval:a\n' >mode
row 0 "" "install-cpputil: warning: marked: $marked" "" check marked --rules mode
# Each command's --help shows --trace and its own exit statuses only.
for statuses in "parse 0 2" "check 0 1 2" "compare 0 1 2" "locale 0 2" "sandbox 0 1 2" \
  "log 0 2 130/143" "demo 0 2 130/143"; do
  help=$("$tool" "${statuses%% *}" --help)
  got=$(sed -n '/^Exit status:/,$p' <<<"$help" | awk '$1 ~ /^[0-9]/ {printf " %s", $1}')
  [[ $help == *"--trace MASK"* && ${statuses%% *}$got == "$statuses" ]] || fail "$statuses --help:" "$help"
done
# The locale of LC_ALL, LC_MESSAGES or LANG, the first set and not empty, which Wine makes the
# user's; C and POSIX mean en_US. Its channel never traces.
unset LC_ALL LC_MESSAGES LANG
locale_row() {
  run=(env "${@:2}")
  row 0 "$1"$'\n' "" "" --trace 0xFFFFFFFF locale
  run=()
}
locale_row sr_RS LC_ALL=sr_RS@latin
locale_row de_DE LC_ALL=de_DE.UTF-8 LC_MESSAGES=fr_FR
if [ -z "$windows" ]; then
  locale_row fr_FR LC_ALL= LC_MESSAGES=fr_FR.UTF-8@euro LANG=it_IT
  locale_row en_US LC_ALL=C LANG=it_IT
  locale_row en_US LANG=POSIX
  locale_row en_US
  locale_row fr_ LANG=fr
fi
export INSTALL_CPPUTIL_TRACE='*=12' # records of the variable's masks go to standard error too
row 0 $'a = 1\n' "$traced" "" parse in
unset INSTALL_CPPUTIL_TRACE

if [ -z "$windows" ]; then # users, pipes from <(...) and FIFOs are POSIX's
  row 0 $'a = 1\n' "" "" parse <(printf 'a = 1\n')
  mkfifo fifo
  refused "fifo: is a named pipe, not a file" check fifo --rules rules
  refused "fifo: is a named pipe, not a file" check in --rules fifo
  refused "fifo: is a pipe, not a file" log --to fifo x
  refused "fifo: is a pipe, not a file" log --to log --file fifo x
  # A mode 000 file keeps out anyone but root: as root, the tool runs as nobody. A file rule
  # wants a readable regular file of one byte or more, and never waits on a FIFO or device.
  cp in locked && chmod 000 locked
  own_tool=$tool
  if [ "$(id -u)" -eq 0 ]; then
    # nobody may not enter the build tree (a home folder is private): a copy of the tool and the
    # libraries it finds outside the system's folders (ours, and a libc++ build's Boost) in the
    # scratch folder, which nobody can read, stands in for it.
    mkdir nobody && cp "$tool" nobody/
    ldd "$tool" | awk '$3 ~ /^\// && $3 !~ /^\/(usr\/)?lib/ {print $3}' | xargs -r cp -t nobody/
    tool=$work/nobody/${tool##*/}
    run=(setpriv --reuid=nobody --regid=nogroup --clear-groups env LD_LIBRARY_PATH="$work/nobody")
  fi
  refused "locked: Permission denied" check locked --rules rules
  refused "locked: Permission denied" check in --rules locked
  printf '%s = rfile\n' a b c d e f g h >files
  printf 'a = folder//../in\nb = empty\nc = folder\nd = missing\ne = locked\nf = fifo\ng = /dev/zero\nh =\n' >paths
  row 1 "$(for k in b:empty c:folder d:missing e:locked f:fifo g:/dev/zero h:; do
    printf "key='%s' value='%s' rule='rfile'\n" "${k%%:*}" "${k#*:}"
  done)"$'\n' "" "" check paths --rules files
  run=() tool=$own_tool
  # Processes appending to one log at once, across a change of the second: every record whole,
  # stamps never back along the file; and none written while another holds the log's lock.
  : >shared.log
  flock shared.log sleep 1 &
  sleep 0.2
  for p in 1 2 3 4; do
    (end=$((SECONDS + 2)) && while [ $SECONDS -lt $end ]; do "$tool" log --to shared.log $p$p; done) &
  done
  sleep 0.5
  [ ! -s shared.log ] || fail "records written while the log's lock was held"
  wait
  stamp='\(([0-9]{2}) ([0-9]{2}), ([0-9]{4}) ([0-9:]{8})\) (11|22|33|44)$'
  months=$(m=0 && for name in Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec; do
    printf 's/^\\(%s /(%02d /;' $name $((m += 1))
  done)
  sed -E "$months" shared.log >numbered
  [ "$(grep -cvE "^$stamp" numbered)" -eq 0 ] && [ "$(sort -u <(grep -oE '(.)\1$' numbered) | wc -l)" -eq 4 ] &&
    sed -E "s/^$stamp/\3 \1 \2 \4/" numbered | sort -c || fail "a torn record, or a stamp back along the file"
  # SIGINT in the middle of a large file's copy: the record is finished first, and the next one
  # (the second copy) never begun.
  head -c 32M /dev/zero | tr '\0' z >big
  set -m
  "$tool" log --to cut.log --file big --file big &
  set +m && pid=$!
  for _ in $(seq 500); do [ -s cut.log ] && break; sleep 0.01; done
  kill -INT "$pid" && wait "$pid"
  status=$?
  [ "$status|$(grep -c '^End of the file big$' cut.log)|$(tail -n 1 cut.log)" = "130|1|End of the file big" ] ||
    fail "SIGINT during a copy: status $status, log ends: $(tail -c 40 cut.log)"
fi

# The demo stopped as a user's Ctrl-C or a service manager would, once the work has begun (the
# installed package's check runs it to its end).
signals=(INT TERM) && [ -z "$windows" ] || signals=(INT)
for signal in "${signals[@]}"; do
  set -m # a job of its own, which does not ignore SIGINT
  "$tool" demo --dir "$signal" --steps 1000 >/dev/null 2>&1 &
  set +m
  pid=$!
  for _ in $(seq 600); do grep -qs Installing "$signal/install.log" && break || sleep 0.05; done
  kill -"$signal" "$(pgrep -g "$pid" -f '\.exe demo' || echo "$pid")" # the program, under Wine
  wait "$pid"
  status=$? log=$(cat "$signal/install.log")
  [ "$status" -eq "$(($(kill -l "$signal") + 128))" ] && [[ $log == *") Interrupted."* ]] &&
    [[ $log != *"Setup finished."* ]] || fail "SIG$signal: status $status, log:" "$log"
done
# The demo's progress line, redrawn by carriage returns, is for a terminal only.
"$tool" demo --dir piped --steps 2 --step-ms 0 >piped.txt 2>&1
if grep -q $'\r' piped.txt; then fail "demo: progress in a file"; fi
if [ -z "$windows" ] && command -v script >/dev/null; then
  script -qec "'$tool' demo --dir terminal --steps 2 --step-ms 0" /dev/null </dev/null >terminal.txt
  grep -q $'\r  Core Runtime: ' terminal.txt || fail "demo: no progress on a terminal"
fi
# Each "$ install-cpputil ..." line of the README's console blocks, run from the repository root,
# prints the lines shown under it; each line of its C++ excerpts stands in one of the examples
# that CI builds, compared without comments and white space, so that the formatter may wrap it.
cd "$repo" || exit 2
block="" command="" expected="" ran=0
check() {
  [ -n "$command" ] || return 0
  ran=$((ran + 1)) actual=$("$tool" ${command#install-cpputil } 2>&1)
  [ "$actual" = "$expected" ] || fail "README differs: $command" "--- shown" "$expected" "--- actual" "$actual"
  command="" expected=""
}
squeeze() { sed -e 's|//.*$||' | tr -d '[:space:]'; }
project=$(cat examples/*/main.cpp | squeeze)
while IFS= read -r line; do
  case "$block|$line" in
    '|```console' | '|```cpp') block=${line#\`\`\`} ;;
    *'|```') check && block="" ;;
    'console|$ '*) check && command=${line#'$ '} ;;
    console\|*) expected+=${expected:+$'\n'}$line ;;
    cpp\|*)
      code=$(squeeze <<<"$line")
      [ -z "$code" ] || [[ $project == *"$code"* ]] || fail "README C++ line not in the example: $code"
      ;;
  esac
done <README.md
[ "$ran" -gt 0 ] || fail "no README command found"
echo "tool rows, demo and $ran README commands checked, $failures failed"
[ "$failures" -eq 0 ]
