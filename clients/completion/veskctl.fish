# fish completion for veskctl: veskctl itself asks the running daemon what can stand at the cursor.

function __veskctl_candidates
    set -l typed (commandline -opc)
    set -l current (commandline -ct)
    set -l plain (string unescape -- $current)
    or set plain (string replace --regex '^["\']' '' -- $current) # a quote is still open
    veskctl complete -- $typed[2..] "$plain" 2>/dev/null
end

complete -c veskctl -f -a '(__veskctl_candidates)'
complete -c veskctl -n '__fish_seen_subcommand_from apply raw' -F
