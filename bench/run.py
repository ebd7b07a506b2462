#!/usr/bin/env python3
"""Prints what modemctl costs, as one table.

"own ms" is the median less the waits that the serial protocol prescribes: 50 ms after opening a port, for each transaction.
Instructions are counted by callgrind, for another processor by qemu: they are the same at every measurement. Peak KiB
are those of a process, for another processor the pages that the program itself has in memory under qemu. Bytes are those
of stripped files, own bytes what modemctl's rooms have in the linked program, without libc, json-c and the stand-ins.
gammu and ModemManager, which a user could pick instead, do the same work on the same simulated port in the same run.

The exit status is 1 when something is larger or grows faster than it may, or when a command got no reply or another's.
"""

import argparse
import fnmatch
import glob
import gzip
import os
import platform
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

SOURCES = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TARGETS = os.path.join(SOURCES, "build-target")
COLUMNS = ("ms", "own ms", "peak KiB", "instructions", "bytes", "own bytes")
CALLGRIND = "valgrind --tool=callgrind --callgrind-out-file=/dev/null"
GUEST_BASE = "0x100000000"  # where the programs that qemu runs have their memory: measure counts what is there


# What commands that came after the first ones add to the program is counted apart: an area's name, the bytes that it may
# have in a program for each of the limited targets, and its sources. A new area is a new line, and takes its sources from
# the areas above it; what is in no area is the program itself. The first target shows any growth, by a compiler that is
# the same everywhere. The second is what most routers with MIPS get: OpenWrt's compiler and its flags.
LIMITED_TARGETS = ("mips-linux-musl", "mips_24kc")
AREAS = (
    ("info and record", (91_300, 50_300), ("readings/*", "at/at_session.cpp", "core/cli/info*", "core/cli/record*",
                                 "discovery/record/info.cpp", "discovery/record/modem_port.cpp",
                                 "discovery/record/record*")),
    ("watch", (47_900, 27_700), ("watch/*", "core/cli/watch*", "core/cli/history*", "status/history.cpp", "status/usage.cpp",
                       "discovery/record/snapshot.cpp")),
    ("modemctl apn", (11_700, 6_600), ("apn/card.cpp", "apn/choices.cpp", "apn/tables.cpp", "core/cli/apn*")),
    ("bands and mode", (27_000, 15_800), ("readings/band_*", "readings/radio_modes.cpp", "discovery/record/radio.cpp", "core/cli/radio*")),
    ("metrics and openwisp", (10_300, 6_700), ("discovery/record/metrics.cpp", "discovery/record/openwisp.cpp", "core/cli/fleet*")),
    ("models files", (5_000, 3_300), ("core/table/models_file.cpp",)),
    ("ubus object", (34_100, 20_600), ("core/cli/rpcd*", "watch/options.cpp", "sms/boxes.cpp", "sms/parts.cpp")),
)
PRODUCT_LIMITS = (556_700, 267_700)
OWN_LIMITS = (135_600, 75_600)
# Of the build for this machine, if that is x86-64.
HOST_OWN_LIMIT = 107_500

# Instructions and system calls of commands on this machine, with one modem.
COMMAND_LIMITS = {"modemctl signal": (500_000, 800), "modemctl cells": (700_000, 1_500)}
faults = []


def require(holds, fault):
    if not holds:
        faults.append(fault)
        print(f"TOO MUCH: {fault}", flush=True)


def row(what, note="", **values):
    cells = ["" if values.get(name.replace(" ", "_")) is None else f"{values[name.replace(' ', '_')]:,}"
             for name in COLUMNS]
    print(f"{what:<46}" + "".join(f"{cell:>14}" for cell in cells) + ("  " + note if note else ""), flush=True)


class Router:
    """The simulated router, started anew for each measurement."""

    def __init__(self, build, *options):
        self.command = [os.path.join(build, "simrouter"), *options]
        self.build = build

    def run(self, *command):
        return subprocess.run([*self.command, "--", *command], capture_output=True, text=True, check=False,
                              errors="replace")

    def measure(self, command, runs):
        """Median ms and peak KiB of a command."""
        words = self.run(os.path.join(self.build, "measure"), str(runs), *command.split()).stdout.split()
        if words[2:] != ["ok"]:
            sys.exit(f"{command}: did not end well ({' '.join(words)})")
        return float(words[0]), int(words[1])

    def system_calls(self, command):
        return int(re.search(r"(\d+) +(?:\d+ +)?total", self.run("strace", "-c", *command.split()).stderr)[1])

    def instructions(self, command, setup=""):
        text = self.run("sh", "-c", f"{setup}\nexec {CALLGRIND} {command}").stderr
        found = re.findall(r"Collected : (\d+)", text)
        if not found:
            sys.exit(f"{command}: callgrind counted nothing:\n{text[-500:]}")
        return int(found[-1])


