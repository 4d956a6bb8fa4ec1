# Completion of df1 for bash. What there is to offer comes from df1 itself: verbs and
# options from its help, links from the profile file.

# _df1_links PROGRAM WORD...: the names of the links in the profile that the words name.
_df1_links() {
    local program=$1 index profile=()
    shift
    for ((index = 1; index < $#; index++)); do
        [[ ${!index} == --profile ]] && ((index++)) && profile=(--profile "${!index}")
    done
    "$program" links "${profile[@]}" --format csv 2>/dev/null | sed -n '1!s/,.*//p'
}

# _df1_values HELP OPTION WORD: completes the option's value; fails for what has none.
# What it knows nothing of is left to the completion of file names.
_df1_values() {
    local usage
    usage=$(grep -Eo -m 1 -e "^ +(-[a-z],)?$2(,--[a-z-]+)? [A-Z].*" <<<"$1" |
        sed 's/^ *[^ ]* //')
    [[ -n $usage ]] || return 1
    case "$2 $usage" in
    *{*}*)
        usage=${usage#*\{}
        usage=${usage%%\}*}
        mapfile -t COMPREPLY < <(compgen -W "${usage//,/ }" -- "$3")
        ;;
    *" DIR"*)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$3")
        ;;
    --port*)
        mapfile -t COMPREPLY < <(compgen -W "sim $(compgen -G '/dev/tty[AU]*')" -- "$3")
        ;;
    esac
    return 0
}

_df1() {
    local program=$1 word=$2 previous=$3 help links used
    local IFS=$' \t\n'
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        help=$("$program" --help 2>/dev/null)
        mapfile -t COMPREPLY < <(compgen -W "--help --version $(
            sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help"
        )" -- "$word")
        return
    fi
    # --option=value comes in three words.
    [[ $word == = ]] && word=
    [[ $previous == = ]] && previous=${COMP_WORDS[COMP_CWORD - 2]}
    help=$("$program" "${COMP_WORDS[1]}" --help 2>/dev/null)
    if [[ $previous == -* ]] && _df1_values "$help" "$previous" "$word"; then
        return
    fi
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(
            sed -En 's/^  (-[a-z],)?(--[a-z-]+).*/\2/p' <<<"$help"
        )" -- "$word")
        return
    fi
    if grep -q '^  link LINK' <<<"$help"; then
        links=$(_df1_links "$program" "${COMP_WORDS[@]:0:COMP_CWORD}")
        for used in "${COMP_WORDS[@]:2:COMP_CWORD-2}"; do
            grep -Fqx -- "$used" <<<"$links" && return
        done
        mapfile -t COMPREPLY < <(compgen -W "$links" -- "$word")
    fi
}

complete -o default -F _df1 df1
