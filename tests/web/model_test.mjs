// The parts of the page without a document: node model_test.mjs

import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import { fileURLToPath } from 'node:url';

const folder = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../../packaging/luci-app-modemctl/htdocs/luci-static/resources/modemctl');
const load = (name, words) => new Function('baseclass', '_', 'words', fs.readFileSync(path.join(folder, name), 'utf8'))({ extend: members => members }, text => text, words);
String.prototype.format = function (...values) {
    return this.replace(/%[sd]/g, kind => kind === '%d' ? Math.trunc(values.shift()) : String(values.shift()));
};
const words = load('words.js'), model = load('model.js', words);

const rows = (title, fn, table) => test(title, () => {
    for (const [given, expected] of table)
        assert.deepEqual(fn(given), expected, JSON.stringify(given));
});

rows('seconds are told in the two largest units', given => words.seconds(given), [
    [-5, '0 s'], [0, '0 s'], [59.9, '59 s'], [60, '1 min'], [3599, '59 min'], [3600, '1 h 0 min'], [86399, '23 h 59 min'], [90000, '1 d 1 h'],
]);

rows('bytes have one decimal as long as it says something', given => words.bytes(given), [
    [0, '0 B'], [999, '999 B'], [999.6, '1.0 kB'], [1000, '1.0 kB'], [99940, '99.9 kB'], [99960, '100 kB'], [999600, '1.0 MB'], [1.2e9, '1.2 GB'], [5e15, '5000 TB'],
    [-1, '–'], [NaN, '–'], ['5', '–'], [undefined, '–'],
]);

const at = 'a'.repeat.bind('a');
rows('a message costs what its alphabet and its parts cost', given => {
    const { alphabet, units, parts, left, costly } = model.message_cost(given);
    return [alphabet, units, parts, left, costly?.character ?? ''];
}, [
    ['', ['gsm', 0, 0, 160, '']],
    ['Hello', ['gsm', 5, 1, 155, '']],
    ['Grüße', ['gsm', 5, 1, 155, '']],
    ['5 €', ['gsm', 4, 1, 156, '€']],
    [at(160), ['gsm', 160, 1, 0, '']],
    [at(161), ['gsm', 161, 2, 145, '']],
    [at(306), ['gsm', 306, 2, 0, '']],
    [at(307), ['gsm', 307, 3, 152, '']],
    // The two halves of an escaped character stay together, so the first part ends a unit early.
    [`${at(152)}€${at(10)}`, ['gsm', 164, 2, 141, '€']],
    ['ç', ['ucs2', 1, 1, 69, 'ç']], // only the large letter is in the GSM alphabet
    ['😀', ['ucs2', 2, 1, 68, '😀']],
    ['Ж'.repeat(70), ['ucs2', 70, 1, 0, 'Ж']],
    ['Ж'.repeat(71), ['ucs2', 71, 2, 63, 'Ж']],
    [`${at(66)}😀${at(10)}`, ['ucs2', 78, 2, 55, '😀']],
    ['Ω'.repeat(76) + '^'.repeat(76) + 'Ω', ['gsm', 229, 2, 76, '^']],
    ['`', ['ucs2', 1, 1, 69, '`']],
    ['a\r\nb', ['gsm', 3, 1, 157, '']],
]);

const ready = { sim: { state: 'ready' }, network: { registration: 'home', operator_name: 'A', technology: 'LTE' }, modem: { model: 'M' } };
const up = { state: 'up', uptime_s: 60, ipv4: ['10.0.0.2/30'], ipv6: [] };

rows('the state says why, and what is needed now', ([info, status]) => {
    const { tone, text, action } = model.state(info, status);
    return [tone, text, action];
}, [
    [[ready, { state: 'online', since_s: 7200, reason: 'the network answers' }], ['good', 'Online by 4G (LTE) for 2 h 0 min', '']],
    [[ready, { state: 'online', since_s: 5, paused_s: 60 }], ['off', 'Paused for 1 min more', 'resume']],
    [[{ error: 'no-snapshot' }, {}], ['off', 'Nothing is known yet', 'refresh']],
    [[{ sim: { state: 'pin', pin_tries: 3 } }, {}], ['bad', 'Not online: the SIM card wants its PIN (3 tries left)', 'settings']],
    [[{ sim: { state: 'not_inserted' } }, {}], ['bad', 'Not online: the SIM card is missing', '']],
    [[ready, { state: 'blocked', reason: 'the PIN is not configured' }], ['bad', 'Not online: the SIM card wants its PIN', 'settings']],
    [[ready, { state: 'blocked', reason: 'the SIM card wants its PUK' }], ['bad', 'Not online: the SIM card wants its PUK', '']],
    [[ready, { state: 'blocked', reason: 'the data limit is reached' }], ['bad', 'Not online: the data limit is reached', 'settings']],
    [[ready, { state: 'recovering', reason: 'reconnect: no name server answers, 5 of 6 left this hour' }],
        ['busy', 'Reconnecting: connects again, no name server answers, 5 more tries this hour', '']],
    [[{ error: 'no-snapshot' }, { interface_status: up }], ['good', 'Connected for 1 min', '']],
    [[{ error: 'no-snapshot' }, { state: 'online', since_s: 9 }], ['good', 'Online for 9 s', '']],
    [[ready, { state: 'slow', reason: 'nothing more to try' }], ['bad', 'Not online, the next try is later: nothing more to try', 'connect']],
    [[ready, { state: 'absent' }], ['bad', 'Not online: no modem is plugged in', '']],
    [[ready, { interface_status: up }], ['good', 'Connected by 4G (LTE) for 1 min', '']],
    [[ready, { interface_status: { state: 'pending' } }], ['busy', 'Connecting', '']],
    [[ready, { interface_status: { state: 'down', error: ['CALL_FAILED'] } }], ['bad', 'Not online: CALL_FAILED', 'connect']],
    [[ready, {}], ['off', 'Not online: A, registered', 'connect']],
    [[{ error: 'failed' }, {}], ['bad', 'The modem does not answer', 'refresh']],
    [[undefined, undefined], ['off', 'Not online', 'connect']],
    [[ready, { state: 'a new state', reason: 'constructor' }], ['off', 'Not online: A, registered', 'connect']],
]);

