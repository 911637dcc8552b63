#!/bin/sh
# kill_test.sh [--long]: kills an upgrade at its n-th command, for some n; with --long for every n, and terminates it there
# as well. What is installed then must be the old version or the new one, each to the byte, and a second run must bring
# the new one.
# shellcheck source=tests/packaging/setup.sh
. "$(dirname -- "$0")/setup.sh"
use_fakes launchctl
for version in 1.0 1.1; do
    make_sources $version
    for file in status common.sh TovrikZerbin uninstall config ../tools/zerbin-explain ../man/zerbin.8; do
        echo "# $version" >>"$work/$version/packaging/$file"
    done
done
echo '755 packaging/status /usr/local/bin/zerbin-more' >>"$work/1.0/packaging/files"
echo '644 packaging/config /usr/local/share/zerbin/explain/new' >>"$work/1.1/packaging/files"

# Every file's mode, owner and bytes; not how many names it has, of which a kept one is another.
installed() {
    (cd "$root" && find . -name '.zerbin-*' -prune -o -type f -exec ls -ln {} + -exec cksum {} + |
        sed 's/^\([^ ]*-[^ ]*\) *[0-9]*/\1/; s/ [A-Z][a-z][a-z] .* \./ ./')
}
expect 0 '' install_it 1.0
old=$(installed)
cp -Rp "$root" "$work/saved"
expect 0 '' install_it 1.1
new=$(installed)

# Each command of the scripts counts, and at the chosen number sends the installation the chosen signal.
mkdir "$work/counting"
for command in cat chmod ln ls mkdir mv rm rmdir cksum cmp find grep head sed sort chown sleep; do
    cat >"$work/counting/$command" <<END
#!/bin/sh
until read -r n <"$work/count"; do :; done # somebody else is writing it
n=\$((n + 1))
echo \$n >"$work/count"
read -r at what <"$work/kill"
[ \$n != \$at ] || kill -\$what \$(/bin/cat "$work/process") || :
exec $(command -v $command) "\$@"
END
done
chmod +x "$work/counting"/*
upgrade() { # $1 is the command at which it gets the signal $2
    rm -rf "$root"
    cp -Rp "$work/saved" "$root"
    echo "$*" >"$work/kill"
    echo 0 >"$work/count"
    sh -c "echo \$\$ >'$work/process'; exec '$work/1.1/packaging/install' --user $user --daemon '$work/Zerbin' '$root'" \
        >"$work/out" 2>&1 || :
    while read -r holder <"$share/.zerbin-lock/process" && kill -0 "$holder"; do sleep 0.1; done 2>/dev/null
}
upgrade none KILL
commands=$(cat "$work/count")
check [ "$commands" -gt 50 ]
signals=KILL step=7 olds=0 news=0
[ "${1-}" != --long ] || signals='KILL TERM' step=1
n=1
while [ $n -le "$commands" ]; do
    for signal in $signals; do
        upgrade $n "$signal"
        case $(installed) in
        "$old") olds=$((olds + 1)) ;;
        "$new") news=$((news + 1)) ;;
        *) fail "a mixture, after $signal at command $n of $commands: $(installed)" ;;
        esac
        [ "$signal" = KILL ] || check [ -z "$(find "$root" -name '.zerbin-*')" ]
    done
    mv "$work/counting" "$work/aside"
    expect 0 '' install_it 1.1
    mv "$work/aside" "$work/counting"
    check [ "$(installed)" = "$new" ]
    check [ -z "$(find "$root" -name '.zerbin-*')" ]
    # The names change in the last third.
    [ $step = 1 ] || [ $((n * 10)) -ge $((commands * 7)) ] || n=$((n + commands / 4 - step))
    n=$((n + step))
done
check [ $((olds * news)) -gt 0 ]
echo "ok: $((olds + news)) interruptions of $commands commands, $olds left the old version, $news the new one"
