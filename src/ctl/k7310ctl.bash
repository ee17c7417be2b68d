# bash completion for k7310ctl                                    -*- shell-script -*-

_k7310ctl()
{
    local cur prev words cword
    _init_completion || return

    local subcommands="survey read write compare init led horn off lamp-test image alarm send monitor"
    local common="--port --line --rts --rts-delay --slave --no-auto-search --language --json
        --help --version"

    # The subcommand: the first word that is neither an option nor an option's value
    # ("monitor" is followed by another subcommand).
    local i subcommand="" after=""
    for ((i = 1; i < cword; i++)); do
        case ${words[i]} in
            --port | --line | --rts-delay | --slave | --language | --wait | --timeout | \
                --first | --last | --settings | --stop-after | --allowance)
                ((i++)) ;;
            -*) ;;
            monitor) after=monitor ;;
            *)
                subcommand=${words[i]}
                break
                ;;
        esac
    done

    case $prev in
        --port)
            local ports
            ports=$(compgen -G '/dev/tty[SU]*' ; compgen -G '/dev/ttyACM*' ;
                compgen -G '/dev/serial/by-id/*')
            COMPREPLY=($(compgen -W "$ports" -- "$cur"))
            return
            ;;
        --line)
            COMPREPLY=($(compgen -W "1200,n,8,1 2400,n,8,1 4800,n,8,1 9600,n,8,1 9600,n,8,2
                19200,n,8,1 19200,n,8,2" -- "$cur"))
            return
            ;;
        --language)
            COMPREPLY=($(compgen -W "English Français Deutsch en fr de" -- "$cur"))
            return
            ;;
        --settings)
            COMPREPLY=($(compgen -W "9600/1 19200/1 19200/2 4800/1 2400/1 1200/1" -- "$cur"))
            return
            ;;
        --slave | --rts-delay | --wait | --timeout | --first | --last | --stop-after | --allowance)
            return
            ;;
    esac

    if [[ -z $subcommand ]]; then
        if [[ $cur == -* ]]; then
            COMPREPLY=($(compgen -W "$common" -- "$cur"))
        elif [[ $after == monitor ]]; then
            COMPREPLY=($(compgen -W "${subcommands/monitor/}" -- "$cur"))
        else
            COMPREPLY=($(compgen -W "$subcommands" -- "$cur"))
        fi
        return
    fi

    local own=""
    case $subcommand in
        alarm) own="--wait" ;;
        send) own="--crc --timeout" ;;
        init) own="--force" ;;
        survey) own="--first --last --settings --thorough --retry-silent --stop-after
            --allowance --no-config" ;;
    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$common $own" -- "$cur"))
        return
    fi
    case $subcommand in
        write | compare | init)
            _filedir k7310
            ;;
        horn)
            COMPREPLY=($(compgen -W "on off" -- "$cur"))
            ;;
        led)
            COMPREPLY=($(compgen -W "$(seq 0 23)" -- "$cur"))
            ;;
    esac
} &&
    complete -F _k7310ctl k7310ctl

# ex: filetype=sh
