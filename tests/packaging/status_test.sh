#!/bin/sh
# status_test.sh: everything is well, and then one fault a row, which status must find, and say what to do about.
# shellcheck disable=SC2034 # variables that the rows use
# shellcheck source=tests/packaging/setup.sh
. "$(dirname -- "$0")/setup.sh"
use_fakes launchctl stat uname ps sudo
make_sources 1.0
: >"$MAC_STATE/processes"
: >"$MAC_STATE/logged-in"
echo "$user" >"$MAC_STATE/console"
expect 0 '' install_it 1.0
sleep 300 &
process=$!
clean_up() { kill $process 2>/dev/null || :; }
echo "$uid $process Zerbin $item/Zerbin" >"$MAC_STATE/processes"
resources=$root/Applications/Pelluria.app/Contents/Resources
setup=$resources/SysConfig.dat config=$item/config log=$folder/Zerbin.log
mkdir -p "$root/Volumes/Pelluria" "$resources"
write_setup() { printf '%s\n' '[SD_COMMON]' 'a=[b]' '[ SD_THIRDPARTY_SETUP ]' "$@" '[SD_UPDATE]' >"$setup"; }
good='SD_THIRD_FILE_PATH=Pelluria
SD_THIRD_FILE_NAME=x=y.dmg
SD_RUN_THIRD_FILE_ONCE=Yes'
write_setup 'SD_THIRD_SETUP= Yes' "$good"
write_log() { # messages of an arrival
    lines=0
    for message; do
        printf 'line %d===2026-11-20 9:01:00   Zerbin:DiskMountCallback --- %s\n' $((lines = lines + 1)) "$message"
    done >"$log"
}
write_log 'DiskMountCallback Enter' 'actvie == pname.....' 'have some one login succ' 'Run Pelluria Program success' \
    'DiskMountCallback exit'
[ "$(id -u)" != 0 ] || chown "$user" "$setup" "$log"
expect 0 'ok ' "$item/TovrikZerbin" status
! grep -v '^ok  ' "$work/out" || fail 'everything is well, and not so called'
cp -Rp "$root" "$work/saved"
cp -Rp "$MAC_STATE" "$work/saved-state"

