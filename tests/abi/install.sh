#!/usr/bin/env bash
# What an installation lays out serves a plug-in's author: DESTDIR is honoured, vesk.pc names the headers,
# and a project that knows only the CMake package builds a plug-in.
#
#   install.sh BUILD_DIR
set -euo pipefail

build=$1
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
# For the machine of the build.
mapfile -t machine < <(sed -nE 's/^(CMAKE_TOOLCHAIN_FILE|VESK_CROSS_PREFIX):[A-Z]+=/-D\1=/p' "$build/CMakeCache.txt")

DESTDIR=$stage/root cmake --install "$build" >/dev/null
test -x "$stage/root/usr/sbin/vesk"
test -f "$stage/root/usr/include/vesk/vesk.h"
test -f "$stage/root/usr/include/eloop/eloop.h"
for page in man3/vesk-plugin.3 man5/vesk-config.5 man7/vesk-lsql.7 man8/vesk.8; do
    test -f "$stage/root/usr/share/man/$page"
done
pc=$(find "$stage/root/usr" -name vesk.pc)
grep -qx 'plugindir=/usr/lib/vesk/plugins' "$pc"
grep -qx 'includedir=/usr/include' "$pc"
grep -qx 'Cflags: -I${includedir}' "$pc"

mkdir "$stage/plugin"
cat >"$stage/plugin/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(hello LANGUAGES C)
find_package(vesk REQUIRED)
add_library(hello MODULE hello.c)
target_link_libraries(hello PRIVATE vesk::plugin)
END
cat >"$stage/plugin/hello.c" <<'END'
#include <vesk/vesk.h>
void vesk_plugin_init(void) { vesk_debug_printf("hello\n"); }
END
cmake -S "$stage/plugin" -B "$stage/plugin/build" -G Ninja "${machine[@]}" \
    -Dvesk_DIR="$(dirname "$(find "$stage/root/usr" -name vesk-config.cmake)")" >/dev/null
cmake --build "$stage/plugin/build" >/dev/null
nm -D --defined-only "$stage/plugin/build/libhello.so" | grep -q ' T vesk_plugin_init$'
echo 'An installation serves a plug-in.'
