#!/bin/sh
# desk_test.sh: steps that must be refused, or that must stay on the desk.
# shellcheck source=tests/helpers.sh
. "$(dirname -- "$0")/helpers.sh"
cd "$repository"
export DESK_ROOT="$work/mac"
outside=$work/outside
item=$DESK_ROOT/Library/StartupItems/TovrikZerbin/Zerbin
desk/desk new
mkdir "$outside" "$work/s"
: >"$outside/keep"
ln -s "$outside" "$DESK_ROOT/Applications/link"
: >"$work/s/empty"
echo '# nothing' >"$work/s/comment"
printf 'new\0' >"$work/s/binary"
echo "config path1='a\$(touch $outside/ran)'" >"$work/s/runs"
echo "setup 'A=\`touch $outside/ran\`'" >"$work/s/runs-too"

each_row refuse desk/desk <<END
2|remove PATH|remove /
2|remove PATH|remove ./
2|remove PATH|remove Applications/..
1|leads out of the desk|remove Applications/link/keep
1|leads out of the desk|folder Applications/link/new
1|the desk needs|remove desk//bin
1|the desk needs|remove desk/bin/open
2|until CONDITION|until ready within 08
2|log wait until expect play help|plague
2|not a file|play $work/s
2|has no steps|play $work/s/empty
2|has no steps|play $work/s/comment
2|not a text file|play $work/s/binary
2|special to the shell|play $work/s/runs
2|special to the shell|play $work/s/runs-too
2|no scenario|play x=1
2|usage|play --stay
2|usage|play $work/s/empty $work/s/comment
END
refuse 2 'a b/' env DESK_ROOT="$work/a b" desk/desk new
refuse 1 'neither empty nor a desk' env DESK_ROOT="$outside" desk/desk new
desk/desk remove Applications/link
check [ -e "$outside/keep" ]
for name in disks modem; do
    mv "$DESK_ROOT/desk/$name" "$work" && ln -s "$outside" "$DESK_ROOT/desk/$name"
    refuse 1 'is a link' desk/desk port on
    rm "$DESK_ROOT/desk/$name" && mv "$work/$name" "$DESK_ROOT/desk"
done
expect 0 'note: the daemon does not read SD_THIRD_SETPU' desk/desk setup SD_THIRD_SETPU=Yes
expect 0 "desk     $DESK_ROOT" env CDPATH=/ sh desk/desk status

cp /bin/sleep "$item"
"$item" 60 &
clean_up() { kill $!; }
until [ "$(readlink "/proc/$!/exe")" = "$item" ]; do sleep 0.1; done
refuse 1 'did not start it' desk/desk new
refuse 1 'did not start it' desk/desk start
