#!/usr/bin/env bash
# Checks an installed tree: the library, its packages for CMake and pkg-config, standalone
# headers, exports and the tool. Usage: check-installed.sh PREFIX, or PREFIX windows for a
# MinGW-w64 tree under Wine (INSTALL_CPPUTIL_MINGW_CACHE names its dependency cache, as for the
# build).
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

prefix=$(cd "$1" && pwd)

if [ "${2:-}" = windows ]; then
  cache=${INSTALL_CPPUTIL_MINGW_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/install_cpputil/mingw-w64}
  export WINEPATH=$prefix/bin
  run() { "$repo/cmake/windows/wine-run" "$cache" "$@"; }
  exe=.exe cxx=x86_64-w64-mingw32-g++-posix lib=$prefix/bin/install_cpputil.dll
  test -f "$prefix/lib/libinstall_cpputil.dll.a"
  # The toolchain file searches only the MinGW prefixes, so the package is named directly.
  cmake_args=(-DCMAKE_TOOLCHAIN_FILE="$repo/cmake/windows/toolchain.cmake"
    -Dinstall_cpputil_DIR="$prefix/lib/cmake/install_cpputil")
  exports() {
    x86_64-w64-mingw32-objdump -p "$lib" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' |
      awk '/^\t\[ *[0-9]+\]/ {print $NF}' | x86_64-w64-mingw32-c++filt
  }
else
  run() { LD_LIBRARY_PATH=$prefix/lib "$@"; }
  exe="" cxx=c++ lib=$prefix/lib/libinstall_cpputil.so.1 cmake_args=(-DCMAKE_PREFIX_PATH="$prefix")
  test -L "$prefix/lib/libinstall_cpputil.so"
  test -f "$prefix/lib/libinstall_cpputil.so.1.0.0"
  [ "$(objdump -p "$lib" | awk '/SONAME/ {print $2}')" = libinstall_cpputil.so.1 ]
  exports() { nm -DC --defined-only "$lib" | awk '{ $1=""; $2=""; print substr($0,3) }'; }
fi
test -f "$lib"

echo "-- find_package consumers: the boundary test and the README's example project"
for name in tests examples; do
  cmake -S "$repo/$name/consumer" -B "$work/$name" -G Ninja "${cmake_args[@]}" >/dev/null
  cmake --build "$work/$name" >/dev/null
done
run "$work/tests/boundary$exe"
printf 'Mode = typical\nport = 8443\n' >"$work/input.txt"
run "$work/examples/installer_step$exe" "$work/input.txt" "$work/logs/step.log" >/dev/null
grep -q ') Step finished.$' "$work/logs/step.log"
# No sink of its own: Boost.Log's default sink prints the records.
run "$work/examples/installer_step$exe" "$work/input.txt" "$work/logs/step.log" --trace \
  >"$work/trace.txt" 2>&1
grep -q 'set destination' "$work/trace.txt"

echo "-- the example project through pkg-config"
# shellcheck disable=SC2046
"$cxx" -std=c++17 "$repo/examples/consumer/main.cpp" -o "$work/pc$exe" \
  $(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs install_cpputil)
run "$work/pc$exe" "$work/input.txt" "$work/logs/pc.log" >/dev/null
grep -q ') Step finished.$' "$work/logs/pc.log"

echo "-- every public header alone, C++17, no Boost"
for h in "$prefix"/include/install/cpputil/*.hpp; do
  if grep -q '#include <boost' "$h"; then echo "Boost in $h"; exit 1; fi
  echo "#include \"install/cpputil/$(basename "$h")\"" >"$work/h.cpp"
  "$cxx" -std=c++17 -Wall -Wextra -Wpedantic -Werror -I"$prefix/include" -c "$work/h.cpp" -o /dev/null
done

echo "-- exported symbols are ours"
others=$(exports | grep -v -E '^install::cpputil::|^(typeinfo|typeinfo name|vtable) for install::cpputil::|^shouldAppend\(' || true)
if [ -n "$others" ]; then echo "unexpected exports:"; echo "$others"; exit 1; fi

echo "-- the installed tool and its examples"
run "$prefix/bin/install-cpputil$exe" --version
run "$prefix/bin/install-cpputil$exe" demo --dir "$work/demo" --steps 1 --step-ms 0 >/dev/null
grep -q ') Setup finished.$' "$work/demo/install.log"
echo "installed package OK"
