'use strict';
'require baseclass';
'require rpc';
'require dom';
'require poll';
'require modemctl.model as model';

// What the views share: the calls to the router, jobs, the choice of the modem, and elements.

const methods = {
	modems: [], info: [ 'bus' ], identity: [ 'bus' ], status: [ 'bus' ], history: [ 'bus', 'since' ], usage: [ 'bus' ], settings: [ 'bus' ],
	set: [ 'bus', 'values' ], pause: [ 'bus', 'minutes' ], resume: [ 'bus' ], messages: [], message_send: [ 'number', 'text' ],
	message_delete: [ 'id' ], message_read: [ 'id' ], log: [ 'bus', 'lines' ], missing: [], job: [ 'id' ], refresh: [ 'bus' ], apn: [ 'bus' ],
	bands: [ 'bus' ], bands_set: [ 'bus', 'bands', 'keep' ], bands_restore: [ 'bus' ], mode: [ 'bus' ], mode_set: [ 'bus', 'mode', 'keep' ],
	mode_restore: [ 'bus' ], connect: [ 'bus' ], disconnect: [ 'bus' ], restart: [ 'bus' ], at: [ 'bus', 'command' ], record: [ 'bus' ],
};

// uhttpd works off a batch one after the other, so one slow answer would hold up the rest.
const calls = {};
for (const method in methods)
	calls[method] = rpc.declare({ object: 'modemctl', method, params: methods[method], nobatch: true, reject: true });

const access = rpc.declare({ object: 'session', method: 'access', params: [ 'scope', 'object', 'function' ], expect: { access: false } });

// Every child is in a list: a text in a list stays a text, while LuCI takes one outside for markup.
function h(tag, attributes, ...children) {
	return E(tag, attributes ?? {}, children.flat(2));
}

function svg(tag, attributes, ...children) {
	const node = document.createElementNS('http://www.w3.org/2000/svg', tag);
	for (const name in attributes)
		node.setAttribute(name, attributes[name]);
	dom.append(node, children.flat());
	return node;
}

function wait(milliseconds) {
	return new Promise(resolve => setTimeout(resolve, milliseconds));
}

// It stays in the document while it is empty, so that a screen reader announces what comes.
const banner = h('div', { 'class': 'modemctl-banner', 'aria-live': 'assertive' });

