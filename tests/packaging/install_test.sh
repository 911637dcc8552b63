#!/bin/sh
# install_test.sh BUILD: the life of an installation as an administrator sees it, from bad input to what is left.
# shellcheck disable=SC2086 # a shell may have options
# shellcheck source=tests/packaging/setup.sh
. "$(dirname -- "$0")/setup.sh"
use_fakes launchctl stat sudo
make_sources 1.0
make_sources 1.1

# ---- Bad input: one or two lines, the right status, and nothing is touched
refused() { "$work/1.0/packaging/install" --daemon "$work/Zerbin" --user "$user" "$@"; }
mkdir -p "$root/usr/local/bin/zerbin-explain"
refuse 1 'zerbin-explain is in the way' refused "$root"
rmdir "$root/usr/local/bin/zerbin-explain"
each_row refuse refused <<END
2|usage: install [--dry-run]|--force $root
2|usage: install|$root $root
2|usage: install|$root --user
1|use letters, digits, blanks|$work/it's
1|without . and ..|$work/1.0/../mac
1|there is no user -r|--user -r $root
1|there is no daemon at|--daemon $work/none $root
END
refuse 2 'usage: install' refused ''
refuse 1 'use letters, digits, blanks' refused "$work/two
lines"
refuse 1 'there is no user n?body' refused --user 'n
body' "$root"
refuse 1 'built for another root' refused "$work/blank root"
ln -s "$work" "$folder"
refuse 1 "$folder is a link" refused "$root"
rm "$folder"
(ulimit -f 16 && refuse 1 'failed, and nothing was changed' refused "$root") || exit # in effect, a full disk
if [ "$(id -u)" != 0 ]; then
    chmod 555 "$root"
    refuse 1 'failed, and nothing was changed' refused "$root"
    chmod 755 "$root"
fi

# ---- From 1.0, which had two files more, to 1.1, whose sample is another, and off; each step under another shell
next_shell() {
    shell=${shells%%,*}
    shells=${shells#*,},$shell
    command -v "${shell%% *}" >/dev/null || next_shell
}
shells='dash,bash --posix,busybox sh,sh'
echo '644 packaging/config /usr/local/share/zerbin/explain/more
755 packaging/status /usr/local/bin/zerbin-more' >>"$work/1.0/packaging/files"
echo 'new_key=1' >>"$work/1.1/packaging/config"
: >"$MAC_STATE/logged-in"
expect 0 'installed 1.0,' install_it 1.0
files "$root" >"$work/files-1.0"
grep '^[0-9]' "$work/1.0/packaging/files" | while read -r mode _ path; do check [ "$(find "$root$path" -perm "$mode")" ]; done
check [ "$(find "$folder" -perm 755 -user "$user")" ]
check grep -q "<string>$item/TovrikZerbin</string>" "$agent"

next_shell
mkdir "$share/.zerbin-lock" && echo $$ >"$share/.zerbin-lock/process"
expect 1 "another installation is running, process $$" install_it 1.1
echo 999999999 >"$share/.zerbin-lock/process" # one that was killed
expect 0 'installed 1.0 → 1.1' install_it 1.1
check cmp -s "$item/config" "$work/1.1/packaging/config"
grep -v -e /more -e zerbin-more "$work/files-1.0" >"$work/files-1.1"
files "$root" | check diff "$work/files-1.1" -
check [ ! -d "$share/explain" ]

next_shell
echo 'disable_cdrom=true' >>"$item/config"
cp "$item/config" "$work/config"
expect 0 "is $item/config.new" install_it 1.0
next_shell
expect 0 'installed 1.0 again' install_it 1.0
says_not config.new # the same sample twice
check cmp -s "$item/config" "$work/config"

mv "$work/1.0" "$work/gone" # neither status nor uninstall needs sources
mv "$share/receipt" "$work/receipt"
expect 1 'receipt is missing' "$share/uninstall"
mv "$work/receipt" "$share/receipt"
for _ in 1 2 3 4; do
    next_shell
    expect 0 1.0 $shell "$item/TovrikZerbin" version
    expect 0 'nothing was changed; without --dry-run' $shell "$share/uninstall" --dry-run
done
check [ -x "$item/Zerbin" ]
expect 0 uninstalled "$share/uninstall"
mv "$work/gone" "$work/1.0"
check [ "$(files "$root")" = ./Library/StartupItems/TovrikZerbin/config ]
check [ ! -e "$share" ]
expect 0 'nothing was installed' "$work/1.0/packaging/uninstall" "$root"

# ---- What launchd is asked, in order, and what it answers
asks() { # the calls, then the command
    : >"$MAC_STATE/calls"
    calls=$1
    shift
    expect 0 '' "$@"
    check [ "$(sed "s/$uid/UID/g; s|$root||; s/tovrik.zerbin/AGENT/; s/^launchctl //" "$MAC_STATE/calls" | tr '\n' ';')" = "$calls" ]
}
start='print gui/UID;print gui/UID/AGENT;'
asks "print gui/UID/AGENT;${start}enable gui/UID/AGENT;bootstrap gui/UID /Library/LaunchAgents/AGENT.plist;" install_it 1.0
asks "${start}kickstart gui/UID/AGENT;" "$item/TovrikZerbin" start
asks 'print gui/UID/AGENT;bootout gui/UID/AGENT;' "$item/TovrikZerbin" stop
: >"$MAC_STATE/refused"
use_fakes sleep # between the tries
expect 1 'launchctl says: Bootstrap failed: 5: Input/output error' "$item/TovrikZerbin" start
says 'System Settings > General > Login Items'
rm "$MAC_STATE/logged-in" "$work/bin/sleep"
expect 0 'logs in' "$item/TovrikZerbin" start
for missing in "$folder" "$item/Zerbin"; do
    mv "$missing" "$work/aside"
    expect 0 'there is no' "$item/TovrikZerbin" run
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
expect 0 '' "$share/uninstall"
says_not "$(printf '\033')"
mkdir -p "$share" # through which one of them goes
for victim in $victims; do check [ -e "$root$victim" ]; done
rm -r "$root"

# ---- Where launchd does not start it, the script does, and the daemon outlives the session in which it was started
mkdir -p "$root/sbin" && : >"$root/sbin/SystemStarter"
expect 0 '' install_it 1.0
check [ ! -e "$agent" ]
if [ -e /proc/self/exe ]; then
    pid() { find /proc/[0-9]*/exe -prune -lname "$item/Zerbin*" 2>/dev/null || :; }
    for _ in 1 2 3 4 5 6 7 8 9; do [ "$(pid)" ] || sleep 0.1; done
    check [ "$(pid)" ]
    ln -s mac "$work/link"
    expect 0 '' "/$work/link${item#"$root"}/TovrikZerbin" stop
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
    expect 0 '' "$share/uninstall"
    check [ -z "$(pid)" ]
fi

# ---- cmake --install stages what is installed
expect 0 '' install_it 1.0
DESTDIR=$work/stage cmake --install "$1" >/dev/null
(cd "$root" && files . | grep -v -e TovrikZerbin/config -e /receipt -e /more -e zerbin-more -e sbin) >"$work/installed"
(files "$work/stage" | grep -v LaunchAgents) | check diff "$work/installed" -
echo ok
