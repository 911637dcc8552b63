# story.awk: makes a story of the records. Each daemon starts (phases: port, volume), and then serves arrivals (phases: mount,
# owner, finder, launch, setup); the start may include an arrival, for a modem that is already plugged in. The names of what
# happens come from the catalogue.
#
# The state of each run: start_of[run] and arrival_of[run], the open blocks, or 0; phase[run] since[run]; is_ready[run];
# disks[run] and served[run], how many have arrived and how many were served; of the arrival, command[run], tries[run],
# status[run], awaited[run], setup_note[run], is_launched[run], is_setup_over[run].

function happen(i, text,  what) {
    what = kind[i]
    if (!i && place == "FindCommPort") {
        port[run] = text
        return
    }
    if (!i && place == "RunSDProgram") return    # the command; it is logged again once it has been run
    if (!i && place == "DiskMountCallback") what = "asked"
    begin_what_is_missing(what, event[i])
    if (what == "" || !is_open() && what !~ /^(start|disk)$/) happen_out_of_place(i, text)
    else if (what == "start") happen_at_start(i, event[i])
    else if (what == "disk") happen_to_disk(i, event[i])
    else if (what == "asked") asked_line[run] = number
    else if (what == "owner") happen_to_owner(i, event[i])
    else if (what == "finder") happen_to_finder(i, event[i])
    else if (what == "launch") happen_at_launch(i, event[i])
    else if (what == "command") happen_to_command(i, event[i])
    else if (what == "volume") happen_to_volume(i, event[i])
    else if (what == "configuration") happen_to_configuration(i, event[i])
    else if (what == "setup") happen_in_setup(i, event[i])
    else if (what == "setup fails") fail_setup(i, event[i])
    else if (what == "note") step(filled(words[i]))
}

function is_open() { return start_of[run] || arrival_of[run] }

function happen_out_of_place(i, text) {
    if (i || text == "") return
    if (is_open()) step("a line that is not known here: " place ": " text)
    else remark("A line that is not known here: " place ": " text)
}

# The log may begin, or continue after a gap, in the middle of a start or an arrival.
function begin_what_is_missing(what, name) {
    if (what == "start" && name != "begins" && !start_of[run] && !is_ready[run]) begin_start("its beginning is missing")
    if (arrival_of[run] || what !~ /^(asked|owner|finder|launch|command|setup|setup fails|note)$/ || name == "bracket") return
    if (name == "other" && asked_line[run] == number - 1) return    # it was inferred before
    if (disks[run] > served[run]) serve_disk()
    else begin_arrival("its beginning is missing")
}

# ---- Blocks, steps and phases

function step(text) { add_step(arrival_of[run] ? arrival_of[run] : start_of[run], text) }

function enter(name) {
    if (phase[run] != "" && now > since[run] && now < since[run] + a_year)
        spent[block_of_phase[run], phase[run]] += now - since[run]
    phase[run] = name
    since[run] = now
    block_of_phase[run] = arrival_of[run] ? arrival_of[run] : start_of[run]
}

function begin_start(why) {
    start_of[run] = new_block("start", why)
    looks[run] = 0
    ports_note[run] = awaited[run] = ""
    enter("port")
}

function end_start(  b) {
    enter("")
    b = start_of[run]
    start_of[run] = 0
    is_ready[run] = 1
    idle_since[run] = date " " clock
    fact_at_start("ready", 1)
    if (trouble[b] != "") end_block(b, "problem", "failed: " trouble[b] "; ready now: waits for the modem")
    else end_block(b, "well", "ready: waits for the modem")
}

function begin_arrival(why) {
    enter("")
    arrival_of[run] = new_block("arrival", why)
    arrivals[run]++
    is_launched[run] = is_setup_over[run] = tries[run] = passes[run] = 0
    command[run] = status[run] = setup_note[run] = awaited[run] = ""
}

# Begins the arrival of the first disk that has not been served, at the time when that disk arrived.
function serve_disk(  k, date_now, clock_now, number_now, raw_now) {
    date_now = date; clock_now = clock; number_now = number; raw_now = raw
    k = run SUBSEP (++served[run])
    date = disk_date[k]; clock = disk_clock[k]; number = disk_line[k]; raw = disk_raw[k]
    begin_arrival("")
    step(disk_words[k])
    date = date_now; clock = clock_now; number = number_now; raw = raw_now
    enter("mount")
    since[run] = disk_time[k]
}

