# bash completion for bleedwise(1)

_bleedwise()
{
    local cur prev words cword
    _init_completion || return

    case $prev in
        --convert)
            _filedir '@(pdf|PDF)'
            return
            ;;
        --output)
            _filedir
            return
            ;;
        --width | --height | --bleed)
            return
            ;;
    esac
    # shellcheck disable=SC2207 # the options have no blanks
    COMPREPLY=($(compgen -W '--convert --width --height --bleed --trim-only --no-ghostscript --output' \
        -- "$cur"))
} &&
    complete -F _bleedwise bleedwise
