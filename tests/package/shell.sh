#!/usr/bin/env bash
# What is installed as shell scripts is plain POSIX shell, and the scripts around it are in order.
#
#   shell.sh SOURCE_DIR
set -euo pipefail

cd "$1"
posix=(debian/vesk.init debian/*.postinst debian/*.prerm debian/*.postrm)
for script in "${posix[@]}"; do
    dash -n "$script"
    busybox ash -n "$script"
done
shellcheck --shell=dash "${posix[@]}"
shellcheck scripts/{as-root,debian-root,demo,package,package-test} tests/package/shell.sh
echo 'The shell scripts are in order.'
