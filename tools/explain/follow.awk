# follow.awk: reads what is added to the log, once a second: an awk that read it from a pipe might wait for whole blocks.

function follow(  before) {
    for (;;) {
        before = offset
        read_more()
        quiet = offset == before ? quiet + 1 : 0
        if (quiet == 0) end_record(0)
        if (quiet == 2 && run) infer_newest_line()
        still = blocks SUBSEP steps[blocks] == seen ? still + 1 : 0
        seen = blocks SUBSEP steps[blocks]
        if (still == 2) {
            tell_kept()
            if (tells_open && run) tell_open()
        }
        fflush()
        if (system("sleep 1") != 0) exit
    }
}

# Takes the lines that are complete. A file that has become smaller is read from its beginning.
function read_more(  command, size, line, last) {
    command = "wc -c <\"$zerbin_log\" 2>/dev/null"
    command | getline size
    close(command)
    if (size + 0 < offset) offset = 0
    if (size + 0 == offset) return
    command = "tail -c +" offset + 1 " <\"$zerbin_log\" 2>/dev/null | tr \"$zerbin_from\" \"$zerbin_to\"; echo ."
    while ((command | getline line) > 0) {
        if (last != "") take_line(substr(last, 1, length(last) - 1))
        offset += length(last)
        last = line "\n"
    }
    close(command)
}

function tell_open(  b, advice_before, run_before) {
    if (disks[run] > served[run] && !arrival_of[run]) serve_disk()
    run_before = run
    for (b = next_block; b <= blocks; b++) {
        if (b in result || b in told_steps && told_steps[b] == steps[b]) continue
        run = run_of[b]
        advice_before = advice[b]
        describe_open(b)
        tell_block(b)
        advice[b] = advice_before
    }
    run = run_before
}
