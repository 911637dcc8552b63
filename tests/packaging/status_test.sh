#!/bin/sh
# status_test.sh: everything is well, and then one fault a row, which status must find, and say what to do about.
# shellcheck disable=SC2016 # what makes a fault is evaluated later
# shellcheck source=tests/packaging/setup.sh
. "$(dirname -- "$0")/setup.sh"
use_fakes launchctl stat uname ps sudo
make_sources 1.0
: >"$MAC_STATE/processes"
: >"$MAC_STATE/logged-in"
echo "$user" >"$MAC_STATE/console"
sleep 300 &
process=$!
echo "$uid $process Zerbin $item/Zerbin" >"$MAC_STATE/one"
check install_it 1.0
resources=$root/Applications/Pelluria.app/Contents/Resources
setup=$resources/SysConfig.dat
mkdir -p "$root/Volumes/Pelluria" "$resources"
give() { if [ "$(id -u)" = 0 ]; then chown "$user" "$1"; fi; }
write_setup() { printf '%s\n' '[SD_COMMON]' 'a=[b]' '[ SD_THIRDPARTY_SETUP ]' "$@" '[SD_UPDATE]' >"$setup"; }
good="SD_THIRD_SETUP= Yes
SD_THIRD_FILE_PATH=Pelluria
SD_THIRD_FILE_NAME=x=y.dmg
SD_RUN_THIRD_FILE_ONCE=Yes"
write_setup "$good"
give "$setup"
write_log() { # messages of an arrival
    for message; do
        printf 'line %d===2026-11-20 9:01:00   Zerbin:DiskMountCallback --- %s\n' $((lines = lines + 1)) "$message"
    done >"$folder/Zerbin.log"
}
lines=0
write_log 'DiskMountCallback Enter' 'actvie == pname.....' 'have some one login succ' 'Run Pelluria Program success' \
    'DiskMountCallback exit'
give "$folder/Zerbin.log"

status() {
    cp "$MAC_STATE/one" "$MAC_STATE/processes"
    try "$item/TovrikZerbin" status
}
status || fail 'finds a problem where there is none'
! grep -v '^ok  ' "$work/out" || fail 'everything is well, and not so called'

# What status says and with which status it ends; what makes the fault; what takes it away.
fault() {
    eval "$2"
    ended=0
    status || ended=$?
    says "$1"
    case $1 in problem*) check [ $ended = 1 ] ;; *) check [ $ended = 0 ] ;; esac
    check [ "$(grep -c '^problem' "$work/out")" -le 1 ]
    eval "$3"
}
move() { mv "$1" "$1.moved"; }
back() { mv "$1.moved" "$1"; }

config=$item/config
keep=$work/keep
fault 'problem  an installation was interrupted' 'mkdir "$share/.zerbin-new"' 'rmdir "$share/.zerbin-new"'
fault "problem  $share has no version" 'move "$share/receipt"' 'back "$share/receipt"'
fault "problem  $share/set-user is missing" 'move "$share/set-user"' 'back "$share/set-user"'
fault "problem  $agent has another owner or mode" 'chmod 664 "$agent"' 'chmod 644 "$agent"'
fault "problem  $item/StartupParameters.plist has changed" 'echo >>"$item/StartupParameters.plist"' \
    ': >"$MAC_STATE/processes"; install_it 1.0'
if [ "$(id -u)" = 0 ]; then
    fault "problem  users other than root can change $root/usr/local" 'chmod 1777 "$root/usr/local"' 'chmod 755 "$root/usr/local"'
    fault "problem  $user cannot write $setup" 'chown root "$setup"' 'chown "$user" "$setup"'
    fault "problem  $folder/cmd.txt is not $user's own file" 'ln -s x "$folder/cmd.txt"' 'rm "$folder/cmd.txt"'
    fault "problem  $folder belongs to user 4242, for whom" 'chown 4242 "$folder"' 'chown "$user" "$folder"'
    fault "problem  $config belongs to $user" 'chown "$user" "$config"' 'chown root "$config"'
fi
fault "problem  users other than its owner can change $config" 'chmod 666 "$config"' 'chmod 644 "$config"'
fault "problem  users other than its owner can change $resources" 'chmod 777 "$resources"' 'chmod 755 "$resources"'
fault "problem  users other than its owner can change $setup" 'chmod 664 "$setup"' 'chmod 644 "$setup"'
fault "problem  there is no $agent" \
    'move "$agent"; grep -v tovrik "$share/receipt" >"$keep"; move "$share/receipt"; cp "$keep" "$share/receipt"' \
    'back "$agent"; back "$share/receipt"'
fault 'problem  the agent is not loaded; ' 'rm "$MAC_STATE/loaded"' ': >"$MAC_STATE/loaded"'
fault 'problem  the agent is switched off' 'rm "$MAC_STATE/loaded"; : >"$MAC_STATE/disabled"' \
    ': >"$MAC_STATE/loaded"; rm "$MAC_STATE/disabled"'
fault "note     the agent is not loaded; it will be when $user logs in" 'rm "$MAC_STATE/loaded" "$MAC_STATE/logged-in"' \
    ': >"$MAC_STATE/loaded"; : >"$MAC_STATE/logged-in"'
