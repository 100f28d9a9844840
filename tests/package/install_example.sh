#!/usr/bin/env bash
# Installs the build into a fresh prefix, moves the prefix elsewhere, and builds examples/cat against
# the moved tree alone: with find_package(ZUReader), and natively with pkg-config too. Each build
# must copy a file byte for byte, under Wine for the Windows build.
# usage: install_example.sh BUILD_DIR SOURCE_DIR WORK_DIR CXX GENERATOR SANITIZERS|none
#        [TOOLCHAIN_FILE EMULATOR]
set -euo pipefail
build="$1" source="$2" work="$3" cxx="$4" generator="$5" sanitize="$6"
toolchain="${7:-}" emulator="${8:-}"

fail() { echo "FAIL: $*" >&2; exit 1; }
quiet() {  # COMMAND...: runs it, showing its output only when it fails
  local output status=0
  output=$("$@" 2>&1) || status=$?
  [ "$status" = 0 ] || { echo "$output" >&2; fail "$* exited with status $status"; }
}

rm -rf "$work"
mkdir -p "$work"
quiet cmake --install "$build" --prefix "$work/staged"
# Nothing installed may depend on where the installation happened.
mv "$work/staged" "$work/prefix"
prefix="$work/prefix"

# Only what hosts need: headers, the library, the package files, the command-line host, and the
# transcoding providers the library loads from its own folder.
allowed='^(include/zureader/[^/]+\.h|lib/libzureader\.so(\.[0-9]+)*|lib/ZUReader\.dll\.a|bin/ZUReader\.dll'
allowed+='|lib/libzu(player|encoders|tools)\.so'
allowed+='|bin/zureader(\.exe)?|lib/cmake/ZUReader/ZUReader(Config|ConfigVersion|Targets(-[a-z]+)?)\.cmake'
allowed+='|lib/pkgconfig/zureader\.pc)$'
stray=$(cd "$prefix" && find . \( -type f -o -type l \) | sed 's|^\./||' | { grep -Ev "$allowed" || true; })
[ -z "$stray" ] || fail "installed beyond what hosts need: $stray"
diff -r "$source/include/zureader" "$prefix/include/zureader" >/dev/null ||
  fail "the installed headers differ from include/zureader"
for file in lib/cmake/ZUReader/ZUReaderConfig.cmake lib/cmake/ZUReader/ZUReaderConfigVersion.cmake \
    lib/pkgconfig/zureader.pc; do
  [ -f "$prefix/$file" ] || fail "$file is missing"
done
if grep -rlF -e "$source" -e "$build" "$prefix/lib/cmake" "$prefix/lib/pkgconfig"; then
  fail "package files name the source or build tree"
fi

if [ -z "$toolchain" ]; then
  exe_suffix=
  [ -f "$prefix/lib/libzureader.so" ] || fail "no development link libzureader.so"
  soname=$(readelf -d "$prefix/lib/libzureader.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
  [ "$soname" = libzureader.so.1 ] || fail "soname is '$soname'"
  [ -f "$prefix/lib/$soname" ] || fail "$soname is missing"
  if readelf -d "$prefix/bin/zureader" | grep -E 'R(UN)?PATH' | grep -qF "$source"; then
    fail "the installed zureader searches the source tree for the library"
  fi
else
  exe_suffix=.exe
  for file in bin/ZUReader.dll lib/ZUReader.dll.a; do
    [ -f "$prefix/$file" ] || fail "$file is missing"
  done
  # One Wine prefix for the whole build, as for the other Windows tests.
  export WINEPREFIX="$build/wineprefix"
fi

cflags='' ldflags=''
if [ "$sanitize" != none ]; then
  cflags="-fsanitize=$sanitize -fno-omit-frame-pointer"
  # The example sees VReader only through the library's exports, without type information.
  [[ "$sanitize" == *undefined* ]] && cflags+=" -fno-sanitize=vptr"
  ldflags="-fsanitize=$sanitize"
fi
# Under Wine the example carries its toolchain runtime, as the library and the tests do.
[ -n "$toolchain" ] && ldflags="-static -static-libgcc -static-libstdc++"

# Bytes a text-mode or short-read fault would change: CR, LF, ^Z, and a tail after full 64 KiB reads.
cd "$work"
input="entrée-ß.bin"
python3 -c 'import sys; sys.stdout.buffer.write(bytes(range(256)) * 777 + b"\r\n\n\x1a\r")' >"$input"

run() {  # PROGRAM ARGUMENTS...: runs a program of this build natively or under Wine
  if [ -n "$emulator" ]; then "$emulator" "$@"; else "$@"; fi
}
check_copies() {  # PROGRAM: the program copies the input exactly and fails on a missing file
  local output="$work/copy.bin"
  rm -f "$output"
  run "$@" "$input" >"$output" || fail "$* exited with status $?"
  cmp "$input" "$output" || fail "$* did not copy the file exactly"
  if run "$@" "no such file" >/dev/null 2>&1; then fail "$* succeeded on a missing file"; fi
}

# A copy of the example, so that nothing of the source tree is within reach of its build.
cp -r "$source/examples/cat" "$work/cat"
configure=(-G "$generator" -S "$work/cat" -B "$work/cat-build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
  -DCMAKE_CXX_FLAGS="$cflags" -DCMAKE_EXE_LINKER_FLAGS="$ldflags")
if [ -n "$toolchain" ]; then
  configure+=(-DCMAKE_TOOLCHAIN_FILE="$toolchain")
else
  configure+=(-DCMAKE_CXX_COMPILER="$cxx")
fi
quiet cmake "${configure[@]}"
found=$(sed -n 's/^ZUReader_DIR:PATH=//p' "$work/cat-build/CMakeCache.txt")
[ "$found" = "$prefix/lib/cmake/ZUReader" ] || fail "find_package(ZUReader) found '$found'"
quiet cmake --build "$work/cat-build"
check_copies "$work/cat-build/zureader-cat$exe_suffix"
check_copies "$prefix/bin/zureader$exe_suffix" cat

[ -z "$toolchain" ] || exit 0
export PKG_CONFIG_LIBDIR="$prefix/lib/pkgconfig" PKG_CONFIG_PATH=
# The compile flags come last: their -fno-sanitize=vptr must not be undone by the link's -fsanitize.
# shellcheck disable=SC2046,SC2086
quiet "$cxx" -std=c++17 $ldflags $cflags "$work/cat/main.cpp" $(pkg-config --cflags --libs zureader) \
  -o "$work/cat-pc"
LD_LIBRARY_PATH="$(pkg-config --variable=libdir zureader)" check_copies "$work/cat-pc"
echo "installed package, find_package and pkg-config builds: all copied the file exactly"
