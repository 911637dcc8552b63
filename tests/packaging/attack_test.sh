#!/bin/sh
# attack_test.sh: what a local user, the daemon's own among them, can prepare for the moment when root installs.
# shellcheck source=tests/packaging/setup.sh
. "$(dirname -- "$0")/setup.sh"
if [ "$(id -u)" != 0 ]; then
    echo 'needs root, to attack it'
    exit 77
fi
use_fakes sudo
make_sources 1.0
exec_as() {
    who=$1
    shift
    exec setpriv --reuid="$who" --clear-groups "$@"
}
racer=
trap 'kill -9 $racer 2>/dev/null || :; clean_up' EXIT

# What is root's, and must stay as it is.
mkdir "$work/victim"
echo secret >"$work/victim/file"
chmod 600 "$work/victim/file"
victim_is() { ls -ldn "$work/victim" && ls -lAnR "$work/victim" && cat "$work/victim/file"; }
victim=$(victim_is)
in_order() {
    check [ "$(victim_is)" = "$victim" ]
    check [ "$(find "$folder" -prune -type d -user nobody -perm 755)" ]
}

# ---- Links, pipes and the like, planted in the folder of the log: each row is run there by its user
check install_it 1.0
v="'$work/victim'"
for plant in "echo x >cmd.txt; ln cmd.txt second; ln -s $v cmd.txt.old" \
    "ln -s $v/file Zerbin.log; ln -s $v/file Zerbin.log.old; ln -s $v cmd.txt" \
    "mkfifo Zerbin.log cmd.txt; mkdir cmd.txt.old; ln -s $v cmd.txt.old/cmd.txt; ln -s / Zerbin.log.old.1" \
    "mkdir Zerbin.log; ln -s $v Zerbin.log/x; ln -s cmd.txt cmd.txt" \
    "echo x >-R; echo x >'*'; chmod 777 .; ln -s $v/file 'cmd.txt
Zerbin.log'" \
    "ln -s $v cmd.txt; for n in '' .1 .2 .3 .4 .5 .6 .7 .8 .9; do ln -s $v cmd.txt.old\$n; done"; do
    (cd "$folder" && exec_as nobody sh -c "$plant")
    install_it 1.0 || { says 'there is no free name' && refuses "$share/set-user" daemon; }
    in_order
    [ ! -L "$folder/cmd.txt" ] || says 'there is no free name'
    check [ ! -L "$folder/Zerbin.log" ]
    find "$folder" -mindepth 1 -delete
done
(cd "$folder" && exec_as nobody sh -c "ln -s $v/file Zerbin.log; mkdir cmd.txt; ln -s $v more")
check try "$share/uninstall"
in_order
rm -r "$root"

