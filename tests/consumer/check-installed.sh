#!/usr/bin/env bash
# Checks an installed tree: the CMake package, pkg-config, standalone public headers and the
# exported symbols. Usage: check-installed.sh PREFIX
set -euo pipefail
prefix=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

lib=$prefix/lib/libinstall_cpputil.so.1
test -L "$prefix/lib/libinstall_cpputil.so"
test -f "$prefix/lib/libinstall_cpputil.so.1.0.0"
[ "$(objdump -p "$lib" | awk '/SONAME/ {print $2}')" = libinstall_cpputil.so.1 ]

echo "-- find_package consumer"
cmake -S "$here" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
"$work/cmake/boundary"

echo "-- the README's example project"
cmake -S "$here/../../examples/consumer" -B "$work/example" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/example" >/dev/null
printf 'Mode = typical\nport = 8443\n' > "$work/input.txt"
"$work/example/installer_step" "$work/input.txt" "$work/logs/step.log"
grep -q ') Step finished.$' "$work/logs/step.log"
# No sink of its own: Boost.Log's default sink prints the records.
"$work/example/installer_step" "$work/input.txt" "$work/logs/step.log" --trace >"$work/trace.txt" 2>&1
grep -q 'set destination' "$work/trace.txt"

echo "-- the example project through pkg-config"
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
# shellcheck disable=SC2046
c++ -std=c++17 "$here/../../examples/consumer/main.cpp" -o "$work/pc" \
  $(pkg-config --cflags --libs install_cpputil)
LD_LIBRARY_PATH=$prefix/lib "$work/pc" "$work/input.txt" "$work/logs/pc.log" >/dev/null
grep -q ') Step finished.$' "$work/logs/pc.log"

echo "-- every public header alone, C++17, no Boost"
for h in "$prefix"/include/install/cpputil/*.hpp; do
  if grep -q '#include <boost' "$h"; then echo "Boost in $h"; exit 1; fi
  echo "#include \"install/cpputil/$(basename "$h")\"" > "$work/h.cpp"
  c++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -I"$prefix/include" -c "$work/h.cpp" -o /dev/null
done

echo "-- exported symbols are ours"
others=$(nm -DC --defined-only "$lib" | awk '{ $1=""; $2=""; print substr($0,3) }' |
  grep -v -E '^install::cpputil::|^(typeinfo|typeinfo name|vtable) for install::cpputil::|^shouldAppend\(' || true)
if [ -n "$others" ]; then echo "unexpected exports:"; echo "$others"; exit 1; fi
echo "-- the installed tool and its examples"
"$prefix/bin/install-cpputil" --version
"$prefix/bin/install-cpputil" demo --dir "$work/demo" --steps 1 --step-ms 0 >/dev/null
grep -q ') Setup finished.$' "$work/demo/install.log"
echo "installed package OK"
