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
# A copy, as make takes no path with a blank.
mkdir "$root/source"
tar -C "$repository" --exclude=./.git --exclude='./build*' -cf - . | tar -C "$root/source" -xf -
make -s -C "$root/source/packaging/openwrt" TOPDIR="$root/source/tests/data/openwrt/sdk" ROOT="$root"

# Mode and name of every file, and what the packages say of themselves.
(cd "$root/packages" && find . ! -type d ! -name '*.control' -printf '%m %P\n' | sort -k 2) >"$root/files"
diff -u - "$root/files" <<EOF
755 modemctl-api/usr/lib/libmodemapi.so
644 modemctl-data/usr/share/modem/apns
644 modemctl-data/usr/share/modem/operator.dat
644 modemctl-data/www/src/lib/apn-config.js
755 modemctl/etc/hotplug.d/iface/19-modemctl
755 modemctl/etc/hotplug.d/usb/30-modemctl
755 modemctl/etc/init.d/modemctl
755 modemctl/etc/init.d/modemctl-metrics
755 modemctl/etc/init.d/modemctl-signal
755 modemctl/etc/init.d/modemctl-watch
755 modemctl/etc/uci-defaults/30-modemctl
755 modemctl/usr/bin/modemctl
755 modemctl/usr/libexec/modemctl-reconnect
755 modemctl/usr/libexec/modemctl/bin/killall
755 modemctl/usr/libexec/modemctl/bin/opkg
755 modemctl/usr/libexec/modemctl/bin/sendsms
755 modemctl/usr/libexec/modemctl/bin/ssmtp
755 modemctl/usr/libexec/modemctl/bin/uqmi
755 modemctl/usr/libexec/modemctl/common
755 modemctl/usr/libexec/modemctl/own_folder
755 modemctl/usr/libexec/modemctl/power
755 modemctl/usr/libexec/modemctl/section
755 modemctl/usr/libexec/modemctl/state
777 modemctl/usr/libexec/rpcd/modemctl
644 modemctl/usr/share/modemctl/models
644 modemctl/usr/share/nftables.d/chain-post/mangle_postrouting/30-modemctl.nft
644 modemctl/usr/share/rpcd/acl.d/modemctl.json
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
APNs and operator names for modemctl||all|
EOF
(cd "$root/staging" && find . -type f | sort) | diff -u - /dev/fd/3 3<<EOF
./usr/include/modem_api.h
./usr/lib/libmodemapi.so
EOF
# All that a stock router lacks has something in its place.
if sed -n '/^## On a router without/,/^## What/p' "$repository/packaging/openwrt/README.md" | grep '| No'; then exit 1; fi
"$root/packages/modemctl/usr/bin/modemctl" | grep -q '^Usage:<modemctl>'
"$root/packages/modemctl/usr/libexec/rpcd/modemctl" list | grep -q '"status":{"bus":""}'
# What the feed's tests ask of the program. They want to see what a script of theirs has found.
(
    export PATH="$root/packages/modemctl/usr/bin:$PATH" PKG_NAME=modemctl PKG_VERSION
    PKG_VERSION=$(sed -n 's/^PKG_VERSION:=//p' "$repository/packaging/openwrt/Makefile")
    sh "$repository/packaging/openwrt/test-version.sh" | grep -qx "modemctl $PKG_VERSION"
    if PKG_VERSION=9.9 sh "$repository/packaging/openwrt/test-version.sh"; then exit 1; fi
    PKG_NAME=modemctl-data sh "$repository/packaging/openwrt/test-version.sh"
    if PKG_NAME=another sh "$repository/packaging/openwrt/test-version.sh" 2>/dev/null; then exit 1; fi
    if grep 'grep -[a-z]*q' "$repository"/packaging/openwrt/test*.sh; then exit 1; fi
)

# LuCI's build rules put the name and the page of LuCI's community where a package names none of its own.
for name in LUCI_MAINTAINER LUCI_URL; do
    grep -q "^$name:=." "$repository/packaging/luci-app-modemctl/Makefile"
done

# The release: the same bytes twice, from any place and with any umask, under the name that the feed's Makefile says.
if git -C "$repository" rev-parse HEAD >/dev/null 2>&1; then
    (cd "$repository" && umask 077 && tools/dist.sh "$root/first")
    (cd "$repository" && umask 002 && TZ=Asia/Tokyo LC_ALL=C tools/dist.sh "$root/second")
    diff -r "$root/first" "$root/second"
    (cd "$repository" && MAINTAINER="A Name <a@name.example>" URL=https://a.example tools/dist.sh "$root/third" 2>"$root/said")
    [ ! -s "$root/said" ]
    cmp "$root/first"/*.tar.gz "$root/third"/*.tar.gz
    diff "$root/first/Makefile" "$root/third/Makefile" | grep '^>' | diff -u - /dev/fd/3 3<<EOF
> PKG_MAINTAINER:=A Name <a@name.example>
> PKG_SOURCE_URL:=https://a.example/releases
>   URL:=https://a.example
EOF
    # A feed has no repository beside its package.
    grep -q '(call Build/Prepare/Default)$' "$root/first/Makefile"
    if grep -n 'REPOSITORY\|ifn*eq\|endif' "$root/first/Makefile"; then exit 1; fi
    for wrong in "Nobody" "A|B <a@b>" "A <a>"; do
        if (cd "$repository" && MAINTAINER=$wrong tools/dist.sh "$root/none" 2>/dev/null); then exit 1; fi
        [ ! -e "$root/none" ]
    done
    archive=$(ls "$root/first"/*.tar.gz)
    tar -tzf "$archive" | sed 's|/.*||' | sort -u | grep -qx "$(basename "$archive" .tar.gz)"
    sum=$(sha256sum "$archive" | cut -d ' ' -f 1)
    grep -qx "PKG_HASH:=$sum" "$root/first/Makefile"
    mkdir -p "$root/feed/net/modemctl"
    cp "$root/first/Makefile" "$root/feed/net/modemctl/"
    # shellcheck disable=SC2016 # make expands it
    printf 'names:\n\t@echo $(PKG_SOURCE)\ninclude Makefile\n' >"$root/feed/net/modemctl/names.mk"
    make -s -C "$root/feed/net/modemctl" -f names.mk TOPDIR="$root/source/tests/data/openwrt/sdk" ROOT="$root/none" names |
        grep -qx "$(basename "$archive")"
fi
