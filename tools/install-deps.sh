#!/bin/sh
# Installs the Debian packages needed to build and test the program.
# Safe to run again: when everything is present it only checks and returns.
set -eu

PACKAGES="build-essential cmake ninja-build pkg-config
qtbase5-dev qtbase5-private-dev qttools5-dev qttools5-dev-tools
libqt5serialport5-dev libqrencode-dev libbenchmark-dev
bzip2 tar util-linux e2fsprogs iproute2
zbar-tools busybox ifupdown samba-common-bin ppp
clang libclang-rt-14-dev clang-format"

missing=""
for p in $PACKAGES; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing="$missing $p"
    fi
done

[ -z "$missing" ] && exit 0

SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
echo "Installing:$missing"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends $missing