def commands(build):
    router = Router(build, "--modem", "EC25", "--put-text",
                    "/root/.gammurc=[gammu]\ndevice = /dev/ttyUSB2\nconnection = at115200")
    for command, waits, runs in (("modemctl AT ATI", 50, 15), ("gammu identify", None, 3),
                                 ("modemctl carrier", 50, 15), ("modemctl check_register", 50, 15),
                                 ("gammu networkinfo", None, 3),
                                 ("modemctl sim-status", 100, 15), ("modemctl signal", 50, 15),
                                 ("modemctl get_mode", 50, 15), ("modemctl cells", 150, 15)):
        if command.startswith("gammu"):
            command = command.replace("gammu", "gammu -c /root/.gammurc")
        median, peak = router.measure(command, runs)
        count = router.instructions(command)
        calls = None if command.startswith("gammu") else router.system_calls(command)
        row(command.replace(" -c /root/.gammurc", ""), "" if calls is None else f"{calls:,} system calls", ms=median,
            peak_KiB=peak, own_ms=None if waits is None else round(median - waits, 1), instructions=count)
        most_instructions, most_calls = COMMAND_LIMITS.get(command, (count, calls))
        require(count <= most_instructions, f"{command}: {count:,} instructions")
        require(calls is None or calls <= most_calls, f"{command}: {calls} system calls")
    nothing = Router(build)
    median, peak = nothing.measure("modemctl signal", 15)
    row("modemctl signal, no modem", ms=median, own_ms=median, peak_KiB=peak,
        instructions=nothing.instructions("modemctl signal"))


# Twenty questions each. Seconds are of the machine's clock, processor time is all that its processor worked meanwhile.
MANAGERS = r"""
    wait_until() { until eval "$1"; do sleep 0.1; done; }
    busy() { sed -n 's/^cpu  *//p' /proc/stat | { read -r user nice system rest; echo $((user + nice + system)); }; }
    now() { read -r uptime idle </proc/uptime; echo "${uptime%.*}${uptime#*.}"; }
    start() { from=$(now); busy=$(busy); }
    twenty() { for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20; do "$@" >>/tmp/asked; done; }
    end() { echo "$1 $(($(now) - from)) $(($(busy) - busy))"; }
    start; twenty modemctl AT AT+CSQ; end modemctl
    . "$sources/tests/kernel/modemmanager.sh"
    start; start_manager "$programs"; until_state disabled; end found
    start; twenty m --command=AT+CSQ; end mmcli
    grep -c '+CSQ: ' /tmp/asked
    cat $(grep -lE '^Name:.(ModemManager|dbus-daemon|polkitd|systemd-udevd|mbim-proxy|qmi-proxy)' /proc/[0-9]*/status) |
        sed -n 's/^VmRSS:[^0-9]*\([0-9]*\) kB/\1/p'"""


def managers(build):
    """The same question by modemctl and by ModemManager, to the same port of the same virtual machine."""
    programs = os.path.join(build, "modemmanager")
    for needed in (os.path.join(programs, "usr/sbin/ModemManager"), os.path.join(build, "kernel/vmlinux")):
        if not os.path.exists(needed):
            row("ModemManager", f"{needed} is missing: tools/setup.sh kernel fetches it")
            return
    names = f"sources={shlex.quote(SOURCES)}; programs={shlex.quote(os.path.abspath(programs))}\n"
    lines = Router(build, "--kernel", "--modem", "EC25").run("sh", "-c", names + MANAGERS).stdout.split("\n")
    taken = {words[0]: (int(words[1]) * 10, int(words[2]) * 10) for words in map(str.split, lines[:3])}
    memory = sum(map(int, lines[4:-1]))
    require(lines[3] == "40", f"ModemManager and modemctl: {lines[3]} of 40 questions were answered")
    require(memory > 0, "ModemManager: none of its processes was found")
    own, theirs, found = taken["modemctl"], taken["mmcli"], taken["found"]
    row("modemctl AT AT+CSQ, in a virtual machine", ms=own[0] / 20, own_ms=own[1] / 20)
    row("mmcli --command=AT+CSQ", "its daemons' memory stays", ms=theirs[0] / 20, own_ms=theirs[1] / 20, peak_KiB=memory)
    row("ModemManager, until it knows the modem", ms=found[0], own_ms=found[1])


