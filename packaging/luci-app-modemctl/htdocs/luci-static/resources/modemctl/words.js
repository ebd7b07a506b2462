'use strict';
'require baseclass';

// The words of the page: how it writes what the router and the modem say, numbers and times. It knows nothing of where they come from.

// The watch and the modem speak English words. Those that need a better text are here; the others are translated as they are,
// and one that nobody knows is shown as it came.
function word(text) {
	const words = {
		'not wanted': _('it was switched off'),
		'the PIN is not configured': _('the SIM card wants its PIN'),
		'off': _('switched off'),
		'absent': _('not plugged in'),
		'blocked': _('waits for a person'),
		'no-service': _('no network'),
		'starting': _('connecting'),
		'suspect': _('being checked'),
		'slow': _('rests before the next try'),
		'refresh': _('renews the address'),
		'reconnect': _('connects again'),
		'radio': _('restarts the radio'),
		'modem': _('restarts the modem'),
		'usb': _('restarts the USB port'),
		'power': _('switches the power off and on'),
		'router': _('restarts the router'),
		'pin': _('wants its PIN'),
		'puk': _('wants its PUK'),
		'puk2': _('wants its PUK2'),
		'network_lock': _('is locked to another network'),
		'not_inserted': _('is missing'),
		'failure': _('is broken'),
		'busy': _('is busy'),
		'error': _('cannot be read'),
		'home': _('registered'),
		'roaming': _('registered, roaming'),
		'denied': _('the network refuses it'),
		'not_registered': _('not registered'),
		'unknown': _('not known'),
		'pending': _('connecting'),
		'auto': _('automatic'),
		'other': _('another choice of the modem'),
		'the SMS daemon did not take the message; is smstools3 installed?': _('The SMS daemon did not take the message. Is smstools3 installed?'),
	};
	return Object.hasOwn(words, text) ? words[text] : translated(String(text ?? ''));
}

// By another name, since it takes no literal: whoever collects the page's texts finds these in the program.
const translated = _;

// A reason of the watch in words. That of a step has the step and what is left of its budget:
// "reconnect: no name server answers, 4 of 6 left this hour".
function reason_text(reason) {
	const [ , stage, why, left ] = /^(refresh|reconnect|radio|modem|usb|power|router)(?:: (.*?))?, (\d+) of \d+ left this hour$/.exec(reason ?? '') ?? [];
	return stage ? [ word(stage), why && word(why), _('%d more tries this hour').format(left) ].filter(Boolean).join(', ') : word(reason);
}

return baseclass.extend({
	word,

	reason_text,

	seconds(value) {
		const total = Math.max(0, Math.floor(value));
		const days = Math.floor(total / 86400), hours = Math.floor(total / 3600) % 24, minutes = Math.floor(total / 60) % 60;
		if (days)
			return _('%d d %d h').format(days, hours);
		if (hours)
			return _('%d h %d min').format(hours, minutes);
		return minutes ? _('%d min').format(minutes) : _('%d s').format(total);
	},

	bytes(value) {
		if (!Number.isFinite(value) || value < 0)
			return '–';
		const units = [ 'B', 'kB', 'MB', 'GB', 'TB' ];
		let unit = 0;
		while (value >= 999.5 && unit < units.length - 1) {
			value /= 1000;
			unit++;
		}
		return '%s %s'.format(unit && value < 99.95 ? value.toFixed(1) : Math.round(value), units[unit]);
	},

	// "2026-11-22 08:00" by the browser's clock.
	time(unix_seconds) {
		const date = new Date(unix_seconds * 1000), two = number => String(number).padStart(2, '0');
		return '%s-%s-%s %s:%s'.format(date.getFullYear(), two(date.getMonth() + 1), two(date.getDate()), two(date.getHours()), two(date.getMinutes()));
	},

	// Why an APN is listed: "network 23203", "SPN Example", or a sentence.
	apn_reason(why) {
		const [ , network ] = /^network (\d+)$/.exec(why) ?? [];
		return network ? _('network %s').format(network) : word(why);
	},

	// A state of the watch and its reason. Who reads "switched off" needs no reason.
	state_text(state, reason, both) {
		return reason && reason !== 'not wanted' ? both.format(word(state), reason_text(reason)) : word(state);
	},

	// A line of the watch's log in words: "starting -> online: the network answers".
	event(line) {
		const [ , , to, rest ] = /^([a-z-]+) -> ([a-z-]+)(?:: (.*))?$/.exec(line) ?? [];
		if (!to)
			return String(line ?? '');
		return this.state_text(to, rest, _('%s: %s'));
	},

	// The last four characters stay: enough to tell two cards apart.
	mask(text) {
		const plain = String(text ?? '');
		return plain.length > 4 ? '•'.repeat(plain.length - 4) + plain.slice(-4) : plain;
	},

	// Why a job failed, from its exit status.
	job_error(status) {
		return { 1: _('No modem is there.'), 2: _('The modem does not answer.'), 3: _('Another program uses the modem. Try again.'),
			4: _('The modem refused it, or found no network; nothing was changed.'), 64: _('An argument was not understood.'),
			124: _('It took too long and was ended.'), '-1': _('It was ended from outside.') }[status] ?? _('It failed (status %d).').format(status);
	},
});
