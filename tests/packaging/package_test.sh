#!/bin/sh
# package_test.sh: what is in the Mac's package, what Apple's tools are asked, and what happens when it is installed.
# shellcheck source=tests/packaging/setup.sh
. "$(dirname -- "$0")/setup.sh"
use_fakes uname cmake ninja codesign pkgbuild productbuild xcrun pkgutil launchctl stat ps
make_sources 1.0
: >"$MAC_STATE/processes"
package() {
    : >"$MAC_STATE/calls"
    "$work/1.0/packaging/package" "$@"
}
called() { printf '%s\n' "$1" | check diff - "$MAC_STATE/calls"; }

# ---- Building it. The calls are as the manuals of codesign, pkgbuild, productbuild, notarytool and stapler have them.
built='cmake --preset mac-universal
cmake --build --preset mac-universal --target Zerbin'
component='pkgbuild --root build/package/root --identifier tovrik.zerbin --version 1.0 --install-location /'
component="$component --ownership recommended --scripts build/package/scripts build/package/Zerbin.pkg"
product='productbuild --distribution build/package/distribution.xml --package-path build/package'
expect 0 'It is not signed' package
called "$built
$component
$product build/Zerbin-1.0.pkg"
echo '  status: Accepted' >"$MAC_STATE/answer"
name="O'Hara & \"Co\" (A1B2C3D4E5)"
expect 0 '' package --sign "$name" --notarize "my profile" "$work/a package.pkg"
called "$built
codesign --force --timestamp --options runtime --identifier tovrik.zerbin --sign Developer ID Application: $name build/mac-universal/Zerbin
$component
$product --timestamp --sign Developer ID Installer: $name $work/a package.pkg
xcrun notarytool submit $work/a package.pkg --keychain-profile my profile --wait
xcrun stapler staple $work/a package.pkg"
expect 0 'not notarized' package --sign X
echo '  status: Invalid' >"$MAC_STATE/answer"
expect 1 'Apple did not accept it' package --sign X --notarize Y
expect 1 'add --sign NAME' package --notarize Y

# ---- The payload is what `files` lists, each with its mode, and the receipt
payload=$work/1.0/build/package/root
receipt=$payload/usr/local/share/zerbin/receipt
(sed -n 's,^[0-9][0-9]* [^ ]* /,./,p' "$work/1.0/packaging/files" && echo ./usr/local/share/zerbin/receipt) | sort >"$work/listed"
files "$payload" | check diff "$work/listed" -
check [ "$(grep -c . "$receipt")" = "$(grep -c . "$work/listed")" ]
grep '^[0-9]' "$receipt" | while read -r mode owner sum size path; do
    check [ "$(find "$payload$path" -perm "$mode")" ]
    check [ "$owner:$(cksum <"$payload$path")" = "0:0:$sum $size" ]
done
check grep -q '<string>/Library/StartupItems/TovrikZerbin/TovrikZerbin<' "$payload/Library/LaunchAgents/tovrik.zerbin.plist"
check grep -q '<os-version min="10.13"/>' "$work/1.0/build/package/distribution.xml"
check grep -q 'version="1.0">Zerbin.pkg<' "$work/1.0/build/package/distribution.xml"
[ "$(id -u)" = 0 ] || { echo ok && exit; } # the rest is the Installer's, which is root

# ---- What the Installer does with it, for a user who comes later, and for one who is at the console
scripts=$work/1.0/build/package/scripts
preinstall() { "$scripts/preinstall" Zerbin.pkg / "$root" && cp -Rp "$payload/." "$root"; }
install_package() { preinstall && "$scripts/postinstall" Zerbin.pkg / "$root"; }
[ -e /usr/local/share/zerbin ] || "$scripts/preinstall" Zerbin.pkg / / >"$work/out" 2>&1 || : # it ends
mkdir -p "$item"
echo mine >"$work/victim"
ln -s "$work/victim" "$item/.zerbin-config" # planted when the folder could be written
ln -s "$work" "$item/.zerbin-new"
expect 0 'set-user NAME' install_package
check [ "$(cat "$work/victim")" = mine ]
rm "$item/.zerbin-config"
check cmp -s "$item/config" "$work/1.0/packaging/config"
check [ ! -e "$folder" ]
expect 2 usage "$share/set-user" -x
expect 1 'no user no?body' "$share/set-user" 'no
body'
expect 0 '' "$share/set-user" nobody
check [ "$(find "$folder" -user nobody -perm 755)" ]

: >"$MAC_STATE/logged-in"
echo 'disable_cdrom=true' >>"$item/config"
cp "$item/config" "$work/config"
echo '644 0:0 1 1 /usr/local/share/zerbin/gone' >>"$share/receipt"
: >"$share/gone"
echo other >"$share/config" # the sample of the version before
expect 0 '' preinstall # interrupted
expect 0 '' install_package
check cmp -s "$item/config" "$work/config"
check cmp -s "$item/config.new" "$work/1.0/packaging/config"
check [ ! -e "$share/gone" ]
check grep -q "launchctl bootstrap gui/$uid" "$MAC_STATE/calls"
check [ -z "$(find "$root" -name '.zerbin-*')" ]
chmod 777 "$root/usr/local"
expect 1 'users other than root can write' install_package
chmod 755 "$root/usr/local"
: >"$MAC_STATE/package"
expect 0 '' "$share/uninstall"
check grep -q "pkgutil --volume $root --forget tovrik.zerbin" "$MAC_STATE/calls"
check [ "$(files "$root")" = ./Library/StartupItems/TovrikZerbin/config ]
echo ok
