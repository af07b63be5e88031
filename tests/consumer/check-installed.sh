#!/usr/bin/env bash
# Checks an installed tree: the library, its packages for CMake and pkg-config, standalone
# headers, exports and the tool. Usage: check-installed.sh PREFIX, or PREFIX windows for a
# MinGW-w64 tree under Wine, with the build's dependency cache.
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

prefix=$(cd "$1" && pwd)

if [ "${2:-}" = windows ]; then
  cache=$("$repo/cmake/cache-dir" mingw-w64)
  export WINEPATH=$prefix/bin
  run() { "$repo/cmake/windows/wine-run" "$cache" "$@"; }
  exe=.exe cxx=x86_64-w64-mingw32-g++-posix cc=x86_64-w64-mingw32-gcc-posix
  lib=$prefix/bin/install_cpputil.dll
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
  exe="" cxx=c++ cc=cc lib=$prefix/lib/libinstall_cpputil.so.1
  cmake_args=(-DCMAKE_PREFIX_PATH="$prefix")
  version=$(sed -n 's/^#define INSTALL_CPPUTIL_VERSION_STRING "\(.*\)"$/\1/p' \
    "$prefix/include/install/cpputil/version.hpp")
  test -L "$prefix/lib/libinstall_cpputil.so"
  test -f "$prefix/lib/libinstall_cpputil.so.$version"
  [ "$(objdump -p "$lib" | awk '/SONAME/ {print $2}')" = libinstall_cpputil.so.1 ]
  exports() { nm -DC --defined-only "$lib" | awk '{ $1=""; $2=""; print substr($0,3) }'; }
fi
test -f "$lib"

echo "-- find_package consumers: the boundary test and the examples, C++ and C"
for project in tests/consumer examples/consumer examples/trace examples/cancel examples/c; do
  cmake -S "$repo/$project" -B "$work/$project" -G Ninja "${cmake_args[@]}" >/dev/null
  cmake --build "$work/$project" >/dev/null
done
run "$work/tests/consumer/boundary$exe"
printf 'Mode = typical\nport = 8443\n' >"$work/input.txt"
step=$work/examples/consumer/installer_step$exe
run "$step" "$work/input.txt" "$work/logs/step.log" >/dev/null
grep -q ') Step finished.$' "$work/logs/step.log"
run "$work/examples/c/installer_step_c$exe" "$work/input.txt" "$work/logs/c.log"
[ "$(grep -c ') Step finished.$' "$work/logs/c.log")" = 1 ]
# No sink of its own: Boost.Log's default sink prints the records on standard output.
run "$step" "$work/input.txt" "$work/logs/step.log" --trace >"$work/trace.txt" 2>/dev/null
grep -q 'set destination' "$work/trace.txt"
# A failure is recorded in the installation log, which outlives the step's handlers.
printf 'mode = bogus\n' >"$work/bad.txt"
if run "$step" "$work/bad.txt" "$work/logs/bad.log" 2>/dev/null; then exit 1; fi
grep -q ") Step failed: key='mode' value='bogus' rule='strval:typical,custom'$" "$work/logs/bad.log"

echo "-- a sink of the program's own shows each record's channel and severity"
run "$work/examples/trace/trace_to_stderr$exe" "$work/input.txt" "$work/logs/trace.log" 2>&1 \
  >/dev/null | tr -d '\r' >"$work/trace.txt" # a Windows console's line ends are CR LF
grep -q '^\[install::cpputil::InputFileParser\] 4  line=Mode = typical$' "$work/trace.txt"
grep -q '^\[install::cpputil::logger\] 4  msg=Input file read\.$' "$work/trace.txt"

echo "-- Ctrl-C cancels the work, and the cancel is in the installation log"
set -m # a job of its own, which does not ignore SIGINT
run "$work/examples/cancel/cancel_on_ctrl_c$exe" "$work/logs/cancel.log" 600 >/dev/null 2>&1 &
set +m
job=$!
for _ in $(seq 300); do grep -qs 'Work begun' "$work/logs/cancel.log" && break || sleep 0.1; done
kill -INT "$(pgrep -g "$job" -f 'cancel_on_ctrl_c' || echo "$job")"
status=0 && wait "$job" || status=$?
[ "$status" -eq 130 ] || { echo "cancel_on_ctrl_c: status $status"; exit 1; }
grep -q ') Interrupted. at step [0-9]*$' "$work/logs/cancel.log"

