# scenario.awk: makes a scenario that replays the log on a desk, from the facts known[run, arrival, name]; arrival 0 is the
# start. A scenario changes the desk's state step by step, so that state is tracked here, too.
#
# The names in it come from the log, and the daemon on the desk puts them into shell commands. So everything that the shell
# would act on, or that leads out of the desk, is replaced in names.

BEGIN { wants_facts = 1 }

function tell_block(b) { }

function tell_end(  r) {
    print "# " plural(runs, "run") " of the daemon, made by zerbin-explain --scenario. What the log does not show is as on" \
        " a new desk."
    print "new"
    split("SD_THIRD_SETUP SD_THIRD_FILE_PATH SD_THIRD_FILE_NAME SD_RUN_THIRD_FILE_ONCE", setup_key, " ")
    split("Yes Pelluria ThirdPartySetup.dmg Yes", new_value, " ")
    split("Yes Pelluria ThirdPartySetup.dmg Yes", set, " ")
    config["name"] = modem_label = "Pelluria"
    config["path1"] = "/Volumes/Pelluria/Pelluria.app/"
    config["disable_cdrom"] = "true"
    is_there["desk/modem/volume/Pelluria.app"] = is_there["desk/modem/volume/ThirdPartySetup.dmg"] = 1
    user = "mika"
    finder = "on"
    port_is = "off"
    for (r = 1; r <= runs; r++) replay_run(r)
}

# ---- Names from the log

