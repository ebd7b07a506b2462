#!/bin/sh
# Installs the Debian packages that building and testing need, as far as they are missing.
set -eu

packages="g++ cmake ninja-build pkg-config libjson-c-dev libgtest-dev libbenchmark-dev busybox
    clang-format clang-tidy valgrind gammu smstools procps binutils git python3 openssl libgnutls-openssl27
    mobile-broadband-provider-info shellcheck man-db"

# The mail client's package would push out the machine's own mail server, so its program is only unpacked, for the tests.
fetch_mail_client() {
    folder=$(dirname "$0")/../build/mail-client
    [ -x "$folder/usr/sbin/ssmtp" ] && return
    mkdir -p "$folder"
    (cd "$folder" && apt-get -qq download ssmtp 2>/dev/null && dpkg-deb -x ssmtp_*.deb .) ||
        echo "The mail client ssmtp cannot be fetched; its test is skipped." >&2
}

missing=
for package in $packages; do
    dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing="$missing $package"
done
[ -n "$missing" ] || {
    fetch_mail_client
    exit 0
}

if [ "$(id -u)" -ne 0 ]; then
    echo "These packages are missing, and installing them needs root. Please run:" >&2
    echo "    sudo apt-get install$missing" >&2
    exit 1
fi
echo "Installing:$missing"
export DEBIAN_FRONTEND=noninteractive
apt-get -qq update
# shellcheck disable=SC2086 # one word per package
apt-get -qq install -y --no-install-recommends $missing >/dev/null

# Its package starts the SMS daemon, which would take the machine's first serial port. The tests start it themselves.
case " $missing " in
    *" smstools "*)
        invoke-rc.d smstools stop >/dev/null 2>&1 || true
        update-rc.d smstools disable >/dev/null 2>&1 || true
        ;;
esac

fetch_mail_client
