# main.awk: reads the log, to its end or, with -f, until interrupted.

BEGIN { if (ENVIRON["zerbin_follow"] != "") follow() }

{ take_line($0) }

# A dot follows the log: on a line of its own, or at the end of an unfinished line, which is then left out as well.
END {
    if (ENVIRON["zerbin_follow"] != "") exit
    if (!sub(/\n[^\n]*$/, "", record) && record != "" && length(record) < shortest_cut) {
        record = ""
        number--
    }
    if (!runs && record == "") {
        print "zerbin-explain: " clean(ENVIRON["zerbin_name"]) " " what_it_is(opening) | "cat 1>&2"
        exit 1
    }
    finish()
    tell_kept()
    tell_end()
}

function what_it_is(text) {
    if (text == ".") return "is empty: the daemon has written nothing yet"
    if (text ~ /^\?\213/) return "is compressed; unpack it first (gunzip -c FILE | zerbin-explain)"
    if (text ~ /^(BZh|\3757zXZ|PK)/) return "is compressed; unpack it first"
    if (text ~ /^(\376\377|\377\376)|^\??l\?i\?n\?e/)
        return "is in UTF-16; convert it first (iconv -f UTF-16 -t UTF-8 FILE | zerbin-explain)"
    return "is not a log of the daemon"
}