rows('the first broken link is marked, and nothing is said of those after it', ([info, status]) => model.chain(info, status).map(({ state }) => state).join(' '), [
    [[ready, { state: 'online', interface_status: up }], 'ok ok ok ok ok'],
    [[{ ...ready, sim: { state: 'pin' } }, { state: 'blocked' }], 'ok bad ok unknown unknown'],
    [[{ ...ready, network: { registration: 'searching' } }, { state: 'no-service', interface_status: { state: 'down' } }], 'ok ok wait bad unknown'],
    [[ready, { state: 'recovering', interface_status: up }], 'ok ok ok ok bad'],
    [[ready, { state: 'absent' }], 'bad ok ok unknown unknown'],
    [[{ error: 'no-snapshot' }, {}], 'unknown unknown unknown unknown unknown'],
    [[{ error: 'no-snapshot' }, { state: 'online', interface_status: up }], 'unknown unknown unknown ok ok'],
    [[{ ...ready, error: 'failed' }, {}], 'bad ok ok unknown unknown'],
    [[undefined, undefined], 'unknown unknown unknown unknown unknown'],
]);

rows('a line of the log is told in words', given => words.event(given), [
    ['online -> off: not wanted', 'switched off'],
    ['starting -> online: the network answers', 'online: the network answers'],
    ['suspect -> recovering: reconnect: no name server answers, 4 of 6 left this hour', 'recovering: connects again, no name server answers, 4 more tries this hour'],
    ['suspect -> recovering: reconnect, 5 of 6 left this hour', 'recovering: connects again, 5 more tries this hour'],
    ['off -> absent', 'not plugged in'],
    ['<b>', '<b>'],
    [undefined, ''],
]);

test('a plot is scaled to its frame, and a gap or a missing value ends a line', () => {
    const samples = [{ time: 0, rsrp_dbm: -100 }, { time: 60, rsrp_dbm: -90 }, { time: 120 }, { time: 180, rsrp_dbm: -80 }, { time: 1000, rsrp_dbm: -500 }, { time: 2000, rsrp_dbm: -90 }, { rsrp_dbm: -90 }];
    const { lines } = model.plot(samples, 'rsrp', { from: 0, to: 1000, width: 100, height: 20, least: -100, most: -80 });
    assert.deepEqual(lines, [[[0, 20], [6, 10]], [[18, 0]], [[100, 20]]]);
});

rows('samples have the time of the browser', ([samples, uptime_s]) => model.timed(samples, uptime_s, 1000).map(({ time }) => time), [
    [[[{ uptime_s: 10, time: 900 }, { uptime_s: 70, time: 960 }], 110], [900, 960]],
    [[[{ uptime_s: 10, time: 5 }, { uptime_s: 70, time: 65 }], 70], [940, 1000]],
    [[[{ uptime_s: 10 }, { uptime_s: 70 }], 80], [930, 990]],
    [[[{ uptime_s: 10 }, { uptime_s: 70 }]], [940, 1000]],
    [[[{ uptime_s: 90, time: 1000 }], 70], [1000]],
    [[[], 5], []],
]);

test('a change of cell and a loss of the connection are marked', () => {
    const samples = [{ time: 1, cell_id: 7, state: 'online' }, { time: 2, cell_id: 8, state: 'online' }, { time: 3, cell_id: 8, state: 'suspect' }, { time: 4, state: 'online' }];
    const { marks } = model.plot(samples, 'rsrp', { from: 0, to: 10, width: 10, height: 10, least: -140, most: -44 });
    assert.deepEqual(marks.map(({ x, what }) => [x, what]), [[2, 'cell'], [3, 'state']]);
});

rows('an axis has round values', ([least, most]) => model.ticks(least, most), [
    [[-90, -80], [-90, -85, -80]], [[-110, -80], [-110, -100, -90, -80]], [[-20, 30], [-20, -10, 0, 10, 20, 30]], [[0, 0], [0]],
]);

