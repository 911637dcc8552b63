#!/bin/sh
# install_test.sh BUILD: the life of an installation as an administrator sees it, from bad input to what is left.
# shellcheck disable=SC2086 # a shell may have options
# shellcheck source=tests/packaging/setup.sh
. "$(dirname -- "$0")/setup.sh"
use_fakes launchctl stat sudo
make_sources 1.0
make_sources 1.1

# ---- Bad input: one or two lines, the right status, and nothing is touched
tree() { find "$root" -exec ls -ldn {} + | awk '{ print $1, $3, $4, $NF }'; }
refuse() {
    status=$1 text=$2 before=$(tree)
    shift 2
    try "$work/1.0/packaging/install" --daemon "$work/Zerbin" --user "$user" "$@" && fail "installed: $*"
    check [ $? = "$status" ]
    says "$text"
    check [ "$(wc -l <"$work/out")" -le 2 ]
    check [ "$(tree)" = "$before" ]
}
mkdir -p "$root/usr/local/bin/zerbin-explain"
refuse 1 "zerbin-explain is in the way" "$root"
rmdir "$root/usr/local/bin/zerbin-explain"
refuse 2 'usage: install [--dry-run]' --force "$root"
refuse 2 'usage: install' "$root" "$root"
refuse 2 'usage: install' ''
refuse 2 'usage: install' "$root" --user
refuse 1 'use letters, digits, blanks' "$work/it's"
refuse 1 'use letters, digits, blanks' "$work/two
lines"
refuse 1 'without . and ..' "$work/1.0/../mac"
refuse 1 'there is no user n?body' --user 'n
body' "$root"
refuse 1 'there is no user -r' --user -r "$root"
refuse 1 'built for another root' "$work/blank root"
refuse 1 'there is no daemon at' --daemon "$work/none" "$root"
ln -s "$work" "$folder"
refuse 1 "$folder is a link" "$root"
rm "$folder"
(ulimit -f 16 && refuse 1 'failed, and nothing was changed' "$root") || exit # in effect, a full disk
if [ "$(id -u)" != 0 ]; then
    chmod 555 "$root" && refuse 1 'failed, and nothing was changed' "$root"
    chmod 755 "$root"
fi

