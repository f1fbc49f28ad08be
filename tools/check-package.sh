#!/bin/sh
# Checks the Debian packages that `cpack -G DEB` made:
#   sh tools/check-package.sh [package.deb ...]
# (default: every .deb in build/ and build-armhf/). For each package: its
# control fields, the files it holds (the list below, nothing more or less),
# the programs' architecture, lintian's findings (errors fail, unless the
# package's own lintian overrides explain them), and an install into a
# scratch root with dpkg --root: the files where the README says, the unit
# enabled, then a purge that leaves nothing behind.
set -eu
cd "$(dirname "$0")/.."

if [ "$#" -eq 0 ]; then
    for deb in build/*.deb build-armhf/*.deb; do
        [ -f "$deb" ] && set -- "$@" "$deb"
    done
fi
[ "$#" -gt 0 ] || { echo "check-package: no .deb given or found (cpack -G DEB in a build folder makes them)" >&2; exit 2; }

for p in lintian file; do
    command -v "$p" >/dev/null 2>&1 || { echo "check-package: needs $p (apt-get install $p)" >&2; exit 2; }
done

failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

expected_files() {
    case "$1" in
    kx4test)
        cat <<'LIST'
./lib/systemd/system/kx4test.service
./opt/kx4test/
./opt/kx4test/Log/
./opt/kx4test/Plugins/
./opt/kx4test/Settings/
./opt/kx4test/kx4test
./opt/kx4test/kx4test-start
./usr/share/doc/kx4test/changelog.gz
./usr/share/doc/kx4test/copyright
./usr/share/lintian/overrides/kx4test
LIST
        ;;
    kx4test-sim)
        cat <<'LIST'
./opt/kx4test-sim/
./opt/kx4test-sim/kx4test-sim
./opt/kx4test-sim/standins/
./usr/bin/kx4test-sim
./usr/share/doc/kx4test-sim/changelog.gz
./usr/share/doc/kx4test-sim/copyright
./usr/share/lintian/overrides/kx4test-sim
LIST
        ;;
    esac
}

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

for deb in "$@"; do
    echo "== $deb"
    name=$(dpkg-deb -f "$deb" Package)
    arch=$(dpkg-deb -f "$deb" Architecture)
    echo "package $name, architecture $arch, version $(dpkg-deb -f "$deb" Version)"
    dpkg-deb -f "$deb" Depends

    # Contents: the listed files, the stand-ins' folder taken as a whole.
    dpkg-deb -c "$deb" | awk '{ print $NF }' |
        grep -v '^\./opt/kx4test-sim/standins/.' | grep -v '^\./$' |
        grep -v -x -e './opt/' -e './lib/' -e './lib/systemd/' -e './lib/systemd/system/' -e './usr/' \
            -e './usr/bin/' -e './usr/share/' -e './usr/share/doc/' -e "./usr/share/doc/$name/" \
            -e './usr/share/lintian/' -e './usr/share/lintian/overrides/' |
        sort >"$tmp/contents"
    expected_files "$name" | sort >"$tmp/expected"
    if ! diff -u "$tmp/expected" "$tmp/contents"; then
        fail "$name: contents differ from the list (- expected, + in the package)"
    fi

    # The programs are built for the package's architecture.
    rm -rf "$tmp/x" && mkdir "$tmp/x" && dpkg-deb -x "$deb" "$tmp/x"
    case "$arch" in
    armhf) want="ARM, EABI5" ;;
    amd64) want="x86-64" ;;
    *) want="$arch" ;;
    esac
    prog="$tmp/x/opt/$name/$name"
    desc=$(file -b "$prog")
    echo "$name: $desc"
    case "$desc" in
    *"$want"*) ;;
    *) fail "$name: /opt/$name/$name is not a $want program" ;;
    esac

    # lintian: every finding shown, errors fail unless overridden (the
    # overrides file in the package says why each is as it is).
    lintian --display-info --fail-on error "$deb" >"$tmp/lintian" 2>&1 || true
    cat "$tmp/lintian"
    if grep -q '^E: ' "$tmp/lintian"; then
        fail "$name: lintian errors"
    fi

    # An install into a scratch root. Its maintainer scripts run on this
    # machine with DPKG_ROOT set (the root holds no shell of its own, and
    # an armhf one could not run here); the libraries it depends on are not
    # in the root, hence --force-depends.
    root="$tmp/root-$name"
    mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/var/log"
    touch "$root/var/lib/dpkg/status"
    force="--force-architecture --force-depends --force-script-chrootless --force-not-root"
    # shellcheck disable=SC2086
    if ! dpkg --root="$root" $force -i "$deb" >"$tmp/dpkg" 2>&1; then
        cat "$tmp/dpkg"
        fail "$name: dpkg --root install failed"
        continue
    fi
    case "$name" in
    kx4test)
        for f in opt/kx4test/kx4test opt/kx4test/kx4test-start; do
            [ -x "$root/$f" ] || fail "$name: /$f not installed as a program"
        done
        for d in Settings Log Plugins; do
            [ -d "$root/opt/kx4test/$d" ] || fail "$name: /opt/kx4test/$d missing"
        done
        [ -f "$root/lib/systemd/system/kx4test.service" ] || fail "$name: unit not installed"
        # The unit's directives as this machine's systemd reads them (its
        # start script taken from the scratch root).
        if command -v systemd-analyze >/dev/null 2>&1; then
            sed "s|^ExecStart=/|ExecStart=$root/|; s|^WorkingDirectory=/|WorkingDirectory=$root/|" \
                "$root/lib/systemd/system/kx4test.service" >"$tmp/kx4test.service"
            if ! (cd "$tmp" && systemd-analyze verify ./kx4test.service); then
                fail "$name: systemd-analyze verify finds fault with the unit"
            fi
        fi
        link="$root/etc/systemd/system/multi-user.target.wants/kx4test.service"
        if [ -L "$link" ]; then
            echo "enabled: /etc/systemd/system/multi-user.target.wants/kx4test.service -> $(readlink "$link")"
        else
            fail "$name: kx4test.service not enabled after install"
        fi
        # The program writes its settings and logs beside itself.
        echo "x" >"$root/opt/kx4test/Log/kx4test.log"
        ;;
    kx4test-sim)
        [ -x "$root/usr/bin/kx4test-sim" ] || fail "$name: /usr/bin/kx4test-sim missing"
        [ -f "$root/opt/kx4test-sim/standins/standin.sh" ] || fail "$name: stand-ins missing"
        ;;
    esac
    # shellcheck disable=SC2086
    if ! dpkg --root="$root" $force --purge "$name" >"$tmp/dpkg" 2>&1; then
        cat "$tmp/dpkg"
        fail "$name: purge failed"
    fi
    # Nothing but empty folders (and dpkg's own records) may stay.
    left=$(cd "$root" && find . -path ./var -prune -o ! -type d -print)
    [ -z "$left" ] || fail "$name: left after purge: $left"
    [ -e "$root/opt/$name" ] && fail "$name: /opt/$name left after purge"
    if [ -e "$root/etc/systemd/system/multi-user.target.wants/kx4test.service" ]; then
        fail "$name: still enabled after purge"
    fi
    echo "installed into a scratch root and purged"
done

if [ "$failures" -gt 0 ]; then
    echo "check-package: $failures failure(s)"
    exit 1
fi
echo "check-package: all packages ok"
