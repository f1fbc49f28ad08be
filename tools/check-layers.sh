#!/bin/sh
# Fails when a source file includes a header of a layer above its own.
#
#   sh tools/check-layers.sh [source-tree]
#
# The layers, lowest first: core < devices < net, power < ui, autotest < app.
# A layer includes its own headers and those of the layers below; layers of
# one rank (net and power, ui and autotest) may include each other. sim/ and
# bench/ may include anything below app; no product code includes sim/. The
# desktop program (sim/desktop/, kx4test-sim) may include everything but tests.
# A test in tests/<layer>/ and the helpers in tests/common/<layer>/ may
# include what that layer may, plus test helpers of their layer and below,
# plus sim/ from devices up. Quoted includes are resolved by file name the
# way the build's include folders resolve them; generated headers belong to
# the folder of their source (kx4version.h to core, ui_x.h to x.ui's folder).
set -eu
root=${1:-$(dirname "$0")/..}
cd "$root"

layers="core devices net power ui autotest app sim"
dirs=""
for d in $layers bench tests; do
    [ -d "$d" ] && dirs="$dirs $d"
done

# Every header (and form) of the tree with the folder it belongs to:
# "<name> <path>".
index=$(mktemp)
trap 'rm -f "$index"' EXIT
# shellcheck disable=SC2086
find $dirs -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.ui' -o -name '*.h.in' \) | while read -r f; do
    name=${f##*/}
    case $name in
    *.ui) name="ui_${name%.ui}.h" ;;
    *.h.in) name=${name%.in} ;;
    esac
    printf '%s %s\n' "$name" "$f"
done >"$index"

# shellcheck disable=SC2086
find $dirs -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.cpp' -o -name '*.c' \) -print0 |
    xargs -0 grep -n -H -E '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' 2>/dev/null |
    awk -v indexFile="$index" '
function rank(layer) {
    if (layer == "core") return 0
    if (layer == "devices") return 1
    if (layer == "net" || layer == "power") return 2
    if (layer == "ui" || layer == "autotest") return 3
    if (layer == "app") return 4
    return -1
}
# Tests of the simulated terminal stand with the devices it serves.
function testRank(layer) {
    if (layer == "sim") return 1
    return rank(layer)
}
# What a file is: "layer" for product code, "sim", "bench", "test:<layer>"
# for tests/<layer>/ and tests/common/<layer>/.
function kind(path,   parts, n) {
    n = split(path, parts, "/")
    if (parts[1] == "tests") {
        if (parts[2] == "common") return "test:" parts[3]
        return "test:" parts[2]
    }
    if (parts[1] == "sim" && parts[2] == "desktop") return "desktop"
    return parts[1]
}
# May a file of kind `from` include a header of kind `to`?
function allowed(from, to,   r, t) {
    if (from == to) return 1
    if (from ~ /^test:/) {
        r = testRank(substr(from, 6))
        if (r < 0) return 0
        if (to ~ /^test:/) return testRank(substr(to, 6)) >= 0 && testRank(substr(to, 6)) <= r
        if (to == "sim") return r >= 1
        t = rank(to)
        return t >= 0 && t <= r
    }
    if (to ~ /^test:/ || to == "bench" || to == "desktop") return 0
    if (from == "desktop") return to == "sim" || rank(to) >= 0
    if (from == "sim" || from == "bench") return to == "sim" || (rank(to) >= 0 && rank(to) < 4)
    if (to == "sim") return 0
    r = rank(from)
    t = rank(to)
    return r >= 0 && t >= 0 && t <= r
}
BEGIN {
    while ((getline line < indexFile) > 0) {
        split(line, f, " ")
        headers[f[1]] = headers[f[1]] " " f[2]
    }
    bad = 0
}
{
    # file:line:#include "name"
    file = $0; sub(/:.*/, "", file)
    rest = substr($0, length(file) + 2)
    lineNo = rest; sub(/:.*/, "", lineNo)
    name = rest; sub(/^[^"]*"/, "", name); sub(/".*/, "", name)
    base = name; sub(/.*\//, "", base)
    if (!(base in headers)) next        # system, Qt or moc output
    from = kind(file)
    dir = file; sub(/\/[^\/]*$/, "", dir)
    n = split(substr(headers[base], 2), candidates, " ")
    ok = 0
    reached = ""
    for (i = 1; i <= n; i++) {
        c = candidates[i]
        cdir = c; sub(/\/[^\/]*$/, "", cdir)
        if (cdir == dir || allowed(from, kind(c))) { ok = 1; break }
        reached = reached (reached == "" ? "" : ", ") c
    }
    if (!ok) {
        printf "%s:%s: includes \"%s\" (%s): %s may not include %s\n", file, lineNo, name, reached, from, kind(candidates[1])
        bad = 1
    }
}
END { exit bad }
' && exit 0
echo "Layering broken: lower layers never include higher ones (core < devices < net, power < ui, autotest < app)." >&2
exit 1