def built_targets():
    names = sorted(os.listdir(TARGETS)) if os.path.isdir(TARGETS) else []
    return [name for name in names if os.path.exists(os.path.join(TARGETS, name, "modemctl"))]


def targets_that_run():
    # The C library that mips_24kc has here is not a router's.
    return [target for target in built_targets() if target != "mips_24kc"]


def processors(build):
    for target in targets_that_run():
        options = ["--modem", "EC25", "--products", os.path.join(TARGETS, target)]
        processor = target.split("-")[0]
        if processor == platform.machine():
            router = Router(build, *options)
            row(f"modemctl signal, {target}", peak_KiB=router.measure("modemctl signal", 3)[1],
                instructions=router.instructions("modemctl signal"))
            continue
        router = Router(build, *options, "--runner", shutil.which(f"qemu-{processor}-static"))
        measure = f"QEMU_GUEST_BASE={GUEST_BASE} {build}/measure 5 modemctl signal"
        peak = router.run("sh", "-c", measure).stdout.split()[1]
        # One line for each instruction.
        count = router.run("sh", "-c", "QEMU_SINGLESTEP=1 QEMU_LOG=exec,nochain QEMU_LOG_FILENAME=/tmp/executed "
                           "modemctl signal >/dev/null; grep -c ^Trace /tmp/executed").stdout
        row(f"modemctl signal, {target}", peak_KiB=int(peak), instructions=int(count))


def object_areas():
    """The area of each object file. The linker names no folder, so that a name which two rooms have is in no area."""
    with open(os.path.join(SOURCES, "rooms.txt"), encoding="utf-8") as file:
        rooms = [line.split()[0] for line in file if line[0].islower()]
    sources = [path for room in rooms for path in glob.glob(os.path.join(room, "*.cpp"), root_dir=SOURCES)]
    names = [os.path.basename(path) for path in sources]
    areas = {}
    for area, _, patterns in AREAS:
        for path in sources:
            name = os.path.basename(path)
            if names.count(name) == 1 and any(fnmatch.fnmatch(path, pattern) for pattern in patterns):
                areas[name + ".o"] = area
    return areas


def own_bytes(folder):
    """Bytes of code, data and texts that the rooms have in modemctl, by the linker's map: of each area, and under None
    of the rest. lld says whose a text is only if it does not merge texts (-O0), so that one that two files have counts
    twice."""
    links = subprocess.run(["ninja", "-C", folder, "-t", "commands", "modemctl"], capture_output=True, text=True,
                           check=True).stdout.splitlines()
    # What was optimised at the link is nobody's.
    link = links[-1].replace(" -o modemctl ", " -fno-lto -o modemctl.mapped -Wl,--print-map ")
    if folder.startswith(TARGETS):
        link = link.replace(" -Wl,", " -Wl,-O0 -Wl,", 1)
    text = subprocess.run(link, shell=True, cwd=folder, capture_output=True, text=True, check=True).stdout
    os.remove(os.path.join(folder, "modemctl.mapped"))
    areas = object_areas()
    total = dict.fromkeys([None] + [area for area, _, _ in AREAS], 0)
    # ld writes a section's long name on a line of its own.
    for line in re.sub(r"^( \.\S+)\n", r"\1", text, flags=re.MULTILINE).splitlines():
        member = re.search(r"\blib(?:program_)?rooms\.a\(([^)]*)\)|/core/cli/(main\.cpp\.o)", line)
        # What a compiler says about itself is linked, but no part of what is loaded.
        if not member or re.match(r" \.(comment|gnu\.attributes) ", line):
            continue
        # lld: address, load address, size, alignment; ld: address, size. What is left out has no address.
        found = (re.match(r" *([0-9a-f]+) +[0-9a-f]+ +([0-9a-f]+) +[0-9]+ ", line)
                 or re.search(r"0x([0-9a-f]+) +0x([0-9a-f]+) ", line))
        if found and int(found[1], 16) != 0:
            total[areas.get(member[1])] += int(found[2], 16)
    return total


