#!/bin/sh
# Read by the tests of packaging/: a work folder with copies of the sources, whose scripts find the fakes of tests/mac, and
# a daemon that does nothing. Root's tests are those of an administrator who installs for somebody else.
# shellcheck disable=SC2034 # for the tests
set -eu
repository=$(CDPATH='' cd -- "$(dirname -- "$0")/../.." && pwd)
if [ "$(id -u)" = 0 ]; then
    user=nobody work=$(mktemp -d /var/lib/zerbin-test.XXXXXX)
    chmod 755 "$work"
else
    user=$(id -un) work=${TMPDIR:-/tmp}
    work=$(mktemp -d "${work%/}/zerbin-test.XXXXXX")
fi
uid=$(id -u "$user")
root=$work/mac
item=$root/Library/StartupItems/TovrikZerbin
folder=$root/usr/local/DatacardService
share=$root/usr/local/share/zerbin
agent=$root/Library/LaunchAgents/tovrik.zerbin.plist
export MAC_STATE="$work/state" MAC_SOURCE="$work/1.0"
mkdir "$MAC_STATE" "$work/bin"
: >"$MAC_STATE/calls"

clean_up() {
    [ ! -x "$item/TovrikZerbin" ] || "$item/TovrikZerbin" stop >/dev/null 2>&1 || :
    rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

fail() { printf 'FAILED: %s\n' "$*" && cat "$work/out" && exit 1; }
check() { "$@" || fail "$@"; }
try() { "$@" >"$work/out" 2>&1; }
says() { grep -qF -e "$*" "$work/out" || fail "does not say: $*"; }
refuses() { ! try "$@" || fail "does not refuse: $*"; }
files() { (cd "$1" && find . ! -type d | sort); }
use_fakes() {
    for fake; do
        file=$repository/tests/mac/$fake
        [ -e "$file" ] || file=$repository/tests/mac/record
        ln -s "$file" "$work/bin/$fake"
    done
}
if command -v original-awk >/dev/null; then ln -s "$(command -v original-awk)" "$work/bin/awk"; fi # a Mac's

# The sources as they would be in version $1, in a folder of that name.
make_sources() {
    mkdir "$work/$1" "$work/$1/scripts"
    (cd "$repository" && cp -R packaging man tools "$work/$1" && cp scripts/flags "$work/$1/scripts")
    sed "s/^project(Zerbin VERSION [0-9.]*/project(Zerbin VERSION $1/" "$repository/CMakeLists.txt" >"$work/$1/CMakeLists.txt"
    for script in common.sh TovrikZerbin; do
        sed "s|PATH=/usr/bin|PATH=$work/counting:$work/bin:/usr/bin|
             s|PATH=.zerbin_path|PATH=$work/counting:$work/bin:\$zerbin_path|" \
            "$repository/packaging/$script" >"$work/$1/packaging/$script"
    done
}

cat >"$work/daemon.c" <<END
#include <unistd.h>
const char config[] = "$item/config";
int main() { for (;;) access(config, 0), pause(); }
END
cc "$work/daemon.c" -o "$work/Zerbin"
shell='sh'
# shellcheck disable=SC2086 # a shell may have options
install_it() { try $shell "$work/$1/packaging/install" --user "$user" --daemon "$work/Zerbin" "$root"; }
