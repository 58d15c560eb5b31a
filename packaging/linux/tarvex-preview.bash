# Completion for tarvex-preview, loaded by bash-completion when the command is first completed.

_tarvex_preview()
{
    local cur prev words cword
    _init_completion || return

    local command=${words[1]}
    if ((cword == 1)); then
        COMPREPLY=($(compgen -W 'tip info thumbnail gallery doctor --help -h --version' -- "$cur"))
        return
    fi

    local options='--help -h --version'
    case $command in
        info) options+=' --json --recursive --ext' ;;
        thumbnail) options+=' --output -o --size' ;;
        gallery) options+=' --output -o --recursive --ext' ;;
        doctor) options+=' --json' ;;
    esac

    case $prev in
        -o | --output)
            if [[ $command == gallery ]]; then _filedir html; else _filedir png; fi
            return
            ;;
        --size)
            COMPREPLY=($(compgen -W '128 256 512 1024' -- "$cur"))
            return
            ;;
        --ext)
            COMPREPLY=($(compgen -W '.tarvex' -- "$cur"))
            return
            ;;
    esac

    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
    else
        _filedir tarvex
    fi
} &&
    complete -F _tarvex_preview tarvex-preview