# ---- The same while root is at work, by somebody whose working folder it is
check install_it 1.0
(cd "$folder" && exec_as nobody sh -c "while :; do
    ln -sfn $v cmd.txt.old; ln -sfn $v/file cmd.txt; ln -sfn $v/file Zerbin.log; mkdir Zerbin.log.old; mv Zerbin.log cmd.txt.old
    rm -f cmd.txt Zerbin.log; mkfifo cmd.txt; rm -rf cmd.txt.old cmd.txt Zerbin.log.old*; done" 2>/dev/null) &
racer=$!
for _ in 1 2 3; do
    install_it 1.0 || says 'nothing was changed'
    check [ "$(victim_is)" = "$victim" ]
done
kill -9 $racer
wait $racer 2>/dev/null || :
in_order

# ---- A folder on the way that somebody else can write, and how it is opened and closed: refused, with what to do
refused() {
    sh -c "$2"
    ! install_it 1.0 || fail "installed though: $2"
    says "chown root '$1'"
    refuses "$share/set-user" nobody
    sh -c "$3"
}
for way in "$root" "$item" "$root/Library/LaunchAgents" "$share"; do
    refused "$way" "chmod 777 '$way'" "chmod 755 '$way'"
done
refused "$root/usr/local" "chmod 1777 '$root/usr/local'" "chmod 755 '$root/usr/local'"
refused "$root/Library" "chmod g+w '$root/Library'" "chmod g-w '$root/Library'"

# Here he waits for the moment at which files are staged, and then swaps the folder of the log for a link.
chmod 777 "$root/usr/local"
refuses "$share/uninstall"
(ulimit -f 0 && BASH_COMPAT=50 bash --posix "$share/uninstall" --dry-run) 2>&1 | cat >"$work/out" # as a Mac's sh, disk full
says "chown root '$root/usr/local'"
exec_as nobody sh -c "until ls -A '$item' | grep -q new; do :; done; mv '$folder' '$folder.mine' && ln -s $v '$folder'" &
racer=$!
! install_it 1.0 || fail 'installed below a folder that others can write'
kill -9 $racer 2>/dev/null || :
wait $racer 2>/dev/null || :
chmod 755 "$root/usr/local"
in_order

mkdir "$item/.zerbin-new" && chown nobody "$item/.zerbin-new" # planted when the folder could be written
! install_it 1.0 || fail 'used a planted folder'
says '.zerbin-new is in the way'
rmdir "$item/.zerbin-new"
mkdir "$share/.zerbin-lock" && mkfifo "$share/.zerbin-lock/process" && chown -R nobody "$share/.zerbin-lock"
! install_it 1.0 || fail 'used a planted lock'
rm -r "$share/.zerbin-lock"
rm "$item/config" && mkfifo "$item/config"
check install_it 1.0
rm "$item/config"
printf '#!/bin/sh\n: >%s\n' "$work/ran" >"$item/TovrikZerbin" && chown nobody "$item/TovrikZerbin"
refuses "$work/1.0/packaging/install" --user daemon --daemon "$work/Zerbin" "$root"
refuses "$share/set-user" daemon
refuses "$share/uninstall"
check [ ! -e "$work/ran" ]
check install_it 1.0

# On a Mac, an access list can allow what the mode forbids, and a user can mount a volume in a folder of his, in which
# everybody seems to own everything.
fake_and_refuse() { # a command, when it shows $3 instead, and what install says then
    printf '%s\n' '#!/bin/sh' "case \$* in $2) echo '$3' ;; *) exec /bin/$1 \"\$@\" ;; esac" >"$work/bin/$1"
    chmod +x "$work/bin/$1"
    ! install_it 1.0 || fail "overlooked: $3"
    says "$4"
    in_order
    rm "$work/bin/$1"
}
fake_and_refuse ls "-lde*'$root/usr/local'*" ' 0: user:nobody allow list,add_file,search' "chmod -N '$root/usr/local"
fake_and_refuse ls "-lde*'$folder'" ' 0: user:nobody allow delete_child' "chmod -N '$folder'"
fake_and_refuse df "-P*'$folder'" "disk9 1 1 1 1% $folder" "a volume is mounted at $folder"

# ---- What the caller's environment brings along is not used
mkdir "$work/evil"
for name in id ls find sed cat cp mv chmod awk dirname tr stat sort head uname; do
    printf '#!/bin/sh\n: >%s\n' "$work/ran" >"$work/evil/$name"
    chmod +x "$work/evil/$name"
done
(
    PATH=$work/evil:$PATH CDPATH=$work/evil IFS=/ ENV=$work/evil/id
    export PATH CDPATH IFS ENV
    "$repository/packaging/install" --dry-run --user nobody --daemon "$work/Zerbin" "$root"
    "$repository/packaging/uninstall" --dry-run "$root"
    "$repository/packaging/TovrikZerbin" --help
) >"$work/out" 2>&1 || fail 'the environment is in the way'
check [ ! -e "$work/ran" ]
(exec_as nobody "$share/uninstall") >"$work/out" 2>&1 && fail 'uninstalled by nobody'
(exec_as nobody "$work/1.0/packaging/install" --daemon "$work/Zerbin") >"$work/out" 2>&1 && fail 'installed by nobody'
says 'needs root'

# ---- Only its user's processes that run the daemon's file are the daemon; others neither die nor are in the way. On
# Linux, and with a Mac's ps: the daemon, one that only calls itself so, another user's, one with two lines for a name.
# shellcheck disable=SC2016 # for that shell
for name in nobody daemon; do
    exec_as $name bash -c 'exec -a "$0" sleep 60' "$item/Zerbin" &
    pids="${pids-} $!"
done
sleep 0.3
check try "$item/TovrikZerbin" stop
# shellcheck disable=SC2086 # one word each
check kill $pids

use_fakes uname ps
pids=''
for _ in daemon named other injected bystander; do
    sleep 60 &
    pids="$pids $!"
done
# shellcheck disable=SC2086 # one word each
set -- $pids
printf '%s\n' "$uid $1 Zerbin $item/Zerbin" "$uid $2 sleep $item/Zerbin" "1 $3 Zerbin $item/Zerbin" \
    "$uid $4 Zerbin x\\n$uid $5 Zerbin $item/Zerbin" >"$MAC_STATE/processes"
check try "$item/TovrikZerbin" stop
! kill "$1" 2>/dev/null || fail 'the daemon was not stopped'
check kill "$2" "$3" "$4" "$5"
echo ok
