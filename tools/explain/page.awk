# page.awk: makes a page of what json.awk tells, from the template report.html: the line "DATA" in it makes way for the
# data. The names of home folders are left out, so that the page can be shown to others.

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
