# Completion for tarvex-blocks, loaded by bash-completion when the command is first completed.

_tarvex_blocks()
{
    local cur prev words cword
    _init_completion || return

    if ((cword == 1)); then
        COMPREPLY=($(compgen -W 'tokens tree check format convert index get --help -h --version' -- "$cur"))
        return
    fi

    local options='--help -h --version'
    case ${words[1]} in
        tokens)
            options+=' --grammar --case --encoding --comments --white-space --special-numbers --keep-text'
            ;;
        format) options+=' --output -o' ;;
        convert) options+=' --output -o --to' ;;
        index) options+=' --all-levels' ;;
    esac

    local choices=
    case $prev in
        --grammar) choices='token delimiter' ;;
        --case) choices='upper lower ignore keep' ;;
        --encoding) choices='utf8 bytes' ;;
        --to) choices='text binary' ;;
    esac

    if [[ -n $choices ]]; then
        COMPREPLY=($(compgen -W "$choices" -- "$cur"))
    elif [[ $cur == -* && $prev != -o && $prev != --output ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
    else
        _filedir
    fi
} &&
    complete -F _tarvex_blocks tarvex-blocks
