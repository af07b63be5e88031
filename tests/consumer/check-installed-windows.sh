#!/usr/bin/env bash
# Checks an installed Windows tree under Wine: the DLL and its import library, the CMake package,
# pkg-config, the exported symbols and the installed tool. Usage: check-installed-windows.sh PREFIX
# (INSTALL_CPPUTIL_MINGW_CACHE names the dependency cache, as for the build).
set -euo pipefail
prefix=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/../.." && pwd)
cache=${INSTALL_CPPUTIL_MINGW_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/install_cpputil/mingw-w64}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

dll=$prefix/bin/install_cpputil.dll
test -f "$dll"
test -f "$prefix/lib/libinstall_cpputil.dll.a"
export WINEPATH=$prefix/bin
run() { "$repo/cmake/windows/wine-run" "$cache" "$@"; }
# The toolchain file searches only the MinGW prefixes, so the package is named directly.
cmake_args=(-G Ninja -DCMAKE_TOOLCHAIN_FILE="$repo/cmake/windows/toolchain.cmake"
  -Dinstall_cpputil_DIR="$prefix/lib/cmake/install_cpputil")

echo "-- find_package consumer"
cmake -S "$here" -B "$work/cmake" "${cmake_args[@]}" >/dev/null
cmake --build "$work/cmake" >/dev/null
run "$work/cmake/boundary.exe"

echo "-- the README's example project"
cmake -S "$repo/examples/consumer" -B "$work/example" "${cmake_args[@]}" >/dev/null
cmake --build "$work/example" >/dev/null
printf 'Mode = typical\nport = 8443\n' >"$work/input.txt"
run "$work/example/installer_step.exe" "$work/input.txt" "$work/logs/step.log" >/dev/null
grep -q ') Step finished.$' "$work/logs/step.log"
run "$work/example/installer_step.exe" "$work/input.txt" "$work/logs/step.log" --trace \
  >"$work/trace.txt" 2>&1
grep -q 'set destination' "$work/trace.txt"

echo "-- pkg-config consumer"
# shellcheck disable=SC2046
x86_64-w64-mingw32-g++-posix -std=c++17 "$here/boundary.cpp" -o "$work/pc.exe" \
  $(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs install_cpputil)
run "$work/pc.exe" >/dev/null

echo "-- exported symbols are ours"
others=$(x86_64-w64-mingw32-objdump -p "$dll" |
  sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' | awk '/^\t\[ *[0-9]+\]/ {print $NF}' |
  x86_64-w64-mingw32-c++filt |
  grep -v -E '^install::cpputil::|^(typeinfo|typeinfo name|vtable) for install::cpputil::|^shouldAppend\(' ||
  true)
if [ -n "$others" ]; then echo "unexpected exports:"; echo "$others"; exit 1; fi

echo "-- the installed tool and its examples"
run "$prefix/bin/install-cpputil.exe" --version
run "$prefix/bin/install-cpputil.exe" demo --dir "$work/demo" --steps 1 --step-ms 0 >/dev/null
grep -q ') Setup finished.$' "$work/demo/install.log"
echo "installed package OK"
