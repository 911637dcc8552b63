#!/bin/sh
# mac_test.sh: runs here what runs on a Mac, under three shells, with stand-ins for a Mac's own tools (tests/mac), and with
# nothing on the PATH that neither POSIX nor a Mac has. The daemon is built for platform/, with seconds that last a millisecond.
# shellcheck source=tests/helpers.sh
. "$(dirname -- "$0")/helpers.sh"
cd "$repository"
if [ "${1-}" != copied ]; then
    mkdir "$work/project"
    cp -R CMakeLists.txt velmar Common src platform scripts desk packaging tools man tests "$work/project"
    set -- "$work/project/tests/mac_test.sh" copied
    if [ "$(id -u)" = 0 ]; then # nobody is root on a desk
        chown -R nobody "$work"
        set -- setpriv --reuid=65534 --regid=65534 --clear-groups "$@"
    fi
    "$@"
    exit
fi
export HOME="$work" MAC_SOURCE="$repository" MAC_VOLUMES="$repository/build/desk/Volumes"
export DESK_ROOT="$repository/build/desk/mac" DESK_DAEMON="$repository/build/desk/Zerbin"
desk=$DESK_ROOT/desk
mkdir -p "$MAC_STATE/attached" "$MAC_VOLUMES"
ln -s mac/desk build/desk/desk # for the links that platform/ makes
id -un >"$MAC_STATE/console"
: >"$MAC_STATE/logged-in"
for tool in basename cat chmod cksum cmp comm cp cut date dirname env expr getconf git grep head id ls lsof mkdir mktemp mv \
    printf readlink rm rmdir sed setpriv sh sort tail tar tee touch tr wc xargs; do
    ln -s "$(command -v $tool)" "$work/bin"
done
ln -s "$(command -v original-awk || command -v awk)" "$work/bin/awk" # a Mac's
use_fakes brew cmake ctest lipo plutil pkgutil pkgbuild productbuild codesign ninja xcrun launchctl sudo hdiutil mount ps ln \
    sleep c++ uname stat
dash=$(command -v dash) bash=$(command -v bash) busybox=$(command -v busybox)
PATH=$work/bin
# shellcheck disable=SC2046 # one word for each daemon that a failed test leaves
clean_up() { kill -KILL $(lsof -t "$DESK_DAEMON" 2>/dev/null) 2>/dev/null || :; }

is_clean() {
    for left in "$MAC_STATE/attached"/*/path "$MAC_VOLUMES"/*; do check [ ! -e "$left" ]; done
    check [ -z "$(lsof -t "$DESK_DAEMON")" ]
}
use_shell() {
    for file in scripts/* desk/* desk/bin/* tools/zerbin-explain packaging/*; do
        [ ! -f "$file" ] || ! head -n 1 "$file" | grep -q '^#!.*sh' || sed -i "1s|.*|#!$*|" "$file"
    done
}
step() { # of the desk, or how often hdiutil will be busy
    case $1 in *.busy) echo "$2" >"$MAC_STATE/$1" ;; *) desk/desk "$@" ;; esac
}
steps() { each_row expect step; }
faked() { # TOOL LINE TEXT COMMAND...: with that line for the tool, the command is refused
    tool=$1 line=$2
    shift 2
    mv "$work/bin/$tool" "$work/bin/other" && printf '#!/bin/sh\n%s\n' "$line" >"$work/bin/$tool" && chmod 755 "$work/bin/$tool"
    expect 1 "$@"
    mv "$work/bin/other" "$work/bin/$tool"
}

# ---- The two commands, and what hosted CI does
git init -q
git add -A
expect 0 '' scripts/test
for call in 'brew install -q cmake ninja googletest' 'ctest --preset asan' 'plutil -lint packaging/'; do
    check grep -q "^$call" "$MAC_STATE/calls"
done
use_shell "$dash"
expect 0 '' scripts/mac-ci run universal package install
is_clean
check [ -s build/mac-ci/report.html ]
rm "$work/bin/brew" "$work/bin/cmake"
expect 1 'there is no Homebrew; install these yourself: cmake ninja googletest' scripts/test

# ---- The desk. A modem that is plugged in before the start is mounted by the system; two refusals are not too many.
use_shell "$bash --posix"
expect 0 '' scripts/run --stay
faked c++ 'exit 1' 'failed: c++' scripts/run
faked stat 'echo somebody' 'somebody is at the console' desk/desk new
faked ps 'exec /bin/ps "$@"' 'no Finder is running' desk/desk start
faked id 'echo root' 'not as root' desk/desk new
steps <<'END'
0||until ready
0||stop
1|needs the simulated Mac|login mika
1|needs the simulated Mac|plug --refuse
1|needs the simulated Mac|start --as root
1|leads out of the desk|remove Volumes/Pelluria
0||create.busy 10
1|cannot make an image|new
0||create.busy 9
0||new
END
for taken in 'a:b|plug --label a/b' 'Third Party Setup|plug' 'Third Party Setup|new'; do
    mkdir "$MAC_VOLUMES/${taken%|*}"
    echo "1|there is a volume /Volumes/${taken%|*} already|${taken#*|}" | steps
    rmdir "$MAC_VOLUMES/${taken%|*}"
done
steps <<'END'
0||new
0||attach.busy 10
1|cannot attach|plug
0||attach.busy 2
0||plug
1|there is a volume /Volumes/Pelluria already|plug
0||start
1|stop the daemon first|plug --label Other
0||until ready
END
for _ in 1 2; do PATH=$desk/bin:$PATH open "$DESK_ROOT/Volumes/Pelluria/ThirdPartySetup.dmg"; done # it is mounted once
expect 0 'volume   disk2s1 at /Volumes/Pelluria without nobrowse' desk/desk status
check [ "$(grep -cx 'volume   disk3s1 at /Volumes/Third Party Setup without nobrowse' "$work/out")" = 1 ]
steps <<'END'
0||detach.busy 99
1|is still attached after ten tries|unplug
0||detach.busy 3
0||unplug
0||stop
END
is_clean

# Whatever is left of a desk, `new` removes; what `play` is killed at, it removes itself.
printf '%s\n' '0||start' '0||plug' | steps
read -r daemon _ <"$desk/daemon"
kill -KILL "$daemon"
expect 1 'has ended by itself' desk/desk until log never
"$DESK_DAEMON" &
expect 1 'did not start it' desk/desk start
kill $!
expect 0 '' desk/desk new
is_clean

use_shell "$busybox sh"
for moment in 0.3 0.8 1.3; do
    desk/desk play desk/mac.scenario >"$work/out" 2>&1 &
    /bin/sleep $moment
    kill $! 2>/dev/null || : # it may have ended
    wait $! || :
    is_clean
done
printf '%s\n' new 'config name=Other' 'config path1=/Applications/Other.app' 'folder Applications/Other.app' \
    'setup SD_THIRD_SETUP=No' 'remove Applications/Pelluria.app/Contents/Resources/SysConfig.dat' 'image Other.dmg' \
    'plug --label Other' start 'until ready' 'unplug --label Other' 'until no volume Other' 'plug --label Other' \
    'until opened "open -a /Applications/Other.app"' 'wait 0' log >desk/other.scenario
expect 0 '' desk/desk play desk/other.scenario
is_clean
for condition in 'volume Other' 'log never' 'mount Other' 'setup unchanged' ready; do
    echo "1|but saw|expect $condition" | steps
done
