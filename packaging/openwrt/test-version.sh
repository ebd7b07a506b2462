#!/bin/sh
# SPDX-License-Identifier: MIT
# For the feed's tests, which would otherwise start each script of the package with "--version", "-V" and so on. Those
# scripts wait for a modem of that name.

case $PKG_NAME in
modemctl)
	modemctl --version | grep -x "modemctl $PKG_VERSION"
	;;
modemctl-api | modemctl-data) ;;
*)
	echo "unknown package: $PKG_NAME" >&2
	exit 1
	;;
esac
