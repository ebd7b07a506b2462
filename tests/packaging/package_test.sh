#!/bin/sh
# Builds the OpenWrt packages with a stand-in for OpenWrt's build system and looks at what they hold:
# package_test.sh <repository> <serviceproviders.xml>
set -eu

repository=$1
providers=$2
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT

mkdir -p "$root/dl" "$root/list"
cp "$providers" "$root/list/serviceproviders.xml"
tar -C "$root" -cf "$root/dl/mobile-broadband-provider-info_20230416.orig.tar.bz2" list
make -s -C "$repository/packaging/openwrt" TOPDIR="$repository/tests/data/openwrt/sdk" ROOT="$root"

# Mode and name of every file, and what the packages say of themselves.
(cd "$root/packages" && find . -type f ! -name '*.control' -printf '%m %P\n' | sort -k 2) >"$root/files"
diff -u - "$root/files" <<EOF
755 modemctl-api/usr/lib/libmodemapi.so
644 modemctl-data/usr/share/modem/apns
644 modemctl-data/usr/share/modem/operator.dat
644 modemctl-data/www/src/lib/apn-config.js
755 modemctl/etc/hotplug.d/iface/19-modemctl
755 modemctl/etc/hotplug.d/usb/30-modemctl
755 modemctl/etc/init.d/modemctl
755 modemctl/etc/init.d/modemctl-signal
755 modemctl/etc/uci-defaults/30-modemctl
755 modemctl/usr/bin/modemctl
755 modemctl/usr/libexec/modemctl-reconnect
644 modemctl/usr/share/modemctl/models
EOF
(cd "$root/packages" && head -n 99 modemctl.control modemctl-api.control modemctl-data.control) >"$root/control"
libraries="+libjson-c +libubus +libubox +libblobmsg-json +libuci"
connections="+uqmi +comgt +kmod-usb-net-qmi-wwan +kmod-usb-serial-option"
diff -u - "$root/control" <<EOF
==> modemctl.control <==
Manager for USB cellular modems|$libraries $connections||/etc/config/cellconf /etc/config/devconf /etc/config/smsrelay /etc/modemctl/models /etc/modemctl/worked-apns

==> modemctl-api.control <==
Modem endpoints for a web back end|+modemctl $libraries||

==> modemctl-data.control <==
APNs and operator names for modemctl||all|/www/src/lib/apn-config.js
EOF
(cd "$root/staging" && find . -type f | sort) | diff -u - /dev/fd/3 3<<EOF
./usr/include/modem_api.h
./usr/lib/libmodemapi.so
EOF
"$root/packages/modemctl/usr/bin/modemctl" | grep -q '^Usage:<modemctl>'