def require_size(what, size, most):
    require(not most or size <= most, f"{what}: {size:,} bytes of {most:,}")


def sizes(build):
    for folder in [build] + [os.path.join(TARGETS, target) for target in built_targets()]:
        name = "this machine (glibc)" if folder == build else os.path.basename(folder)
        limits = LIMITED_TARGETS.index(name) if name in LIMITED_TARGETS else None
        is_limited_host = folder == build and platform.machine() == "x86_64"
        own = own_bytes(folder)
        with tempfile.TemporaryDirectory() as work:
            for product in ("modemctl", "libmodemapi.so"):
                copy = shutil.copy(os.path.join(folder, product), work)
                # A target's are stripped already, and in a form that this machine's program may not know.
                subprocess.run(["strip", copy], stderr=subprocess.DEVNULL, check=False)
                size = os.path.getsize(copy)
                is_program = product == "modemctl"
                row(f"size of {product}, {name}", bytes=size, own_bytes=own[None] if is_program else None)
                require_size(f"{product} for {name}", size, is_program and limits is not None and PRODUCT_LIMITS[limits])
        most_own = OWN_LIMITS[limits] if limits is not None else is_limited_host and HOST_OWN_LIMIT
        require_size(f"own bytes for {name}", own[None], most_own)
        for area, most_bytes, _ in AREAS:
            row(f"size of {area}, {name}", own_bytes=own[area])
            require_size(f"{area} for {name}", own[area], limits is not None and most_bytes[limits])


class Growth:
    """Rows over a rising amount; the note is what each one more costs, which must not rise."""

    def __init__(self, what):
        self.what = what
        self.last = None
        self.least = None

    def row(self, amount, instructions, peak=None):
        each = self.last and (instructions - self.last[1]) // (amount - self.last[0])
        self.last = (amount, instructions)
        row(f"{self.what}: {amount:,}", "" if each is None else f"{each:,} instructions each",
            instructions=instructions, peak_KiB=peak)
        if each is None:
            return
        require(self.least is None or each <= 1.5 * self.least, f"{self.what}: the cost of each rises with their number")
        self.least = each if self.least is None else min(each, self.least)


most = None


def amounts(*all_of_them):
    return [amount for amount in all_of_them if most is None or amount <= most]


def sysfs(build):
    # Without a modem nothing ends the search before its last folder, or before the thousandth that it visits.
    growth = Growth("modemctl signal, no modem, folders in sysfs")
    for folders in amounts(10, 100, 900, 10000):
        router = Router(build, "--extra-folders", str(folders))
        growth.row(folders, router.instructions("modemctl signal"))


def apns(build):
    growth = Growth("modemctl connect-auto, APN entries")
    least = float("inf")
    for entries in amounts(100, 1000, 2000, 10000, 40000, 100000):
        with tempfile.NamedTemporaryFile("w") as database:
            database.write('var apn_config_default ={"apns":{"apn":[')
            for i in range(entries):
                mcc, mnc = (300 + i % 400, i % 100) if i else (232, 3)
                database.write(f'{"," if i else ""}\n{{"carrier":"Network {i}","-mcc":"{mcc:03}","-mnc":"{mnc:02}",'
                               '"-apn":"internet"}')
            database.write("]}}\n")
            database.flush()
            router = Router(build, "--modem", "EC25,imsi=232031234567890", "--link", "setup=1", "--put",
                            database.name + ":/www/src/lib/apn-config.js")
            growth.row(entries, router.instructions("modemctl connect-auto"),
                       router.measure("modemctl connect-auto", 1)[1])
            # The shell prints its own processor time, then its children's, user and system.
            words = re.findall(r"(\d+)m([\d.]+)s", router.run("sh", "-c", "modemctl connect-auto; times").stdout)
            seconds = sum(60 * int(minutes) + float(rest) for minutes, rest in words[-2:])
            least = min(seconds, least)  # what it takes whatever the database's size
            require(seconds - least <= 0.3, f"modemctl connect-auto: {seconds - least:.2f} s for {entries:,} APN entries")
    shipped = os.path.join(build, "packaging", "apn-config.js")
    if os.path.exists(shipped):
        count = Router(build, "--modem", "EC25,imsi=232031234567890", "--link", "setup=1", "--put",
                       shipped + ":/www/src/lib/apn-config.js").instructions("modemctl connect-auto")
        row("modemctl connect-auto, the shipped database", instructions=count)
        require(count <= 5_000_000, f"modemctl connect-auto with the shipped database: {count:,} instructions")


