#!/usr/bin/env bash
# Keeps the README honest: each "$ install-cpputil ..." line of its console blocks, run from the
# repository root, prints the lines shown under it, and each line of its C++ excerpt stands in
# the example project that CI builds. Usage: readme_test.sh TOOL REPO
set -euo pipefail
tool=$1
cd "$2"
failures=0 ran=0 block="" command="" expected=""
fail() { printf '%s\n' "$@"; failures=$((failures + 1)); }
# Runs the command gathered so far, if any.
check() {
  [ -n "$command" ] || return 0
  ran=$((ran + 1))
  actual=$("$tool" ${command#install-cpputil } 2>&1) || true
  [ "$actual" = "$expected" ] || fail "README differs: $command" "--- shown" "$expected" "--- actual" "$actual"
  command="" expected=""
}
# Without comments and white space, so that the formatter may wrap the project's lines.
squeeze() { sed -e 's|//.*$||' | tr -d '[:space:]'; }
project=$(squeeze <examples/consumer/main.cpp)
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
echo "$ran README commands checked, $failures failed"
[ "$ran" -gt 0 ] && [ "$failures" -eq 0 ]
