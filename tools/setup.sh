#!/bin/sh
# The Debian packages that modemctl's commands need, all in this one list: setup.sh GROUP... installs those of the groups
# that are missing (which needs root), setup.sh -n GROUP... only says which. Exit status 1 when some are still missing.
set -eu

cd "$(dirname "$0")/.."

packages_of() {
    case $1 in
    build) echo g++ cmake ninja-build pkg-config libjson-c-dev busybox python3 mobile-broadband-provider-info ;;
    test)
        echo libgtest-dev valgrind gammu smstools procps binutils git openssl libgnutls-openssl27 shellcheck man-db
        ;;
    targets)
        echo dpkg-dev qemu-user-static libgtest-dev g++-mips-linux-gnu
        command -v npm >/dev/null || echo npm
        ;;
    fleet) ;;
    page) command -v node >/dev/null || echo nodejs ;;
    browser)
        command -v chromium >/dev/null || echo chromium
        command -v node >/dev/null || echo nodejs
        command -v npm >/dev/null || echo npm
        ;;
    kernel) echo qemu-system-x86 python3 ppp libmbim-utils libqmi-utils gammu smstools ;;
    lint) echo git clang-format clang-tidy ;;
    fuzz) echo clang libclang-rt-14-dev ;;
    *) echo "setup.sh: \"$1\" is no group of packages" >&2 && exit 64 ;;
    esac
}

# Programs whose packages would start a service on this machine, or replace its mail server: the tests only unpack them.
# One attempt is made; without the program its test is skipped.
fetch_programs() {
    folder=build/$1
    shift
    [ ! -d "$folder" ] || return 0
    mkdir -p "$folder"
    (cd "$folder" && apt-get -qq download "$@" >download.log 2>&1 && for package in *.deb; do dpkg-deb -x "$package" . && rm "$package"; done) ||
        echo "These cannot be fetched, and their test will be skipped: $*"
}

only_say=
[ "$1" != -n ] || { only_say=yes && shift; }

# The modules that drive the browser, in the versions of tests/web/package-lock.json.
fetch_modules() {
    cmp -s tests/web/package-lock.json build/web/package-lock.json && [ -d build/web/node_modules ] && return 0
    mkdir -p build/web
    cp tests/web/package.json build/web/
    (cd build/web && cp ../../tests/web/package-lock.json . && npm ci --no-audit --no-fund >npm.log 2>&1) ||
        { rm -f build/web/package-lock.json && echo "The modules of the browser tests cannot be fetched (build/web/npm.log)" && return 1; }
}

missing=
for group in "$@"; do
    for package in $(packages_of "$group"); do
        case " $missing " in *" $package "*) continue ;; esac
        dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing="$missing $package"
    done
done

if [ -n "$missing" ]; then
    if [ -n "$only_say" ]; then
        echo "Missing packages:$missing. Install them with: make setup" >&2
        exit 1
    fi
    if [ "$(id -u)" -ne 0 ]; then
        echo "Some packages are missing, and only root can install them. Please run:" >&2
        echo "    sudo apt-get install$missing" >&2
        exit 1
    fi
    echo "Installing:$missing"
    export DEBIAN_FRONTEND=noninteractive
    log=$(mktemp)
    trap 'rm -f "$log"' EXIT
    # If no mirror answers, the lists may be a little old; what counts is whether the packages install.
    apt-get -qq -o Acquire::Retries=0 -o Acquire::http::Timeout=20 update >"$log" 2>&1 || true
    # shellcheck disable=SC2086 # one word per package
    apt-get -qq -o Acquire::Retries=1 install -y --no-install-recommends $missing >>"$log" 2>&1 || {
        tail -n 5 "$log" >&2
        echo "These packages cannot be fetched:$missing. Is there a network, and a Debian mirror that has them?" >&2
        exit 1
    }
    # Its package starts the SMS daemon, which would take the machine's first serial port. The tests start it themselves.
    case " $missing " in
    *" smstools "*)
        invoke-rc.d smstools stop >/dev/null 2>&1 || true
        update-rc.d smstools disable >/dev/null 2>&1 || true
        ;;
    esac
fi

[ -z "$only_say" ] || exit 0
for group in "$@"; do
    case $group in
    test) fetch_programs mail-client ssmtp ;;
    fleet)
        fetch_programs prometheus prometheus prometheus-node-exporter
        fetch_programs agents mosquitto mosquitto-clients libmosquitto1 libcjson1 libwrap0 libdlt2 collectd-core
        ;;
    browser) fetch_modules ;;
    kernel)
        tools/fetch_kernel.py build/kernel || echo "The kernel cannot be fetched: its tests will be skipped."
        # Its service would take this machine's modems, and the two daemons that it needs would start too.
        fetch_programs modemmanager modemmanager libmm-glib0 udev polkitd libpolkit-gobject-1-0 libpolkit-agent-1-0 \
            libduktape207 dbus-daemon dbus-bin dbus-system-bus-common libgudev-1.0-0 libmbim-glib4 libmbim-proxy libqmi-proxy
        ;;
    esac
done