move "$MAC_STATE/one"
fault 'problem  the daemon is not running' ': >"$MAC_STATE/one"' ''
fault 'problem  2 daemons are running' 'cat "$MAC_STATE/one.moved" "$MAC_STATE/one.moved" >"$MAC_STATE/one"' ''
fault "problem  the daemon runs as root, and its log belongs to $user" 'echo "0 $process Zerbin $item/Zerbin" >"$MAC_STATE/one"' ''
fault 'problem  the daemon is not running' 'echo "$uid $process sleep $item/Zerbin" >"$MAC_STATE/one"' ''
back "$MAC_STATE/one"
fault 'note     nobody is at the console' 'rm "$MAC_STATE/console"' 'echo "$user" >"$MAC_STATE/console"'
fault 'note     mo is at the console' 'echo mo >"$MAC_STATE/console"' 'echo "$user" >"$MAC_STATE/console"'
fault "problem  $folder must have mode 755" 'chmod 777 "$folder"' 'chmod 755 "$folder"'
fault "problem  there is no folder $folder" 'move "$folder"' 'back "$folder"'
fault "problem  $user cannot write $folder/Zerbin.log" 'chmod 444 "$folder/Zerbin.log"' 'chmod 644 "$folder/Zerbin.log"'
fault 'note     there is no log yet' 'move "$folder/Zerbin.log"' 'back "$folder/Zerbin.log"'

cp "$config" "$keep"
again='cp "$keep" "$config"'
fault "note     there is no $config" 'rm "$config"' "$again"
fault "problem  $config is not a file" 'rm "$config"; mkdir "$config"' 'rmdir "$config"; cp "$keep" "$config"'
fault 'note     disable_cdrom in' 'printf "[Volumes]\ndisable_cdrom=1\n" >"$config"' "$again"
fault "problem  $user cannot read $config" 'chmod 600 "$config"' 'chmod 644 "$config"'
fault "problem  $config has no section" 'echo name=x >"$config"' "$again"
fault "note     $config has Name, which is no key" 'echo Name=x >>"$config"' "$again"
fault "problem  $config has path1 without a value" 'printf "%s\n" "[Volumes]" name=Pelluria path1 >"$config"' "$again"
fault 'problem  the last line' 'printf "x=1" >>"$config"' "$again"
fault 'note     no volume named Mo?[31mdem is mounted' 'printf "[Volumes]\nname= Mo\033[31mdem \n" >"$config"' "$again"
fault 'problem  name in' 'printf "[Volumes]\nname=%064d\n" 1 >"$config"' "$again"
fault 'problem  path1 in' 'printf "[Volumes]\npath1=%0502d\n" 1 >"$config"' "$again"

again='write_setup "$good"'
fault "note     there is no $setup" 'move "$setup"' 'back "$setup"'
fault "problem  $setup is not a file" 'move "$setup"; mkfifo "$setup"' 'back "$setup"'
fault 'ok       a setup is pending' 'move "$setup"; ln -s "$setup.moved" "$setup"' 'back "$setup"'
fault "note     $setup has no section" 'echo x >"$setup"' "$again"
fault 'ok       no setup is pending: SD_THIRD_SETUP is No' 'write_setup "SD_THIRD_SETUP=No$(printf "\001")s
$good"; tr "\001" "\000" <"$setup" >"$keep"; cat "$keep" >"$setup"' "$again"
fault 'problem  SD_THIRD_FILE_PATH is missing' 'write_setup SD_THIRD_SETUP=Yes SD_THIRD_FILE_NAME SD_RUN_THIRD_FILE_ONCE' "$again"
fault 'problem  SD_THIRD_FILE_NAME comes before SD_THIRD_FILE_PATH' \
    'write_setup SD_THIRD_SETUP=Yes SD_THIRD_FILE_NAME=a SD_THIRD_FILE_PATH=b SD_RUN_THIRD_FILE_ONCE=c' "$again"
fault 'problem  SD_THIRD_FILE_NAME is missing' \
    'write_setup SD_THIRD_SETUP=Yes SD_THIRD_FILE_PATH=b "SD_THIRD_FILE_NAME=a[1].dmg" SD_RUN_THIRD_FILE_ONCE=c' "$again"

lines=0
fault 'problem  Arrival of 2026-11-20 09:01:00: failed: the daemon does not run as' \
    'write_log "DiskMountCallback Enter" "are not same return....."' ''
says 'packaging/install --user NAME'
lines=0
fault 'note     Arrival of 2026-11-20 09:01:00: so far: ' 'write_log "DiskMountCallback Enter" "actvie == pname....."' ''

# What its user plants does not hang it, and it has changed nothing.
rm "$folder/Zerbin.log" && mkfifo "$folder/Zerbin.log"
status || :
says "problem  $folder/Zerbin.log is not $user's own file"
rm "$folder/Zerbin.log"
! try "$share/status" x || fail 'takes arguments'
says 'usage: status'
check kill $process # which status has not ended
echo ok
