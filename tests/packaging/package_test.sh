#!/bin/sh
# package_test.sh: what is in the Mac's package, what Apple's tools are asked, and what happens when it is installed.
# shellcheck source=tests/packaging/setup.sh
. "$(dirname -- "$0")/setup.sh"
use_fakes uname cmake ninja codesign pkgbuild productbuild xcrun pkgutil launchctl stat ps
make_sources 1.0
: >"$MAC_STATE/processes"
package() {
    : >"$MAC_STATE/calls"
    try "$work/1.0/packaging/package" "$@"
}
called() { printf '%s\n' "$1" | diff "$MAC_STATE/calls" - || fail 'other calls'; }

# ---- Building it. The calls are as the manuals of codesign, pkgbuild, productbuild, notarytool and stapler have them.
built='cmake --preset mac-universal
cmake --build --preset mac-universal --target Zerbin'
component='pkgbuild --root build/package/root --identifier tovrik.zerbin --version 1.0 --install-location /'
component="$component --ownership recommended --scripts build/package/scripts build/package/Zerbin.pkg"
product='productbuild --distribution build/package/distribution.xml --package-path build/package'
check package
called "$built
$component
$product build/Zerbin-1.0.pkg"
says 'It is not signed'

echo '  status: Accepted' >"$MAC_STATE/answer"
name="O'Hara & \"Co\" (A1B2C3D4E5)"
check package --sign "$name" --notarize "my profile" "$work/a package.pkg"
called "$built
codesign --force --timestamp --options runtime --identifier tovrik.zerbin --sign Developer ID Application: $name build/mac-universal/Zerbin
$component
$product --timestamp --sign Developer ID Installer: $name $work/a package.pkg
xcrun notarytool submit $work/a package.pkg --keychain-profile my profile --wait
xcrun stapler staple $work/a package.pkg"
check package --sign X
says 'not notarized'
echo '  status: Invalid' >"$MAC_STATE/answer"
! package --sign X --notarize Y || fail 'took what Apple had refused'
says 'Apple did not accept it'
! package --notarize Y || fail 'notarizes what is not signed'
says 'add --sign NAME'

# ---- The payload is what `files` lists, each with its mode, and the receipt
payload=$work/1.0/build/package/root
(sed -n 's,^[0-9][0-9]* [^ ]* /,./,p' "$work/1.0/packaging/files" && echo ./usr/local/share/zerbin/receipt) | sort >"$work/listed"
files "$payload" | check diff "$work/listed" -
grep '^[0-9]' "$payload/usr/local/share/zerbin/receipt" | while read -r mode owner sum size path; do
    check [ "$(find "$payload$path" -perm "$mode")" ]
    check [ "$owner:$(cksum <"$payload$path")" = "0:0:$sum $size" ]
done
check [ "$(wc -l <"$payload/usr/local/share/zerbin/receipt")" = "$(wc -l <"$work/listed")" ]
check grep -q "<string>/Library/StartupItems/TovrikZerbin/TovrikZerbin<" "$payload/Library/LaunchAgents/tovrik.zerbin.plist"
check grep -q '<os-version min="10.13"/>' "$work/1.0/build/package/distribution.xml"
check grep -q 'version="1.0">Zerbin.pkg<' "$work/1.0/build/package/distribution.xml"
[ "$(id -u)" = 0 ] || { echo ok && exit; } # the rest is the Installer's, which is root

# ---- What the Installer does with it, for a user who comes later, and for one who is at the console
scripts=$work/1.0/build/package/scripts
install_package() {
    "$scripts/preinstall" Zerbin.pkg / "$root" && cp -Rp "$payload/." "$root" && "$scripts/postinstall" Zerbin.pkg / "$root"
}
[ -e /usr/local/share/zerbin ] || try "$scripts/preinstall" Zerbin.pkg / / || : # it ends
mkdir -p "$item"
echo mine >"$work/victim"
ln -s "$work/victim" "$item/.zerbin-config" # planted when the folder could be written
ln -s "$work" "$item/.zerbin-new"
check try install_package
check [ "$(cat "$work/victim")" = mine ]
rm "$item/.zerbin-config"
says "set-user NAME"
check cmp -s "$item/config" "$work/1.0/packaging/config"
check [ ! -e "$folder" ]
refuses "$share/set-user" -x
refuses "$share/set-user" 'no
body'
check try "$share/set-user" nobody
check [ "$(find "$folder" -user nobody -perm 755)" ]

: >"$MAC_STATE/logged-in"
echo 'disable_cdrom=true' >>"$item/config"
cp "$item/config" "$work/config"
echo '644 0:0 1 1 /usr/local/share/zerbin/gone' >>"$share/receipt"
: >"$share/gone"
echo other >"$share/config" # the sample of the version before
check "$scripts/preinstall" Zerbin.pkg / "$root" && cp -Rp "$payload/." "$root" # interrupted
check try install_package
check cmp -s "$item/config" "$work/config"
check cmp -s "$item/config.new" "$work/1.0/packaging/config"
check [ ! -e "$share/gone" ]
check grep -q "launchctl bootstrap gui/$uid" "$MAC_STATE/calls"
check [ -z "$(find "$root" -name '.zerbin-*')" ]
chmod 777 "$root/usr/local"
refuses install_package
chmod 755 "$root/usr/local"

: >"$MAC_STATE/package"
check try "$share/uninstall"
check grep -q "pkgutil --volume $root --forget tovrik.zerbin" "$MAC_STATE/calls"
check [ "$(files "$root")" = ./Library/StartupItems/TovrikZerbin/config ]
echo ok
