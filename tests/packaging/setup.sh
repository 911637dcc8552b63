#!/bin/sh
# setup.sh: read by the tests of packaging/. Makes copies of the sources, whose scripts find the stand-ins of tests/mac, and
# a daemon that does nothing, and ends by itself if a test is killed. Root's tests are those of an administrator who
# installs for somebody else.
# shellcheck disable=SC2034 # for the tests
# shellcheck source=tests/helpers.sh
. "$(dirname -- "$0")/../helpers.sh"
user=$(id -un)
[ "$user" != root ] || user=nobody
uid=$(id -u "$user")
root=$work/mac
item=$root/Library/StartupItems/TovrikZerbin
folder=$root/usr/local/DatacardService
share=$root/usr/local/share/zerbin
agent=$root/Library/LaunchAgents/tovrik.zerbin.plist
export MAC_SOURCE="$work/1.0"
: >"$MAC_STATE/calls"
if command -v original-awk >/dev/null; then ln -s "$(command -v original-awk)" "$work/bin/awk"; fi # a Mac's

# With the system's own ps, whatever a test has put in its place.
stop_daemon() {
    rm -f "$work/bin/uname" "$work/bin/ps"
    [ ! -x "$item/TovrikZerbin" ] || "$item/TovrikZerbin" stop >/dev/null 2>&1 || :
}
clean_up() { stop_daemon; }
files() { (cd "$1" && find . ! -type d | sort); }

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

echo "#include <unistd.h>
const char config[] = \"$item/config\";
int main() { for (alarm(900);;) access(config, 0), pause(); }" >"$work/daemon.c"
cc "$work/daemon.c" -o "$work/Zerbin"
shell='sh'
# shellcheck disable=SC2086 # a shell may have options
install_it() { $shell "$work/$1/packaging/install" --user "$user" --daemon "$work/Zerbin" "$root"; }
