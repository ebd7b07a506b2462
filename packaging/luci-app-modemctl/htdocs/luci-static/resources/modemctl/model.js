'use strict';
'require baseclass';
'require modemctl.words as words';

// The values behind the views, computed from what the router says: no document and no network here, so that it can be tested alone.

// Good from the second number, poor below the first.
const levels = {
	rsrp: { unit: 'dBm', poor: -105, good: -95, least: -140, most: -44 },
	rsrq: { unit: 'dB', poor: -15, good: -12, least: -20, most: -3 },
	sinr: { unit: 'dB', poor: 3, good: 10, least: -20, most: 30 },
	rssi: { unit: 'dBm', poor: -90, good: -80, least: -113, most: -51 },
	rscp: { unit: 'dBm', poor: -90, good: -80, least: -120, most: -25 },
	ecio: { unit: 'dB', poor: -12, good: -9, least: -24, most: 0 },
};

const key_of = { rsrp: 'rsrp_dbm', rsrq: 'rsrq_db', sinr: 'sinr_db', rssi: 'rssi_dbm', rscp: 'rscp_dbm', ecio: 'ecio_db' };

const registered = [ 'home', 'roaming', 'registered' ];

// GSM 03.38: characters of one unit, and those that need an escape before them.
const gsm = new Set('@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞÆæßÉ !"#¤%&\'()*+,-./0123456789:;<=>?¡ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§¿abcdefghijklmnopqrstuvwxyzäöñüà');
const gsm_escaped = new Set('\f^{}\\[~]|€');

// Units of each character, filled into parts: none is cut in two.
function fill(sizes, alone, each) {
	const total = sizes.reduce((sum, size) => sum + size, 0);
	if (total <= alone)
		return { parts: total ? 1 : 0, left: alone - total };
	let parts = 1, used = 0;
	for (const size of sizes) {
		if (used + size > each) {
			parts++;
			used = 0;
		}
		used += size;
	}
	return { parts, left: each - used };
}

function is_number(value) {
	return typeof value === 'number' && Number.isFinite(value);
}

