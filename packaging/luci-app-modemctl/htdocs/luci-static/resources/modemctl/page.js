'use strict';
'require baseclass';
'require rpc';
'require session';
'require view';
'require dom';
'require poll';
'require modemctl.words as words';

// What the views share: the calls to the router, jobs, the choice of the modem, and elements.

const methods = {
	modems: [], info: [ 'bus' ], identity: [ 'bus' ], status: [ 'bus' ], history: [ 'bus', 'since' ], usage: [ 'bus' ], settings: [ 'bus' ],
	set: [ 'bus', 'values' ], pause: [ 'bus', 'minutes' ], resume: [ 'bus' ], messages: [], message_send: [ 'number', 'text' ],
	message_delete: [ 'id' ], message_read: [ 'id' ], log: [ 'bus', 'lines' ], missing: [], job: [ 'id' ], refresh: [ 'bus' ], apn: [ 'bus' ],
	bands: [ 'bus' ], bands_set: [ 'bus', 'bands', 'keep' ], bands_restore: [ 'bus' ], mode: [ 'bus' ], mode_set: [ 'bus', 'mode', 'keep' ],
	mode_restore: [ 'bus' ], connect: [ 'bus' ], disconnect: [ 'bus' ], restart: [ 'bus' ], at: [ 'bus', 'command' ], record: [ 'bus' ],
};

// Calls of one moment go as one batch, which uhttpd works off one after the other. None of them waits for a modem, so nothing is
// held up; and rpcd, which since March 2026 loses answers of programs that run side by side, and may crash, has one at a time.
const calls = {};
for (const method in methods)
	calls[method] = rpc.declare({ object: 'modemctl', method, params: methods[method], reject: true });

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

// Milliseconds of a clock that nobody sets.
function now() {
	return performance.now();
}

function failure(word, message) {
	return Object.assign(new Error(message), { word });
}

// What went wrong in words. Most of the plugin's own sentences are English; LuCI adds the line of its program.
function sentence(error) {
	return { busy: words.job_error(3), 'no-modem': words.job_error(1), 'no-snapshot': _('Nothing is known yet.'),
		'bad-argument': _('The router does not take this input.'), 'not-found': _('It is no longer there.'),
		limit: _('So many messages were sent within an hour that the router sends no more for a while.') }[error.word]
		?? words.word(String(error.message ?? error).split('\n')[0]);
}

// The first answers by method, and the bus that they are of. They are asked for in one batch with the rights, while LuCI still asks
// its own questions: the page is there two rounds sooner.
const early = new Map();
let early_bus;

// What has been drawn in a place.
const drawn = new WeakMap();

// It stays in the document while it is empty, so that a screen reader announces what comes.
const banner = h('div', { 'class': 'modemctl-banner', 'aria-live': 'assertive' });

document.head.append(h('link', { rel: 'stylesheet', href: L.resource('modemctl/style.css') }));

