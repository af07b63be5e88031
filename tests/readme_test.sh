#!/usr/bin/env bash
# Keeps the README honest: runs every "$ install-cpputil ..." line of its console blocks from the
# repository root and compares the output with the lines shown under it, and checks that the C++
# excerpt stands in the example project that CI builds. Usage: readme_test.sh TOOL REPO
set -euo pipefail
tool=$1
repo=$2
cd "$repo"

failures=0
check_command() {
  local command=$1 expected=$2 actual
  actual=$("$tool" ${command#install-cpputil } 2>&1) || true
  if [ "$actual" != "$expected" ]; then
    printf 'README example differs: %s\n--- shown\n%s\n--- actual\n%s\n' "$command" "$expected" "$actual"
    failures=$((failures + 1))
  fi
}

in_console=0 command="" expected="" ran=0
while IFS= read -r line; do
  if [ "$line" = '```console' ]; then in_console=1; continue; fi
  if [ $in_console -eq 1 ] && [ "$line" = '```' ]; then
    [ -n "$command" ] && { check_command "$command" "$expected"; ran=$((ran + 1)); }
    in_console=0 command="" expected=""
    continue
  fi
  [ $in_console -eq 1 ] || continue
  if [[ $line == '$ '* ]]; then
    [ -n "$command" ] && { check_command "$command" "$expected"; ran=$((ran + 1)); }
    command=${line#'$ '} expected=""
  else
    expected+=${expected:+$'\n'}$line
  fi
done < README.md

# The C++ excerpt: every line but comments and elisions is in the example project, compared
# without whitespace so that the formatter may wrap the project's lines.
squeeze() { sed -e 's|//.*$||' | tr -d '[:space:]'; }
project=$(squeeze < examples/consumer/main.cpp)
in_cpp=0
while IFS= read -r line; do
  if [ "$line" = '```cpp' ]; then in_cpp=1; continue; fi
  if [ $in_cpp -eq 1 ] && [ "$line" = '```' ]; then in_cpp=0; continue; fi
  [ $in_cpp -eq 1 ] || continue
  code=$(squeeze <<<"$line")
  [ -z "$code" ] && continue
  [[ $project == *"$code"* ]] ||
    { echo "README C++ line not found in examples/consumer/main.cpp: $code"; failures=$((failures + 1)); }
done < README.md

echo "$ran README commands checked, $failures failed"
[ "$ran" -gt 0 ] && [ "$failures" -eq 0 ]
