#!/usr/bin/env bash
# Installs the Debian packages of ./dev package from DIR, checks the tree under /usr, purges them
# and restores the package set, also after a failure. Usage, as root or with sudo: deb_test.sh DIR
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
packages=(libinstall-cpputil1 libinstall-cpputil-dev install-cpputil)
sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
state() { dpkg-query -W -f='${binary:Package} ${db:Status-Status}\n' | grep -v ' not-installed$' | sort; }
before=$(state)
files=()
for p in "${packages[@]}"; do
  ! grep -q "^$p[: ]" <<<"$before" || { echo "$p is on this machine already; remove it first"; exit 1; }
  files+=("$(cd "$1" && pwd)/${p}_"*.deb)
  [ -f "${files[-1]}" ] || { echo "want one $p .deb in $1"; exit 1; }
done

anchor=""
restore() {
  local status=$?
  [ -z "$anchor" ] || "${sudo[@]}" rm -f "$anchor"
  "${sudo[@]}" dpkg --purge "${packages[@]}" >/dev/null 2>&1 || true
  # Whatever the installation pulled in goes too.
  mapfile -t added < <(comm -13 <(echo "$before") <(state) | cut -d' ' -f1)
  [ ${#added[@]} -eq 0 ] || "${sudo[@]}" apt-get purge -y -qq "${added[@]}" >/dev/null
  [ "$(state)" = "$before" ] || { echo "the package set differs from before"; status=1; }
  exit "$status"
}
trap restore EXIT

echo "-- apt-get install ${files[*]##*/}"
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
  "${files[@]}" >/dev/null
grep -q 'libinstall_cpputil.so.1 ' <<<"$(ldconfig -p)"
"$here/consumer/check-installed.sh" /usr
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

echo "-- apt-get purge ${packages[*]}"
"${sudo[@]}" apt-get purge -y -qq "${packages[@]}" >/dev/null
for p in /usr/lib/libinstall_cpputil.so.1 /usr/include/install/cpputil /usr/bin/install-cpputil; do
  [ ! -e "$p" ] || { echo "$p is left after removal"; exit 1; }
done
echo "Debian packages OK"
