# catalogue.awk: reads the catalogue of messages, and finds the message that a text of the log is an instance of.
#
# For message i it sets kind[i] and event[i], what happens there; words[i] and advice_for[i]. dull[text] exists for messages
# with neither values nor an event. A message that is only a value is recognised by its place, in story.awk.

BEGIN { read_catalogue(ENVIRON["zerbin_files"] "/messages") }

function read_catalogue(file,  line, field, i) {
    while ((getline line < file) > 0) {
        if (line !~ /^[a-z]+ /) continue
        field = substr(line, 1, index(line, " ") - 1)
        sub(/^[a-z]+ +/, "", line)
        if (field == "message") i = know(substr(line, 2, length(line) - 2))
        else if (field == "event") give_event(i, line)
        else if (field == "words") words[i] = line
        else if (field == "advice") advice_for[i] = line
    }
    close(file)
    for (line in exact) if (kind[exact[line]] == "") dull[line] = 1
}

# Adds a message. Line ends and spaces at its ends are ignored in the log, so they are ignored here.
function know(message,  head) {
    gsub(/\\n/, "", message)
    sub(/ +$/, "", message)
    pattern[++messages] = message
    if (message !~ /%[sd]/) {
        exact[message] = messages
    } else if (message != "%s") {
        head = pattern_head(substr(message, 1, index(message, "%") - 1))
        alike[head, ++patterns_of[head]] = messages
    }
    return messages
}

function give_event(i, text,  at) {
    at = index(text, ": ")
    kind[i] = at ? substr(text, 1, at - 1) : text
    event[i] = at ? substr(text, at + 2) : ""
    if (!(text in message_for)) message_for[text] = i    # the first of several has the advice
}

# Messages with values are indexed by how they begin, so that few have to be compared.
function pattern_head(text) { return length(text) < 4 ? "" : substr(text, 1, 4) }

# The number of the message that `text` is an instance of, or 0; the values in it are then in value[]. A text that was
# cut (is_cut) may lack its end; the message with the most in common is taken.
function look_up(text, is_cut,  i) {
    if (text in exact) return exact[text]
    value[1] = text
    i = best_fit(text, is_cut, pattern_head(text))
    return i ? i : best_fit(text, is_cut, "")
}

function best_fit(text, is_cut, head,  k, i, score, best, best_score) {
    for (k = 1; k <= patterns_of[head]; k++) {
        i = alike[head, k]
        score = fit(text, is_cut, pattern[i])
        if (score > best_score) {
            best = i
            best_score = score
        }
    }
    if (best && patterns_of[head] > 1) fit(text, is_cut, pattern[best])
    return best
}

# How many characters of the pattern are in the text, 0 if it does not fit.
function fit(text, is_cut, form,  piece, pieces, i, at, score) {
    pieces = split(form, piece, /%[sd]/)
    score = length(piece[1])
    if (substr(text, 1, score) != piece[1]) return 0
    text = substr(text, score + 1)
    for (i = 2; i <= pieces; i++) {
        at = i < pieces ? index(text, piece[i]) : length(text) - length(piece[i]) + 1
        if (at < 1 || substr(text, at, length(piece[i])) != piece[i]) {
            value[i - 1] = text
            return is_cut ? score : 0
        }
        value[i - 1] = substr(text, 1, at - 1)
        text = substr(text, at + length(piece[i]))
        score += length(piece[i])
    }
    return score
}
