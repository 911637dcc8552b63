# steps.awk: handles what happens, kind by kind. Each function takes the number of the message and the name of what happens,
# from the catalogue, and changes the state that story.awk describes.

function happen_at_start(i, name) {
    if (name == "begins") {
        begin_start("")
    } else if (name == "port missing") {
        looks[run]++
    } else if (name == "ports refused") {
        ports_note[run] = " (" words[i] ")"
    } else if (name == "port found") {
        enter("volume")
        since_volume[run] = now
        fact_at_start("port", looks[run] + 1)
        step("the modem is already plugged in: its port " port[run] " was found" \
            (looks[run] ? ", after " lasting(spent[start_of[run], "port"]) : ""))
    } else if (name == "options are read") {
        if (phase[run] == "port" && looks[run])
            step("no modem is plugged in: its port was not found (" plural(looks[run], "attempt") ", " \
                lasting(now - since[run]) ")" ports_note[run])
        enter("")
    } else if (name == "options are known") {
        options_line[run] = number
    } else if (name == "volume never came") {
        step(filled(words[i]))
        add_problem(start_of[run], filled(words[i]), advice_for[i])
        fact_at_start("volume", "never")
    } else {
        fact_at_start("hidden", name == "mounts hidden")
        if (start_of[run]) {
            step(words[i])
            end_start()
        }
    }
}

function happen_to_disk(i, name,  k) {
    if (name == "arrives") {
        k = run SUBSEP (++disks[run])
        disk_date[k] = date
        disk_clock[k] = clock
        disk_line[k] = number
        disk_time[k] = now
        disk_raw[k] = raw
        disk_words[k] = words[i]
    } else if (name == "mounts itself") {
        if (disks[run]) disk_words[run, disks[run]] = disk_words[run, disks[run]] "; " words[i]
    } else if (name == "mounted") {
        if (arrival_of[run] && phase[run] != "mount") close_block(arrival_of[run], "the log breaks off")
        if (disks[run] > served[run]) serve_disk()
        else if (!arrival_of[run]) begin_arrival(start_of[run] ? "plugged in before the start" : "")
        fact("present", start_of[run] != 0)
        enter("owner")
    } else if (arrival_of[run]) {
        end_arrival()
    }
}

function happen_to_owner(i, name) {
    if (name == "other") {
        if (arrival_of[run]) turn_away(i)
        return
    }
    step(words[i])
    if (name == "same") {
        fact("owner", "same")
        enter("finder")
    } else if (name == "not asked") {
        add_problem(arrival_of[run], words[i], advice_for[i])
        end_arrival()
    } else if (asked_line[run] == number - 1) {
        asked_line[run] = number    # the answer is still to come
    }
}

function turn_away(i) {
    step(words[i])
    add_problem(arrival_of[run], words[i], advice_for[i])
    fact("owner", "other")
    end_arrival()
}

function happen_to_finder(i, name,  waited) {
    if (name == "missing") {
        if (phase[run] != "finder") enter("finder")
        if (!passes[run]++) step(words[i])
        fact("passes", passes[run])
    } else {
        enter("launch")
        waited = spent[arrival_of[run], "finder"]
        step(words[i] (waited > 1 ? ", after " lasting(waited) : ""))
        fact("finder", waited > 1 ? waited : 1)
        tries[run] = 0
    }
}

function happen_at_launch(i, name) {
    step(filled(words[i]) (name == "no configuration" ? "" : after_tries()))
    if (name == "no configuration") {
        fact("configuration", "none")
        return
    }
    is_launched[run] = name == "done"
    not_launched[run] = name == "done" ? "" : opened(command[run])
    fact("launch", name)
    fact("application", command[run])
    if (name == "failed" && command[run] ~ /^open -a ".*[^"]$/)
        add_problem(arrival_of[run], "the application was not launched, because \"path1\" in the configuration is too long", \
            "Shorten it to 501 characters.")
    else if (name == "failed")
        add_problem(arrival_of[run], "the application was not launched", filled(advice_for[i]))
    enter("setup")
    tries[run] = 0
}

function happen_to_command(i, name) {
    if (name == "try failed" || name == "no process") {
        if (number_in(value[1]) == 0) tries[run] = 0
        if (!tries[run]++) command_began[run] = now
        status[run] = name == "no process" ? "" : number_in(value[2])
        command[run] = name == "no process" ? value[2] : value[4]
        return
    }
    command[run] = value[1]
    fact_of_command(command[run])
    if (phase[run] != "setup" || name != "succeeded") return
    step("setup: " filled(words[i]) after_tries())
    tries[run] = 0
}

function after_tries() {
    return tries[run] ? ", after " plural(tries[run], "failed attempt") ", " lasting(now - command_began[run]) : ""
}

