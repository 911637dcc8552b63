#!/bin/sh
# mac_test.sh: runs here what runs on a Mac, under three shells, with stand-ins for a Mac's own tools (tests/mac), and with
# nothing on the PATH that neither POSIX nor a Mac has. The daemon is built for platform/, in a hurry.
set -eu
if [ -z "${MAC_WORK-}" ]; then
    work=$(mktemp -d "${TMPDIR:-/tmp}/mac.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    trap 'exit 1' HUP INT TERM
    cd "$(dirname "$0")/.."
    mkdir "$work/project" "$work/bin" "$work/state"
    cp -R CMakeLists.txt velmar Common src platform scripts desk packaging tools man tests "$work/project"
    chmod 755 "$work"
    set -- env MAC_WORK="$work" "$work/project/tests/mac_test.sh"
    if [ "$(id -u)" = 0 ]; then # nobody is root on a desk
        chown -R nobody "$work"
        set -- setpriv --reuid=65534 --regid=65534 --clear-groups "$@"
    fi
    "$@"
    exit
fi
work=$MAC_WORK
project=$work/project
export HOME="$work" MAC_STATE="$work/state" MAC_VOLUMES="$project/build/desk/Volumes"
export DESK_ROOT="$project/build/desk/mac" DESK_DAEMON="$project/build/desk/Zerbin"
desk=$DESK_ROOT/desk
cd "$project"
mkdir -p "$MAC_STATE/attached" "$MAC_VOLUMES"
ln -s mac/desk build/desk/desk # for the links that platform/ makes
id -un >"$MAC_STATE/console"
for tool in basename cat chmod cksum cmp comm cp cut date dirname env expr getconf git grep head id ls lsof mkdir mktemp mv \
    printf readlink rm rmdir sed setpriv sh sort tail tar tee touch tr wc xargs; do
    ln -s "$(command -v $tool)" "$work/bin"
done
ln -s "$(command -v original-awk || command -v awk)" "$work/bin/awk" # a Mac's
for tool in brew cmake ctest lipo plutil pkgutil pkgbuild productbuild codesign ninja xcrun launchctl sudo; do
    ln -s "$project/tests/mac/desk/tool" "$work/bin/$tool"
done
for tool in hdiutil mount ps ln sleep c++; do ln -s "$project/tests/mac/desk/$tool" "$work/bin"; done
ln -s "$project/tests/mac/uname" "$project/tests/mac/stat" "$work/bin"
dash=$(command -v dash) bash=$(command -v bash) busybox=$(command -v busybox)
PATH=$work/bin
# shellcheck disable=SC2046 # one word for each daemon that a failed test leaves
trap 'kill -KILL $(lsof -t "$DESK_DAEMON" 2>/dev/null) 2>/dev/null || :' EXIT

fail() { printf 'FAILED: %s\n' "$*" && cat "$work/out" && exit 1; }
try() { "$@" >"$work/out" 2>&1 || fail "$@"; }
refuses() { # TEXT COMMAND...: it says that, and ends with 1
    text=$1 status=0
    shift
    "$@" >"$work/out" 2>&1 </dev/null || status=$?
    if [ $status != 1 ] || ! grep -qF -e "$text" "$work/out"; then fail "$*: not $text"; fi
}
is_clean() {
    for left in "$MAC_STATE/attached"/*/path "$MAC_VOLUMES"/*; do [ ! -e "$left" ] || fail "$left is left"; done
    [ -z "$(lsof -t "$DESK_DAEMON")" ] || fail 'a daemon is left'
}
use_shell() {
    for file in scripts/* desk/* desk/bin/* tools/zerbin-explain packaging/*; do
        [ ! -f "$file" ] || ! head -n 1 "$file" | grep -q '^#!.*sh' || sed -i "1s|.*|#!$*|" "$file"
    done
}

# ---- The two commands, and what hosted CI does

git init -q
git add -A
try scripts/test
for call in 'brew install -q cmake ninja googletest' 'ctest --preset asan' 'plutil -lint packaging/'; do
    grep -q "^$call" "$MAC_STATE/calls" || fail "not called: $call"
done
use_shell "$dash"
try scripts/mac-ci run universal package install
is_clean
[ -s build/mac-ci/report.html ] || fail 'there is no report'
rm "$work/bin/brew" "$work/bin/cmake"
refuses 'there is no Homebrew; install these yourself: cmake ninja googletest' scripts/test

# ---- The desk

use_shell "$bash --posix"
busy() { echo "$2" >"$MAC_STATE/$1.busy"; }
try scripts/run --stay
try desk/desk until ready
try desk/desk stop
faked() { # TOOL LINE TEXT COMMAND...: with that line for the tool, the command is refused
    tool=$1 line=$2
    shift 2
    mv "$work/bin/$tool" "$work/bin/other" && printf '#!/bin/sh\n%s\n' "$line" >"$work/bin/$tool" && chmod 755 "$work/bin/$tool"
    refuses "$@"
    mv "$work/bin/other" "$work/bin/$tool"
}
faked c++ 'exit 1' 'failed: c++' scripts/run
faked stat 'echo somebody' 'somebody is at the console' desk/desk new
faked ps 'exec /bin/ps "$@"' 'no Finder is running' desk/desk start
faked id 'echo root' 'not as root' desk/desk new
for step in 'login mika' 'finder off' 'port on' 'plug --refuse' 'start --as root'; do
    # shellcheck disable=SC2086 # its words
    refuses 'needs the simulated Mac' desk/desk $step
done
refuses 'leads out of the desk' desk/desk remove Volumes/Pelluria
busy create 10
refuses 'cannot make an image' desk/desk new
busy create 9

try desk/desk new
for volume in a:b 'Third Party Setup'; do
    mkdir "$MAC_VOLUMES/$volume"
    refuses "there is a volume /Volumes/$volume already" desk/desk plug --label a/b
    [ "$volume" = a:b ] || refuses "there is a volume /Volumes/$volume already" desk/desk new
    rmdir "$MAC_VOLUMES/$volume"
done

# A modem that is plugged in before the start is mounted by the system; two refusals are not too many.
try desk/desk new
busy attach 10
refuses 'cannot attach' desk/desk plug
busy attach 2
try desk/desk plug
try desk/desk expect mount 'at /Volumes/Pelluria without nobrowse'
refuses 'there is a volume /Volumes/Pelluria already' desk/desk plug
try desk/desk start
refuses 'stop the daemon first' desk/desk plug --label Other
try desk/desk until ready
for _ in 1 2; do PATH=$desk/bin:$PATH open "$DESK_ROOT/Volumes/Pelluria/ThirdPartySetup.dmg"; done # it is mounted once
try desk/desk status
for line in 'disk     disk2, label Pelluria' 'volume   disk3s1 at /Volumes/Third Party Setup without nobrowse'; do
    [ "$(grep -cx "$line" "$work/out")" = 1 ] || fail "status has no line $line"
done
busy detach 99
refuses 'is still attached after ten tries' desk/desk unplug
busy detach 3
try desk/desk unplug
try desk/desk stop
is_clean

# Whatever is left of a desk, `new` removes; what `play` is killed at, it removes itself.
try desk/desk start
try desk/desk plug
read -r daemon _ <"$desk/daemon"
kill -KILL "$daemon"
refuses 'has ended by itself' desk/desk until log never
"$DESK_DAEMON" &
refuses 'did not start it' desk/desk start
kill $!
try desk/desk new
is_clean

use_shell "$busybox sh"
for moment in 0.3 0.6 0.9 1.2 1.5; do
    desk/desk play desk/mac.scenario >"$work/out" 2>&1 &
    /bin/sleep $moment
    kill $! 2>/dev/null || : # it may have ended
    wait $! || :
    is_clean
done
cat >desk/other.scenario <<'END'
new
config name=Other
config path1=/Applications/Other.app
folder Applications/Other.app
setup SD_THIRD_SETUP=No
remove Applications/Pelluria.app/Contents/Resources/SysConfig.dat
image Other.dmg
plug --label Other
start
until ready
unplug --label Other
until no volume Other
plug --label Other
until opened "open -a /Applications/Other.app"
wait 0
log
END
try desk/desk play desk/other.scenario
is_clean
for condition in 'volume Other' 'log never' 'mount Other' 'setup unchanged' ready; do
    # shellcheck disable=SC2086 # its words
    refuses 'but saw' desk/desk expect $condition
done