echo "-- the examples through pkg-config"
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
# shellcheck disable=SC2046
"$cxx" -std=c++17 "$repo/examples/consumer/main.cpp" -o "$work/pc$exe" \
  $(pkg-config --cflags --libs install_cpputil)
run "$work/pc$exe" "$work/input.txt" "$work/logs/pc.log" >/dev/null
grep -q ') Step finished.$' "$work/logs/pc.log"
# shellcheck disable=SC2046
"$cc" -std=c11 "$repo/examples/c/installer_step.c" -o "$work/pc-c$exe" \
  $(pkg-config --cflags --libs install_cpputil)
run "$work/pc-c$exe" "$work/input.txt" "$work/logs/pc-c.log"
grep -q ') Step finished.$' "$work/logs/pc-c.log"
if [ -z "$exe" ]; then # the README's line for a program with a sink of its own
  # shellcheck disable=SC2046
  "$cxx" -std=c++17 -DBOOST_LOG_DYN_LINK "$repo/examples/trace/main.cpp" -o "$work/pc-trace" \
    $(pkg-config --cflags --libs install_cpputil) -lboost_log_setup -lboost_log -lboost_thread -lpthread
  run "$work/pc-trace" "$work/input.txt" "$work/logs/pc.log" 2>"$work/trace.txt"
  grep -q '^\[install::cpputil::logger\] ' "$work/trace.txt"
fi

echo "-- every public header alone, C++17, no Boost"
for h in "$prefix"/include/install/cpputil/*.hpp; do
  if grep -q '#include <boost' "$h"; then echo "Boost in $h"; exit 1; fi
  echo "#include \"install/cpputil/$(basename "$h")\"" >"$work/h.cpp"
  "$cxx" -std=c++17 -Wall -Wextra -Wpedantic -Werror -I"$prefix/include" -c "$work/h.cpp" -o /dev/null
done
echo "-- the C header alone, as C11 and as C++17"
echo '#include "install/cpputil/cpputil.h"' >"$work/h.c"
"$cc" -std=c11 -Wall -Wextra -Wpedantic -Werror -I"$prefix/include" -c "$work/h.c" -o /dev/null
"$cxx" -x c++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -I"$prefix/include" -c "$work/h.c" \
  -o /dev/null

echo "-- exported symbols are ours: the C++ interface, and the C header's functions exactly"
others=$(exports | grep -v -E '^install::cpputil::|^(typeinfo|typeinfo name|vtable) for install::cpputil::|^shouldAppend\(|^install_cpputil_[a-z0-9_]+$' || true)
if [ -n "$others" ]; then echo "unexpected exports:"; echo "$others"; exit 1; fi
diff <(exports | grep -E '^install_cpputil_' | sort) \
  <(grep -o -E '\binstall_cpputil_[a-z0-9_]+\(' "$prefix/include/install/cpputil/cpputil.h" |
    tr -d '(' | sort -u)

if [ "${2:-}" = windows ]; then
  echo "-- MSVC's import library: every C function, and the C example linked with it"
  diff <(exports | grep -E '^install_cpputil_' | sort) <(x86_64-w64-mingw32-nm \
    "$prefix/lib/install_cpputil.lib" | awk '$2 == "T" && $3 ~ /^install_cpputil_/ {print $3}' | sort)
  "$cc" -std=c11 "$repo/examples/c/installer_step.c" -I"$prefix/include" \
    "$prefix/lib/install_cpputil.lib" -o "$work/lib-c.exe"
  run "$work/lib-c.exe" "$work/input.txt" "$work/logs/lib-c.log"
  grep -q ') Step finished.$' "$work/logs/lib-c.log"
fi

echo "-- the installed tool and its examples"
run "$prefix/bin/install-cpputil$exe" --version
run "$prefix/bin/install-cpputil$exe" demo --dir "$work/demo" --steps 1 --step-ms 0 >/dev/null
grep -q ') Setup finished.$' "$work/demo/install.log"
echo "installed package OK"
