#!/bin/sh
# zerbin-explain under every awk there is. With DESK_ROOT, a log is replayed on that desk, too.
set -u
cd "$(dirname "$0")/.." || exit
export LC_ALL=C
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0 awks='' awk=''
fail() { echo "FAILED ($awk): $*" && failures=$((failures + 1)); }
explain() { PATH=$work/$awk:$PATH tools/zerbin-explain "$@"; }
for awk in mawk gawk original-awk; do
    if ! path=$(command -v $awk); then continue; fi
    mkdir "$work/$awk" && ln -s "$path" "$work/$awk/awk" && awks="$awks $awk"
done

# Every message of the sources is known, and is in the manual; and nothing else is. The other texts of the sources are
# names, and those that are listed here.
other='%d|%s > %s|%s%s.*|=.r.n|\[.*\]|\\"|\\xFF|line %d.*|open -a .*|rm -f %s'
sed -e 's,//.*,,' -e '/^#/d' -e '/^constexpr char k/d' Common/*.cpp src/*.cpp | grep -o '"\([^"\\]\|\\.\)*"' |
    sed 's/^"//; s/ *"$//' | grep -Evx "[A-Za-z0-9_/+]*|$other" | sort -u >"$work/sources"
sed -n '/^\.Sh DIAGNOSTICS/,/^\.Sh SEE/s/^\.It //p' man/zerbin.8 |
    sed "s/\\\\(aq/'/g; s/\\\\e/\\\\/g; s/^\"\(.*\)\"$/\1/" | sort | diff "$work/sources" - || fail 'the messages of the sources (<), of the manual (>)'
(cd man && mandoc -Tlint ./*.[158]) || fail 'the manual pages'

# Logs, and what is told of them: "== name" begins a log, "@ N" is the number of its next line, "* place message" is a
# line, "+" one a second later, "~" ends one that is cut at the limit; "> text" must be told.
cat >"$work/cases" <<'END'
== the answer is in the line that is not written yet
* DiskMountCallback ps aux | awk -v PID=77 '$2 == PID { print $1 }'
> = not well: the daemon does not run as the user at the console: nothing is launched, after 0 s
> packaging/install --user NAME
== from the middle of an arrival, over a gap and cut lines, to the next run
@ 40
* DiskMountCallback actvie == pname.....
@ 50
+ DiskMountCallback have some one login succ
+ RunShellProgram system failed 0 time, return 512[x]:(open -a "~
* RunShellProgram (open -a "~
* DiskMountCallback RunShellProgram failed, can't run Pelluria Program
* DiskMountApproval finish run program, and error, DiskMountApproval exit 
@ 1
* main \n\n====================================Zerbin started===============================
> The log begins at line 40
> Lines 41 to 49 are missing
> failed (exit code 2)
> = not well: the application was not launched, path1 is too long, after 2 s
> = so far looking for a modem
== two daemons, and a line of another version
* main TOOL-MacLorvanV100R001B035
* FindCommPort FindCommPort Enter
@ 1
* main TOOL-MacLorvanV100R001B035
@ 3
* main Something "new"
> Two daemons write to this log at once
> a line that is not known here: main: Something "new"
END
long=$(printf '%02100d' 0)
for awk in $awks; do
    if [ "$awk" = gawk ]; then export POSIXLY_CORRECT=1; else unset POSIXLY_CORRECT; fi
    explain --messages | sed 's/ *$//' | sort | diff "$work/sources" - || fail 'the messages of the sources (<), those it knows (>)'
    while read -r mark rest; do
        case $mark in
        ==) name=$rest number=1 second=0 && : >"$work/log" ;;
        @) number=$rest ;;
        '>') explain "$work/log" | grep -qF -e "$rest" || fail "$name: $rest" ;;
        *)
            [ "$mark" != + ] || second=$((second + 1))
            line="line $number===2009-3-5 9:4:$second   Zerbin:${rest%% *} --- ${rest#* }"
            number=$((number + 1))
            case $line in *'~') printf '%.2047s' "${line%\~}$long" ;; *) printf '%b\n' "$line" ;; esac >>"$work/log"
            explain --json "$work/log" | python3 -c 'import json, sys; [json.loads(x) for x in sys.stdin]' || fail "$name: JSON"
            ;;
        esac
    done <"$work/cases"

    for bad in /dev/null /etc/passwd "$work" "$work/none"; do
        explain "$bad" >"$work/told" 2>&1 && fail "took $bad for a log"
        [ "$(grep -c . "$work/told")" -eq 1 ] || fail "not one line about $bad"
    done
    (PATH=$work/$awk:$PATH && exec tools/zerbin-explain -f "$work/log" >"$work/told") & # it is emptied meanwhile
    sleep 1.5
    echo 'line 4===2009-3-5 9:5:0   Zerbin:DiskMountCallback --- actvie == pname.....' >"$work/log"
    sleep 2.5
    kill $!
    [ "$(grep -c -e 'Something "new"' -e 'runs as the user' "$work/told")" -eq 2 ] || fail 'does not follow'
done

# A log, replayed on a desk, tells the same.
if [ -n "${DESK_ROOT-}" ]; then
    log=$DESK_ROOT/usr/local/DatacardService/Zerbin.log
    play() {
        desk/desk play "$work/$1" >"$work/out" || fail "$1: $(cat "$work/out")"
        explain "$log" | sed -n 's/.*line [0-9]* *//p; s/, after [0-9]* s$//; /=/p' >"$work/$1.told"
    }
    printf '%s\n' new 'config path1="/Applications/A b.app"' 'folder "Applications/A b.app"' 'port on' plug start \
        'until ready' 'login other' unplug plug 'wait 1' stop >"$work/first"
    play first
    explain --scenario "$log" >"$work/second"
    play second
    diff "$work/first.told" "$work/second.told" || fail 'the replay'
fi
[ $failures -eq 0 ] && echo ok
