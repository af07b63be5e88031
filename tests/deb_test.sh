#!/usr/bin/env bash
# Installs the three Debian packages on this machine, builds the example project against /usr
# with find_package and with pkg-config, runs it and the tool, then removes the packages. The
# machine's package set is restored even when a step fails. Needs root (or sudo).
# Usage: deb_test.sh DIR   (DIR holds the .deb files that ./dev package made)
set -euo pipefail
debs=$(cd "$1" && pwd)
repo=$(cd "$(dirname "$0")/.." && pwd)
packages=(libinstall-cpputil1 libinstall-cpputil-dev install-cpputil)
sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)

state() { dpkg-query -W -f='${binary:Package} ${db:Status-Status}\n' | grep -v ' not-installed$' | sort; }
before=$(state)
for p in "${packages[@]}"; do
  if grep -q "^$p[: ]" <<<"$before"; then echo "$p is on this machine already; remove it first"; exit 1; fi
done
files=()
for p in "${packages[@]}"; do
  found=("$debs/${p}_"*.deb)
  [ ${#found[@]} -eq 1 ] && [ -f "${found[0]}" ] || { echo "want one $p .deb in $debs"; exit 1; }
  files+=("${found[0]}")
done

work=$(mktemp -d)
echo "$before" >"$work/before"
anchor=""
restore() {
  local status=$?
  [ -z "$anchor" ] || "${sudo[@]}" rm -f "$anchor"
  "${sudo[@]}" dpkg --purge "${packages[@]}" >/dev/null 2>&1 || true
  # Whatever the installation pulled in goes too.
  mapfile -t added < <(state | comm -13 "$work/before" - | cut -d' ' -f1)
  [ ${#added[@]} -eq 0 ] || "${sudo[@]}" apt-get purge -y -qq "${added[@]}" >/dev/null
  if ! state | cmp -s "$work/before" -; then
    echo "the package set differs from before:"; state | diff "$work/before" - || true; status=1
  fi
  rm -rf "$work"
  exit "$status"
}
trap restore EXIT

echo "-- apt-get install ${files[*]##*/}"
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
  "${files[@]}" >/dev/null
grep -q 'libinstall_cpputil.so.1 ' <<<"$(ldconfig -p)"

echo "-- the example project with find_package and with pkg-config, against /usr"
cmake -S "$repo/examples/consumer" -B "$work/cmake" -G Ninja >/dev/null
cmake --build "$work/cmake" >/dev/null
# shellcheck disable=SC2046
c++ -std=c++17 "$repo/examples/consumer/main.cpp" -o "$work/pc" \
  $(pkg-config --cflags --libs install_cpputil)
printf 'Mode = typical\nport = 8443\n' >"$work/input.txt"
for step in "$work/cmake/installer_step" "$work/pc"; do
  "$step" "$work/input.txt" "$work/logs/step.log"
done
[ "$(grep -c ') Step finished.$' "$work/logs/step.log")" -eq 2 ]
version=$(printf '#include "install/cpputil/version.hpp"\nINSTALL_CPPUTIL_VERSION_STRING\n' |
  c++ -std=c++17 -E -P -x c++ - | tr -d '"[:space:]')

echo "-- the tool, its manual page and completion"
[ "$(install-cpputil --version)" = "install-cpputil $version" ]
install-cpputil demo --dir "$work/demo" --steps 1 --step-ms 0 >/dev/null
grep -q ') Setup finished.$' "$work/demo/install.log"
[ "$(man -w install-cpputil)" = /usr/share/man/man1/install-cpputil.1.gz ]
bash -c 'source /usr/share/bash-completion/completions/install-cpputil && complete -p install-cpputil' \
  >/dev/null
# The installation root of a library in /usr/lib is /usr, so the anchor is /qx_anchor.
if [ ! -e /qx_anchor ]; then
  [ "$(install-cpputil sandbox)" = false ]
  anchor=/qx_anchor
  "${sudo[@]}" touch "$anchor"
  [ "$(install-cpputil sandbox)" = true ]
fi

echo "-- removal"
"${sudo[@]}" apt-get purge -y -qq "${packages[@]}" >/dev/null
for p in /usr/lib/libinstall_cpputil.so.1 /usr/include/install/cpputil /usr/bin/install-cpputil; do
  [ ! -e "$p" ] || { echo "$p is left after removal"; exit 1; }
done
echo "Debian packages OK"