def web(build):
    two = "".join(f"uci add_list devconf.modem.bus={bus}\n" for bus in ("1-1.2", "2-1.2"))
    count = Router(build, "--board", "condor", "--modem", "EC25", "--modem", "EP06@2-1.2").instructions(
        "modemapi get /modem/info {}", "uci -q delete devconf.modem.bus\n" + two + "uci commit devconf")
    row("/modem/info, two modems", instructions=count)
    require(count <= 3_000_000, f"/modem/info with two modems: {count:,} instructions")


def spool(build):
    growth = Growth("/modem/sms/list, messages")
    router = Router(build, "--modem", "EC25")
    for messages in amounts(1, 100, 1000, 10000):
        fill = (f"cd /etc/spool/sms/incoming; i=0; while [ $i -lt {messages} ]; do printf 'From: 43660123\\n"
                "From_TOA: 91 international\\nSent: 26-11-21 01:02:03\\n\\nHello\\n' >GMS99.$i; i=$((i + 1)); done")
        growth.row(messages, router.instructions("modemapi get /modem/sms/list '{\"modem_id\":3}'", fill))


def uci(build):
    """The package is read once: twice would take 17,000 instructions for each section."""
    growth = Growth("modemctl connect, sections in network")
    for sections in amounts(100, 1000, 10000, 30000):
        router = Router(build, "--modem", "EC25", "--put-text", "/tmp/sim_status=ready", "--put-text", "/tmp/sim_type=x")
        fill = (f"i=0; while [ $i -lt {sections} ]; do printf \"config route 'r$i'\\n\\toption interface 'lan'\\n\"; "
                "i=$((i + 1)); done >>/etc/config/network")
        growth.row(sections, router.instructions("modemctl connect serial /dev/ttyUSB3 *99# internet", fill))
    require(growth.least <= 12_000, f"modemctl connect: {growth.least:,} instructions for each section in network")


def many(build):
    """Sixteen at once on one port for a minute: whose bytes a reply has is plain, for the modem echoes each command."""
    script = r"""
        for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16; do (
            n=0
            while [ $(cut -d. -f1 /proc/uptime) -lt $end ]; do
                n=$((n + 1))
                reply=$(modemctl AT AT+OWN$i.$n 2>/dev/null | tr -d '\n' | tr '\r' '|')
                case $reply in
                "AT+OWN$i.$n||ERROR|") echo own ;;
                "") echo none ;;
                *) echo "other AT+OWN$i.$n: $reply" ;;
                esac
            done >/tmp/replies.$i) & done
        wait
        cat /tmp/replies.*"""
    lines = Router(build, "--modem", "EC25", "--wait").run(
        "sh", "-c", "end=$(($(cut -d. -f1 /proc/uptime) + 60))" + script).stdout.splitlines()
    own = lines.count("own")
    others = [line for line in lines if line not in ("own", "none")]
    row("16 x modemctl AT on one port for a minute",
        f"{own:,} of {len(lines):,} commands ({100 * own / len(lines):.0f} %) got the port and their own reply, "
        f"{len(others)} another's")
    require(not others, "replies of another: " + "; ".join(others[:5]))
    require(own + len(others) == len(lines), "commands without a reply")


def watch(build):
    """Four weeks in simulated worlds (bench/watch_worlds.cpp): time online, connections, restarts, bytes of probes."""
    online = {}
    for line in subprocess.run([os.path.join(build, "watch_worlds")], capture_output=True, text=True,
                               check=True).stdout.splitlines():
        world, keeper, share, connects, resets, reboots, probes = line.split("\t")
        online[world, keeper] = float(share)
        row(f"{world}: {keeper}", f"{share} % online, {connects} connects, {resets} resets, {reboots} reboots, "
                                  f"{int(probes):,} bytes of probes")
        if keeper == "watch":
            require(int(resets) <= 28 * 8, f"{world}: more resets than the budget")
            require(int(probes) <= 2_000_000, f"{world}: more than 2 MB of probes")
    for (world, keeper), share in online.items():
        require(online[world, "watch"] >= share - 0.5, f"{world}: {keeper} is longer online than the watch")