function happen_to_volume(i, name,  n) {
    n = number_in(value[1])
    if (name == "missing") {
        awaited[run] = value[2] ~ /^\(?\(null\)\)?$/ ? "the volume of the disk image" : value[2]
        if (n == 0) step((arrival_of[run] ? "setup: " : "") "waits up to " longest_wait() " for " awaited[run])
        fact_of_volume(awaited[run])
        if (arrival_of[run]) {
            fact("awaited", awaited[run])
        } else {
            fact_at_start("awaited", awaited[run])
            label[run] = awaited[run]
            sub(/.*\//, "", label[run])
        }
    } else {
        if (n > 0) step((arrival_of[run] ? "setup: " : "") filled(words[i]))
        if (!arrival_of[run]) fact_at_start("volume", n)
        else if (n > 0) fact("awaited", "")
        awaited[run] = ""
    }
}

function longest_wait() {
    return arrival_of[run] == 0 ? "5 minutes" : awaited[run] ~ /^\// ? "3 minutes" : "30 seconds"
}

function happen_to_configuration(i, name) {
    if (name != "unreadable") {
        if (value[1] == "name" || value[1] == "Volumes") label[run] = "Pelluria"
        step(filled(words[i]))
    } else if (!arrival_of[run]) {
        label[run] = "Pelluria"
        step(filled(words[i]))
        fact_at_start("configuration", "none")
    }
}

function happen_in_setup(i, name) {
    if (name == "begins") {
        enter("setup")
        tries[run] = 0
        awaited[run] = ""
        is_marked[run] = 0
    } else if (name == "bracket") {
        bracket_line[run] = number
        bracket_message = i
    } else if (name == "ends") {
        is_setup_over[run] = 1
    } else if (name == "image mounted") {
        step("setup: " filled(words[i]))
        fact("mounted", value[1])
    } else {
        is_marked[run] = is_marked[run] || name == "marked"
        setup_note[run] = name == "not pending" ? "no setup pending" : "the setup was run"
        if (name != "done" || !is_marked[run]) step((name == "not pending" ? "" : "setup: ") words[i])
        fact(name == "marked" ? "marked" : "setup", name)
    }
}

function fail_setup(i, name,  text, what_to_do) {
    text = filled(words[i])
    what_to_do = filled(advice_for[i])
    if (bracket_line[run] == number - 1) {
        text = text words[bracket_message]
        what_to_do = advice_for[bracket_message] " " what_to_do
    }
    step("setup: " text)
    if (name == "no folder" && index(not_launched[run], "/Volumes/" value[1] "/")) {
        advice[arrival_of[run]] = ""
        what_to_do = "The application and the folder are on the modem's volume, which was not there: the modem was unplugged, or its disk was not mounted." \
            " Plug it in again."
    }
    add_problem(arrival_of[run], "the setup failed: " text, what_to_do)
    fact("setup", name)
    if (name == "no folder") fact("folder", value[1])
}

# ---- Words with their values

function filled(text,  out, name) {
    if (!is_harmless(opened(command[run])) && sub(/ To see why .*[{]command[}].*/, "", text))
        text = text " Its name has a character that is special to the shell (\" $ ` \\); rename it."
    while (index(text, "{") && match(text, /[{][a-z0-9]+[}]/)) {
        name = substr(text, RSTART + 1, RLENGTH - 2)
        out = out substr(text, 1, RSTART - 1) shortened(named_value(name))
        text = substr(text, RSTART + RLENGTH)
    }
    return out text
}

function named_value(name) {
    if (name == "command") return command[run]
    if (name == "opened") return opened(command[run])
    if (name == "ended") return how_it_ended(status[run])
    if (name == "volume") return awaited[run]
    return value[name]
}

# Advice to run a command must not become dangerous.
function is_harmless(text) { return text !~ /["$`\\]/ }

function shortened(text) { return length(text) > 300 ? substr(text, 1, 200) "..." substr(text, length(text) - 59) : text }

function opened(text) {
    sub(/^open (-a )?"?/, "", text)
    sub(/"$/, "", text)
    return text
}

function how_it_ended(raw_status) {
    if (raw_status == "") return "no process could be started"
    if (raw_status == 127 * 256) return "exit code 127: there is no such command"
    return raw_status % 256 == 0 ? "exit code " raw_status / 256 : "signal " raw_status % 128
}

# ---- Facts, for a form that wants them: known[run, arrival, name], where arrival 0 is the start.

function fact(name, content) {
    if (wants_facts) known[run, arrival_of[run] ? arrivals[run] : 0, name] = content
}

function fact_at_start(name, content) {
    if (wants_facts) known[run, 0, name] = content
}

# A desk has its folder in front of the paths in its log.
function fact_of_volume(path) {
    if (root == "" && index(path, "/Volumes/")) root = substr(path, 1, index(path, "/Volumes/") - 1)
}

function fact_of_command(text,  at) {
    if (!wants_facts) return
    if (phase[run] == "setup" && !((run, arrivals[run], "image") in known)) fact("image", text)
    at = index(text, "/usr/local/DatacardService/cmd.txt")
    if (at && match(text, / > |rm -f /)) root = substr(text, RSTART + RLENGTH, at - RSTART - RLENGTH)
}
