#!/bin/sh
# attack_test.sh: what a local user, the daemon's own among them, can prepare for the moment when root installs.
# shellcheck source=tests/packaging/setup.sh
. "$(dirname -- "$0")/setup.sh"
[ "$(id -u)" = 0 ] || { echo 'needs root, to attack it' && exit 77; }
use_fakes sudo
make_sources 1.0
exec_as() {
    who=$1
    shift
    exec setpriv --reuid="$who" --clear-groups "$@"
}
pids=''
end_them() { for pid in $pids; do if kill -9 "$pid" 2>/dev/null; then wait "$pid" 2>/dev/null || :; fi; done; }
clean_up() {
    end_them
    stop_daemon
}

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
refused() { # TEXT, what makes it so, and what takes that away
    eval "$2"
    expect 1 "$1" install_it 1.0
    [ ! -d "$folder" ] || in_order
    eval "$3"
}

# ---- Links, pipes and the like, planted in the folder of the log: each row is run there by its user
expect 0 '' install_it 1.0
v="'$work/victim'"
for plant in "echo x >cmd.txt; ln cmd.txt second; ln -s $v cmd.txt.old" \
    "ln -s $v/file Zerbin.log; ln -s $v/file Zerbin.log.old; ln -s $v cmd.txt" \
    "mkfifo Zerbin.log cmd.txt; mkdir cmd.txt.old; ln -s $v cmd.txt.old/cmd.txt; ln -s / Zerbin.log.old.1" \
    "mkdir Zerbin.log; ln -s $v Zerbin.log/x; ln -s cmd.txt cmd.txt" \
    "echo x >-R; echo x >'*'; chmod 777 .; ln -s $v/file 'cmd.txt
Zerbin.log'" \
    "ln -s $v cmd.txt; for n in '' .1 .2 .3 .4 .5 .6 .7 .8 .9; do ln -s $v cmd.txt.old\$n; done"; do
    (cd "$folder" && exec_as nobody sh -c "$plant")
    install_it 1.0 >"$work/out" 2>&1 || expect 1 'there is no free name' "$share/set-user" daemon
    in_order
    [ ! -L "$folder/cmd.txt" ] || says 'there is no free name'
    check [ ! -L "$folder/Zerbin.log" ]
    find "$folder" -mindepth 1 -delete
done
(cd "$folder" && exec_as nobody sh -c "ln -s $v/file Zerbin.log; mkdir cmd.txt; ln -s $v more")
expect 0 '' "$share/uninstall"
in_order
rm -r "$root"

