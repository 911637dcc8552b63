#!/bin/sh
# packaging_test.sh BUILD: installs into a folder, with a launchctl, a ps, a sudo and a daemon made up here.
set -eu
cd "$(dirname "$0")/.."
work=$(mktemp -d)
root=$work/mac item=$work/mac/Library/StartupItems/TovrikZerbin folder=$work/mac/usr/local/DatacardService
agent=$root/Library/LaunchAgents/tovrik.zerbin.plist
trap 'kill $(cat "$item/Zerbin.pid" 2>/dev/null) 2>/dev/null || true; rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" && cat "$work/out" && exit 1; }
check() { "$@" || fail "$@"; }
fake() { { echo "#!/bin/sh" && cat; } >"$work/$1" && chmod +x "$work/$1"; }
files() { (cd "$1" && find . ! -type d | sort); }
install_to() { packaging/install --user "$user" --daemon "$work/Zerbin" "$@" >"$work/out" 2>&1; }

if [ "$(id -u)" = 0 ]; then user=nobody; else user=$(id -un); fi
mkdir "$work/bin"
PATH=$work/bin:$PATH
echo 'shift 2; exec "$@"' | fake bin/sudo
echo "kill -0 \$(cat '$item/Zerbin.pid') 2>/dev/null && echo \$(cat '$item/Zerbin.pid') $item/Zerbin" | fake bin/ps
fake bin/launchctl <<END
case \$1:\$2 in
print:*/tovrik.zerbin) exec test -e "$work/loaded" ;;
bootstrap:*) echo "\$*" >"$work/loaded" ;;
bootout:*) rm "$work/loaded" ;;
esac
END
printf '%s\n' "echo \$\$ >'$item/Zerbin.pid'; exec sleep 100" "$item/config" | fake Zerbin

# Whatever stands in the way, nothing is left behind.
mkdir -p "$root/usr/local" && : >"$root/usr/local/bin"
! install_to "$root" || fail 'installed over a file'
rm "$root/usr/local/bin" && ln -s "$work" "$folder"
! install_to "$root" || fail 'installed through a link'
rm "$folder" && check install_to --dry-run "$root"
! install_to "$work/else" || fail 'took a daemon for another root'
check [ "$(find "$work/mac")" = "$(printf '%s\n' "$root" "$root/usr" "$root/usr/local")" ]

# A first time, a second time over a changed configuration and a planted link, and off.
check install_to "$root"
files "$root" >"$work/installed"
grep -v '^#' packaging/files | while read -r mode _ path; do check [ "$(find "$root$path" -perm "$mode")" ]; done
check [ "$(find "$folder" -perm 755 -user "$user")" ]
check [ "$(cat "$work/loaded")" = "bootstrap gui/$(id -u "$user") $agent" ]
for plist in "$agent" "$item/StartupParameters.plist"; do
    python3 -c 'import plistlib, sys; p = plistlib.load(open(sys.argv[1], "rb")); print(p.get("ProgramArguments", p.get("Provides")))' "$plist"
done >"$work/out"
check [ "$(cat "$work/out")" = "$(printf '%s\n' "['$item/TovrikZerbin', 'run']" "['Zerbin']")" ]
echo disable_cdrom=true >>"$item/config" && ln -s /etc/passwd "$folder/cmd.txt"
check install_to "$root"
packaging/uninstall --dry-run "$root" >"$work/out" && check [ -x "$item/Zerbin" ]
check packaging/uninstall "$root" >"$work/out" && check packaging/uninstall "$root" >"$work/out"
check [ "$(files "$root" | tr '\n' ' ')" = './Library/StartupItems/TovrikZerbin/config ./usr/local/DatacardService/cmd.txt.old ' ]
check grep -q true "$item/config" && check [ ! -e "$work/loaded" ]

# A system that starts the item itself has no agent, and the script does its work.
rm -r "$root" && mkdir -p "$root/sbin" && : >"$root/sbin/SystemStarter"
check install_to "$root" && check [ ! -e "$agent" ] && sleep 1
[ "$user" != nobody ] || check timeout 5 "$item/TovrikZerbin" run # is for its user only
first=$(cat "$item/Zerbin.pid")
check "$item/TovrikZerbin" start && check "$item/TovrikZerbin" restart && sleep 1
check kill -0 "$(cat "$item/Zerbin.pid")" && check [ "$(cat "$item/Zerbin.pid")" != "$first" ]
rm -r "$folder" # by which it knows its user
packaging/uninstall "$root" >"$work/out" 2>&1
! kill -0 "$(cat "$item/Zerbin.pid")" 2>/dev/null || fail 'uninstalled under the running daemon'

# What is staged for a package is what is installed.
DESTDIR=$work/stage cmake --install "$1" >/dev/null
files "$work/stage" | check diff "$work/installed" -
echo ok
