#!/bin/sh
# The layering check on small made-up trees: it passes a clean one and names
# each upward include planted in it.
#
#   sh tests/tools/tst_check_layers.sh tools/check-layers.sh
set -eu
check=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
failures=0

put() { # put FILE LINE...
    mkdir -p "$tree/$(dirname "$1")"
    file=$1
    shift
    printf '%s\n' "$@" >"$tree/$file"
}

expect() { # expect pass|fail WHAT [TEXT]
    if out=$(sh "$check" "$tree" 2>&1); then rc=pass; else rc=fail; fi
    if [ "$rc" != "$1" ] || { [ -n "${3:-}" ] && ! printf '%s' "$out" | grep -qF -- "$3"; }; then
        echo "FAIL: $2: expected $1${3:+ naming '$3'}, got $rc:"
        printf '%s\n' "$out"
        failures=$((failures + 1))
    else
        echo "PASS: $2"
    fi
}

put core/kx4version.h.in '#pragma once'
put core/log.h '#pragma once'
put core/log.cpp '#include "log.h"' '#include "kx4version.h"' '#include <QString>'
put devices/reader.h '#pragma once' '#include "log.h"'
put devices/reader.cpp '#include "reader.h"' '#include "reader.moc"'
put net/modem.h '#pragma once'
put power/ups.cpp '#include "modem.h"' '#include "reader.h"'
put ui/form.ui '<ui/>'
put ui/form.cpp '#include "ui_form.h"' '#include "ups.h"'
put autotest/autotest.cpp '#include "ui_form.h"'
put sim/simreader.cpp '#include "reader.h"' '#include "ui_form.h"'
put app/main.cpp '#include "ui_form.h"'
put sim/desktop/simmain.cpp '#include "simreader.h"' '#include "ui_form.h"' '#include "main.h"'
put app/main.h '#pragma once'
put sim/simreader.h '#pragma once'
put tests/common/core/testroot.h '#pragma once'
put tests/core/tst_log.cpp '#include "log.h"' '#include "testroot.h"'
put tests/devices/tst_reader.cpp '#include "reader.h"' '#include "simreader.h"' '#include "testroot.h"'
put bench/bench_log.cpp '#include "log.h"' '#include "reader.h"'
expect pass "a clean tree"

put core/log.cpp '#include "log.h"' '#include "reader.h"'
expect fail "core including devices" 'core/log.cpp:2: includes "reader.h"'
put core/log.cpp '#include "log.h"'

put devices/reader.cpp '#include "reader.h"' '  #  include "sub/../ui_form.h"'
expect fail "devices including a generated form header, spaced, with a folder" 'devices/reader.cpp:2'
put devices/reader.cpp '#include "reader.h"'

put net/modem.h '#pragma once' '#include "ups.h"'
expect pass "net including power, its own rank"
put core/log.h '#pragma once' '#include "main.cpp"' '#include "simreader.h"'
expect fail "core including sim" 'core may not include sim'
put core/log.h '#pragma once'

put devices/reader.h '#pragma once' '#include "testroot.h"'
expect fail "product code including a test helper" 'devices may not include test:core'
put devices/reader.h '#pragma once'

put tests/core/tst_log.cpp '#include "log.h"' '#include "simreader.h"'
expect fail "a core test including the simulated terminal" 'test:core may not include sim'
put tests/core/tst_log.cpp '#include "log.h"' '#include "reader.h"'
expect fail "a core test including devices" 'tests/core/tst_log.cpp:2'
put tests/core/tst_log.cpp '#include "log.h"'

put sim/simreader.cpp '#include "reader.h"' '#include "main.h"'
expect fail "sim including app" 'sim may not include app'
put sim/simreader.cpp '#include "reader.h"'

put app/main.cpp '#include "ui_form.h"' '#include "simreader.h"'
expect fail "the terminal's program including the simulated terminal" 'app may not include sim'

[ "$failures" -eq 0 ]
