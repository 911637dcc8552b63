# manual.awk: makes DIAGNOSTICS in man/zerbin.8 from the catalogue: replaces everything from the line with this file's name
# to the next section.
#
#     awk -f tools/explain/manual.awk tools/explain/messages man/zerbin.8 >new && mv new man/zerbin.8

FNR == 1 { files++ }

files == 1 && /^== / { begin_group(substr($0, 4)) }
files == 1 && /^message  / { add(".It " quoted(substr($0, 11, length($0) - 11))) }
files == 1 && /^manual   / { add_sentences(substr($0, 10)) }
files == 1 { next }

is_old && /^\.Sh/ {
    printf "%s.El\n", made
    is_old = 0
}
!is_old { print }
/^\.\\" .*manual\.awk/ { is_old = 1 }

function add(line) { made = made line "\n" }

function begin_group(title) {
    if (made != "") add(".El")
    add(".Ss " (title ~ /^An / ? "\\&" : "") title)
    add(".Bl -diag")
}

function escaped(text,  i, c, out) {
    for (i = 1; i <= length(text); i++) {
        c = substr(text, i, 1)
        out = out (c == "\\" ? "\\e" : c == "\047" ? "\\(aq" : c)
    }
    return out
}

# A leading space would be lost.
function quoted(message) {
    sub(/ +$/, "", message)
    return message ~ /^ / ? "\"" escaped(message) "\"" : escaped(message)
}

# Each sentence begins a line, and lines are not long. Text in backquotes is literal.
function add_sentences(text,  sentence, sentences, i) {
    gsub(/\. /, ".\n", text)
    sentences = split(text, sentence, "\n")
    for (i = 1; i <= sentences; i++) add_sentence(sentence[i])
}

function add_sentence(text,  part, parts, i, mark) {
    parts = split(text, part, "`")
    for (i = 1; i <= parts; i++) {
        if (i % 2) {
            add_lines(part[i])
        } else {
            mark = part[i + 1] ~ /^[.,;:]/ ? substr(part[i + 1], 1, 1) : ""
            part[i + 1] = substr(part[i + 1], length(mark) + 1)
            add(".Li " escaped(part[i]) (mark != "" ? " " mark : ""))
        }
    }
}

function add_lines(text,  at) {
    sub(/^ /, "", text)
    sub(/ $/, "", text)
    while (length(text) > 78) {
        for (at = 79; substr(text, at, 1) != " "; at--);
        add(escaped(substr(text, 1, at - 1)))
        text = substr(text, at + 1)
    }
    if (text != "") add(escaped(text))
}
