#!/bin/bash
# SPDX-License-Identifier: GPL-3.0-or-later
# The bash completion of sorvanel-cli, through bash-completion as an
# interactive shell loads it, against the built program in a scratch home.
#   completion_test.sh BASH_COMPLETION COMPLETION_SCRIPT SORVANEL_CLI
set -u
export LC_ALL=C
source "$1" || exit 1
source "$2" || exit 1
cli_folder=$(dirname "$3")
PATH="$cli_folder:$PATH"
HOME=$(mktemp -d) && trap 'rm -rf "$HOME"' EXIT
export HOME XDG_CONFIG_HOME="$HOME/.config"
mkdir -p "$HOME/Downloads" "$HOME/folder one" "$HOME/folder two"
printf 'report' >"$HOME/Downloads/report.pdf"
touch -d '3 days ago' "$HOME/Downloads/report.pdf"
sorvanel-cli organize >/dev/null || { echo "organize failed"; exit 1; }
run=$(sorvanel-cli history --json | grep -o '[0-9A-Fa-f-]\{36\}' | head -1)
[ -n "$run" ] || { echo "no run in the history"; exit 1; }
cd "$HOME"

failures=0
# What a TAB after LINE offers, sorted, on one line.
offered()
{
    COMP_LINE=$1
    COMP_POINT=${#COMP_LINE}
    read -r -a COMP_WORDS <<<"$COMP_LINE"
    [[ $COMP_LINE == *' ' ]] && COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _sorvanel_cli sorvanel-cli "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd ' ' -
}
expect()
{
    local got
    got=$(offered "$1")
    if [[ $got != "$2" ]]; then
        echo "after '$1': expected '$2', got '$got'"
        failures=$((failures + 1))
    fi
}

expect 'sorvanel-cli ' '--help --version history last organize preview settings undo where'
expect 'sorvanel-cli un' 'undo'
expect 'sorvanel-cli preview --' '--help --json'
expect 'sorvanel-cli organize -' '--help --json'
expect 'sorvanel-cli undo --' '--dry-run --help --json'
expect 'sorvanel-cli undo ' "$run"
expect "sorvanel-cli undo ${run:0:4}" "$run"
expect 'sorvanel-cli settings ' '--help --json get set unset'
expect 'sorvanel-cli settings get ' \
    'automaticEnabled automaticTime destinationPath notifyAfterAutomatic sourcePath thresholdMB trashDuplicates watchEnabled'
expect 'sorvanel-cli settings set thr' 'thresholdMB'
expect 'sorvanel-cli settings set automaticEnabled ' 'false true'
expect 'sorvanel-cli settings set sourcePath fol' 'folder one folder two'
expect 'sorvanel-cli settings set myKey 1 --type ' 'boolean data date integer real string'
expect 'sorvanel-cli settings set myKey 1 --t' '--type'
expect 'sorvanel-cli settings get thresholdMB ' ''
exit $((failures > 0))
