# bash completion for veskctl: veskctl itself asks the running daemon what can stand at the cursor.

_veskctl()
{
    mapfile -t COMPREPLY < <("$1" complete --line "${COMP_LINE:0:COMP_POINT}" \
        --breaks "$COMP_WORDBREAKS" 2>/dev/null)
    if ((${#COMPREPLY[@]} == 1)) && [[ ${COMPREPLY[0]} == *= ]]; then compopt -o nospace; fi
    if ((${#COMPREPLY[@]} == 0)) && [[ " ${COMP_WORDS[*]} " == *' '@(apply|raw)' '* ]]; then
        compopt -o default
    fi
}
complete -F _veskctl veskctl