# ---- From 1.0, which had two files more, to 1.1, whose sample is another, and off; each step under another shell
next_shell() {
    shell=${shells%%,*}
    shells=${shells#*,},$shell
    command -v "${shell%% *}" >/dev/null || next_shell
}
shells='dash,bash --posix,busybox sh,sh'
more='644 packaging/config /usr/local/share/zerbin/explain/more
755 packaging/status /usr/local/bin/zerbin-more'
echo "$more" >>"$work/1.0/packaging/files"
echo 'new_key=1' >>"$work/1.1/packaging/config"
: >"$MAC_STATE/logged-in"

check install_it 1.0
says 'installed 1.0,'
files "$root" >"$work/files-1.0"
grep '^[0-9]' "$work/1.0/packaging/files" | while read -r mode _ path; do check [ "$(find "$root$path" -perm "$mode")" ]; done
check [ "$(find "$folder" -perm 755 -user "$user")" ]
check grep -q "<string>$item/TovrikZerbin</string>" "$agent"

next_shell
mkdir "$share/.zerbin-lock" && echo $$ >"$share/.zerbin-lock/process"
! install_it 1.1 || fail 'two at once'
says "another installation is running, process $$"
echo 999999999 >"$share/.zerbin-lock/process" # one that was killed
check install_it 1.1
says 'installed 1.0 → 1.1'
check cmp -s "$item/config" "$work/1.1/packaging/config"
grep -v -e /more -e zerbin-more "$work/files-1.0" >"$work/files-1.1"
files "$root" | check diff "$work/files-1.1" -
check [ ! -d "$share/explain" ]

next_shell
echo 'disable_cdrom=true' >>"$item/config"
cp "$item/config" "$work/config"
check install_it 1.0
says "is $item/config.new"
next_shell
check install_it 1.0
says 'installed 1.0 again'
! grep -q config.new "$work/out" || fail 'offers the same sample twice'
check cmp -s "$item/config" "$work/config"

mv "$work/1.0" "$work/gone" # neither status nor uninstall needs sources
mv "$share/receipt" "$work/receipt"
refuses "$share/uninstall"
mv "$work/receipt" "$share/receipt"
for _ in 1 2 3 4; do
    next_shell
    check try $shell "$item/TovrikZerbin" version
    says 1.0
    check try $shell "$share/uninstall" --dry-run
    says 'nothing was changed; without --dry-run'
    check [ -x "$item/Zerbin" ]
done
check try "$share/uninstall"
mv "$work/gone" "$work/1.0"
check [ "$(files "$root")" = ./Library/StartupItems/TovrikZerbin/config ]
check [ ! -e "$share" ]
check try "$work/1.0/packaging/uninstall" "$root"
says 'nothing was installed'

# ---- What launchd is asked, in order, and what it answers
calls() {
    sed "s/$uid/UID/g; s|$root||; s/tovrik.zerbin/AGENT/; s/^launchctl //" "$MAC_STATE/calls" | tr '\n' ';'
    : >"$MAC_STATE/calls"
}
: >"$MAC_STATE/calls"
check install_it 1.0
start='print gui/UID;print gui/UID/AGENT;'
check [ "$(calls)" = "print gui/UID/AGENT;${start}enable gui/UID/AGENT;bootstrap gui/UID /Library/LaunchAgents/AGENT.plist;" ]
check try "$item/TovrikZerbin" start
check [ "$(calls)" = "${start}kickstart gui/UID/AGENT;" ]
check try "$item/TovrikZerbin" stop
check [ "$(calls)" = 'print gui/UID/AGENT;bootout gui/UID/AGENT;' ]
: >"$MAC_STATE/refused"
echo '#!/bin/sh' >"$work/bin/sleep" && chmod +x "$work/bin/sleep" # between the tries
refuses "$item/TovrikZerbin" start
says 'launchctl says: Bootstrap failed: 5: Input/output error'
says 'System Settings > General > Login Items'
rm "$MAC_STATE/logged-in" "$work/bin/sleep"
check try "$item/TovrikZerbin" start
says 'logs in'
for missing in "$folder" "$item/Zerbin"; do
    mv "$missing" "$work/aside"
    check try "$item/TovrikZerbin" run
    check [ "$(wc -l <"$work/out")" = 1 ]
    mv "$work/aside" "$missing"
done

# ---- An edited receipt removes nothing but what can be Zerbin's, and not the user's configuration
mkdir -p "$root/etc" "$root/usr/local/bin/zerbin-folder"
victims="/etc/passwd /usr/local/share/zerbin/../../../../etc/group /usr/local/bin/other /usr/local/bin/zerbin-x:y
/usr/local/bin/zerbin-x/../another /Library/StartupItems/TovrikZerbin/config /Library/LaunchAgents/other.plist"
for victim in $victims; do
    mkdir -p "$root${victim%/*}"
    echo mine >>"$root$victim"
    echo "644 0:0 1 1 $victim" >>"$share/receipt"
done
printf '644 0:0 1 1 /usr/local/bin/zerbin-\033[31m\n644\n\n' >>"$share/receipt"
check try "$share/uninstall"
! grep -q "$(printf '\033')" "$work/out" || fail 'a receipt reaches the terminal'
mkdir -p "$share" # through which one of them goes
for victim in $victims; do check [ -e "$root$victim" ]; done
rm -r "$root"

# ---- Where launchd does not start it, the script does, and the daemon outlives the session in which it was started
mkdir -p "$root/sbin" && : >"$root/sbin/SystemStarter"
check install_it 1.0
check [ ! -e "$agent" ]
if [ -e /proc/self/exe ]; then
    pid() { find /proc/[0-9]*/exe -prune -lname "$item/Zerbin*" 2>/dev/null || :; }
    for _ in 1 2 3 4 5 6 7 8 9; do [ "$(pid)" ] || sleep 0.1; done
    first=$(pid)
    check [ "$first" ]
    check try "$item/TovrikZerbin" stop
    check [ -z "$(pid)" ]
    python3 - "$item/TovrikZerbin" <<'END' # in a terminal that is then closed
import os, pty, sys
process, terminal = pty.fork()
if process == 0:
    os.execvp("sh", ["sh", "-c", sys.argv[1] + " start; sleep 0.3; ps -t $(tty) -o args=; echo started; sleep 9"])
seen = b""
while b"started" not in seen: seen += os.read(terminal, 100)
assert b"/Zerbin\r" not in seen, "it has this terminal, and could type into it"
os.close(terminal)
os.waitpid(process, 0)
END
    rm -r "$folder" # by which it knows its user
    check try "$share/uninstall"
    check [ -z "$(pid)" ]
fi

# ---- cmake --install stages what is installed
check install_it 1.0
DESTDIR=$work/stage cmake --install "$1" >/dev/null
(cd "$root" && files . | grep -v -e TovrikZerbin/config -e /receipt -e /more -e zerbin-more -e sbin) >"$work/installed"
(files "$work/stage" | grep -v LaunchAgents) | check diff "$work/installed" -
echo ok