test('values are those that the cell has, judged by the same steps as the program', () => {
    const values = model.values({ rsrp_dbm: -95, rsrq_db: -12.5, sinr_db: 2.9, rssi_dbm: null, pci: 3 });
    assert.deepEqual(values.map(({ name, text, good }) => [name, text, good]), [['rsrp', '-95\u00a0dBm', -95], ['rsrq', '-12.5\u00a0dB', -12], ['sinr', '2.9\u00a0dB', 10]]);
    assert.deepEqual(model.values(undefined), []);
    assert.ok(model.values({ rsrp_dbm: 500 })[0].share === 1 && model.values({ rsrp_dbm: -500 })[0].share === 0);
});

test('carriers are summed up', () => {
    const info = { network: { technology: 'LTE' }, carriers: [{ band: 'B3', bandwidth_mhz: 10 }, { band: 'B7', bandwidth_mhz: 1.4 }, { band: 'B1', active: false, bandwidth_mhz: 20 }] };
    assert.equal(model.carrier_text(info), 'B3 + B7, 11.4 MHz');
    assert.equal(model.technology(info), '4G+ (LTE)');
    assert.equal(model.carrier_text({ serving: { band: 'B20' } }), 'B20');
    assert.equal(model.carrier_text({}), '');
});

test('neighbours are sorted by strength, without the cells in use', () => {
    const info = { serving: { band: 'B3', arfcn: 1, pci: 1 }, neighbours: [{ arfcn: 9 }, { arfcn: 1, pci: 1, rsrp_dbm: -1 }, { arfcn: 1, pci: 2, rsrp_dbm: -90 }, { arfcn: 2, pci: 3, rsrp_dbm: -80 }] };
    assert.deepEqual(model.neighbours(info).map(cell => cell.pci), [3, 2, undefined]);
    assert.deepEqual(model.neighbours(undefined), []);
});

test('a strong but noisy signal gets another advice than a weak one', () => {
    assert.match(model.advice({ quality: { level: 2, limit: 'sinr' }, serving: { rsrp_dbm: -80 } }), /^Strong but noisy/);
    assert.match(model.advice({ quality: { level: 2, limit: 'sinr' }, serving: { rsrp_dbm: -110 } }), /^Noisy/);
    assert.match(model.advice({ quality: { level: 2, limit: 'rsrp' } }), /^Weak/);
    assert.equal(model.advice({ quality: { level: 4, limit: 'rsrp' } }), '');
    assert.equal(model.advice(undefined), '');
});

test('the newest month counts, of the card in the modem, or of all', () => {
    const cards = [{ month: '2026-11', rx_bytes: 1e6, tx_bytes: 0, present: true }, { month: '2026-11', rx_bytes: 5e6, tx_bytes: 0, present: false }];
    assert.equal(model.month({ usage: cards, limit_mb: 8 }).text, '1.0 MB of 8.0 MB');
    assert.equal(model.month({ usage: cards.slice(1), limit_mb: 8 }), null);
    const usage = [{ month: '2026-10', rx_bytes: 9e9, tx_bytes: 0 }, { month: '2026-11', rx_bytes: 1e6, tx_bytes: 1e6 }, { month: '2026-11', rx_bytes: 2e6, tx_bytes: 0 }];
    assert.equal(model.month({ usage, limit_mb: 8 }).text, '4.0 MB of 8.0 MB');
    assert.equal(model.month({ usage, limit_mb: 0 }).text, '4.0 MB');
    assert.equal(model.month({ usage, limit_mb: 8, month: '2026-12' }).text, '0 B of 8.0 MB');
    assert.equal(model.month({ usage: [], limit_mb: 8 }), null);
    assert.equal(model.month({ error: 'failed' }), null);
});

test('conversations have their newest message last, and the newest conversation first', () => {
    const list = model.conversations([{ number: '+431', time: '2026-01-01', text: 'a' }, { number: '432', time: '2026-01-03', unread: true }, { number: '431', time: '2026-01-02', text: 'b', unread: true }, { number: '433', type: 'international', time: '2025' }, {}]);
    assert.deepEqual(list.map(({ number, unread, messages }) => [number, unread, messages.length]), [['432', 1, 1], ['+431', 1, 2], ['+433', 0, 1], ['', 0, 1]]);
    assert.deepEqual(list[1].messages.map(({ text }) => text), ['a', 'b']);
    assert.deepEqual(model.conversations(undefined), []);
});

rows('an APN has its reason', given => words.apn_reason(given), [['network 23203', 'network 23203'], ['SPN <b>', 'SPN <b>'], ['set by the user', 'set by the user'], [undefined, '']]);
rows('an idle line costs', given => model.idle_cost(given), [['300', '1.2 MB'], ['0', '0 B'], ['', '0 B'], ['x', '0 B']]);
rows('a number is masked but for four digits', given => words.mask(given), [['861364041234567', '•••••••••••4567'], ['123', '123'], [undefined, '']]);
rows('a word is translated, and an unknown one stays', given => words.word(given), [['pin', 'wants its PIN'], ['toString', 'toString'], ['__proto__', '__proto__'], [7, '7'], [null, '']]);
