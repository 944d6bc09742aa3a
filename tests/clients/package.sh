#!/usr/bin/env bash
# What an installation lays out of veskctl: the program, small and content with libraries that the daemon
# needs anyway, its manual, and the completions where the shells look for them.
#
#   package.sh BUILD_DIR
set -euo pipefail

build=$1
most_bytes=$((1024 * 1024))
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT

DESTDIR=$stage cmake --install "$build" >/dev/null
cd "$stage/usr"
test -f share/man/man1/veskctl.1
test -f share/bash-completion/completions/veskctl
test -f share/zsh/vendor-completions/_veskctl
test -f share/fish/vendor_completions.d/veskctl.fish

strip -o stripped bin/veskctl
size=$(stat -c %s stripped)
if ((size > most_bytes)); then
    printf 'veskctl has %d bytes\n' "$size" >&2
    exit 1
fi
needed=$(readelf -d stripped | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
if grep -vE '^lib(xml2|stdc\+\+|gcc_s|c|m)\.so\.[0-9]+$' <<<"$needed"; then
    echo 'veskctl needs more libraries than it should' >&2
    exit 1
fi
echo "veskctl has $size bytes."
