# text.awk: prints the blocks as text, and ends with a summary. On a terminal, lines are broken at its width, outcomes are
# coloured, and a bar shows where the time went.

BEGIN {
    has_color = ENVIRON["zerbin_color"] != ""
    width = ENVIRON["zerbin_width"] + 0
    tells_open = 1
    color["well"] = 32
    color["problem"] = 31
    color["open"] = 33
    for (i = 1; i <= arrival_phases; i++) color[arrival_phase[i]] = "30;4" (i + 1)
}

function tell_block(b,  i) {
    if (told++) print ""
    if (kind_of[b] == "remark") {
        put("", outcome[b], "")
        return
    }
    print paint(1, sprintf("%-8s %s %s", kind_of[b] == "start" ? "Start" : "Arrival", date_of[b], clock_of[b])) \
        (b in told_steps ? "  (continued)" : note[b] != "" ? "  (" note[b] ")" : "")
    put("  ", outcome[b], color[result[b] == "" ? "open" : result[b]])
    if (advice[b] != "") put("    ", "What to do: " advice[b], "")
    if (has_color && kind_of[b] == "arrival") draw_waits(b)
    for (i = told_steps[b] + 1; i <= steps[b]; i++)
        put(sprintf("    %s  line %-5s ", step_clock[b, i], step_line[b, i]), step_text[b, i], "")
    told_steps[b] = steps[b]
}

# Prints the text after `margin`, and on a terminal breaks it at spaces to fit the width.
function put(margin, text, code,  at, next_margin) {
    if (!width) {
        print margin paint(code, text)
        return
    }
    next_margin = sprintf("%" (width < 80 && length(margin) > 6 ? 6 : length(margin)) "s", "")
    while (length(margin text) > width) {
        for (at = width - length(margin) + 1; at > 0 && substr(text, at, 1) != " "; at--);
        if (at < 1 && length(margin) > length(next_margin)) at = 0
        else if (at < 1 && !(at = index(text, " "))) break
        print margin paint(code, substr(text, 1, at - 1))
        text = substr(text, at + 1)
        margin = next_margin
    }
    print margin paint(code, text)
}

function paint(code, text) { return has_color && code != "" ? "\033[" code "m" text "\033[0m" : text }

# A bar in which each wait has its share, marked with its initial.
function draw_waits(b,  i, k, name, total, cells, bar, legend) {
    for (i = 1; i <= arrival_phases; i++) total += spent[b, arrival_phase[i]]
    if (!total) return
    for (i = 1; i <= arrival_phases; i++) {
        name = arrival_phase[i]
        if (!spent[b, name]) continue
        cells = ""
        for (k = 0; k < 1 + (bar_cells() - arrival_phases) * spent[b, name] / total; k++) cells = cells substr(name, 1, 1)
        bar = bar paint(color[name], cells)
        legend = legend (legend != "" ? ", " : "") name " " lasting(spent[b, name])
    }
    print "    " bar
    put("    ", legend, "")
}

function bar_cells() { return width - 6 < 50 && width ? width - 6 : 50 }

function tell_end() {
    if (!told) print only_problems ? "No problems." : "Nothing has happened since then."
    if (ENVIRON["zerbin_last"] == "" && count["start"] + count["arrival"] > 4) {
        print ""
        put("", plural(count["start"] + 0, "start") ", " plural(count["arrival"] + 0, "arrival") ", " count["arrival", "well"] + 0 " well" \
            (count["arrival"] ? "; last " last_date ": " last_outcome : ""), "")
    }
}