# A name of the desk: without the desk's folder in front, and harmless.
function name_on_desk(text,  safe, part, parts, i) {
    if (root != "" && index(text, root) == 1) text = substr(text, length(root) + 1)
    safe = text
    gsub(/["$`\\\n]/, "_", safe)
    parts = split(safe, part, "/")
    safe = ""
    for (i = 1; i <= parts; i++)
        safe = safe (i > 1 ? "/" : "") (part[i] == ".." ? "__" : part[i] == "." ? "_" : part[i])
    if (safe != text && !(text in told_name))
        print "# Characters of this name have been replaced by _ below: " clean(text)
    told_name[text] = 1
    return clean(safe)
}

function quoted(text) { return "\"" text "\"" }

function below_volumes(text) { return index(text, "/Volumes/") == 1 ? substr(text, 10) : "" }

# "ThirdPartySetup.dmg" -> "Third Party Setup", the volume that the image mounts.
function volume_of(image,  i, c, out) {
    if (image ~ /.\./) sub(/\.[^.]*$/, "", image)
    for (i = 1; i <= length(image); i++) {
        c = substr(image, i, 1)
        out = out (i > 1 && c ~ /[A-Z]/ && substr(image, i - 1, 1) != " " ? " " : "") c
    }
    return out
}

# ---- A run of the daemon

function replay_run(r,  a, probe, late, is_present, awaited_name) {
    if (known[r, 0, "configuration"] == "none") unconfigure()
    else if (known[r, 0, "hidden"] != "") configure("disable_cdrom", known[r, 0, "hidden"] ? "true" : "false")
    awaited_name = below_volumes(name_on_desk("" known[r, 0, "awaited"]))
    if (awaited_name != "") modem_label = awaited_name
    if (modem_label != "Pelluria") configure("name", modem_label)
    probe = known[r, 0, "port"]
    late = known[r, 0, "volume"] + 0
    is_present = known[r, 1, "present"]
    port_is = turn("port", port_is, probe == 1 ? "on" : "off")
    user = turn("login", user, "mika")
    if (is_present) prepare(r, 1)
    if (is_plugged && (!is_present || late > 0)) unplug()
    if (is_present && !is_plugged && late == 0 && probe == 1) plug()
    print "start"
    if (probe > 1) {    # a line can be read once the next one comes, so one less than there have been
        if (probe > 2) print "until log " looks_seen + probe - 2 " \"wait to again to find comm port\""
        else print "until log " r " \"begin to run SDProgram at\""
        looks_seen += probe - 1
        port_is = turn("port", port_is, "on")
    }
    if (late > 300) late = 300    # longer it does not wait
    if (late > 0) print "wait " late - 1
    if (is_present && !is_plugged) plug()
    if (known[r, 0, "volume"] == "never") print "until log \"can't find /Volumes/Pelluria\" within 320"
    else if (awaited_name != "" && !is_present) print "until log \" 0 time, open (\""
    if (is_present) replay_arrival(r, 1)
    if (known[r, 0, "ready"] || arrivals[r] && !is_present) {
        print "until ready within 30"
        if (probe == "") looks_seen += 10
    }
    for (a = is_present ? 2 : 1; a <= arrivals[r]; a++) {
        prepare(r, a)
        if (is_plugged) unplug()
        plug()
        replay_arrival(r, a)
    }
    print "stop"
}

# Prints the step that makes a state the wanted one, if it is another. Returns the wanted state.
function turn(what, state, wanted) {
    if (state != wanted) print what " " wanted
    return wanted
}

function configure(key, content) {
    if (config[key] != content) print "config " key "=" quoted(content)
    config[key] = content
}

function unconfigure(  key) {
    if ("name" in config) print "config none"
    for (key in config) delete config[key]
}

function plug() {
    print "plug" (modem_label != "Pelluria" ? " --label " quoted(modem_label) : "") (is_refused ? " --refuse" : "")
    is_plugged = 1
}

function unplug() {
    print "unplug"
    is_plugged = 0
}

# ---- What must be prepared before an arrival

function prepare(r, a,  path, result, folder) {
    user = turn("login", user, known[r, a, "owner"] == "other" ? "other" : "mika")
    if (known[r, a, "passes"] || known[r, a, "finder"] > 1) finder = turn("finder", finder, "off")
    if (known[r, a, "configuration"] == "none") unconfigure()
    path = "" known[r, a, "application"]
    if (path ~ /^open -a "/) prepare_application(name_on_desk(opened(path)), known[r, a, "launch"] == "done")
    result = "" known[r, a, "setup"]
    folder = "" known[r, a, "folder"]
    path = "" known[r, a, "awaited"]
    if (result == "" && path ~ /^\//) {    # it still waits for its folder
        result = "no folder"
        folder = below_volumes(name_on_desk(path))
    }
    folder = name_on_desk(folder)
    is_refused = result == "no folder" && folder == modem_label
    path = opened("" known[r, a, "image"])
    prepare_setup(result, folder, path, known[r, a, "marked"] != "")
    prepare_volumes(path, "" known[r, a, "mounted"])
}

function prepare_application(path, is_wanted,  place) {
    configure("path1", path)
    place = path
    if (index(path, "/Volumes/" modem_label "/") == 1)
        place = "/desk/modem/volume/" substr(path, length("/Volumes/" modem_label "/") + 1)
    sub(/\/$/, "", place)
    if (place ~ /^\/./) provide(substr(place, 2), "folder " quoted(substr(place, 2)), is_wanted)
}

# Makes or removes a folder or an image, as wanted.
function provide(path, how, is_wanted) {
    if (is_wanted && !(path in is_there)) print how
    if (!is_wanted && path in is_there) print "remove " quoted(path)
    if (is_wanted) is_there[path] = 1
    else delete is_there[path]
}

function prepare_setup(result, folder, image, is_marked_then,  name) {
    if (result == "no section") print "# The setup file had no section. A desk can only have no file instead:"
    if (result ~ /^no (file|section)$/) {
        set_keys(1, 0)
    } else if (result == "not pending") {
        if (tolower(set[1]) == "yes") set_key(1, "No")
    } else if (result == "no SD_THIRD_SETUP") {
        set_keys(2, 2)
    } else if (result == "no SD_THIRD_FILE_PATH") {
        set_keys(1, 1)
    } else if (result == "no SD_THIRD_FILE_NAME") {
        set_keys(1, 2)
    } else if (result == "no folder") {
        set_key(1, "Yes")
        set_key(2, folder)
    } else if (image != "") {
        image = below_volumes(name_on_desk(image))
        name = image
        sub(/.*\//, "", name)
        set_key(1, "Yes")
        set_key(2, substr(image, 1, length(image) - length(name) - 1))
        set_key(3, name)
        if (result == "no SD_RUN_THIRD_FILE_ONCE") set_keys(1, 3)
        else set_key(4, result == "done" && !is_marked_then ? "No" : "Yes")
        prepare_image(image, name, result)
    }
}

# An image is a folder with a folder `volume` in it, which has the package. It may be on the modem or elsewhere.
function prepare_image(image, name, result,  path, package) {
    path = "Volumes/" image
    if (index(image, modem_label "/") == 1) path = "desk/modem/volume/" substr(image, length(modem_label) + 2)
    if (name ~ /.\./) sub(/\.[^.]*$/, "", name)
    package = path "/volume/" name ".pkg"
    provide(path, "folder " quoted(package), result != "no image")
    if (result == "no volume") print "remove " quoted(path "/volume")
    if (result == "no package") print "remove " quoted(package)
    if (result ~ /^no (image|volume|package)$/) delete is_there[path]
}

# If an image was mounted as "NAME 2", NAME and "NAME 1" were taken: other disks have those names.
function prepare_volumes(image, mounted,  name, wanted) {
    if (mounted == "") return
    sub(/.*\//, "", image)
    name = name_on_desk(volume_of(image))
    mounted = below_volumes(name_on_desk(mounted))
    wanted = index(mounted, name " ") == 1 ? number_in(substr(mounted, length(name) + 2)) : 0
    if (wanted != takers[name] + 0 && is_plugged) unplug()
    if (wanted > 99) wanted = 99
    for (; takers[name] < wanted; takers[name]++) print "plug --label " quoted(name)
    for (; takers[name] > wanted; takers[name]--) print "unplug --label " quoted(name)
}

# Sets key i to `content`; set[] is what the setup file says now.
function set_key(i, content) {
    if (set[i] != content) print "setup " setup_key[i] "=" quoted(content)
    set[i] = content
}

# Makes a new file, with only the keys from `first` to `last`.
function set_keys(first, last,  i, content) {
    print "setup none"
    for (i = 1; i <= 4; i++) {
        content = set[i] == "" || i == 1 ? new_value[i] : set[i]
        set[i] = ""
        if (i >= first && i <= last) set_key(i, content)
    }
}

# ---- How the arrival ended. The log is cumulative, so the steps count.

function replay_arrival(r, a,  result) {
    asked++
    if (known[r, a, "owner"] == "other") {
        print "until log " asked " \"DiskMountCallback --- ps aux\""
        print "wait 1"
        print "expect " (opened_so_far ? "opened " opened_so_far : "no opened") " open"
        return
    }
    same_seen += known[r, a, "owner"] == "same"
    if (!known[r, a, "passes"] && known[r, a, "finder"] > 1) {
        print "until log " same_seen " \"actvie == pname\""
        print "wait " known[r, a, "finder"] - 1
        finder = turn("finder", finder, "on")
    }
    if (known[r, a, "passes"]) {
        passes_seen += known[r, a, "passes"]
        print "until log " passes_seen " \"RunShellProgram cmdBuff 1 failed\" within " 20 * known[r, a, "passes"] + 20
        if (known[r, a, "finder"]) finder = turn("finder", finder, "on")
    }
    if (known[r, a, "launch"] == "done") {
        print "until opened " ++launches " \"open -a\" within 60"
        opened_so_far++
    } else if (known[r, a, "launch"] != "") {
        print "until log " ++failures " \"RunShellProgram failed, can't run Pelluria Program\" within 60"
    }
    if (known[r, a, "ended"]) print "until log " ++endings " \"DiskMountApproval exit\" within 400"
    else if (known[r, a, "awaited"] != "") print "wait 5"
    else if (known[r, a, "launch"] == "") print "until log " asked " \"DiskMountCallback --- DiskMountCallback Enter\""
    result = known[r, a, "setup"]
    if (result ~ /^(done|no SD_RUN_THIRD_FILE_ONCE|no package|no volume)$/) opened_so_far++
    if (result ~ /^(done|no SD_RUN_THIRD_FILE_ONCE)$/) {
        opened_so_far++
        print "expect opened " ++packages " .pkg"
    }
    if (known[r, a, "marked"] == "") return
    set[1] = "No"
    print "expect setup SD_THIRD_SETUP=No"
}
