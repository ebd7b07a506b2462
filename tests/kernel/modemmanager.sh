# Starts Debian's ModemManager and the daemons that it needs in a virtual machine, for a shell that sources this file:
# start_manager FOLDER, in which the programs are only unpacked. They are copied to their places. Needs wait_until.

start_manager() {
	for folder in etc usr lib bin; do
		case $folder in
		etc) place=/etc ;;
		usr) place=/usr ;;
		*) place=/usr/$folder ;;
		esac
		[ ! -d "$1/$folder" ] || cp -dR --preserve=mode "$1/$folder/." "$place/"
	done
	for user in messagebus:199 polkitd:198; do
		grep -q "^${user%:*}:" /etc/passwd || {
			echo "${user%:*}:x:${user#*:}:${user#*:}::/:/usr/sbin/nologin" >>/etc/passwd
			echo "${user%:*}:x:${user#*:}:" >>/etc/group
		}
	done
	mkdir -p /run/dbus /run/udev /etc/polkit-1/rules.d /var/lib/polkit-1
	/usr/lib/systemd/systemd-udevd --daemon >/dev/null 2>&1
	for subsystem in usb tty net usbmisc; do udevadm trigger --action=add --subsystem-match=$subsystem; done
	udevadm settle --timeout=300
	dbus-daemon --system --fork
	/usr/lib/polkit-1/polkitd --no-debug >/dev/null 2>&1 &
	ModemManager --debug >/tmp/log 2>&1 &
}

# What it knows of the modem comes bit by bit: until_known KEY VALUE waits for one of them, in /tmp/modem.
until_state() { wait_until "grep -q 'state changed (.*-> $1' /tmp/log"; }
m() { mmcli --timeout=200 -m any "$@"; }
value() { sed -n "s/^modem\.$1 *: *//p" /tmp/modem; }
until_known() { wait_until "m -K >/tmp/modem && [ \"\$(value '$1')\" = '$2' ]"; }
