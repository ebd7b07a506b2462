'use strict';
'require modemctl.model as model';
'require modemctl.page as page';
'require modemctl.words as words';

// A card for each modem: is it online, and if not, why, and what can be done.

const h = page.h;
const signs = { good: '✓', busy: '…', bad: '✕', off: '○' };
const link_signs = { ok: '✓', bad: '✕', wait: '…', unknown: '?' };
const link_words = () => ({ ok: _('in order'), bad: _('not in order'), wait: _('in progress'), unknown: _('not known') });

function link_to(view, bus, text) {
	return h('a', { href: L.url('admin/modem', view) + location.search + '#' + encodeURIComponent(bus) }, text);
}

class Card {
	constructor(modem, rights) {
		Object.assign(this, { modem, rights, busy: false, progress: h('span', { 'aria-live': 'polite' }) });
		this.body = h('div', {}, h('p', { 'class': 'spinning' }, _('Loading…')));
		this.node = h('section', { 'class': 'cbi-section', 'data-bus': modem.bus, 'aria-label': page.name(modem) }, h('h3', {}, page.name(modem)), this.body, this.progress);
	}

	shows({ bus, usb, name }) {
		return this.modem.bus === bus && this.modem.usb === usb && this.modem.name === name;
	}

	async ask() {
		const bus = { bus: this.modem.bus };
		// What one of them cannot say does not hide the rest.
		const told = call => call.catch(error => {
			if (!error.word)
				throw error;
			return { error: error.word, message: error.message };
		});
		this.answers = await Promise.all([ 'info', 'status', 'usage' ].map(method => told(page.call(method, bus))));
		this.draw();
	}

	draw() {
		page.redraw(this.body, [ this.modem.held_by, this.answers, this.busy ], () => this.parts(...this.answers));
	}

	// One thing at a time: the buttons stay where they are, so that a second click meets nothing else, but do nothing.
	async act(method) {
		this.busy = true;
		this.draw();
		try {
			await (method === 'resume' ? page.call : page.job).call(page, method, { bus: this.modem.bus }, this.progress);
		} finally {
			this.busy = false;
			await page.guard(() => this.ask());
		}
	}

	button(label, method, kind) {
		return this.rights[method] ? Object.assign(page.button(label, () => this.act(method), kind, this.progress), { disabled: this.busy }) : '';
	}

	action(name) {
		const labels = { connect: _('Connect'), resume: _('Resume'), refresh: _('Ask the modem') };
		if (name === 'settings')
			return link_to('connection', this.modem.bus, _('Open the settings'));
		return labels[name] ? this.button(labels[name], name, 'cbi-button-action') : '';
	}

	signal(info) {
		const quality = info.quality;
		if (!quality)
			return '';
		const text = words.word(quality.words);
		const values = model.values(info.serving).filter(({ name }) => name !== 'rssi').map(({ label, text: value }) => `${label} ${value}`).join(', ');
		return [ page.bars(quality.level, _('Signal %d of 5').format(quality.level)), ' ', text, values ? h('div', { 'class': 'modemctl-small' }, values) : '',
			model.advice(info) ? h('div', { 'class': 'modemctl-small' }, model.advice(info)) : '' ];
	}

	parts(info, status, usage) {
		const state = model.state(info, status), month = model.month(usage), link = status.interface_status ?? info.interface ?? {};
		const states = link_words();
		return [
			this.modem.held_by ? h('p', {}, _('Another program, %s, has a port of this modem open.').format([].concat(this.modem.held_by).join(', '))) : '',
			h('p', { 'class': 'modemctl-state modemctl-' + state.tone, 'data-sign': signs[state.tone], 'data-tone': state.tone }, state.text),
			h('ul', { 'class': 'modemctl-chain', 'aria-label': _('The way to the Internet') }, model.chain(info, status).map(entry =>
				h('li', { 'data-state': entry.state }, h('span', { 'aria-hidden': 'true' }, link_signs[entry.state], ' '), entry.name, ' ',
					entry.text || h('span', { 'class': 'modemctl-small' }, states[entry.state])))),
			page.facts([
				[ _('Operator'), model.operator(info) ],
				[ _('Technology'), model.technology(info) ],
				[ _('Signal'), this.signal(info) ],
				[ _('Bands'), model.carrier_text(info) ],
				[ _('Address'), [].concat(link.ipv4 ?? [], link.ipv6 ?? []).join(', ') ],
				[ _('This month'), month ? [ month.text, month.limit ? [ ' ', h('meter', { min: 0, max: 1, high: 0.9, value: month.share, 'aria-label': _('Part of the limit') }) ] : '' ].flat() : '' ],
				[ _('Measured'), model.is_old(info) ? _('%s ago').format(words.seconds(info.age ?? info.age_s)) : '' ],
			]),
			page.row(this.action(state.action), info.error === 'no-snapshot' && state.action !== 'refresh' ? this.action('refresh') : '',
				state.tone === 'good' ? this.button(_('Disconnect'), 'disconnect') : '',
				link_to('signal', this.modem.bus, _('Signal')), link_to('diagnostics', this.modem.bus, _('Diagnostics'))),
		];
	}
}

return page.view([ 'connect', 'disconnect', 'resume', 'refresh' ], [ 'modems', 'info', 'status', 'usage' ], rights => {
	const body = h('div', { 'class': 'modemctl-cards' });
	let cards = [];
	page.repeat(async () => {
		const modems = await page.modems();
		// What else changes of a modem, such as a program that has a port of it for a while, leaves the card and its job.
		cards = modems.map(modem => Object.assign(cards.find(card => card.shows(modem)) ?? new Card(modem, rights), { modem }));
		page.redraw(body, modems.map(({ bus, usb, name }) => [ bus, usb, name ]), () => cards.length ? cards.map(card => card.node) : page.none());
		// One after the other: with nine modems the first card does not wait for the last.
		for (const card of cards)
			await card.ask();
	}, 5);
	return page.whole(_('Modems'), body);
});
