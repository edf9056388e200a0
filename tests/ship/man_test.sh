#!/usr/bin/env bash
# The manual page and the completion know the verbs and options that keld has.
# man_test.sh KELD SOURCE_DIRECTORY
set -euo pipefail
keld=$1 source=$2
result=0
page=$(sed -n '/^\.SH VERBS/,/^\.SH EXIT/p' "$source/docs/man/keld.1" | sed -n 's/^\.B //p' | tr -d '\\')
verbs=$("$keld" --help | awk '/^Subcommands:/ {on = 1; next} /^$/ {on = 0} on {print $1}')
[ "$(wc -w <<<"$verbs")" -ge 15 ] || { echo "keld --help names no verbs" >&2; result=1; }
diff <(sort <<<"$page") <(sort <<<"$verbs") >&2 ||
    { echo "docs/man/keld.1 (<) and keld --help (>) name different verbs" >&2; result=1; }
options=$("$keld" --help | sed -n 's/^  --\([a-z-]*\).*/\1/p')
manual=$(sed 's/\\//g' "$source/docs/man/keld.1")
for option in $options; do
    grep -qE "^\.(B|BI) --$option( |$)" <<<"$manual" ||
        { echo "docs/man/keld.1 does not name --$option" >&2; result=1; }
done
for page in keld.1 keld_statusmanager.ini.5; do
    warnings=$(groff -man -ww -z "$source/docs/man/$page" 2>&1)
    [ -z "$warnings" ] || { echo "$page: $warnings" >&2; result=1; }
done

# What bash would offer for a line whose last word is being typed.
offered() {
    PATH=$(dirname "$keld"):$PATH bash -c '
        source "$1/docs/completion/keld"
        shift
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
        _keld
        echo "${COMPREPLY[*]}"' - "$source" "$@"
}
expect() {
    local wanted=$1 got
    shift
    got=$(offered "$@")
    [[ " $got " == *" $wanted "* ]] ||
        { echo "completion of '$*' offers '$got', not '$wanted'" >&2; result=1; }
}
expect doctor keld doc
expect set keld status s
expect set keld --store x.db status s
expect --dry-run keld status set --dr
expect --json keld tree --js
expect --cfg keld --c
# With a store: names of objects; bash takes them apart at a colon.
stores=$(mktemp -d)
trap 'rm -rf "$stores"' EXIT
"$keld" --store "$stores/x.db" init >/dev/null
"$keld" --store "$stores/x.db" load "$source/tests/keld/world.json" >/dev/null
expect 000100/A keld --store "$stores/x.db" show 000100
expect drawing keld --store "$stores/x.db" cat 000100/A : d
[ -z "$(offered keld frobnicate)" ] || { echo "an unknown verb is completed" >&2; result=1; }
exit $result