function end_arrival(  b, i, seconds, text) {
    enter("")
    fact("ended", 1)
    b = arrival_of[run]
    arrival_of[run] = 0
    for (i = 1; i <= arrival_phases; i++) seconds += spent[b, arrival_phase[i]]
    if (trouble[b] == "") text = "well: " (is_launched[run] ? "the application was launched" : "it ended") \
        (setup_note[run] != "" ? ", " setup_note[run] : "")
    else if (is_launched[run]) text = "failed: the application was launched, but " trouble[b]
    else text = "failed: " trouble[b] (setup_note[run] != "" ? "; " setup_note[run] : "")
    idle_since[run] = date " " clock
    end_block(b, trouble[b] == "" ? "well" : "problem", text " (after " lasting(seconds) ")")
}

# ---- Where the log ends

# The newest line is still in the daemon's buffer: it writes each line when it logs the next one. If only one line can
# follow, that line is assumed.
function infer_newest_line() {
    if (arrival_of[run] && is_setup_over[run]) {
        end_arrival()
    } else if (arrival_of[run] && asked_line[run] == number) {
        step("(the newest line is still in the daemon's buffer, but can only say what follows)")
        turn_away(message_for["owner: other"])
    } else if (!arrival_of[run] && start_of[run] && options_line[run] == number) {
        end_start()
    }
}

# Ends what is open in run r: with that run, or as it is now.
function close_run(r, is_over,  run_now, number_now, now_now) {
    run_now = run; number_now = number; now_now = now
    run = r; number = last_number[r]; now = last_seen[r]
    infer_newest_line()
    if (disks[run] > served[run] && !arrival_of[run]) serve_disk()
    if (arrival_of[run]) close_block(arrival_of[run], is_over ? "the daemon ended" : "")
    if (start_of[run]) close_block(start_of[run], is_over ? "the daemon ended" : "")
    start_of[run] = arrival_of[run] = 0
    run = run_now; number = number_now; now = now_now
}

function close_block(b, why) {
    if (b == block_of_phase[run]) enter(phase[run])
    is_unfinished[run] = 1
    if (why == "") {
        describe_open(b)
        end_block(b, "open", outcome[b])
    } else {
        if (kind_of[b] == "arrival") advise(b, "If the application has not been launched since then, plug the modem in again.")
        end_block(b, "problem", "failed: " why " while " doing(b) so_far_trouble(b))
    }
}

function describe_open(b) {
    outcome[b] = clean("so far: " doing(b) so_far_trouble(b))
    advise(b, remedy(b))
}

function so_far_trouble(b) { return trouble[b] != "" ? "; " trouble[b] : "" }

function doing(b,  what) {
    what = b == block_of_phase[run] ? phase[run] : ""
    if (what == "port") return "looking for a modem that is already plugged in"
    if (what == "volume") return "the modem's port was found; waiting for " \
        (awaited[run] != "" ? "the volume " awaited[run] : "its volume") \
        " since " clock_after(since_volume[run]) ", until " clock_after(since_volume[run] + 300) " at most"
    if (kind_of[b] == "start") return arrival_of[run] ? "serving the modem that was plugged in before the start" : "getting ready"
    if (what == "mount") return "waiting for the system to mount the disk"
    if (what == "owner") return "asking who is logged in at the screen"
    if (what == "finder") return "waiting for the Finder (" lasting(spent[b, "finder"]) " so far)"
    if (what == "launch") return "launching the application" failed_attempts()
    return "running the setup" (awaited[run] != "" ? ", waiting for " awaited[run] : failed_attempts())
}

function failed_attempts() { return tries[run] ? " (" plural(tries[run], "failed attempt") " so far)" : "" }

function remedy(b,  what) {
    what = b == block_of_phase[run] ? phase[run] : ""
    if (what == "volume") return advice_for[message_for["start: volume never came"]]
    if (what == "mount") return "If this does not change, unplug the modem and plug it in again."
    if (what == "finder") return advice_for[message_for["finder: missing"]]
    if (what == "setup" && awaited[run] ~ /^\//) return advice_for[message_for["setup fails: no folder"]]
    return ""
}

# Ends the whole story.
function finish(  r) {
    end_record(0)
    catch_up()
    last_number[run] = number
    last_seen[run] = now
    for (r = runs < runs_alive ? 1 : runs - runs_alive + 1; r <= runs; r++) close_run(r, r < runs && !is_shared[r])
    if (is_ready[run] && !is_shared[run] && !is_unfinished[run]) say_who_is_awaited()
}

function say_who_is_awaited() {
    remark("No disk " (label[run] != "" ? "named " label[run] : "with the configured name") " has arrived since " idle_since[run] \
        ". If the modem has been plugged in since then, compare the name of its volume in the Finder with \"name\" in the" \
        " configuration: they must be the same (man zerbin-config).")
}
