#!/bin/sh
# helpers.sh: read by the shell tests. Makes a work folder, $work, which is removed when the test ends, and checks what
# commands do.
# shellcheck disable=SC2034 # variables for the tests
set -eu
repository=$(CDPATH='' cd -- "$(dirname -- "$0")" && pwd)
repository=${repository%/tests*}
work=/var/lib # nobody but root can write on the way there
[ "$(id -u)" = 0 ] && [ -d $work ] || work=${TMPDIR:-/tmp}
work=$(mktemp -d "${work%/}/zerbin-test.XXXXXX")
chmod 755 "$work"
mkdir "$work/bin" "$work/state"
: >"$work/out"
export MAC_STATE="$work/state"
clean_up() { :; } # what else a test has to undo
trap 'clean_up; chmod -R u+rwX "$work"; rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM

fail() { printf 'FAILED: %s\n' "$*" && cat "$work/out" && exit 1; }
check() { "$@" || fail "$@"; }
says() { [ -z "$1" ] || grep -qF -e "$1" "$work/out" || fail "not said: $1"; }
says_not() { ! grep -F -e "$1" "$work/out" || fail "said: $1"; }

# expect STATUS TEXT COMMAND...: the command ends with that status, and says that text.
expect() {
    status=$1 text=$2 ended=0
    shift 2
    "$@" >"$work/out" 2>&1 </dev/null || ended=$?
    [ $ended = "$status" ] || fail "ended with $ended, and was to say \"$text\": $*"
    says "$text"
}

# refuse STATUS TEXT COMMAND...: the same, in one line or two, and changes nothing.
refuse() {
    before=$(state)
    expect "$@"
    check [ "$(grep -c . "$work/out")" -le 2 ]
    check [ "$(state)" = "$before" ]
}
state() { find "$work" ! -path "$work/out" -exec ls -ldn {} + | awk '{ print $1, $3, $4, $NF }'; }

# each_row expect|refuse COMMAND...: its input is a table, of which each row is status|text|arguments of the command.
each_row() {
    way=$1
    shift
    while IFS='|' read -r status text arguments; do
        # shellcheck disable=SC2086 # one word each
        $way "$status" "$text" "$@" $arguments
    done
}

# Links what stands in for a Mac's tools (tests/mac) under the names of these.
use_fakes() {
    for fake; do
        file=$repository/tests/mac/$fake
        [ -e "$file" ] || file=$repository/tests/mac/tool
        ln -s "$file" "$work/bin/$fake"
    done
}