return baseclass.extend({
	// The values of a cell, in the order of the table above: { name, label, value, unit, text, good, share, low, high (0 to 1) }.
	values(cell) {
		return Object.keys(levels).filter(name => is_number(cell?.[key_of[name]])).map(name => {
			const value = cell[key_of[name]], { unit, poor, good, least, most } = levels[name];
			const share = number => Math.min(1, Math.max(0, (number - least) / (most - least)));
			return { name, label: name.toUpperCase(), value, unit, good, text: `${value}\u00a0${unit}`,
				share: share(value), low: share(poor), high: share(good) };
		});
	},

	// A cell or carrier as cells of a table.
	cell_row(cell) {
		const text = value => value === undefined ? '–' : String(value);
		return [ text(cell.rat), text(cell.band), text(cell.bandwidth_mhz), text(cell.arfcn), text(cell.pci ?? cell.psc ?? cell.bsic),
			...[ 'rsrp_dbm', 'rsrq_db', 'sinr_db' ].map(key => text(cell[key])) ];
	},

	// The neighbours with the strongest first; those that were not measured last. Many modems list the cells in use, too.
	neighbours(info) {
		const strength = cell => cell.rsrp_dbm ?? cell.rscp_dbm ?? cell.rssi_dbm ?? -999;
		const used = this.carriers(info).map(cell => `${cell.arfcn}/${cell.pci}`);
		return (info?.neighbours ?? []).filter(cell => !used.includes(`${cell.arfcn}/${cell.pci}`)).sort((one, other) => strength(other) - strength(one));
	},

	// What a person can do about the signal.
	advice(info) {
		const quality = info?.quality, cell = info?.serving ?? {};
		if (!quality || !is_number(quality.level) || quality.level >= 4)
			return '';
		if (quality.limit === 'sinr' || quality.limit === 'rsrq' || quality.limit === 'ecio') {
			const strong = (cell.rsrp_dbm ?? -200) >= levels.rsrp.good || (cell.rscp_dbm ?? -200) >= levels.rscp.good;
			return strong
				? _('Strong but noisy: another direction of the antenna or another cell helps more than a bigger antenna.')
				: _('Noisy: turn the antenna away from other cells, or try other bands.');
		}
		return quality.level ? _('Weak: a place near a window or an antenna outside helps.') : '';
	},

	operator(info) {
		const network = info?.network ?? {};
		return network.operator_name || (network.mcc ? `${network.mcc}-${network.mnc}` : '');
	},

	technology(info) {
		const names = { 'NR5G-SA': '5G', 'NR5G-NSA': '5G + 4G', 'LTE': '4G (LTE)', 'WCDMA': '3G', 'GSM': '2G', 'eMTC': 'LTE-M' };
		const technology = info?.network?.technology;
		if (!technology || technology === 'none')
			return '';
		const name = names[technology] ?? technology;
		return technology === 'LTE' && this.carriers(info).length > 1 ? '4G+ (LTE)' : name;
	},

	// The carriers in use: { role, band, bandwidth_mhz, values }. A modem without a list has its serving cell.
	carriers(info) {
		const listed = (info?.carriers ?? []).filter(carrier => carrier.active !== false);
		if (listed.length)
			return listed;
		const serving = info?.serving;
		const cells = serving?.band ? [ { ...serving, role: 'PCC', bandwidth_mhz: serving.bandwidth_dl_mhz } ] : [];
		if (info?.nr?.band)
			cells.push({ ...info.nr, role: 'SCC', bandwidth_mhz: info.nr.bandwidth_dl_mhz });
		return cells;
	},

	carrier_text(info) {
		const carriers = this.carriers(info);
		const width = carriers.reduce((sum, carrier) => sum + (carrier.bandwidth_mhz ?? 0), 0);
		const bands = carriers.map(carrier => carrier.band ?? '?').join(' + ');
		return width ? _('%s, %s MHz').format(bands, Math.round(width * 10) / 10) : bands;
	},

	// The registration in words, with the operator's name if there is one.
	network_text(info) {
		const registration = info?.network?.registration;
		if (!registration)
			return '';
		const text = words.word(registration === 'registered' ? 'home' : registration), operator = this.operator(info);
		return registered.includes(registration) && operator ? _('%s, %s').format(operator, text) : text;
	},

	sim_text(info) {
		const sim = info?.sim ?? {};
		const text = words.word(sim.state);
		if (sim.state === 'pin' && is_number(sim.pin_tries))
			return _('%s (%d tries left)').format(text, sim.pin_tries);
		if (sim.state === 'puk' && is_number(sim.puk_tries))
			return _('%s (%d tries left)').format(text, sim.puk_tries);
		return text;
	},

	// How long the snapshot is from now: it says nothing any more after some minutes.
	is_old(info) {
		return (info?.age ?? info?.age_s ?? 0) > 300;
	},

	// The way to the Internet, link by link, as far as it is known: [{ name, state: ok|bad|wait|unknown, text }].
	chain(info, status) {
		const link = status?.interface_status ?? info?.interface;
		const watch = status?.state, sim = info?.sim?.state, registration = info?.network?.registration;
		const silent = info?.error || (status?.reason === 'the modem does not answer' && watch !== 'online');
		const addresses = [].concat(link?.ipv4 ?? [], link?.ipv6 ?? []);
		const chain = [
			watch === 'absent' ? [ _('Modem'), 'bad', _('not plugged in') ]
				: info?.error === 'no-snapshot' ? [ _('Modem'), 'unknown', _('has not answered yet') ]
				: silent ? [ _('Modem'), 'bad', _('does not answer') ]
				: [ _('Modem'), info?.modem || info?.sim ? 'ok' : 'unknown', info?.modem?.model ?? '' ],
			[ _('SIM card'), !sim ? 'unknown' : sim === 'ready' ? 'ok' : sim === 'busy' ? 'wait' : 'bad', this.sim_text(info) ],
			[ _('Network'), !registration || registration === 'unknown' ? 'unknown' : registered.includes(registration) ? 'ok' : registration === 'searching' ? 'wait' : 'bad', this.network_text(info) ],
			[ _('Address'), !link ? 'unknown' : link.state === 'up' && addresses.length ? 'ok' : link.state === 'pending' ? 'wait' : 'bad',
				addresses.join(', ') || words.word(link?.state) ],
			[ _('Internet'), watch === 'online' ? 'ok' : [ 'suspect', 'recovering', 'slow' ].includes(watch) ? 'bad' : watch === 'starting' ? 'wait' : 'unknown',
				watch === 'online' ? _('answers') : '' ],
		].map(([ name, state, text ]) => ({ name, state, text }));
		// Nothing is known behind a broken link.
		const broken = chain.findIndex(entry => entry.state === 'bad');
		return broken < 0 ? chain : chain.map((entry, i) => i > broken && entry.state !== 'ok' ? { ...entry, state: 'unknown', text: '' } : entry);
	},

	// { tone: good|busy|bad|off, text, action: connect|resume|settings|refresh|'' }
	state(info, status) {
		const link = status?.interface_status ?? info?.interface, watch = status?.state, reason = words.reason_text(status?.reason);
		const because = text => reason ? _('%s: %s').format(text, reason) : text;
		const since = is_number(status?.since_s) ? status.since_s : link?.uptime_s;
		if (status?.paused_s > 0)
			return { tone: 'off', text: _('Paused for %s more').format(words.seconds(status.paused_s)), action: 'resume' };
		const online = (text, by) => this.technology(info) ? by.format(this.technology(info), words.seconds(since ?? 0)) : text.format(words.seconds(since ?? 0));
		const states = {
			off: [ 'off', because(_('Not online')), 'connect' ],
			absent: [ 'bad', _('Not online: no modem is plugged in') ],
			blocked: [ 'bad', because(_('Not online')), /PIN|roaming|limit|settings/.test(status?.reason) ? 'settings' : '' ],
			'no-service': [ 'busy', _('No network: the modem is searching') ],
			starting: [ 'busy', _('Connecting') ],
			online: [ 'good', online(_('Online for %s'), _('Online by %s for %s')) ],
			suspect: [ 'busy', because(_('The connection is being checked')) ],
			recovering: [ 'busy', because(_('Reconnecting')) ],
			slow: [ 'bad', because(_('Not online, the next try is later')), 'connect' ],
		};
		if (Object.hasOwn(states, watch)) {
			const [ tone, text, action = '' ] = states[watch];
			return { tone, text, action };
		}
		if (info?.sim?.state && info.sim.state !== 'ready')
			return { tone: 'bad', text: _('Not online: the SIM card %s').format(this.sim_text(info)), action: info.sim.state === 'pin' ? 'settings' : '' };
		if (link?.state === 'up')
			return { tone: 'good', text: online(_('Connected for %s'), _('Connected by %s for %s')), action: '' };
		if (info?.error === 'no-snapshot')
			return { tone: 'off', text: _('Nothing is known yet'), action: 'refresh' };
		if (link?.state === 'pending')
			return { tone: 'busy', text: _('Connecting'), action: '' };
		if (link?.error)
			return { tone: 'bad', text: _('Not online: %s').format([].concat(link.error).join(', ')), action: 'connect' };
		if (info?.error)
			return { tone: 'bad', text: _('The modem does not answer'), action: 'refresh' };
		return { tone: 'off', text: info?.network ? _('Not online: %s').format(this.network_text(info)) : _('Not online'), action: 'connect' };
	},

	// The data of the current month and its limit: { used, limit, share, text }; null if nothing was counted. The list has all cards
	// of the router; as long as nobody knows which one is in the modem, all of them count.
	month({ usage, limit_mb, month }) {
		const rows = (usage ?? []).filter(row => is_number(row.rx_bytes) && row.present !== false);
		if (!rows.length)
			return null;
		// A router without a date names no month.
		const current = month ?? rows.reduce((newest, row) => (row.month ?? '') > newest ? row.month : newest, '');
		const used = rows.filter(row => (row.month ?? '') === current).reduce((sum, row) => sum + row.rx_bytes + (row.tx_bytes ?? 0), 0);
		const limit = (limit_mb ?? 0) * 1e6;
		return { used, limit, share: limit ? Math.min(1, used / limit) : 0,
			text: limit ? _('%s of %s').format(words.bytes(used), words.bytes(limit)) : words.bytes(used) };
	},

	// What an idle line costs: a question and an answer of 144 bytes each time.
	idle_cost(idle_s) {
		const idle = Number(idle_s);
		return idle > 0 ? words.bytes(144 * 30 * 86400 / idle) : words.bytes(0);
	},

	// Lines of a plot for samples with a "time" in seconds: { lines: [[x, y]...], marks, ticks, y(value) }. A gap in time or a
	// missing value ends a line.
	plot(samples, name, { from, to, width, height, least, most, gap = 180 }) {
		const key = key_of[name];
		const x = time => Math.round((time - from) / (to - from) * width * 10) / 10;
		const y = value => Math.round((1 - (Math.min(most, Math.max(least, value)) - least) / (most - least)) * height * 10) / 10;
		const lines = [], marks = [];
		let line = null, before = null;
		for (const sample of samples) {
			if (!is_number(sample.time) || sample.time < from || sample.time > to)
				continue;
			const value = sample[key];
			if (before && is_number(sample.cell_id) && is_number(before.cell_id) && sample.cell_id !== before.cell_id)
				marks.push({ x: x(sample.time), what: 'cell', time: sample.time });
			if (before && sample.state !== before.state && sample.state !== 'online')
				marks.push({ x: x(sample.time), what: 'state', time: sample.time, text: sample.state });
			if (!is_number(value))
				line = null;
			else if (line && sample.time - before.time <= gap)
				line.push([ x(sample.time), y(value) ]);
			else
				lines.push(line = [ [ x(sample.time), y(value) ] ]);
			before = sample;
		}
		return { lines, marks, y };
	},

	// Samples with a time by the clock of the browser, which is now. That of the router may be wrong, or not set yet; what it counts
	// since its start is right.
	timed(samples, uptime_s, now) {
		const newest = samples[samples.length - 1];
		const by_start = sample => now - Math.max(0, (uptime_s ?? newest.uptime_s) - sample.uptime_s);
		const ahead = is_number(newest?.time) ? by_start(newest) - newest.time : 0;
		return samples.map(sample => ({ ...sample, time: is_number(sample.time) ? sample.time + ahead : by_start(sample) }));
	},

	// Round values between least and most for the axis: at most five.
	ticks(least, most) {
		const step = [ 5, 10, 20, 50, 100 ].find(size => (most - least) / size <= 5) ?? 200;
		const ticks = [];
		for (let value = Math.ceil(least / step) * step; value <= most; value += step)
			ticks.push(value);
		return ticks;
	},

	// The least, the newest and the most of a value: for those who do not see the plot.
	summary(samples, name) {
		const values = samples.map(sample => sample[key_of[name]]).filter(is_number);
		if (!values.length)
			return null;
		return { least: values.reduce((one, other) => Math.min(one, other)), most: values.reduce((one, other) => Math.max(one, other)), last: values[values.length - 1] };
	},

	// The parts of a text message: { alphabet: gsm|ucs2, units, parts, left, costly: { character, why } | null }.
	message_cost(text) {
		const characters = Array.from(String(text).replace(/\r\n?/g, '\n'));
		const foreign = characters.find(character => !gsm.has(character) && !gsm_escaped.has(character));
		if (foreign === undefined) {
			const sizes = characters.map(character => gsm.has(character) ? 1 : 2);
			const escaped = characters.find(character => gsm_escaped.has(character));
			return { alphabet: 'gsm', units: sizes.reduce((sum, size) => sum + size, 0), ...fill(sizes, 160, 153),
				costly: escaped === undefined ? null : { character: escaped, why: _('counts as two characters') } };
		}
		const sizes = characters.map(character => character.length);
		return { alphabet: 'ucs2', units: sizes.reduce((sum, size) => sum + size, 0), ...fill(sizes, 70, 67),
			costly: { character: foreign, why: _('is not in the short alphabet: a part has 70 characters instead of 160') } };
	},

	// A number without the plus, which the SMS daemon leaves out in one box and keeps in another.
	plain_number(number) {
		return String(number ?? '').replace(/^\+/, '');
	},

	// Messages by the number at the other end, those with the newest message first; the messages of each from old to new.
	conversations(messages) {
		const by_number = new Map();
		for (const message of messages ?? []) {
			const key = this.plain_number(message.number);
			if (!by_number.has(key))
				by_number.set(key, { key, number: key, messages: [], unread: 0 });
			const conversation = by_number.get(key);
			conversation.messages.push(message);
			if (message.type === 'international' || message.number?.length > key.length)
				conversation.number = '+' + key;
			conversation.unread += message.unread ? 1 : 0;
		}
		const time = message => String(message.time ?? ''), by_time = (one, other) => time(one) < time(other) ? -1 : time(one) > time(other) ? 1 : 0;
		const list = Array.from(by_number.values());
		for (const conversation of list) {
			conversation.messages.sort(by_time);
			conversation.last = conversation.messages[conversation.messages.length - 1];
		}
		return list.sort((one, other) => by_time(other.last, one.last));
	},

	is_number_to_send(number) {
		return /^\+?[0-9]{3,20}$/.test(number);
	},
});
