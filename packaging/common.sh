#!/bin/sh
# common.sh: what install, uninstall, set-user, status and package share. They read it when $here holds their folder.
# shellcheck disable=SC2034 # variables that only they use

# As root, nothing comes from the caller's environment. Anybody else keeps his PATH, in which a desk has its commands.
newline='
'
zerbin_path=$PATH
PATH=/usr/bin:/bin:/usr/sbin:/sbin
me=$(id -u)
[ "$me" = 0 ] || PATH=$zerbin_path:$PATH
LC_ALL=C
export PATH LC_ALL
unset CDPATH IFS TMPDIR PERL5LIB PERL5OPT GREP_OPTIONS CLICOLOR_FORCE QUOTING_STYLE
umask 022
here=$(cd -- "$here" && pwd | tr -s /)

say() { printf '%s\n' "$*"; }

# Something to know, and no reason to end if nobody is listening any more.
tell() { (trap '' PIPE && say "$@" 2>/dev/null) || :; }

complain() { printf '%s: %s\n' "${0##*/}" "$*" >&2; }

fail() {
    complain "$@"
    exit 1
}

# The comment at a script's top is its help; the first line of it is its usage.
help() { sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"; }

misuse() {
    printf 'usage: %s\n' "$(help | head -n 1)" >&2
    exit 2
}

# Calls the other arguments with each line of the list $1 as one more. There are no here-documents in these scripts: some
# shells make files of them, so that on a full disk a loop would silently have nothing to read.
with_lines() {
    list=$1
    shift
    set -f
    IFS=$newline
    # shellcheck disable=SC2086 # each line is an argument
    set -- "$@" $list
    set +f
    unset IFS
    "$@"
}

# Calls "$2" with each line of the list $1 in turn.
each() { with_lines "$1" one_by_one "$2"; }
one_by_one() {
    action=$1
    shift
    for line; do "$action" "$line"; done
}

# A text that somebody else wrote, fit for a terminal.
plain() { printf '%s' "$1" | tr -c '[:print:]' '?'; }

is_root() { [ "$me" = 0 ]; }

# ---- Where everything lies

# Takes the folder in front of all paths; without one they are those of the machine itself.
take_root() {
    case $1 in
    '') misuse ;;
    /*) root=$1 ;;
    *) root=$PWD/${1#./} ;;
    esac
    case $root in *[!A-Za-z0-9/._+\ -]*) fail "use letters, digits, blanks and . _ + - only: $(plain "$root")" ;; esac
    case $root/ in */../* | */./*) fail "use a path without . and .. in it: $root" ;; esac
    root=$(printf '%s' "$root" | tr -s /)
    root=${root%/}
}

set_paths() {
    item=$root/Library/StartupItems/TovrikZerbin
    share=$root/usr/local/share/zerbin
    folder=$root/usr/local/DatacardService
}

# Whether a path, without the root, can be that of a file which some version has installed. A receipt is believed within
# this list only, whoever wrote it. The configuration is not in it: it is the user's.
is_ours() {
    case $1 in *[!A-Za-z0-9/._-]* | */.* | */config.new | */) return 1 ;; esac
    case ${1%/*}:${1##*/} in
    /usr/local/share/zerbin:* | /usr/local/share/zerbin/explain:*) ;;
    /Library/StartupItems/TovrikZerbin:config) return 1 ;;
    /Library/StartupItems/TovrikZerbin:*) ;;
    /Library/LaunchAgents:tovrik.zerbin*.plist) ;;
    /usr/local/bin:zerbin-*) ;;
    /usr/local/share/man/man[1-8]:zerbin*.[1-8]) ;;
    *) return 1 ;;
    esac
}

# The paths in a receipt.
receipt_paths() {
    [ -f "$1" ] && [ ! -L "$1" ] || return 0
    head -n 200 "$1" | while read -r mode _ _ _ path; do
        case $mode:$path in '#'* | *:) continue ;; esac
        if is_ours "$path"; then
            say "$path"
        else
            say "note: the receipt names $(plain "$path"), which is not one of Zerbin's files; it is left alone" >&2
        fi
    done
}

