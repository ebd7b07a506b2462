#!/bin/sh
# SPDX-License-Identifier: MIT
# For the feed's tests: test.sh <package> <version>. They run it where the package is installed; no modem is there.

case $1 in
modemctl)
	modemctl --version | grep -x "modemctl $2" || exit 1
	modemctl help | grep connect-auto || exit 1
	for script in /etc/init.d/modemctl* /etc/hotplug.d/*/*modemctl /usr/libexec/modemctl/* /usr/libexec/modemctl/bin/*; do
		[ -d "$script" ] || sh -n "$script" || exit 1
	done
	;;
modemctl-api)
	[ -s /usr/lib/libmodemapi.so ]
	;;
modemctl-data)
	[ -s /www/src/lib/apn-config.js ] && [ -s /usr/share/modem/operator.dat ]
	;;
esac
