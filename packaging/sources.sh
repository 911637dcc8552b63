#!/bin/sh
# sources.sh: what install and package share: the files of this version, and where they come from. Read as common.sh is.
# shellcheck disable=SC2034 # variables that only they use
# shellcheck source=packaging/common.sh
. "$here/common.sh"

source=${here%/packaging}
daemon=$source/build/release/Zerbin

version=$("$here/version")
[ -n "$version" ] || fail "$source/CMakeLists.txt states no version"

# Calls "$1 mode source destination" for each file.
each_file() {
    while read -r mode origin destination; do
        case $mode:$destination in
        '#'* | :) continue ;;
        *:/Library/LaunchAgents/*) [ ! -e "$root/sbin/SystemStarter" ] || continue ;; # it starts items itself
        esac
        "$1" "$mode" "$origin" "$destination"
    done <"$here/files"
}

# Writes a file of the list (mode, source, destination) to $4, and notes it for the receipt. It gets the source's bytes and
# nothing else that a file can have on a Mac, like quarantine and access lists.
listed='' written=''
put() {
    case $2 in
    Zerbin) cat <"$daemon" ;;
    VERSION) say "$version" ;;
    *.zerbin.plist) sed "s|<string>/|<string>$root/|" "$source/$2" ;;
    *) cat "$source/$2" ;;
    esac >"$4"
    [ "$1" = 644 ] || chmod "$1" "$4"
    listed="$listed$1 $3
"
    written="$written$4
"
}

# Prints the receipt of all that was written, for $1, its owner and group.
make_receipt() {
    say "# Zerbin $version: mode, owner, checksum and size (cksum), path"
    { printf '%s' "$listed" && with_lines "$written" cksum; } | awk -v owner="$1" '
        NF == 2 { listed[++count] = $0; next }
        { split(listed[++done], part, " "); print part[1], owner, $1, $2, part[2] }'
}
