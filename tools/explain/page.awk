# page.awk: makes a page of json.awk's output, from the template report.html, in which the data replaces the line "DATA".
# The names of home folders are left out, so that the page can be shown to others.

BEGIN {
    wants_log = hides_homes = 1
    template = ENVIRON["zerbin_files"] "/report.html"
    while ((getline line < template) > 0 && line != "DATA") separator = separator line "\n"
    separator = separator "["
    later_separator = ","
}

END {
    print (separator == later_separator ? "" : separator) "]"
    while ((getline line < template) > 0) print line
}
