#!/bin/sh
# The layering check on small made-up trees: it reads the order from their
# link lists, passes a clean tree and names each include of a library that is
# not linked.
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

# The link lists: core < devices < power < net < ui; sim beside power; app on top.
put core/CMakeLists.txt 'kx4_add_library(kx4core)' 'target_link_libraries(kx4core PUBLIC Qt5::Core)'
put devices/CMakeLists.txt 'kx4_add_library(kx4devices)' 'add_subdirectory(drivers)' \
    'target_link_libraries(kx4devices PUBLIC kx4drivers' '    kx4core Qt5::Core)'
put devices/drivers/CMakeLists.txt 'add_library(kx4drivers INTERFACE)' \
    'target_include_directories(kx4drivers INTERFACE ${CMAKE_CURRENT_SOURCE_DIR}/..)'
put power/CMakeLists.txt 'kx4_add_library(kx4power)' 'target_link_libraries(kx4power PUBLIC kx4devices kx4core)'
put net/CMakeLists.txt 'kx4_add_library(kx4net)  # after power' 'target_link_libraries(kx4net PUBLIC kx4power)'
put ui/CMakeLists.txt 'kx4_add_library(kx4ui)' 'target_link_libraries(kx4ui PUBLIC kx4net Qt5::Widgets)'
put sim/CMakeLists.txt 'kx4_add_library(kx4sim)' 'target_link_libraries(kx4sim PUBLIC kx4devices kx4core)'
put sim/desktop/CMakeLists.txt 'add_executable(kx4test-sim simmain.cpp)' \
    'target_link_libraries(kx4test-sim PRIVATE kx4startup kx4sim)'
put app/CMakeLists.txt 'add_library(kx4startup STATIC main.cpp)' \
    'target_include_directories(kx4startup PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})' \
    'target_link_libraries(kx4startup PUBLIC kx4ui)'
put tests/CMakeLists.txt 'add_library(kx4testcore STATIC ${_common_core})' \
    'target_include_directories(kx4testcore PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/common/core)' \
    'target_link_libraries(kx4testcore PUBLIC kx4core Qt5::Test)' \
    'kx4_add_unit_test(core/tst_log.cpp LIBS kx4testcore)' \
    'kx4_add_unit_test(devices/tst_reader.cpp LIBS kx4sim kx4devices kx4testcore)'

put core/kx4version.h.in '#pragma once'
put core/log.h '#pragma once'
put core/log.cpp '#include "log.h"' '#include "kx4version.h"' '#include <QString>'
put devices/drivers/reader.h '#pragma once'
put devices/reader.h '#pragma once' '#include "log.h"' '#include "drivers/reader.h"'
put devices/reader.cpp '#include "reader.h"' '#include "reader.moc"'
put power/ups.h '#pragma once' '#include "reader.h"'
put net/modem.cpp '#include "ups.h"' '#include "reader.h"'
put ui/form.ui '<ui/>'
put ui/form.cpp '#include "ui_form.h"' '#include "modem.h"' '#include "ups.h"'
put sim/simreader.cpp '#include "reader.h"' '#include "drivers/reader.h"'
put sim/simreader.h '#pragma once'
put app/main.cpp '#include "ui_form.h"'
put app/main.h '#pragma once'
put sim/desktop/simmain.cpp '#include "simreader.h"' '#include "ui_form.h"' '#include "main.h"'
put net/modem.h '#pragma once'
put tests/common/core/testroot.h '#pragma once' '#include "log.h"'
put tests/core/tst_log.cpp '#include "log.h"' '#include "testroot.h"'
put tests/devices/helper.h '#pragma once' '#include "simreader.h"'
put tests/devices/tst_reader.cpp '#include "reader.h"' '#include "simreader.h"' '#include "testroot.h"' '#include "helper.h"'
expect pass "a clean tree"

put core/log.cpp '#include "log.h"' '#include "reader.h"'
expect fail "core including devices" 'core/log.cpp:2: includes "reader.h" (devices/reader.h): core does not link devices'
put core/log.cpp '#include "log.h"'

put devices/reader.cpp '#include "reader.h"' '  #  include "sub/../ui_form.h"'
expect fail "devices including a generated form header, spaced, with a folder" 'devices/reader.cpp:2'
put devices/reader.cpp '#include "reader.h"'

put power/ups.h '#pragma once' '#include "modem.h"'
expect fail "power including net, linked the other way" 'power does not link net'
put power/ups.h '#pragma once'

put net/CMakeLists.txt 'kx4_add_library(kx4net)' 'target_link_libraries(kx4net PUBLIC kx4devices)'
expect fail "net no longer linking power" 'net/modem.cpp:1: includes "ups.h"'
put net/CMakeLists.txt 'kx4_add_library(kx4net)' 'target_link_libraries(kx4net PUBLIC kx4power)'

put devices/reader.h '#pragma once' '#include "testroot.h"'
expect fail "product code including a test helper" 'devices does not link tests/common/core'
put devices/reader.h '#pragma once'

put tests/core/tst_log.cpp '#include "log.h"' '#include "simreader.h"'
expect fail "a core test including the simulated terminal it does not link" 'tests/core/tst_log.cpp:2'
put tests/core/tst_log.cpp '#include "log.h"'

put tests/devices/helper.h '#pragma once' '#include "ups.h"'
expect fail "a helper header beside the tests reaching above their links" 'tests/devices/helper.h:2'
put tests/devices/helper.h '#pragma once'

put sim/simreader.cpp '#include "reader.h"' '#include "main.h"'
expect fail "sim including app" 'sim does not link app'
put sim/simreader.cpp '#include "reader.h"'

put app/main.cpp '#include "ui_form.h"' '#include "simreader.h"'
expect fail "the terminal's program including the simulated terminal" 'app does not link sim'

[ "$failures" -eq 0 ]
