# Turns a header's plain comments into those that doxygen reads, line for line:
#   a comment right above a declaration, or behind one on its line, describes it; when it ends with a colon,
#   it describes each declaration up to the next blank line or comment;
#   the first comment at the margin that stands alone describes the file; others that stand alone are left out.
# Nothing in our comments is a command of doxygen's, so what could be one is escaped.

function escaped(text) {
    gsub(/[\\@<>#&$%]/, "\\\\&", text)
    return text
}

# Prints the comment that has been read, with mark before each of its lines; left out without a mark.
function print_comment(mark, i) {
    for (i = 0; i < count; ++i)
        print (mark == "") ? "" : indent mark escaped(comment[i])
    count = 0
}

# Blank lines are held back by one, so that the line added for the file takes the place of one.
function print_blank() {
    if (blank)
        print ""
    blank = 0
}

/^ *\/\// {
    place = index($0, "//")
    indent = substr($0, 1, place - 1)
    comment[count++] = substr($0, place + 2)
    run = ""
    next
}

/^$/ {
    if (count > 0 && indent == "" && !described) {
        print "/// @file"
        described = 1
        blank = 0
        print_comment("///")
    }
    print_blank()
    print_comment("")
    blank = 1
    run = ""
    begins = 1
    next
}

{
    print_blank()
    if (count > 0 && comment[count - 1] ~ /:$/) {
        run = ""
        for (i = 0; i < count; ++i)
            run = run escaped(comment[i])
        sub(/:$/, ".", run)
        begins = 1
        print_comment("")
    }
    print_comment("///")
    line = $0
    if (run != "" && begins && line !~ /^ *(}|public:|protected:|private:)/)
        line = "/**" run " */ " line
    place = match(line, /[;,a-zA-Z0-9] *\/\/ /)
    if (place > 0 && line !~ /^ *[}#]/) {
        place = index(line, "// ")
        line = substr(line, 1, place - 1) "///<" escaped(substr(line, place + 2))
    }
    print line
    begins = (line ~ /[;}] *$/)
}

END {
    if (!described)
        print "/// @file"
}
