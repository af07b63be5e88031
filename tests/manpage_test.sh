#!/usr/bin/env bash
# The manual page renders without warnings, and it and the bash completion offer every command
# and option that --help lists. Usage: manpage_test.sh TOOL PAGE COMPLETION
set -euo pipefail
tool=$1 page=$2 completion=$3
export LC_ALL=C MANWIDTH=100
failures=0
fail() { echo "$*"; failures=$((failures + 1)); }

warnings=$(man --warnings -l "$page" 2>&1 >/dev/null)
[ -z "$warnings" ] || fail "man -l $page warns: $warnings"
text=$(man --nh --nj -l "$page")

# shellcheck source=/dev/null
source "$completion"
complete_fn=$(complete -p install-cpputil | sed -E 's/.*-F ([^ ]+).*/\1/')
offered() {  # offered WORD... : what completion proposes for the last word
  COMP_WORDS=(install-cpputil "$@") COMP_CWORD=$# COMPREPLY=()
  "$complete_fn"
  printf '%s\n' "${COMPREPLY[@]}"
}
listed() { awk -v head="$1" '$0 == head {on = 1; next} !NF {on = 0} on'; }
options_of() { "$tool" "$@" --help | listed Options: | grep -oE -- '--[a-z][a-z-]*' | sort -u; }

commands=$("$tool" --help | listed Subcommands: | awk '{print $1}')
[ -n "$commands" ] || fail "no commands in --help"
for option in $(options_of); do
  grep -qF -- "$option" <<<"$text" || fail "page lacks $option"
done
for command in $commands; do
  grep -qE "^ +$command( |$)" <<<"$text" || fail "page lacks the command $command"
  # Here-strings, not pipes: grep -q leaving early would fail the pipe under pipefail.
  grep -qx "$command" <<<"$(offered "")" || fail "completion lacks the command $command"
  for option in $(options_of "$command"); do
    grep -qE -- "(^|[^a-z-])$option([^a-z-]|$)" <<<"$text" || fail "page lacks $command $option"
    grep -qx -- "$option" <<<"$(offered "$command" --)" || fail "completion lacks $command $option"
  done
done
echo "$(wc -w <<<"$commands") commands checked, $failures failed"
[ "$failures" -eq 0 ]
