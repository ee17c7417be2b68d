#!/usr/bin/env bash
# The bash completion of k7310ctl, without the bash-completion package: its two helpers are
# stood in for, then each command line is completed and its offers compared.
set -u
_init_completion() {
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD - 1]}
    words=("${COMP_WORDS[@]}")
    cword=$COMP_CWORD
}
_filedir() { COMPREPLY=("<files .$1>"); }
source "$1"

failures=0
offers() { # expected offers, then the words of the line (the last one being completed)
    local expected=$1
    shift
    COMP_WORDS=(k7310ctl "$@")
    COMP_CWORD=$#
    COMPREPLY=()
    _k7310ctl
    local got="${COMPREPLY[*]}"
    if [[ $got != "$expected" ]]; then
        echo "FAIL: k7310ctl $*| offered '$got', expected '$expected'"
        failures=$((failures + 1))
    fi
}

offers "led lamp-test" l
offers "led lamp-test" --port /dev/ttyS0 l
offers "read" monitor r
offers "survey send" s
offers "--slave --settings --stop-after" --port 1 survey --s
offers "--thorough" survey --settings 9600/1 --th
offers "--wait" alarm --wa
offers "--crc" --slave 3 send --cr
offers "--force" init --fo
offers "--no-auto-search" --no
offers "on off" horn ""
offers "<files .k7310>" --port ttyUSB0 write ""
offers "<files .k7310>" monitor compare ""
offers "fr" --language f
offers "19200,n,8,1 19200,n,8,2" --line 192
offers "" --slave ""
offers "2 20 21 22 23" led 2
exit $((failures > 0))
