#!/bin/sh
# Fails when a source file includes a header of a library it does not link.
#
#   sh tools/check-layers.sh [source-tree]
#
# The layer order is stated once, in the CMakeLists.txt link lists
# (target_link_libraries); this script reads it from there. A folder belongs
# to the target its CMakeLists.txt defines (tests/common/<layer> to the helper
# library whose include folder it is). A file may include the headers of its
# own folder and of every library its folder's targets link, directly or
# through others. A test (tests/<layer>/tst_x.cpp) may include what the
# libraries named in its kx4_add_unit_test(... LIBS ...) line reach.
# Quoted includes are resolved by file name the way the build's include
# folders resolve them; generated headers belong to the folder of their
# source (kx4version.h to core, ui_x.h to x.ui's folder). Includes that
# name no header of the tree (system, Qt, moc output) are not checked.
# fuzz/ is a project of its own that compiles the parsers' sources into its
# targets, across the layers like a test harness: it is not checked.
set -eu
root=${1:-$(dirname "$0")/..}
cd "$root"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The link graph: "T <target> <folder>" and "L <target> <linked>" records,
# from every CMakeLists.txt outside build folders. Commands are joined
# across lines up to their closing parenthesis.
find . -name CMakeLists.txt -not -path './build*' -not -path '*/build/*' -not -path './fuzz/*' | sort | while read -r cm; do
    dir=${cm#./}
    dir=${dir%/CMakeLists.txt}
    [ "$dir" = CMakeLists.txt ] && dir=.
    awk -v dir="$dir" '
    function folderOf(args,   n, a, i, sub1) {
        # An include folder below the CMakeLists folder names the target folder.
        n = split(args, a, /[ \t]+/)
        for (i = 1; i <= n; i++) {
            if (index(a[i], "${CMAKE_CURRENT_SOURCE_DIR}/") == 1) {
                sub1 = substr(a[i], length("${CMAKE_CURRENT_SOURCE_DIR}/") + 1)
                if (sub1 !~ /^\.\./) return (dir == "." ? sub1 : dir "/" sub1)
            }
        }
        return ""
    }
    {
        sub(/#.*/, "")
        buf = buf " " $0
        if (depth(buf) > 0) next
        cmd = buf
        buf = ""
        if (!match(cmd, /[A-Za-z0-9_]+[ \t]*\(/)) next
        name = substr(cmd, RSTART, RLENGTH)
        sub(/[ \t]*\($/, "", name)
        args = substr(cmd, RSTART + RLENGTH)
        sub(/\)[ \t]*$/, "", args)
        gsub(/^[ \t]+/, "", args)
        n = split(args, a, /[ \t]+/)
        t = a[1]
        if (t ~ /^\$\{/) t = "<" dir ">"     # a target named by a loop variable
        if (name == "kx4_add_library" || name == "add_library" || name == "add_executable") {
            print "T", t, dir
        } else if (name == "target_include_directories") {
            f = folderOf(args)
            if (f != "") print "I", t, f
        } else if (name == "target_link_libraries") {
            for (i = 2; i <= n; i++)
                if (a[i] !~ /^(PUBLIC|PRIVATE|INTERFACE)$/ && a[i] !~ /::/) print "L", t, a[i]
        } else if (name == "kx4_add_unit_test") {
            # kx4_add_unit_test(<layer>/tst_x.cpp LIBS a b ...): the test file
            # is a target of its own.
            # Other files beside the tests (shared test headers) reach what
            # the tests of their folder link.
            print "T", "test:" a[1], dir "/" a[1]
            folder = a[1]; sub(/\/[^\/]*$/, "", folder)
            print "T", "tests:" folder, dir "/" folder
            for (i = 3; i <= n; i++)
                if (a[i] !~ /::/) {
                    print "L", "test:" a[1], a[i]
                    print "L", "tests:" folder, a[i]
                }
        }
    }
    function depth(s,   o, c) {
        o = gsub(/\(/, "(", s)
        c = gsub(/\)/, ")", s)
        return o - c
    }' "$cm"
done >"$work/graph"

# Every header (and form) of the tree: "<name> <path>".
find . -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.ui' -o -name '*.h.in' \) \
    -not -path './build*' -not -path '*/build/*' -not -path './fuzz/*' -not -path './.git/*' | while read -r f; do
    f=${f#./}
    name=${f##*/}
    case $name in
    *.ui) name="ui_${name%.ui}.h" ;;
    *.h.in) name=${name%.in} ;;
    esac
    printf '%s %s\n' "$name" "$f"
done >"$work/headers"

find . -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.cpp' -o -name '*.c' \) \
    -not -path './build*' -not -path '*/build/*' -not -path './fuzz/*' -not -path './.git/*' -print0 |
    xargs -0 grep -n -H -E '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' 2>/dev/null |
    sed 's|^\./||' >"$work/includes" || true

awk -v graphFile="$work/graph" -v headerFile="$work/headers" '
BEGIN {
    while ((getline line < graphFile) > 0) {
        split(line, f, " ")
        if (f[1] == "T") {
            if (!(f[2] in folderOfTarget)) folderOfTarget[f[2]] = f[3]
        } else if (f[1] == "I") {
            # The include folder of a helper library replaces its CMakeLists folder.
            includeFolder[f[2]] = f[3]
        } else {
            links[f[2]] = links[f[2]] " " f[3]
        }
    }
    for (t in folderOfTarget) {
        d = (t in includeFolder) ? includeFolder[t] : folderOfTarget[t]
        targetsOfFolder[d] = (d in targetsOfFolder) ? targetsOfFolder[d] " " t : t
    }
    while ((getline line < headerFile) > 0) {
        split(line, f, " ")
        headers[f[1]] = headers[f[1]] " " f[2]
    }
    bad = 0
}
# All targets reached from `t` (itself included), as " a b c ".
function reach(t,   seen, queue, qn, i, n, l, k, out) {
    if (t in reachCache) return reachCache[t]
    delete seen
    qn = 1; queue[1] = t; seen[t] = 1
    for (i = 1; i <= qn; i++) {
        n = split(links[queue[i]], l, " ")
        for (k = 1; k <= n; k++)
            if (!(l[k] in seen)) { seen[l[k]] = 1; queue[++qn] = l[k] }
    }
    out = " "
    for (k in seen) out = out k " "
    reachCache[t] = out
    return out
}
# The folder that owns a path: the longest folder prefix that has a target.
function owner(path,   d) {
    d = path
    while (d ~ /\//) {
        sub(/\/[^\/]*$/, "", d)
        if (d in targetsOfFolder) return d
    }
    return ""
}
# What the file may reach: for a registered test, its own LIBS; else the
# targets of its folder.
function reachOf(file,   d, n, ts, i, out) {
    if (("test:" substr(file, 7)) in links && index(file, "tests/") == 1)
        return reach("test:" substr(file, 7))
    d = owner(file)
    if (d == "") return ""
    out = ""
    n = split(targetsOfFolder[d], ts, " ")
    for (i = 1; i <= n; i++) out = out reach(ts[i])
    return out
}
function targetsReach(r, folder,   n, ts, i) {
    n = split(targetsOfFolder[folder], ts, " ")
    for (i = 1; i <= n; i++)
        if (index(r, " " ts[i] " ") > 0) return 1
    return 0
}
{
    # file:line:#include "name"
    file = $0; sub(/:.*/, "", file)
    rest = substr($0, length(file) + 2)
    lineNo = rest; sub(/:.*/, "", lineNo)
    name = rest; sub(/^[^"]*"/, "", name); sub(/".*/, "", name)
    base = name; sub(/.*\//, "", base)
    if (!(base in headers)) next        # system, Qt or moc output
    dir = file; sub(/\/[^\/]*$/, "", dir)
    r = reachOf(file)
    n = split(substr(headers[base], 2), candidates, " ")
    ok = 0
    for (i = 1; i <= n; i++) {
        c = candidates[i]
        cdir = c; sub(/\/[^\/]*$/, "", cdir)
        if (cdir == dir) { ok = 1; break }
        o = owner(c)
        if (o != "" && r != "" && targetsReach(r, o)) { ok = 1; break }
    }
    if (!ok) {
        from = owner(file)
        to = owner(candidates[1])
        printf "%s:%s: includes \"%s\" (%s): %s does not link %s\n", file, lineNo, name, candidates[1],
               (from == "" ? dir : from), (to == "" ? "its folder" : to)
        bad = 1
    }
}
END { exit bad }
' "$work/includes" && exit 0
echo "Layering broken: a file includes a header of a library its target does not link (see the CMakeLists.txt link lists)." >&2
exit 1
