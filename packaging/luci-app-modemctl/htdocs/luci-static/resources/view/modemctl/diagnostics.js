'use strict';
'require view';
'require modemctl.model as model';
'require modemctl.page as page';

// What happened, what is missing on this router, and what helps to find a fault.

const h = page.h;

class Diagnostics {
	constructor(modem, rights) {
		Object.assign(this, { modem, bus: { bus: modem.bus }, rights, seen: '' });
		this.watch = h('div', {});
		this.log = h('div', {});
		this.missing = h('div', {});
		this.progress = h('p', { 'aria-live': 'polite' });
		this.node = h('div', {},
			page.section(_('Watch'), this.watch, this.progress),
			page.section(_('What happened'), this.log),
			rights.at ? this.console() : '',
			page.section(_('For a report'), this.facts(), rights.record ? page.button(_('Record what the modem says'), () => this.record()) : '',
				rights.identity ? this.identity() : ''),
			page.section(_('Missing on this router'), this.missing));
	}

	async ask() {
		const answers = await Promise.all([ page.call('status', this.bus), page.call('log', { ...this.bus, lines: 50 }), page.call('missing') ]);
		const seen = JSON.stringify(answers);
		if (seen === this.seen || this.watch.contains(document.activeElement))
			return;
		this.seen = seen;
		const [ status, { lines }, { missing } ] = answers;
		page.fill(this.log, lines?.length ? page.table(_('What happened'), [ _('Time'), _('Event') ], [ ...lines ].reverse().map(line =>
			[ line.time ? model.time(line.time) : _('%s after the start').format(model.seconds(line.uptime_s ?? 0)), model.event(line.text) ])) : h('p', {}, _('Nothing yet.')));
		page.fill(this.missing, missing?.length ? page.table(_('Missing on this router'), [ _('What'), _('Why it matters') ], missing.map(row => [ row.what, model.word(row.why) ]))
			: h('p', {}, _('Nothing is missing.')));
		page.fill(this.watch, this.buttons(status));
	}

	buttons(status) {
		const paused = status.paused_s > 0;
		const act = (method, given) => async button => {
			button.blur();
			await page.call(method, { ...this.bus, ...given }).catch(error => page.tell(this.progress, error));
			await page.guard(() => this.ask());
		};
		return [
			h('p', {}, status.state ? _('State: %s').format(model.word(status.state)) : _('Nothing watches this modem.'), status.reason ? ` (${model.reason(status.reason)})` : '',
				paused ? ', ' + _('Paused for %s more').format(model.seconds(status.paused_s)) : ''),
			status.budgets ? h('details', {}, h('summary', {}, _('What may still be tried this hour')), page.table(_('What may still be tried this hour'), [ _('Step'), _('Tries left') ],
				Object.entries(status.budgets).map(([ stage, count ]) => [ model.word(stage), count ]))) : '',
			h('div', { 'class': 'modemctl-row' },
				paused && this.rights.resume ? page.button(_('Resume'), act('resume'), 'cbi-button-action') : '',
				status.state && !paused && this.rights.pause ? page.button(_('Pause for 30 minutes'), act('pause', { minutes: 30 })) : '',
				this.rights.restart ? page.button(_('Restart the modem'), button => this.restart(button), 'cbi-button-negative') : ''),
		];
	}

	async restart(button) {
		if (button.dataset.sure !== 'yes') {
			button.dataset.sure = 'yes';
			return page.fill(button, _('Offline for a minute: restart now?'));
		}
		button.blur();
		try {
			const { back_after_s } = await page.job('restart', this.bus, this.progress);
			page.fill(this.progress, _('The modem is back after %d s.').format(back_after_s));
		} catch (error) {
			page.tell(this.progress, error);
		}
	}

	facts() {
		return page.facts([ [ _('Model'), this.modem.name ], [ _('USB'), this.modem.usb ], [ _('Bus'), this.modem.bus ], [ _('Ports'), (this.modem.ports ?? []).join(' ') ],
			[ _('Interface'), this.modem.interface ] ]);
	}

	console() {
		const command = h('input', { id: 'modemctl-at', 'class': 'cbi-input-text', value: 'ATI', autocomplete: 'off', spellcheck: 'false', maxlength: 253 });
		const reply = h('pre', { role: 'log', tabindex: 0, 'aria-label': _('Reply') });
		const progress = h('p', { 'aria-live': 'polite' });
		const send = page.button(_('Send'), async () => {
			page.fill(reply);
			try {
				const result = await page.job('at', { ...this.bus, command: command.value.trim() }, progress);
				const text = String(result.reply ?? '').replace(/\r/g, '').replace(/\n+/g, '\n').trim();
				page.fill(reply, text);
				const failed = /^(ERROR|\+CM[ES] ERROR.*)$/m.exec(text);
				page.tell(progress, failed ? _('The modem refused the command: %s').format(failed[0]) : text ? '' : _('The modem did not answer.'));
			} catch (error) {
				page.tell(progress, error);
			}
		}, 'cbi-button-action');
		command.addEventListener('keydown', event => event.key === 'Enter' && send.click());
		return page.section(_('AT console'), h('p', { 'class': 'modemctl-small' }, _('A command goes to the modem as it is. Some change it for ever.')),
			h('div', { 'class': 'modemctl-row' }, h('label', { 'for': 'modemctl-at' }, _('Command')), command, send), progress, reply);
	}

	async record() {
		try {
			const { transcript } = await page.job('record', this.bus, this.progress);
			const address = URL.createObjectURL(new Blob([ transcript ], { type: 'text/plain' }));
			h('a', { href: address, download: `modem-${this.modem.name}.txt` }).click();
			setTimeout(() => URL.revokeObjectURL(address), 10000);
			page.fill(this.progress, _('The recording was saved. Numbers of card and modem are masked in it.'));
		} catch (error) {
			page.tell(this.progress, error);
		}
	}

	// Shown only when somebody asks: a screen is seen by more people than its owner.
	identity() {
		const place = h('div', {});
		const show = page.button(_('Show the numbers of modem and card'), () => page.guard(async () => {
			const identity = await page.call('identity', this.bus).catch(error => {
				page.tell(place, error);
				return null;
			});
			if (!identity)
				return;
			const rows = [ [ 'IMEI', identity.imei ], [ 'IMSI', identity.imsi ], [ 'ICCID', identity.iccid ], [ _('Number'), identity.number ] ].filter(([ , value ]) => value);
			page.fill(place, page.facts(rows.map(([ name, value ]) => {
				const text = h('span', {}, model.mask(value));
				return [ name, [ text, ' ', h('button', { type: 'button', 'class': 'btn cbi-button', 'aria-label': _('Show %s').format(name), click: event => {
					page.fill(text, value);
					event.currentTarget.remove();
				} }, _('Show')) ] ];
			})));
		}));
		return h('div', {}, h('div', { 'class': 'modemctl-row' }, show), place);
	}
}

return view.extend({
	handleSave: null,
	handleSaveApply: null,
	handleReset: null,

	load() {
		return page.rights('at', 'record', 'restart', 'identity', 'pause', 'resume');
	},

	render(rights) {
		return page.frame(_('Diagnostics'), 5, modem => new Diagnostics(modem, rights));
	},
});
