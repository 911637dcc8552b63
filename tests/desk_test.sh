#!/bin/sh
# desk_test.sh: steps that must be refused, or that must stay on the desk.
set -u
cd "$(dirname "$0")/.." || exit
work=$(mktemp -d "${TMPDIR:-/tmp}/desk.XXXXXX")
trap 'rm -rf "$work"' EXIT
export DESK_ROOT="$work/mac"
outside=$work/outside failures=0
fail() { echo "FAILED: $*" && failures=$((failures + 1)); }

# refuse STATUS TEXT STEP...: the step does nothing, says that text in one line or two, and ends with that status.
refuse() {
    status=$1 expected=$2
    shift 2
    before=$(find "$work" ! -path "$work/out" | sort)
    desk/desk "$@" </dev/null >"$work/out" 2>&1
    [ $? -eq "$status" ] || fail "$*: not $status"
    grep -qF "$expected" "$work/out" || fail "$*: it said $(cat "$work/out")"
    [ "$(grep -c . "$work/out")" -le 2 ] || fail "$*: it said too much"
    [ "$(find "$work" ! -path "$work/out" | sort)" = "$before" ] || fail "$*: it did something"
}

desk/desk new && mkdir "$outside" && : >"$outside/keep" && ln -s "$outside" "$DESK_ROOT/Applications/link"
for path in / // . ./ .. Applications/.. ''; do refuse 2 'remove PATH' remove "$path"; done
for path in Applications/link/keep desk//bin desk/bin/open desk; do refuse 1 desk remove "$path"; done
refuse 1 'leads out of the desk' folder Applications/link/new
refuse 2 'until CONDITION' until ready within 08
refuse 2 'log wait until expect play help' plague
DESK_ROOT="$work/a b" refuse 2 'a b/' new
DESK_ROOT=$outside refuse 1 'neither empty nor a desk' new
desk/desk remove Applications/link
[ -e "$outside/keep" ] || fail 'what a link led to was removed with it'
for name in disks ports aside modem; do
    mv "$DESK_ROOT/desk/$name" "$work" && ln -s "$outside" "$DESK_ROOT/desk/$name"
    refuse 1 link port on
    rm "$DESK_ROOT/desk/$name" && mv "$work/$name" "$DESK_ROOT/desk"
done

mkdir "$work/s" && : >"$work/s/empty" && echo '# nothing' >"$work/s/comment" && printf 'new\0' >"$work/s/binary"
echo "config path1='a\$(touch $outside/ran)'" >"$work/s/runs" && echo "setup 'A=\`touch $outside/ran\`'" >"$work/s/runs-too"
refuse 2 'not a file' play "$work/s"
refuse 2 'has no steps' play "$work/s/empty"
refuse 2 'has no steps' play "$work/s/comment"
refuse 2 'not a text file' play "$work/s/binary"
refuse 2 'special to the shell' play "$work/s/runs"
refuse 2 'special to the shell' play "$work/s/runs-too"
refuse 2 'no scenario' play x=1
refuse 2 usage play --stay
refuse 2 usage play "$work/s/empty" "$work/s/comment"

desk/desk setup SD_THIRD_SETPU=Yes 2>&1 | grep -q 'note: .*SD_THIRD_SETPU' || fail 'a misspelt key got no note'
[ "$(CDPATH=/ sh desk/desk status | head -n 1)" = "desk     $DESK_ROOT" ] || fail CDPATH
item=$DESK_ROOT/Library/StartupItems/TovrikZerbin/Zerbin
cp /bin/sleep "$item"
"$item" 20 &
sleep 1 && refuse 1 'did not start it' new
refuse 1 'did not start it' start
kill $!
[ $failures -eq 0 ]