# The version that is installed, or nothing.
installed_version() {
    [ -f "$share/VERSION" ] || return 0
    head -n 1 "$share/VERSION" | tr -cd '0-9.' | cut -c 1-20
}

# ---- Who may change what

# Adds to `ways` a folder and all above it that exist, each after those above it.
add_ways() {
    case $1 in '') return 0 ;; /*) ;; *) fail "not a full path: $1" ;; esac
    case $newline$ways in *"$newline$1$newline"*) return 0 ;; esac
    add_ways "${1%/*}"
    if [ -e "$1" ] || [ -L "$1" ]; then ways=$ways$1$newline; fi
}

find_shared() {
    find "$@" -prune \( ! -type d -o ! -user 0 -o -perm -020 -o -perm -002 \) || return
    allows_others "$@" || return 0
    for way; do
        if allows_others "$way"; then say "$way"; fi
    done
}

# Prints those of the given folders, and of all above them, that are not root's alone. On a Mac, access lists
# can allow what the mode does not show.
shared_ways() {
    ways=/$newline
    for way; do add_ways "$way"; done
    with_lines "$ways" find_shared
}

# shellcheck disable=SC2010 # nothing else shows the lists
allows_others() { ls -lde "$@" 2>/dev/null | grep -Eq ' allow .*(add_|append|chown|delete|write)'; }

# Whoever can write a folder on the way to a file can put another in its place, now or later: the sticky bit keeps him
# from taking away what is not his, but not from being there first. A folder that nobody else can write, checked from
# the top down, stays what it is while the caller runs.
check_ways() {
    is_root || return 0
    shared=$(shared_ways "$@") || fail 'cannot tell who can write the folders; see above'
    [ -n "$shared" ] || return 0
    shared=${shared%%"$newline"*}
    [ ! -L "$shared" ] || fail "$shared is a link, and whom it leads to is not checked; give the path without it, or remove it"
    [ -d "$shared" ] || fail "$shared is not a folder; remove it"
    fail "users other than root can write $shared, and could replace what root runs; change that: chown root '$shared' &&" \
        "chmod go-w '$shared' (on a Mac, where it has an access list, also chmod -N '$shared'; MACOS.md has more)"
}

user_name() { id -un -- "$1" 2>/dev/null || say "user $1"; }

# shellcheck disable=SC2012 # the owner's number; stat(1) has other options on each system
owner() { ls -ldn "$1" 2>/dev/null | awk '{ print $3 }'; }

# The user at the console, asked for as the daemon does; nothing while only the system's own users are there.
console_user() {
    console=$(stat -f%Su /dev/console 2>/dev/null) || return 0
    case $console in root | _* | *[!A-Za-z0-9._-]*) ;; *) say "$console" ;; esac
}

# Whom the daemon is for, as a number: $1, else whom it was for before, if there still is such a user, else the user at the console. Empty if nobody.
choose_user() {
    if [ -n "$1" ]; then
        id -u -- "$1" 2>/dev/null || fail "there is no user $(plain "$1")"
    elif ! is_root; then
        say "$me"
    elif [ -d "$folder" ] && [ "$(owner "$folder")" != 0 ] && id "$(owner "$folder")" >/dev/null 2>&1; then
        owner "$folder"
    else
        console=$(console_user)
        [ -z "$console" ] || id -u -- "$console"
    fi
}

check_user() {
    [ -n "$1" ] || fail 'nobody is at the console; say whose daemon it is, by --user NAME'
    [ "$1" != 0 ] || [ -n "$root" ] || fail 'the daemon must not run as root; name another user'
    is_root || [ "$1" = "$me" ] || fail 'only root can do that for somebody else'
}

# Checks the ways to the files in the list $1, and to Zerbin's own folders; leaves the files' folders in `places`.
check_places() {
    places=''
    each "$1" add_place_of
    with_lines "$places" check_ways "$item" "$share" "${folder%/*}"
}
add_place_of() { places=$places$root${1%/*}$newline; }

# Has the installed startup item do $1. Whoever could once write its folder may have left another there, which root does
# not run.
control() {
    if is_root && [ -z "$(find "$item/TovrikZerbin" -prune -type f -user 0 ! -perm -020 ! -perm -002)" ]; then
        fail "$item/TovrikZerbin is not root's own file; remove it"
    fi
    "$item/TovrikZerbin" "$1"
}

# ---- The folder of the log

# A name beside $1 that nothing has.
free_name() {
    for number in '' .1 .2 .3 .4 .5 .6 .7 .8 .9; do
        if [ ! -e "$1.old$number" ] && [ ! -L "$1.old$number" ]; then
            say "$1.old$number"
            return
        fi
    done
    complain "there is no free name for $folder/$1; remove some of those that begin with $folder/$1.old"
    return 1
}

# A log or an answer that is not the user's own file (a link, the file of the user before) makes way, within the folder.
make_way() {
    for path in Zerbin.log cmd.txt; do
        [ -e "$path" ] || [ -L "$path" ] || continue
        [ -z "$(find "$path" -prune -type f -links 1 -user "$1")" ] || continue
        name=$(free_name "$path") || return
        if ! mv -f "$path" "$name"; then
            complain "$folder/$path is in the way; unlock it (on a Mac, chflags -h nouchg '$folder/$path')," \
                'or unmount what is mounted there'
            return 1
        fi
        tell "moved $folder/$path, which is not this user's own file, to $name"
    done
}

# Whether root is alone with its folder: an access list can allow others what the mode forbids them, and in a volume that
# its owner has mounted there, everybody may seem to own everything.
is_alone() {
    if allows_others .; then
        complain "$folder has an access list; remove it, with chmod -N '$folder'"
        return 1
    elif [ "$(volume_of .)" != "$(volume_of "${folder%/*}")" ]; then
        complain "a volume is mounted at $folder; unmount it"
        return 1
    fi
}

# Gives the folder of the log to a user. Until then it is somebody's who may be hostile, so it becomes root's first: nobody
# else can change it then, not even through a folder that he holds open, and what is found in it stays. All is done from
# within, so that it is one folder all the time: a volume of his, mounted there, could be gone a moment later. Nor is it
# left half done because somebody interrupts it, or has closed what it writes to.
hand_over() (
    trap '' HUP INT QUIT TERM PIPE TTOU
    cd -- "$folder" || exit
    if is_root; then
        next=$(owner .)
        chflags nouchg . 2>/dev/null || : # a Mac's
        chown 0:0 .
        chmod 700 .
        chmod -N . 2>/dev/null || : # a Mac's
        is_done=''
        if is_alone && make_way "$1"; then is_done=yes next=$1; fi
        chmod 755 .
        chown "$next" .
        [ -n "$is_done" ] || exit 1
    else
        chmod 755 .
        make_way "$1"
    fi
)

# In the last line, because the name of what is mounted is its owner's choice, line feeds included.
volume_of() { df -P "$1" | awk '{ last = $1 " " $NF } END { print last }'; }

# Whether two files hold the same. What is no file, like a pipe, which would have us wait, is never the same.
is_same() { [ -f "$1" ] && [ -f "$2" ] && cmp -s "$1" "$2"; }

# Where a new sample of the configuration goes: over the configuration while nobody has changed that, else beside it,
# and nowhere if it is the old sample. $1 is the old one, $2 the new one.
name_for_sample() {
    if is_same "$item/config" "$2"; then
        :
    elif [ ! -e "$item/config" ] && [ ! -L "$item/config" ] || is_same "$item/config" "$1"; then
        say config
    elif ! is_same "$1" "$2"; then
        say config.new
    fi
}
