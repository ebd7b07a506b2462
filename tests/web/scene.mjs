// What the simulated routers of the tests, and of "make page", are set up with.

import os from 'node:os';

/// A connection that is up after a tenth of a second, and a watch with short times and without probes: the simulated network
/// has no name server.
export const online = `
for bus in $(modemctl modems | cut -d ' ' -f 1); do
    section=modem_$(echo $bus | tr .- __)
    uci set network.$section=interface; uci set network.$section.proto=qmi
    uci set network.$section.device=$(modemctl modems | grep "^$bus " | grep -o '/dev/cdc-wdm[0-9]*' || echo /dev/ttyUSB2)
done
uci commit network; ubus call network reload >/dev/null
touch /etc/config/modemctl; uci set modemctl.watch=watch
for option in interval=1 probe=none stall=2 grace=3 reset_grace=6 retry=1 settle=60 absent_wait=3 blocked_wait=2 no_service_wait=3 \\
    backoff=5; do uci set modemctl.watch.$option; done
uci commit modemctl
`;

/// Starts the watch of a bus and waits for a state.
export function watched(state = 'online', bus = '1-1.2') {
    return `modemctl watch ${bus} >/dev/null 2>&1 &
    n=0; until modemctl ${bus} watch status | grep -q '^state *${state}$'; do n=$((n + 1)); [ $n -gt 200 ] && exit 1; sleep 0.1; done
    modemctl ${bus} info --cached --json >/dev/null`;
}

/// A day of samples, as the watch keeps them: a signal that wanders, an hour without a router, a change of the cell.
export function history() {
    const size = 40, count = 1440, uptime = Math.floor(os.uptime());
    const file = Buffer.alloc(16 + count * size);
    [0x6d686973, size, 0, count].forEach((number, i) => file.writeUInt32LE(number, i * 4));
    for (let i = 0; i < count; i++) {
        const at = 16 + i * size;
        const minutes = count - i + (i < 600 ? 60 : 0);
        const rsrp = Math.round(-88 + 6 * Math.sin(i / 130) + 3 * Math.sin(i / 17) - (i > 900 && i < 960 ? 12 : 0));
        file.writeBigInt64LE(i < 900 ? 80389919n : 80389921n, at);
        // This machine may have started less than a day ago.
        file.writeInt32LE(uptime - minutes * 60, at + 24);
        file.writeInt16LE(rsrp + 28, at + 28);
        file.writeInt16LE(rsrp, at + 30);
        file.writeInt16LE(-110, at + 32);
        file.writeInt16LE(Math.round((15 + 6 * Math.sin(i / 90) + 3 * Math.cos(i / 11)) * 10), at + 34);
        file.writeUInt8(i > 950 && i < 956 ? 7 : 5, at + 37);
    }
    return file;
}

function message(file, headers, text) {
    return ['--put-text', `/etc/spool/sms/${file}=${headers}\n\n${text}`];
}

/// The router of "make page": a modem that is online, with a day of samples; one that wants its PIN; messages.
export const shown = historyFile => ({
    options: ['--modem', 'EP06', '--modem', 'EC25@1-1.3,pin=SIM PIN', '--link', 'modem_1_1_2,setup=300,traffic=48000000/5200000',
        '--link', 'modem_1_1_3,setup=never', '--put', `${historyFile}:/tmp/history`,
        ...message('incoming/GMS1.aaaaaa', 'From: 436601234567\nFrom_TOA: 91 international, ISDN/telephone\nSent: 26-11-21 18:02:03', 'Are you there?'),
        ...message('sent/send_1', 'To: 436601234567\nSent: 26-11-21 18:04:11', 'In ten minutes. The gate is open.'),
        ...message('failed/send_2', 'To: 436601234567\nFail_reason: no network service', 'Or fifteen.'),
        ...message('incoming/GMS1.bbbbbb', 'From: 22888\nSent: 26-11-22 07:30:00', 'You have used 80 % of your data.')],
    script: `${online}
        mkdir -p /etc/spool/sms/outgoing /etc/spool/sms/checked /etc/spool/sms/storage
        uci set modemctl.watch.usage_limit=2000; uci set modemctl.watch.settle=600; uci commit modemctl
        mkdir -p -m 700 /tmp/modem.1-1.2; cp /tmp/history /tmp/modem.1-1.2/history; chmod 600 /tmp/modem.1-1.2/history
        ${watched()}
        ${watched('blocked', '1-1.3')}`,
});