ASLEEP = """
uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi
uci set network.modem_1_1_2.device=/dev/cdc-wdm0; uci commit network; ubus call network reload
touch /etc/config/modemctl; uci set modemctl.watch=watch; uci set modemctl.watch.probe=none; uci commit modemctl
modemctl watch & watch=$!
until modemctl watch status | grep -q '^state *online'; do sleep 1; done
switches() { grep -h ^voluntary /proc/$watch/status | tr -dc 0-9; }
sleep 5; before=$(switches); sleep 0 & first=$!; sleep 50; sleep 0 & last=$!
echo $(($(switches) - before)) $((last - first - 2)); cat /proc/$watch/smaps"""


def asleep(build):
    """The watch asleep, between two questions to the modem: its memory, wake-ups and processes. Processes have numbers in
    their order, so what it starts shows as a gap."""
    for folder in [build] + [os.path.join(TARGETS, target) for target in targets_that_run()]:
        name = "this machine (glibc)" if folder == build else os.path.basename(folder)
        processor = name.split("-")[0]
        options, begin = [], 0
        if folder != build and processor != platform.machine():
            options, begin = ["--runner", shutil.which(f"qemu-{processor}-static")], int(GUEST_BASE, 16)
        router = Router(build, "--modem", "EC25", "--link", "setup=100", "--products", folder, *options)
        first, *smaps = router.run("sh", "-c", f"export QEMU_GUEST_BASE={GUEST_BASE}" + ASLEEP).stdout.splitlines()
        wakes, processes = map(int, first.split())
        private, is_own = 0, False
        for line in smaps:
            if found := re.match(r"([0-9a-f]+)-[0-9a-f]+ ", line):
                is_own = begin == 0 or begin <= int(found[1], 16) < begin + 2**32
            elif is_own and line.startswith("Private_Dirty:"):
                private += int(line.split()[1])
        row(f"the watch asleep, {name}", f"{private} KiB private, {wakes} wake-ups and {processes} processes in 50 s")
        require(wakes <= 5 and processes == 0, f"the watch asleep, {name}: {wakes} wake-ups, {processes} processes")
        # glibc keeps small pieces for later, which the routers' C library gives back.
        require(private <= (200 if folder == build else 128), f"the watch asleep, {name}: {private} KiB private")


def fleet(build):
    """What a scrape takes: the text of all modems, from reports that the watch has made."""
    growth = Growth("modemctl metrics, modems")
    for modems in amounts(1, 2, 4, 8):
        plugged = [word for number in range(1, modems + 1) for word in ("--modem", f"EC25@1-1.{number}")]
        router = Router(build, *plugged)
        report = "modemctl info --all >/dev/null"
        growth.row(modems, router.instructions("modemctl metrics", report))
        text = router.run("sh", "-c", report + "; modemctl metrics").stdout.encode()
        row(f"text of {modems} modems", f"{len(gzip.compress(text)):,} compressed", bytes=len(text))
    row("the object for OpenWISP", bytes=len(Router(build, "--modem", "EC25").run("modemctl", "openwisp").stdout))


SECTIONS = {"commands": commands, "managers": managers, "processors": processors, "sizes": sizes, "sysfs": sysfs,
            "apns": apns, "web": web, "spool": spool, "uci": uci, "many": many, "watch": watch, "asleep": asleep,
            "fleet": fleet}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", help="folder of a release build")
    parser.add_argument("section", nargs="*", help=f"of {', '.join(SECTIONS)}; all where none is named")
    parser.add_argument("--quick", action="store_true", help="leave large amounts out")
    words = parser.parse_intermixed_args()
    if unknown := [section for section in words.section if section not in SECTIONS]:
        parser.error(f"no such section: {', '.join(unknown)}")
    global most
    most = 2000 if words.quick else None
    print(f"{'':<46}" + "".join(f"{name:>14}" for name in COLUMNS))
    for section in words.section or SECTIONS:
        SECTIONS[section](os.path.abspath(words.build))
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
