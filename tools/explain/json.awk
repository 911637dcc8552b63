# json.awk: prints each block as a JSON object on a line of its own.

# Printed in pieces, since there may be many steps.
function tell_block(b,  i) {
    printf "%s", separator
    separator = later_separator
    if (kind_of[b] == "remark") {
        print "{\"kind\":\"remark\",\"run\":" run_of[b] ",\"result\":\"" result[b] "\",\"text\":" json(outcome[b]) "}"
        return
    }
    printf "%s", "{\"kind\":\"" kind_of[b] "\",\"run\":" run_of[b] ",\"time\":\"" date_of[b] "T" clock_of[b] \
        "\",\"note\":" json(note[b]) ",\"lines\":[" first_line[b] "," last_line[b] "],\"steps\":["
    for (i = 1; i <= steps[b]; i++) printf "%s", (i > 1 ? "," : "") json_step(b, i)
    print "],\"waits\":{" json_waits(b) "},\"result\":\"" result[b] "\",\"outcome\":" json(outcome[b]) ",\"advice\":" json(advice[b]) "}"
}

function tell_end() { }

function json_step(b, i) {
    return "{\"time\":\"" step_clock[b, i] "\",\"line\":" step_line[b, i] ",\"text\":" json(step_text[b, i]) \
        (wants_log ? ",\"log\":" json(clean(step_raw[b, i])) : "") "}"
}

function json_waits(b,  i, list) {
    if (kind_of[b] == "start") for (i = 1; i <= start_phases; i++) list = list "," json_wait(b, start_phase[i])
    else for (i = 1; i <= arrival_phases; i++) list = list "," json_wait(b, arrival_phase[i])
    return substr(list, 2)
}

function json_wait(b, name) { return "\"" name "\":" spent[b, name] + 0 }

# The text has no control characters but tabs. "<" and "&" could mean something to the page around it.
function json(text) {
    if (hides_homes) text = without_homes(text)
    if (text ~ /["\\\t<&]/) {
        text = replaced(text, "\\", "\\\\")
        text = replaced(text, "\"", "\\\"")
        text = replaced(text, "\t", "\\t")
        text = replaced(text, "<", "\\u003c")
        text = replaced(text, "&", "\\u0026")
    }
    return "\"" text "\""
}

# "/Users/anna/Applications" -> "/Users/.../Applications"
function without_homes(text,  out, at) {
    while (match(text, "/([Uu]sers|home)/[^]/\"'()<>]+")) {
        at = RSTART + index(substr(text, RSTART + 1), "/")
        out = out substr(text, 1, at) "…"
        text = substr(text, RSTART + RLENGTH)
    }
    return out text
}
