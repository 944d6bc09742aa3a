#!/bin/sh
# Every public header stands alone: twice in one file, with nothing but the include folder.
#
#   headers.sh INCLUDE_DIR COMPILER LANGUAGE STANDARD
set -eu

include=$1
compiler=$2
language=$3
standard=$4
failed=0
for header in "$include"/vesk/*.h "$include"/eloop/*.h; do
    name=${header#"$include"/}
    printf '#include <%s>\n#include <%s>\nint something;\n' "$name" "$name" |
        "$compiler" -x "$language" -std="$standard" -pedantic -Wall -Wextra -Werror \
            -I "$include" -fsyntax-only - || { echo "$name does not stand alone" >&2; failed=1; }
done
exit $failed
