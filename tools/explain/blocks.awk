# blocks.awk: the output consists of blocks, one for each start, arrival and remark, in the order in which they began. They
# are kept until they have ended; then those that were asked for go to tell_block() of the chosen form, and the others
# are only counted.
#
# Block b: kind_of[b] (start, arrival, remark), run_of[b], date_of[b], clock_of[b], note[b] (how it came to begin),
# first_line[b], last_line[b]; steps[b] steps with step_clock[b, i], step_line[b, i], step_text[b, i], step_raw[b, i];
# spent[b, phase] in seconds; result[b] (well, problem, open), outcome[b], advice[b].

BEGIN {
    only_problems = ENVIRON["zerbin_problems"] != ""
    only_last = ENVIRON["zerbin_last"] + 0
    only_since = ENVIRON["zerbin_since"] == "" ? "" : moment(ENVIRON["zerbin_since"])
    start_phases = split("port volume", start_phase, " ")
    arrival_phases = split("mount owner finder launch setup", arrival_phase, " ")
    next_block = next_kept = 1
}

# A date, with or without a time after it, in seconds.
function moment(text,  field) {
    split(text, field, /[^0-9]+/)
    return 86400 * days(field[1], field[2], field[3]) + field[4] * 3600 + field[5] * 60 + field[6]
}

# What a function is passed must have been set before; otherwise some awks pass garbage.
function new_block(kind, why,  i) {
    kind_of[++blocks] = kind
    run_of[blocks] = run
    date_of[blocks] = date
    clock_of[blocks] = clock
    first_line[blocks] = number
    note[blocks] = why
    steps[blocks] = 0
    advice[blocks] = trouble[blocks] = repeated[blocks] = ""
    for (i = 1; i <= start_phases; i++) spent[blocks, start_phase[i]] = 0
    for (i = 1; i <= arrival_phases; i++) spent[blocks, arrival_phase[i]] = 0
    return blocks
}

function remark(text, how,  b) {
    b = new_block("remark", "")
    end_block(b, how == "" ? "well" : how, text)
}

# A step that is the same as the one before is merged with it.
function add_step(b, text,  day) {
    if (!steps[b]) last_step_date[b] = date_of[b]
    day = date == last_step_date[b] ? "" : "on " date
    text = clean(text)
    if (text == repeated[b]) {
        step_text[b, steps[b]] = first_text[b] ", and " plural(++repeats[b], "more time") ", until " clock (day == "" ? "" : " " day)
        return
    }
    repeated[b] = text
    repeats[b] = 0
    first_text[b] = text (day == "" ? "" : " (" day ")")
    step_clock[b, ++steps[b]] = clock
    step_line[b, steps[b]] = number
    step_text[b, steps[b]] = first_text[b]
    if (wants_log) step_raw[b, steps[b]] = raw
    last_step_date[b] = date
}

function add_problem(b, text, what_to_do) {
    trouble[b] = trouble[b] (trouble[b] != "" ? "; " : "") clean(text)
    if (index(advice[b], what_to_do) == 0) advise(b, what_to_do)
}

function advise(b, text) {
    if (text != "") advice[b] = advice[b] (advice[b] != "" ? " " : "") clean(text)
}

# `how` is well, problem or open; open means that it has not ended.
function end_block(b, how, what_came_of_it) {
    result[b] = how
    outcome[b] = clean(what_came_of_it)
    last_line[b] = number
    ended_at[b] = now
    while (next_block <= blocks && next_block in result) pass_on(next_block++)
}

function pass_on(b) {
    if (only_since == "" || ended_at[b] >= only_since) {
        count_block(b)
        if (!only_problems || result[b] != "well") keep(b)
        else forget(b)
    } else {
        forget(b)
    }
}

# Remarks do not count towards --last; each goes with the block that follows it.
function keep(b) {
    if (!only_last) {
        tell_block(b)
        forget(b)
        return
    }
    kept[++last_kept] = b
    if (kind_of[b] == "remark" || ++kept_blocks <= only_last) return
    kept_blocks--
    while (kind_of[kept[next_kept]] == "remark") forget(kept[next_kept++])
    forget(kept[next_kept++])
}

function tell_kept() {
    for (; next_kept <= last_kept; next_kept++) {
        tell_block(kept[next_kept])
        forget(kept[next_kept])
    }
    only_last = 0
}

function count_block(b) {
    if (kind_of[b] == "remark") return
    count[kind_of[b]]++
    count[kind_of[b], result[b]]++
    if (kind_of[b] != "arrival") return
    last_date = date_of[b]
    last_outcome = outcome[b]
}

function forget(b,  i) {
    for (i = 1; i <= steps[b]; i++) {
        delete step_clock[b, i]
        delete step_line[b, i]
        delete step_text[b, i]
        if (wants_log) delete step_raw[b, i]
    }
}