return baseclass.extend({
	h,
	svg,
	wait,

	fill(node, ...children) {
		dom.content(node, children.flat(2));
	},

	// The answer, or an error with the plugin's word: busy, no-modem ...
	async call(method, given) {
		const answer = await calls[method](...methods[method].map(name => given?.[name]));
		if (answer?.error)
			throw Object.assign(new Error(answer.message || answer.error), { word: answer.error, option: answer.option });
		return answer;
	},

	// Which of these methods the session may call: { set: true, at: false }.
	async rights(...names) {
		const answers = await Promise.all(names.map(name => access('ubus', 'modemctl', name).catch(() => false)));
		return Object.fromEntries(names.map((name, i) => [ name, answers[i] === true ]));
	},

	// Starts a job and asks for its result, each second; shows the seconds in place.
	async job(method, given, place) {
		const { job } = await this.call(method, given);
		const start = Date.now();
		for (;;) {
			await wait(Date.now() - start < 3000 ? 300 : 1000);
			const answer = await this.call('job', { id: job }).catch(error => {
				// The page's own way to the router may be the modem that is being restarted.
				if (error.word || error.name === 'SessionError' || Date.now() - start > 600000)
					throw error;
				return { state: 'running' };
			});
			if (answer.state === 'done') {
				if (place)
					this.fill(place);
				if (answer.status !== 0)
					throw new Error(answer.result?.message ?? answer.result?.error ?? (answer.result?.up === false ? _('The connection did not come up.') : model.job_error(answer.status)));
				return answer.result ?? answer.output;
			}
			if (place)
				this.fill(place, _('In progress for %s').format(model.seconds((Date.now() - start) / 1000)));
		}
	},

	style() {
		return h('link', { rel: 'stylesheet', href: L.resource('modemctl/style.css') });
	},

	banner() { return banner; },

	// Runs what asks the router; says so if it cannot be reached, and goes on by itself once it can.
	async guard(ask) {
		try {
			const result = await ask();
			this.fill(banner);
			return result;
		} catch (error) {
			if (error.name !== 'SessionError')
				this.fill(banner, h('div', { 'class': 'alert-message warning' }, h('p', {}, error.word === 'busy'
					? _('Another program uses the modem. The page tries again.')
					: _('The router does not answer (%s). The page tries again by itself.').format(error.message))));
			return undefined;
		}
	},

	// Calls ask at once, and then every so many seconds while the view is open; never twice at a time.
	repeat(ask, seconds) {
		let running = null;
		const run = () => running ??= this.guard(ask).finally(() => { running = null; });
		poll.add(run, seconds);
		return run();
	},

	// False once the session has ended, or somebody has stopped the refreshing.
	polls() { return poll.active(); },

	tell(place, error) {
		this.fill(place, error ? h('span', { 'class': 'modemctl-bad' }, error.message ?? error) : '');
	},

	button(label, action, kind) {
		const button = h('button', { type: 'button', 'class': 'btn cbi-button %s'.format(kind ?? ''), click: async () => {
			button.disabled = true;
			try {
				await action(button);
			} finally {
				button.disabled = false;
			}
		} }, label);
		return button;
	},

	// The modem that the view shows: from the address (#1-1.2), else the first.
	chosen(modems) {
		const wanted = decodeURIComponent(location.hash.slice(1));
		return modems.find(modem => modem.bus === wanted) ?? modems[0];
	},

	name(modem) {
		return _('%s on %s').format(modem.name ?? modem.model, modem.bus);
	},

	// A choice between modems; nothing with only one.
	picker(modems, show) {
		if (modems.length < 2)
			return '';
		const select = h('select', { id: 'modemctl-modem', 'class': 'cbi-input-select', change: () => {
			history.replaceState(null, '', '#' + encodeURIComponent(select.value));
			show(modems.find(modem => modem.bus === select.value));
		} }, modems.map(modem => h('option', { value: modem.bus, selected: modem === this.chosen(modems) ? '' : null }, this.name(modem))));
		return h('div', { 'class': 'modemctl-row' }, h('label', { 'for': 'modemctl-modem' }, _('Modem')), select);
	},

	none() {
		return h('p', { 'class': 'cbi-section' }, _('No modem is plugged in. The page shows one as soon as it is there.'));
	},

	// The frame of a view that shows one modem. make(modem) gives { node, ask }; ask runs at once and every so many seconds.
	// While the modem stays, its node stays too, and with it what somebody types.
	frame(title, seconds, make) {
		const body = h('div', {}), head = h('div', {});
		let listed = null, bus = null, shown = null, asked = 0;
		const show = modem => {
			bus = modem?.bus;
			shown = modem ? make(modem) : null;
			this.fill(body, shown ? shown.node : this.none());
			return shown?.ask();
		};
		const ask = async () => {
			if (Date.now() - asked >= 4500) {
				const { modems } = await this.call('modems');
				asked = Date.now();
				if (JSON.stringify(modems) !== listed) {
					listed = JSON.stringify(modems);
					this.fill(head, this.picker(modems, modem => this.guard(() => show(modem))));
					if (!modems.length || this.chosen(modems).bus !== bus)
						return show(this.chosen(modems));
				}
			}
			return shown?.ask();
		};
		this.repeat(ask, seconds);
		return h('div', { 'class': 'modemctl' }, this.style(), h('h2', { name: 'content' }, title), banner, head, body);
	},

	// On a telephone LuCI's themes hide the heads and put each one beside its cell.
	table(label, heads, rows) {
		return h('div', { 'class': 'modemctl-scroll', tabindex: 0, role: 'region', 'aria-label': label }, h('table', { 'class': 'table' },
			h('thead', {}, h('tr', { 'class': 'tr table-titles' }, heads.map(head => h('th', { 'class': 'th', scope: 'col' }, head)))),
			h('tbody', {}, rows.map(row => h('tr', { 'class': 'tr' }, row.map((cell, i) => h('td', { 'class': 'td', 'data-title': heads[i] || null }, cell ?? '')))))));
	},

	section(title, ...children) {
		return h('section', { 'class': 'cbi-section' }, h('h3', {}, title), children);
	},

	bars(level, label) {
		const heights = [ 4, 7, 10, 13, 16 ];
		return svg('svg', { viewBox: '0 0 24 17', 'class': 'modemctl-bars', role: 'img', 'aria-label': label },
			heights.map((height, i) => svg('rect', { x: i * 5, y: 17 - height, width: 4, height, rx: 1, fill: 'currentColor', opacity: i < level ? 1 : 0.25 })));
	},

	facts(rows) {
		return h('dl', { 'class': 'modemctl-facts' }, rows.filter(([ , value ]) => value !== '' && value != null).map(([ name, value ]) =>
			h('div', {}, h('dt', {}, name), h('dd', {}, value))));
	},
});
