#!/usr/bin/env bash
# The example NSIS installer run silently under Wine, each time into a new folder that holds
# version 1.9.2: its exit status and its log, with the answers it carries and with answers that
# break a rule. Usage: nsis_test.sh INSTALLER REPO EMULATOR...
set -uo pipefail
installer=$1 repo=$2
shift 2
emulator=("$@")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
win() { printf 'Z:%s' "${1//\//\\}"; }
# run NAME STATUS LOG ARGS...: the run with ARGS into $work/NAME ends with STATUS and leaves LOG,
# where "(T) " stands for each time stamp.
run() {
  local dir=$work/$1 want="$2"$'\n'"$3"$'\n.' got
  mkdir "$dir" && printf '[Product]\r\nVersion=1.9.2\r\n' >"$dir/product.ini"
  LC_ALL=de_DE.UTF-8 "${emulator[@]}" "$installer" /S "${@:4}" "/D=$(win "$dir")"
  got="$?"$'\n'"$(sed -E 's/^\([A-Z][a-z]{2} [0-9]{2}, [0-9]{4} [0-9:]{8}\) /(T) /' \
    "$dir/Logs/install.log"; echo .)"
  [ "$got" = "$want" ] && return
  echo "$1:" && diff <(echo "$want") <(echo "$got")
  failures=$((failures + 1))
}

good=$(win "$work/good") bad=$(win "$work/bad")
run good 0 "(T) Setup of Prödukt 製品 1.10.0 begun in $good.
(T) Settings: mode typical, port 8443.
(T) Upgrading 1.9.2 to 1.10.0.
(T) Content of the file $good\\components.txt
$(cat "$repo/examples/nsis/components.txt")
End of the file $good\\components.txt
(T) Installer locale: de_DE.
(T) Logged by install-cpputil.exe.
(T) Setup of Prödukt 製品 1.10.0 finished."
printf 'Mode = everything\nport = 8443\n' >"$work/answers.txt"
run bad 2 "(T) Setup of Prödukt 製品 1.10.0 begun in $bad.
(T) Setup stopped: key='mode' value='everything' rule='strval:typical,custom'" \
  "/SETTINGS=$(win "$work/answers.txt")"
exit $((failures > 0))
