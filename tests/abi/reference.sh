#!/usr/bin/env bash
# The reference access point builds against an installation alone, as a plug-in author's project would,
# and needs nothing from the daemon but what that exports.
#
#   reference.sh BUILD_DIR REFERENCE_DIR
set -euo pipefail

build=$1
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
# For the machine of the build.
mapfile -t machine < <(sed -nE 's/^(CMAKE_TOOLCHAIN_FILE|VESK_CROSS_PREFIX):[A-Z]+=/-D\1=/p' "$build/CMakeCache.txt")

DESTDIR=$stage/root cmake --install "$build" >/dev/null
cp -r "$2" "$stage/reference"
cmake -S "$stage/reference" -B "$stage/build" -G Ninja -DCMAKE_BUILD_TYPE=Release "${machine[@]}" \
    -Dvesk_DIR="$(dirname "$(find "$stage/root/usr" -name vesk-config.cmake)")" >/dev/null
cmake --build "$stage/build" >/dev/null

names() { nm -D "$@" | awk '{ print $NF }' | grep -E '^(vesk|eloop|sig_child)' | sort -u; }

names --defined-only "$build/vesk" >"$stage/exported"
for plugin in "$stage"/build/plugins/*.so; do
    [[ $(names --defined-only "$plugin") == vesk_plugin_init ]]
    if missing=$(names --undefined-only "$plugin" | grep -vxFf "$stage/exported"); then
        printf '%s needs what the daemon does not export:\n%s\n' "${plugin##*/}" "$missing"
        exit 1
    fi
done
cmp "$stage/build/defaultconfig.xml" "$build/reference/defaultconfig.xml"
printf 'The reference access point builds against an installation.\n'