# ---- The same while root is at work, by somebody whose working folder it is
expect 0 '' install_it 1.0
(cd "$folder" && exec_as nobody sh -c "while :; do
    ln -sfn $v cmd.txt.old; ln -sfn $v/file cmd.txt; ln -sfn $v/file Zerbin.log; mkdir Zerbin.log.old; mv Zerbin.log cmd.txt.old
    rm -f cmd.txt Zerbin.log; mkfifo cmd.txt; rm -rf cmd.txt.old cmd.txt Zerbin.log.old*; done" 2>/dev/null) &
pids=$!
for _ in 1 2 3; do
    install_it 1.0 >"$work/out" 2>&1 || says 'nothing was changed'
    check [ "$(victim_is)" = "$victim" ]
done
end_them
in_order

# ---- A folder on the way that somebody else can write, and how it is opened and closed: refused, with what to do
while read -r mode way; do
    refused "chown root '$way'" "chmod $mode '$way'; expect 1 \"chown root '$way'\" '$share/set-user' nobody" "chmod 755 '$way'"
done <<END
777 $root
777 $item
777 $root/Library/LaunchAgents
777 $share
775 $root/Library
1777 $root/usr/local
END

# Here he waits for the moment at which files are staged, and then swaps the folder of the log for a link.
chmod 777 "$root/usr/local"
expect 1 "chown root '$root/usr/local'" "$share/uninstall"
(ulimit -f 0 && BASH_COMPAT=50 bash --posix "$share/uninstall" --dry-run) 2>&1 | cat >"$work/out" # as a Mac's sh, disk full
says "chown root '$root/usr/local'"
exec_as nobody sh -c "until ls -A '$item' | grep -q new; do :; done; mv '$folder' '$folder.mine' && ln -s $v '$folder'" &
pids=$!
refused "chown root '$root/usr/local'" : end_them
chmod 755 "$root/usr/local"

# What was planted when the folder could be written
refused '.zerbin-new is in the way' "mkdir '$item/.zerbin-new' && chown nobody '$item/.zerbin-new'" "rmdir '$item/.zerbin-new'"
lock=$share/.zerbin-lock
refused 'in the way' "mkdir '$lock' && mkfifo '$lock/process' && chown -R nobody '$lock'" "rm -r '$lock'"
rm "$item/config" && mkfifo "$item/config"
expect 0 '' install_it 1.0
rm "$item/config"
printf '#!/bin/sh\n: >%s\n' "$work/ran" >"$item/TovrikZerbin" && chown nobody "$item/TovrikZerbin"
each_row expect <<END
1|not root's own file|$work/1.0/packaging/install --user daemon --daemon $work/Zerbin $root
1|not root's own file|$share/set-user daemon
1|not root's own file|$share/uninstall
END
check [ ! -e "$work/ran" ]
expect 0 '' install_it 1.0

# On a Mac, an access list can allow what the mode forbids, and a user can mount a volume in a folder of his, in which
# everybody seems to own everything: what the command shows with these arguments, and what install says then.
while IFS='|' read -r command arguments answer text; do
    printf '%s\n' '#!/bin/sh' "case \$* in $arguments) echo '$answer' ;; *) exec /bin/$command \"\$@\" ;; esac" >"$work/bin/$command"
    refused "$text" "chmod +x '$work/bin/$command'" "rm '$work/bin/$command'"
done <<END
ls|-lde*'$root/usr/local'*| 0: user:nobody allow list,add_file,search|chmod -N '$root/usr/local
ls|'-lde .'| 0: user:nobody allow delete_child|chmod -N '$folder'
df|'-P .'|disk9 1 1 1 1% $folder|a volume is mounted at $folder
END

# A volume of his is unmounted while root looks at it: what then lies at its path stays as it is.
mkdir "$folder.his" && ln -s x "$folder.his/cmd.txt"
printf '%s\n' '#!/bin/sh' "[ \$1 != 700 ] || { mv '$folder' '$folder.volume' && mv '$folder.his' '$folder'; }" 'exec /bin/chmod "$@"' \
    >"$work/bin/chmod" && chmod +x "$work/bin/chmod"
install_it 1.0 >"$work/out" 2>&1 || :
check [ "$(readlink "$folder/cmd.txt")" = x ]
expect 0 '' "$item/TovrikZerbin" stop # while the folder is that of whom it was started for
rm -r "$work/bin/chmod" "$folder" && mv "$folder.volume" "$folder"

# Nobody reads what it says, and nothing is left half done.
(cd "$folder" && exec_as nobody ln -s x cmd.txt)
{ sleep 0.2 && "$work/1.0/packaging/install" --user nobody --daemon "$work/Zerbin" "$root"; } | true
in_order
check [ ! -L "$folder/cmd.txt" ]

# ---- What the caller's environment brings along is not used, and root's work is root's
mkdir "$work/evil"
for name in id ls find sed cat cp mv chmod awk dirname tr stat sort head uname; do
    printf '#!/bin/sh\n: >%s\n' "$work/ran" >"$work/evil/$name"
done
chmod +x "$work/evil"/*
each_row expect env PATH="$work/evil:$PATH" CDPATH="$work/evil" IFS=/ ENV="$work/evil/id" <<END
0|would install|$repository/packaging/install --dry-run --user nobody --daemon $work/Zerbin $root
0|would|$repository/packaging/uninstall --dry-run $root
0|TovrikZerbin|$repository/packaging/TovrikZerbin --help
END
check [ ! -e "$work/ran" ]
each_row expect setpriv --reuid=nobody --clear-groups <<END
1|needs root|$share/uninstall
1|this is not a Mac|$work/1.0/packaging/install --dry-run --daemon $work/Zerbin
END

# ---- Only its user's processes that run the daemon's file are the daemon; others neither die nor are in the way. On
# Linux, and with a Mac's ps: the daemon, one that only calls itself so, another user's, one with two lines for a name.
# shellcheck disable=SC2016 # for that shell
for name in nobody daemon; do
    exec_as $name bash -c 'exec -a "$0" sleep 60' "$item/Zerbin" &
    pids="$pids $!"
done
sleep 0.3
expect 0 '' "$item/TovrikZerbin" stop
# shellcheck disable=SC2086 # one word each
check kill ${pids#* }

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
expect 0 '' "$item/TovrikZerbin" stop
! kill "$1" 2>/dev/null || fail 'the daemon was not stopped'
check kill "$2" "$3" "$4" "$5"
echo ok
