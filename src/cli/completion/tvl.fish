# Completes command lines of tvl in fish.

function __tvl_complete
    set -l program (commandline -opc)[1]
    set -l lines ($program complete-line -- (commandline -cp | string collect) 2>/dev/null)
    set -l directive (string split \t -- $lines[1])
    set -l token (commandline -ct)
    switch "$directive[1]"
        case files folders
            set -l option (string match -r -- '^--[a-z-]+=' $token)
            set -l part (string replace -r -- '^--[a-z-]+=' '' $token)
            pushd $directive[2] 2>/dev/null
            or return
            for path in (complete -C "'' $part")
                test $directive[1] = files
                or string match -qr '/(\t|$)' -- $path
                and printf '%s\n' "$option$path"
            end
            popd
        case programs
            __fish_complete_command
        case '*'
            printf '%s\n' $lines[2..]
    end
end

complete -c tvl -f -a '(__tvl_complete)'
