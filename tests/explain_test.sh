#!/bin/sh
# explain_test.sh [golden]: tests zerbin-explain under every awk there is. With DESK_ROOT, scenarios are replayed on that
# desk, too. With `golden` it only writes tests/explain/told.txt again, for you to review.
case ${1-} in -h | --help) exec sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" ;; esac
# shellcheck source=tests/helpers.sh
. "$(dirname -- "$0")/helpers.sh"
cd "$repository"
export LC_ALL=C
followers=''
# shellcheck disable=SC2086 # one word each
clean_up() { [ -z "$followers" ] || kill $followers; }
explain() { PATH=$work/awk-$awk:$PATH tools/zerbin-explain "$@"; }
same() { diff "$1" "$2" >"$work/out" || fail "$3 (< as it should be, > as it is), with $awk"; }

awks='' awk=''
for awk in mawk gawk original-awk busybox awk; do
    path=$(command -v $awk) || continue
    for known in "$work"/awk-*/awk; do if cmp -s "$known" "$path"; then continue 2; fi; done
    mkdir "$work/awk-$awk" && ln -s "$path" "$work/awk-$awk/awk" && awks="$awks $awk"
done
[ -n "$awks" ] || fail 'there is no awk'

# ---- The catalogue has every message of the sources and nothing else, and the manual is made from it. The other texts of
# the sources are names, and those that are listed here.
other='%d|%s > %s|%s%s.*|=.r.n|\[.*\]|\\"|\\xFF|line %d.*|open -a .*|rm -f %s'
sed -e 's,//.*,,' -e '/^#/d' -e '/^constexpr char k/d' Common/*.cpp src/*.cpp | grep -Eo '"([^"\\]|\\.)*"' |
    sed 's/^"//; s/ *"$//' | grep -Evx "[A-Za-z0-9_/+]*|$other" | sort -u >"$work/sources"
tools/zerbin-explain --messages | sed 's/ *$//' | sort >"$work/known"
same "$work/sources" "$work/known" 'the messages of the sources and of the catalogue'
awk -f tools/explain/manual.awk tools/explain/messages man/zerbin.8 >"$work/manual"
same "$work/manual" man/zerbin.8 'DIAGNOSTICS is stale, make it anew as tools/explain/manual.awk says'
! command -v mandoc >/dev/null || (cd man && mandoc -Tlint ./*.[158]) || fail 'the manual pages'

# ---- The cases, whose logs are made here, and what is told of them
cases=$(awk -v out="$work" '
    function put(line,  i, n, text) {
        if (sub(/^\. /, "", line)) {
            n = split(part[line], text, "\n")
            for (i = 1; i < n; i++) put(text[i])
        } else if (sub(/^@ /, "", line)) {
            number = line
        } else if (sub(/^\+ /, "", line)) {
            now += line
        } else {
            text = line
            sub(/^[^ ]* /, "", text)
            gsub(/\\n/, "\n", text)
            line = sprintf("line %d===%d-%d-%d %d:%d:%d   Zerbin:%s --- %s\n", number++, 2009 + now / 32140800, \
                1 + now % 32140800 / 2678400, 1 + now % 2678400 / 86400, now % 86400 / 3600, now % 3600 / 60, now % 60, substr(line, 1, index(line, " ") - 1), text)
            if (sub(/~\n$/, "", line)) while (length(line) < 2047) line = line "0"
            printf "%s", line >file
        }
    }
    function begin(title) {
        close(file)
        file = out "/log" ++cases
        name = ""
        now = 5735052    # in months of 31 days
        number = 1
        print title >(out "/title" cases)
    }
    /^(#|$)/ { next }
    sub(/^:: /, "") { name = $0; next }
    sub(/^== /, "") { begin($0); next }
    sub(/^\$ ?/, "") { print >(out "/options" cases); next }
    name != "" { part[name] = part[name] $0 "\n"; next }
    { put($0) }
    END { print cases }' tests/explain/cases)

# The log of the case with a title that begins like this.
log_of() { grep -l "^$1" "$work"/title* | sed 's/title/log/'; }
tell_cases() {
    for case in $(seq "$cases"); do
        [ -e "$work/options$case" ] || echo >"$work/options$case"
        while read -r options; do
            echo "== $(cat "$work/title$case")${options:+: $options}"
            # shellcheck disable=SC2086 # one word for each option
            explain $options "$work/log$case" || fail "case $case"
            echo
        done <"$work/options$case"
    done
}
if [ "${1-}" = golden ]; then
    tell_cases >tests/explain/told.txt
    exit
fi

# All bytes; and in the place of a name: pieces of pages, of shell, and of invalid UTF-8.
{
    echo 'line 1===2009-3-5 9:4:12   Zerbin:DiskMountCallback --- actvie == pname.....'
    awk 'BEGIN { for (i = 0; i < 256; i++) if (i != 10) printf "line %d===2009-3-5 9:4:12   Zerbin:main --- %c%c\\\"\n", i + 2, i, i + 1 }'
    printf 'line 258===2009-3-5 9:4:12   Process:RunShellProgram --- RunShellProgram exit true.(open -a "/Users/anna b/%b&amp;</script>.app")\n' \
        '\303\251 \355\240\200 \302\233 \342\200\256 \0000\033[31m\007'
    echo 'line 259===2009-3-5 9:4:12   Zerbin:DiskMountCallback --- Run Pelluria Program success'
} >"$work/nasty"

# The data of a page is the same as what --json tells, but for the lines of the log and the names of home folders.
cat >"$work/check_page.py" <<'END'
import json, re, sys
page = open(sys.argv[1], encoding="utf-8").read()
blocks = json.loads(re.search(r'id="data">\n(.*?)</script>', page, re.S).group(1))
lines = open(sys.argv[2], "rb").read().split(b"\n")[:-1]
assert len(blocks) == len(lines) and page.count("</script>") == 2 and "://" not in page and "anna" not in page
for block, line in zip(blocks, map(json.loads, lines)):
    for step in block.get("steps", []):
        assert step.pop("log").startswith("line ")
    assert re.sub("/Users/anna b/", "/Users/…/", json.dumps(line, ensure_ascii=False)) == json.dumps(block, ensure_ascii=False)
END
first=''
for awk in $awks; do
    if [ "$awk" = gawk ]; then export POSIXLY_CORRECT=1; else unset POSIXLY_CORRECT; fi
    tell_cases >"$work/told" 2>&1
    same tests/explain/told.txt "$work/told" 'what is told of the cases'
    for form in '' --json --html --scenario; do
        # shellcheck disable=SC2086 # or none
        explain $form "$work/nasty" >"$work/nasty$form.$awk"
        [ "$(tr -d '\011\012\040-\176\302-\342\200-\277' <"$work/nasty$form.$awk" | wc -c)" -eq 0 ] || fail "bytes that may steer a terminal, with $form"
        same "$work/nasty$form.${first:=$awk}" "$work/nasty$form.$awk" "not as from $first, with $form"
    done
    expect 0 '' python3 "$work/check_page.py" "$work/nasty--html.$awk" "$work/nasty--json.$awk"
    check grep -q '/Users/anna b/é ??? ? ? ??\[31m?&amp;</script>.app' "$work/nasty.$awk"
done
unset POSIXLY_CORRECT

# ---- The front: files that are no logs, options that contradict each other, the terminal
explain "$work/log1" >"$work/told"
{ printf '\357\273\277' && cat "$work/log1"; } >"$work/bom"
tr '\n' '\r' <"$work/log1" >"$work/cr"
awk '{ printf "%s\r\n", $0 }' "$work/log1" >"$work/crlf"
for kind in bom cr crlf; do explain "$work/$kind" | diff "$work/told" - >"$work/out" || fail "a log with $kind"; done
gzip -c "$work/log1" >"$work/gzip"
iconv -f ascii -t utf-16 "$work/log1" >"$work/utf-16"
: >"$work/empty"
cd "$work"
each_row expect "$repository/tools/zerbin-explain" <<'END'
0|usage|--help
1|which is a folder|.
1|there is no log|none
1|is empty|empty
1|is compressed|gzip
1|is in UTF-16|utf-16
1|is not a log|title1
2|one file at a time|log1 log2
2|does not go with|--json --scenario log1
2|does not go with|-f --html log1
2|takes no other option|--scenario --problems log1
2|no option|--jsn log1
2|needs a value|--last
2|needs a number|--last 0 log1
2|needs a date|--since 2009-13-01 log1
END
cd "$repository"

# Installed, called by a link, and by a user who may not read the log.
mkdir -p "$work/usr/bin" "$work/usr/share/zerbin" && cp tools/zerbin-explain "$work/usr/bin"
grep -o 'tools/explain/[^ ]*' packaging/files | while read -r file; do cp "$file" "$work/usr/share/zerbin"; done
echo 9.8.7 >"$work/usr/share/zerbin/VERSION" && ln -s usr/bin/zerbin-explain "$work/link"
check [ "$("$work/link" --version)" = 9.8.7 ]
for form in --problems --html --scenario; do
    tools/zerbin-explain $form "$work/nasty" >"$work/told"
    "$work/link" $form "$work/nasty" | check cmp - "$work/told"
done
tools/zerbin-explain --version | check grep -qx '[0-9.]*'
mkdir "$work/closed" && cp "$work/log1" "$work/closed" && cp "$work/log1" "$work/secret"
chmod 600 "$work/secret" && chmod 700 "$work/closed"
nobody='' && [ "$(id -u)" != 0 ] && chmod 0 "$work/secret" "$work/closed" || nobody='setpriv --reuid=65534 --regid=65534 --clear-groups'
for shell in dash bash 'busybox sh'; do
    command -v "${shell%% *}" >/dev/null || continue
    for secret in secret closed/log1; do
        # shellcheck disable=SC2086 # one word each
        expect 1 'cannot read ' $nobody $shell "$work/usr/bin/zerbin-explain" "$work/$secret"
    done
done

# On a terminal of 40 columns no line is longer, unless it is one word; on a dumb one there are no colours.
on_terminal() { python3 -c 'import pty, sys; pty.spawn(sys.argv[1:])' "$@" | tr -d '\r' >"$work/out"; }
escape=$(printf '\033')
long_wait=$(log_of 'a Finder that comes after days')
TERM=dumb COLUMNS=40 on_terminal tools/zerbin-explain "$long_wait"
says_not "$escape"
TERM=xterm on_terminal python3 -c 'import subprocess, sys; subprocess.call(sys.argv[1:], start_new_session=True)' \
    tools/zerbin-explain "$long_wait" # a terminal that controls nothing
says_not /dev/tty
TERM=xterm COLUMNS=40 on_terminal tools/zerbin-explain "$long_wait"
check [ "$(tr -d '\n' <"$work/out" | grep -c "$escape.*finder 3 days 3 h")" = 1 ]
check [ -z "$(sed "s/$escape\[[0-9;]*m//g" "$work/out" | awk 'length > 40 && / .* /')" ]

# ---- A log that grows, and is emptied meanwhile
for awk in $awks; do
    cp "$(log_of 'the answer is in')" "$work/grows.$awk"
    (PATH=$work/awk-$awk:$PATH && exec tools/zerbin-explain -f "$work/grows.$awk" >"$work/followed.$awk") &
    followers="$followers $!"
done
wait_for() { # TEXT, which each tells
    for awk in $awks; do
        tries=0
        until grep -qs "$1" "$work/followed.$awk"; do
            [ $((tries += 1)) -lt 200 ] || fail "$awk does not follow, and tell: $1"
            sleep 0.1
        done
    done
}
wait_for 'does not run as the user'
for awk in $awks; do
    echo 'line 43===2009-3-5 9:4:13   Zerbin:DiskMountCallback --- are not same return.....
line 44===2009-3-5 9:4:14   Zerbin:main --- new' >>"$work/grows.$awk"
done
wait_for 'not known here: main: new'
for awk in $awks; do
    echo 'line 6===2009-3-5 9:5:0   Zerbin:DiskMountCallback --- actvie == pname.....' >"$work/grows.$awk"
done

# ---- A scenario, and what is replayed from its log, tell the same; nor does it run what stood in a name
log=${DESK_ROOT-}/usr/local/DatacardService/Zerbin.log
play() {
    expect 0 '' desk/desk play "$1"
    tools/zerbin-explain "$log" | sed -n 's/,* (*after [0-9]* s)*$//; s/.*  line [0-9]* *//p; /^  [a-z]*:/p'
}
if [ -n "${DESK_ROOT-}" ]; then
    tools/zerbin-explain --scenario "$(log_of 'what may not reach')" >"$work/harmless.scenario"
    play "$work/harmless.scenario" | check grep -q 'setup was run'
    check [ ! -e hit ]
    printf '%s\n' new 'port on' 'plug --label "Third Party Setup"' 'plug --label "Third Party Setup"' plug start \
        'until ready within 60' 'login other' unplug plug 'wait 1' stop >"$work/numbered.scenario"
    for scenario in "$work/numbered.scenario" desk/scenarios/already-plugged.scenario desk/scenarios/odd-names.scenario; do
        play "$scenario" >"$work/first"
        tools/zerbin-explain --scenario "$log" >"$work/second.scenario"
        play "$work/second.scenario" >"$work/second"
        same "$work/first" "$work/second" "the replay of $scenario"
    done
fi
wait_for 'the daemon runs as the user'
check [ "$(cat "$work"/followed.* | grep -c '^Arrival')" -eq $((2 * $(echo "$awks" | wc -w))) ]
echo ok
