# records.awk: makes records of the log's lines. A record is one message: usually one line; some have several, and one that
# was cut at its limit has no line end. happen() is called for each record that may decide something.
#
# Sets for each record: run, counted here; number, which each run of the daemon counts from 1; place, the function that
# wrote it; date, clock, and now, in seconds; raw, the record as it is.

BEGIN {
    a_year = 365 * 86400
    longest_line = 2048
    shortest_cut = 1024    # where a line is cut, at 2,047 characters, or fewer where "%%" was written as "%"
    piece_size = 65536
    runs_alive = 3         # the last runs whose daemons may still be writing
    next_start = "\n"      # how the next line of this run begins
}

# Most lines have the next number and a dull message; they have to be fast.
function take_line(line,  at, is_next) {
    at = index(line, " --- ")
    is_next = at && index(line, next_start) == 1
    if (is_next && substr(line, at + 5) in dull) {
        if (record != "") end_record(0)
        count_line()
        dull_line = line
        return
    }
    if (!runs) sub(/^\357\273\277/, "", line)    # the byte order mark that some editors add
    if (opening == "") opening = line
    if (is_next || substr(line, 1, 5) == "line " && head_in(line) == 1) {
        end_record(0)
        begin_record(line)
    } else if (record != "" && length(record) < longest_line) {
        record = record "\n" line
    }
    if (length(record) > shortest_cut) divide_record()
}

function head_in(text) {
    return match(text, /line -?[0-9]+===[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+   [A-Za-z]+:[A-Za-z]+ ---/)
}

# A record that was cut is followed by the next one on the same line. The line is handled in pieces, since substr() may look
# through all of a text.
function divide_record(  ahead, piece, from, at) {
    ahead = record
    from = 1
    for (;;) {
        if (ahead != "" && length(piece) - from < 2 * longest_line) {
            piece = substr(piece, from) substr(ahead, 1, piece_size)
            ahead = substr(ahead, piece_size + 1)
            from = 1
        }
        if (!head_in(substr(piece, from + shortest_cut - 1, longest_line))) break
        at = from + shortest_cut - 2 + RSTART
        record = substr(piece, from, at - from)
        end_record(1)
        begin_record(substr(piece, at, longest_line))
        from = at
    }
    record = substr(piece, from, longest_line)
}

function count_line() { next_start = "line " (++number + 1) "===" }

function begin_record(line) {
    record = line
    dull_line = ""
    if (index(line, next_start) == 1) {
        count_line()
    } else {
        read_head(line)
        find_run(number_in(substr(line, 6)))
    }
}

function end_record(is_cut,  text, i) {
    if (record == "") return
    raw = record
    record = ""
    text = trimmed(substr(raw, index(raw, " ---") + 4))
    i = look_up(text, is_cut)
    if (i && kind[i] == "") return
    read_head(raw)
    check_clock()
    happen(i, text)
}

# Without the spaces and line ends at both ends; but the one space of " %d time" stays.
function trimmed(text,  first, last) {
    first = 1
    if (substr(text, 1, 1) ~ /[ \n]/) first++
    while (substr(text, first, 1) == "\n") first++
    last = length(text)
    while (last >= first && substr(text, last, 1) ~ /[ \n]/) last--
    return substr(text, first, last - first + 1)
}

# Reads the time and the place of a record.
function read_head(text,  field, i) {
    split(substr(text, 1, index(text, " ---") - 1), field, /[^0-9A-Za-z]+/)
    for (i = 4; i <= 8; i++) if (length(field[i]) > 2) field[i] = 0    # the line is damaged
    if (!(field[3] + 0 >= 1900 && field[3] + 0 <= 9999)) field[3] = 1900
    date = sprintf("%04d-%02d-%02d", field[3], field[4], field[5])
    clock = sprintf("%02d:%02d:%02d", field[6], field[7], field[8])
    place = field[10]
    if (date != date_of_day) {
        date_of_day = date
        day_in_seconds = 86400 * days(field[3], field[4], field[5])
    }
    now = day_in_seconds + field[6] * 3600 + field[7] * 60 + field[8]
}

function check_clock(  before) {
    before = run in last_seen ? last_seen[run] : now
    last_seen[run] = now
    if (now < before)
        remark("The clock went back by " lasting(before - now) " here: it was set, its time zone changed, or summer time ended.")
    else if (now > before + a_year)
        remark("The clock went ahead by " lasting(now - before) " here: it was set, or nothing happened for that long.")
}

function days(year, month, day) {
    if (month < 3) { year--; month += 12 }
    return 365 * year + int(year / 4) - int(year / 100) + int(year / 400) + int((153 * month - 457) / 5) + day
}

# The run of the daemon that number n belongs to: this one, another one that is still writing, or a new one.
function find_run(n,  r) {
    if (r = run_expecting(n)) {
        last_number[run] = number
        if (!is_shared[r] || !is_shared[run])
            remark("Two daemons are writing to this log. Only one may run: stop one of them (man zerbin).", "problem")
        is_shared[r] = is_shared[run] = 1
        run = r
        number = n
    } else if (runs && n > number) {
        remark("Lines " (number + 1) " to " (n - 1) " are missing: they could not be written, or somebody removed them.")
        number = n
    } else {
        new_run(n)
    }
    next_start = "line " (number + 1) "==="
}

function run_expecting(n,  r) {
    if (n == 1) return 0
    for (r = runs; r > 0 && r > runs - runs_alive; r--)
        if (r != run && n == last_number[r] + 1) return r
    return 0
}

function new_run(n) {
    if (run) last_number[run] = number
    run = ++runs
    number = n
    if (runs > runs_alive) close_run(runs - runs_alive, 1)
    if (n != 1 && runs == 1) remark("The log begins at line " n ": the lines before it were cut off, or the log was emptied at 10 MB.")
    else if (n != 1) remark("Another run of the daemon begins here, at its line " n ".")
}

# If nothing follows, even a line that was skipped says what time it is.
function catch_up() {
    if (dull_line != "") read_head(dull_line)
    dull_line = ""
}
