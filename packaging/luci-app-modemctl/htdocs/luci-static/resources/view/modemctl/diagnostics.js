'use strict';
'require modemctl.page as page';
'require modemctl.words as words';

// What happened, what is missing on this router, and what helps to find a fault.

const h = page.h;

class Diagnostics {
	constructor(modem, rights) {
		Object.assign(this, { modem, bus: { bus: modem.bus }, rights });
		this.watch = h('div', {});
		this.log = h('div', {});
		this.own = h('div', {});
		this.progress = page.place();
		this.node = h('div', {},
			page.section(_('Watch'), this.watch,
				rights.restart ? page.careful(_('Restart the modem'), _('Offline for a minute: restart now?'), () => this.restart(), this.progress) : '', this.progress),
			page.section(_('What happened'), this.log),
			rights.at ? this.console() : '',
			page.section(_('For a report'), this.own, rights.record ? page.button(_('Record what the modem says'), () => this.record(), '', this.progress) : '',
				rights.identity ? this.identity() : ''));
	}

	async ask() {
		const [ status, { lines } ] = await Promise.all([ page.call('status', this.bus), page.call('log', this.bus) ]);
		page.redraw(this.log, lines, () => lines?.length ? page.table(_('What happened'), [ _('Time'), _('Event') ], [ ...lines ].reverse().map(line =>
			[ line.time ? words.time(line.time) : _('%s after the start').format(words.seconds(line.uptime_s ?? 0)), words.event(line.text) ])) : h('p', {}, _('Nothing yet.')));
		page.redraw(this.watch, status, () => this.buttons(status));
		page.redraw(this.own, this.modem, () => this.facts());
	}

	buttons(status) {
		const paused = status.paused_s > 0;
		const button = (label, method, given, kind) => this.rights[method] ? page.button(label, async () => {
			await page.call(method, { ...this.bus, ...given });
			await page.guard(() => this.ask());
		}, kind, this.progress) : '';
		return [
			h('p', {}, status.state ? _('State: %s').format(words.state_text(status.state, status.reason, '%s (%s)')) : _('Nothing watches this modem.'),
				paused ? ', ' + _('Paused for %s more').format(words.seconds(status.paused_s)) : ''),
			status.budgets ? h('details', { open: this.watch.querySelector('details')?.open ? '' : null }, h('summary', {}, _('What may still be tried this hour')),
				page.table(_('What may still be tried this hour'), [ _('Step'), _('Tries left') ], Object.entries(status.budgets).map(([ stage, count ]) => [ words.word(stage), count ]))) : '',
			page.row(paused ? button(_('Resume'), 'resume', {}, 'cbi-button-action')
				: status.state ? button(_('Pause for 30 minutes'), 'pause', { minutes: 30 }) : ''),
		];
	}

	async restart() {
		const { back_after_s } = await page.job('restart', this.bus, this.progress);
		page.fill(this.progress, _('The modem is back after %d s.').format(back_after_s));
	}

	facts() {
		return page.facts([ [ _('Model'), this.modem.name ], [ _('USB'), this.modem.usb ], [ _('Bus'), this.modem.bus ], [ _('Ports'), (this.modem.ports ?? []).join(' ') ],
			[ _('Interface'), this.modem.interface ] ]);
	}

	console() {
		const command = h('input', { id: 'modemctl-at', 'class': 'cbi-input-text', value: 'ATI', autocomplete: 'off', spellcheck: 'false', maxlength: 253 });
		const reply = h('pre', { role: 'log', tabindex: 0, 'aria-label': _('Reply') });
		const progress = page.place();
		const send = page.button(_('Send'), async () => {
			page.fill(reply);
			const said = command.value.trim();
			if (!/^at/i.test(said))
				throw new Error(_('A command begins with AT.'));
			const result = await page.job('at', { ...this.bus, command: said }, progress);
			const text = String(result.reply ?? '').replace(/\r/g, '').replace(/\n+/g, '\n').trim();
			page.fill(reply, text);
			const failed = /^(ERROR|\+CM[ES] ERROR.*)$/m.exec(text);
			page.tell(progress, failed ? _('The modem refused the command: %s').format(failed[0]) : text ? '' : _('The modem did not answer.'));
		}, 'cbi-button-action', progress);
		command.addEventListener('keydown', event => event.key === 'Enter' && send.click());
		return page.section(_('AT console'), h('p', { 'class': 'modemctl-small' }, _('A command goes to the modem as it is. Some change it for ever.')),
			page.row(h('label', { 'for': 'modemctl-at' }, _('Command')), command, send), progress, reply);
	}

	async record() {
		const { transcript } = await page.job('record', this.bus, this.progress);
		const address = URL.createObjectURL(new Blob([ transcript ], { type: 'text/plain' }));
		h('a', { href: address, download: `modem-${this.modem.name}.txt` }).click();
		setTimeout(() => URL.revokeObjectURL(address), 10000);
		page.fill(this.progress, _('The recording was saved. Numbers of card and modem are masked in it.'));
	}

	// Shown only when somebody asks: a screen is seen by more people than its owner.
	identity() {
		const place = h('div', {});
		const show = page.button(_('Show the numbers of modem and card'), async () => {
			const identity = await page.call('identity', this.bus);
			const rows = [ [ 'IMEI', identity.imei ], [ 'IMSI', identity.imsi ], [ 'ICCID', identity.iccid ], [ _('Number'), identity.number ] ].filter(([ , value ]) => value);
			page.fill(place, page.facts(rows.map(([ name, value ]) => {
				const text = h('span', {}, words.mask(value));
				return [ name, [ text, ' ', h('button', { type: 'button', 'class': 'btn cbi-button', 'aria-label': _('Show %s').format(name), click: event => {
					page.fill(text, value);
					event.currentTarget.remove();
				} }, _('Show')) ] ];
			})));
		}, '', place);
		return h('div', {}, page.row(show), place);
	}
}

// Who sees no modem wants this most. It is asked for once: packages come and go rarely.
function missing_parts() {
	const place = h('div', {});
	page.guard(async () => {
		const { missing } = await page.call('missing');
		page.fill(place, missing?.length ? page.table(_('Missing on this router'), [ _('What'), _('Why it matters') ], missing.map(row => [ row.what, words.word(row.why) ]))
			: h('p', {}, _('Nothing is missing.')));
	});
	return page.section(_('Missing on this router'), place);
}

return page.view([ 'at', 'record', 'restart', 'identity', 'pause', 'resume' ], [ 'modems', 'status', 'log', 'missing' ], rights => page.frame(_('Diagnostics'), 5, modem => new Diagnostics(modem, rights), missing_parts()), page.chosen());
