# words.awk: texts and durations for readers.

# A text that can be shown anywhere: valid UTF-8 stays; line ends, other bytes, and the characters that control a terminal
# or change the direction of the text become question marks. (Control characters of one byte were replaced before.)
BEGIN {
    valid = "[\302-\337][\200-\277]|\340[\240-\277][\200-\277]|[\341-\354\356\357][\200-\277][\200-\277]" \
        "|\355[\200-\237][\200-\277]|\360[\220-\277][\200-\277][\200-\277]|[\361-\363][\200-\277][\200-\277][\200-\277]" \
        "|\364[\200-\217][\200-\277][\200-\277]"
    steering = "\302[\200-\237]|\342\200[\216\217\250-\256]|\342\201[\246-\251]"
}

function clean(text,  out) {
    if (index(text, "\n")) gsub(/\n/, "?", text)
    if (text !~ /[\200-\377]/) return text
    gsub(steering, "?", text)
    while (match(text, valid)) {
        out = out ascii(substr(text, 1, RSTART - 1)) substr(text, RSTART, RLENGTH)
        text = substr(text, RSTART + RLENGTH)
    }
    return out ascii(text)
}

function ascii(text) {
    gsub(/[\200-\377]/, "?", text)
    return text
}

# Replaces each `old`; unlike gsub, it takes both texts as they are.
function replaced(text, old, new,  at, out) {
    while (at = index(text, old)) {
        out = out substr(text, 1, at - 1) new
        text = substr(text, at + length(old))
    }
    return out text
}

# The number that the text begins with. A damaged log may contain any number, and awks differ beyond 32 bits.
function number_in(text,  number) {
    if (!match(text, /^-?[1-9][0-9]*/) || RLENGTH > 11) return 0
    number = substr(text, 1, RLENGTH) + 0
    return number > -2147483647 && number < 2147483647 ? number : 0
}

function lasting(seconds) {
    if (seconds < 0) return "0 s"    # the clock went back
    if (seconds < 60) return seconds + 0 " s"
    if (seconds < 3600) return int(seconds / 60) " min" rest_of(seconds % 60, " s")
    if (seconds < 86400) return int(seconds / 3600) " h" rest_of(int(seconds % 3600 / 60), " min")
    return plural(int(seconds / 86400), "day") rest_of(int(seconds % 86400 / 3600), " h")
}

function rest_of(number, unit) { return number ? " " number unit : "" }

function plural(number, noun) { return number + 0 " " noun (number == 1 ? "" : "s") }

function clock_after(seconds) {
    return sprintf("%02d:%02d:%02d", int(seconds / 3600) % 24, int(seconds / 60) % 60, seconds % 60)
}