return baseclass.extend({
	h,
	svg,
	wait,
	now,
	sentence,

	// Who has come to a button by the keyboard stays on it, if the new content has it too.
	fill(node, ...children) {
		const focused = document.activeElement, name = one => one.id || one.getAttribute('aria-label') || one.textContent;
		const was_inside = node !== focused && node.contains(focused);
		dom.content(node, children.flat(2));
		if (was_inside)
			(node.contains(focused) ? focused : [ ...node.querySelectorAll('button, a, summary, [tabindex]') ].find(one => name(one) === name(focused)))?.focus({ preventScroll: true });
	},

	// Fills a place when what it shows has changed, and not while a button of it is held down: the press would be lost.
	redraw(place, shown, make) {
		const text = JSON.stringify(shown);
		if (drawn.get(place) === text || place.querySelector(':active'))
			return;
		this.fill(place, make());
		drawn.set(place, text);
	},

	// The answer, or an error with the plugin's word: busy, no-modem ...
	async call(method, given) {
		const sooner = given?.bus === undefined || given.bus === early_bus ? early.get(method) : null;
		if (sooner)
			early.delete(method);
		const answer = await sooner ?? await calls[method](...methods[method].map(name => given?.[name]));
		if (answer?.error)
			throw Object.assign(failure(answer.error, answer.message || answer.error), { option: answer.option });
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
		const start = now();
		for (;;) {
			await wait(now() - start < 3000 ? 300 : 1000);
			const answer = await this.call('job', { id: job }).catch(error => {
				// The page's own way to the router may be the modem that is being restarted.
				if (error.word || error.name === 'SessionError' || now() - start > 600000)
					throw error;
				return { state: 'running' };
			});
			if (answer.state === 'done') {
				if (place)
					this.fill(place);
				if (answer.status !== 0)
					throw failure('job', answer.result?.message ?? answer.result?.error ?? (answer.result?.up === false ? _('The connection did not come up.') : words.job_error(answer.status)));
				return answer.result ?? answer.output;
			}
			if (place)
				this.fill(place, _('In progress for %s').format(words.seconds((now() - start) / 1000)));
		}
	},

	whole(title, ...children) {
		return h('div', { 'class': 'modemctl' }, h('h2', { name: 'content' }, title), banner, children);
	},

	// Runs what asks the router, and once more if the answer was lost; says so if there is none, and goes on by itself once there is.
	async guard(ask) {
		let text = '', result;
		try {
			result = await ask().catch(async error => {
				if (error.word || error.name === 'SessionError')
					throw error;
				await wait(500);
				return ask();
			});
		} catch (error) {
			if (error.name !== 'SessionError')
				text = error.word ? sentence(error) : _('The router does not answer (%s). The page tries again by itself.').format(sentence(error));
		}
		// A screen reader says it once.
		this.redraw(banner, text, () => text ? h('div', { 'class': 'alert-message warning' }, h('p', {}, text)) : '');
		return result;
	},

	// Calls ask at once, and then every so many seconds while the view is open; never twice at a time.
	repeat(ask, seconds) {
		let running = null;
		const run = () => running ??= this.guard(ask).finally(() => {
			running = null;
			early.clear();
		});
		// A page that nobody sees is not refreshed.
		poll.add(() => document.hidden || run(), seconds);
		document.addEventListener('visibilitychange', () => document.hidden || !this.polls() || run());
		return run();
	},

	// False once the session has ended, or somebody has stopped the refreshing.
	polls() { return poll.active(); },

	tell(place, error) {
		if (place)
			this.fill(place, error ? h('span', { 'class': 'modemctl-bad' }, sentence(error)) : '');
	},

	// What goes wrong is told in place.
	button(label, action, kind, place) {
		const button = h('button', { type: 'button', 'class': 'btn cbi-button %s'.format(kind ?? ''), click: async () => {
			button.disabled = true;
			this.tell(place);
			try {
				await action();
			} catch (error) {
				this.tell(place, error);
			} finally {
				button.disabled = false;
			}
		} }, label);
		return button;
	},

	// A button that asks before it acts. The second click of a double click is no answer.
	careful(label, question, action, place) {
		let asked = null;
		const button = this.button(label, async () => {
			if (asked === null) {
				asked = now();
				this.fill(button, question);
			} else if (now() - asked > 700) {
				try {
					await action();
				} finally {
					asked = null;
					this.fill(button, label);
				}
			}
		}, 'cbi-button-negative', place);
		return button;
	},

	name(modem) {
		return _('%s on %s').format(modem.name ?? modem.model, modem.bus);
	},

	// A choice between modems; nothing with only one.
	picker(modems, chosen, show) {
		if (modems.length < 2)
			return '';
		const select = h('select', { id: 'modemctl-modem', 'class': 'cbi-input-select', change: () => {
			history.replaceState(null, '', '#' + encodeURIComponent(select.value));
			show(modems.find(modem => modem.bus === select.value));
		} }, modems.map(modem => h('option', { value: modem.bus, selected: modem.bus === chosen.bus ? '' : null }, this.name(modem))));
		return this.row(h('label', { 'for': 'modemctl-modem' }, _('Modem')), select);
	},

	none() {
		return h('p', { 'class': 'cbi-section' }, _('No modem is plugged in. The page shows one as soon as it is there.'));
	},

	// The modem of the address (#1-1.2), else the one that was shown last: who changes the view does not change the modem.
	chosen() {
		return /^#([\d.-]+)$/.exec(location.hash)?.[1] ?? session.getLocalData('modemctl-bus') ?? undefined;
	},

	// The frame of a view that shows one modem: the chosen one, else the first. make(modem) gives { node, ask }; ask runs at once
	// and every so many seconds, and modem then has its present ports. The node stays while the modem is away, which may be
	// restarting, and with it what somebody types; another modem in its place gets another one. What is always there needs no modem.
	frame(title, seconds, make, always) {
		const body = h('div', {}, h('p', { 'class': 'spinning' }, _('Loading…'))), head = h('div', {});
		let modem = null, view = null, asked = -Infinity;
		const show = chosen => {
			modem = chosen;
			session.setLocalData('modemctl-bus', modem.bus);
			view = make(modem);
			this.fill(body, view.node);
			return view.ask();
		};
		const ask = async () => {
			if (now() - asked >= 4500) {
				const modems = await this.modems();
				asked = now();
				const found = modems.find(one => one.bus === (modem ? modem.bus : early_bus)) ?? (modem ? null : modems[0]);
				const choices = modem && !found ? [ modem, ...modems ] : modems;
				this.redraw(head, choices.map(one => this.name(one)), () => this.picker(choices, found ?? modem, one => this.guard(() => show(one))));
				if (found && found.usb !== modem?.usb)
					return show(found);
				if (modem && !found)
					throw failure('no-modem');
				if (modem)
					Object.assign(modem, found);
				else
					this.fill(body, this.none());
			}
			return view?.ask();
		};
		this.repeat(ask, seconds);
		return this.whole(title, head, body, always ?? '');
	},

	// On a telephone LuCI's themes hide the heads and put each one beside its cell.
	table(label, heads, rows) {
		return h('div', { 'class': 'modemctl-scroll', tabindex: 0, role: 'region', 'aria-label': label }, h('table', { 'class': 'table' },
			h('thead', {}, h('tr', { 'class': 'tr table-titles' }, heads.map(head => h('th', { 'class': 'th', scope: 'col' }, head)))),
			h('tbody', {}, rows.map(row => h('tr', { 'class': 'tr' }, row.map((cell, i) => h('td', { 'class': 'td', 'data-title': heads[i] || null }, cell ?? '')))))));
	},

	// A view without LuCI's own buttons. Buttons of the page are drawn if the session has the right to their method. LuCI renders it
	// some rounds later; what is asked for first, of that modem or of the first one, is asked for now.
	view(methods, first, render, bus) {
		const rights = this.rights(...methods);
		early_bus = bus;
		for (const method of first)
			early.set(method, calls[method](early_bus).catch(() => null));
		return view.extend({ handleSave: null, handleSaveApply: null, handleReset: null, load: () => rights, render });
	},

	async modems() {
		const { modems } = await this.call('modems');
		early_bus ??= modems[0]?.bus;
		return modems;
	},

	row(...children) {
		return h('div', { 'class': 'modemctl-row' }, children);
	},

	// Where it is said what becomes of an action.
	place() {
		return h('p', { 'aria-live': 'polite' });
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