# Each row is what status says, and what makes the fault.
find_faults() {
    while IFS= read -r row; do
        eval "${row#* | }"
        eval "text=\"${row%% | *}\""
        case $text in problem*) status=1 ;; *) status=0 ;; esac
        expect $status "$text" "$item/TovrikZerbin" status
        check [ "$(grep -c '^problem' "$work/out")" -le 1 ]
        rm -rf "$root" "$MAC_STATE"
        cp -Rp "$work/saved" "$root"
        cp -Rp "$work/saved-state" "$MAC_STATE"
    done
}
move() { mv "$1" "$1.moved"; }
find_faults <<'END'
problem  an installation was interrupted | mkdir "$share/.zerbin-new"
problem  $share has no version | rm "$share/receipt"
problem  $share/set-user is missing | rm "$share/set-user"
problem  $agent has another owner or mode | chmod 664 "$agent"
problem  $item/StartupParameters.plist has changed | echo >>"$item/StartupParameters.plist"
problem  users other than its owner can change $config | chmod 666 "$config"
problem  users other than its owner can change $setup | chmod 664 "$setup"
problem  there is no $agent | rm "$agent"; grep -v tovrik "$work/saved${share#"$root"}/receipt" >"$share/receipt"
problem  the agent is not loaded; | rm "$MAC_STATE/loaded"
problem  the agent is switched off | rm "$MAC_STATE/loaded"; : >"$MAC_STATE/disabled"
note     the agent is not loaded; it will be when $user logs in | rm "$MAC_STATE/loaded" "$MAC_STATE/logged-in"
problem  the daemon is not running | echo "$uid $process sleep $item/Zerbin" >"$MAC_STATE/processes"
problem  2 daemons are running | cat "$work/saved-state/processes" >>"$MAC_STATE/processes"
note     user 4242 runs the daemon too | echo "4242 $$ Zerbin $item/Zerbin" >>"$MAC_STATE/processes"
problem  the daemon runs as root, and its log belongs to $user | echo "0 $process Zerbin $item/Zerbin" >"$MAC_STATE/processes"
note     nobody is at the console | rm "$MAC_STATE/console"
note     mo is at the console | echo mo >"$MAC_STATE/console"
problem  $folder must have mode 755 | chmod 777 "$folder"
problem  there is no folder $folder | move "$folder"
problem  $user cannot write $log | chmod 444 "$log"
problem  $log is not $user's own file | rm "$log"; mkfifo "$log"
problem  $config is not a file | rm "$config"; mkdir "$config"
note     disable_cdrom in | printf '[Volumes]\ndisable_cdrom=1\n' >"$config"
problem  $user cannot read $config | chmod 0 "$config"
ok       the configuration can be read | chgrp "$(id -g "$user")" "$config"; chmod 640 "$config"
problem  $config has no section | echo name=x >"$config"
note     $config has Name, which is no key | echo Name=x >>"$config"
problem  $config has path1 without a value | printf '%s\n' '[Volumes]' name=Pelluria path1 >"$config"
problem  the last line | printf x=1 >>"$config"
note     no volume named Mo?[31mdem is mounted | printf '[Volumes]\nname= Mo\033[31mdem \n' >"$config"
problem  name in | printf '[Volumes]\nname=%064d\n' 1 >"$config"
problem  path1 in | printf '[Volumes]\npath1=%0502d\n' 1 >"$config"
problem  $setup is not a file | rm "$setup"; mkfifo "$setup"
ok       a setup is pending | move "$setup"; ln -s "$setup.moved" "$setup"
note     $setup has no section | echo x >"$setup"
ok       no setup is pending: SD_THIRD_SETUP is No | write_setup 'SD_THIRD_SETUP=No*s' "$good"; tr '*' '\000' <"$setup" >"$work/x"; cat "$work/x" >"$setup"
problem  SD_THIRD_FILE_PATH is missing | write_setup SD_THIRD_SETUP=Yes SD_THIRD_FILE_NAME SD_RUN_THIRD_FILE_ONCE
problem  SD_THIRD_FILE_NAME comes before SD_THIRD_FILE_PATH | write_setup SD_THIRD_SETUP=Yes SD_THIRD_FILE_NAME=a SD_THIRD_FILE_PATH=b SD_RUN_THIRD_FILE_ONCE=c
problem  SD_THIRD_FILE_NAME is missing | write_setup SD_THIRD_SETUP=Yes SD_THIRD_FILE_PATH=b 'SD_THIRD_FILE_NAME=a[1].dmg' SD_RUN_THIRD_FILE_ONCE=c
problem  Arrival of 2026-11-20 09:01:00: failed: the daemon does not run as | write_log 'DiskMountCallback Enter' 'are not same return.....'
note     Arrival of 2026-11-20 09:01:00: so far: | write_log 'DiskMountCallback Enter' 'actvie == pname.....'
note     Arrival of 2026-11-20 09:01:00: until the daemon ended: | write_log 'DiskMountCallback Enter'; rm "$MAC_STATE/console"; : >"$MAC_STATE/processes"
END
[ "$(id -u)" != 0 ] || find_faults <<'END'
problem  users other than root can change $root/usr/local | chmod 1777 "$root/usr/local"
problem  $user cannot write $setup | chown root "$setup"
problem  $folder/cmd.txt is not $user's own file | ln -s x "$folder/cmd.txt"
problem  $folder belongs to user 4242, for whom | chown 4242 "$folder"
problem  $config belongs to $user | chown "$user" "$config"
problem  users other than root can change $root/usr/local/share, so | chown "$user" "$root/usr/local/share"; echo ls >"$share/status"
END
write_log 'DiskMountCallback Enter' 'are not same return.....'
expect 1 'packaging/install --user NAME' "$item/TovrikZerbin" status
expect 2 'usage: status' "$share/status" x
check kill $process # which status has not ended
echo ok
