'use strict';
'require view';
'require form';
'require modemctl.model as model';
'require modemctl.page as page';

// How the modem connects: APN, bands, generations, and what the watch does to keep it online.

const h = page.h;

const modes = [ 'auto', '4g', '5g', '4g+5g', '3g', '2g' ];

// "B3, n78" as a list.
function band_names(text) {
	return text.split(/[\s,]+/).filter(Boolean);
}

class Connection {
	constructor(modem, rights) {
		Object.assign(this, { bus: { bus: modem.bus }, rights, asked: false });
		this.settings = h('div', {}, h('p', { 'class': 'spinning' }, _('Loading…')));
		this.result = h('p', { 'aria-live': 'polite' });
		this.choices = h('div', {});
		this.choosing = h('p', { 'aria-live': 'polite' });
		this.radio = h('div', {});
		this.working = h('p', { 'aria-live': 'polite' });
		this.node = h('div', {},
			this.settings, this.result,
			page.section(_('APN by the SIM card'), page.button(_('Which APNs fit this card?'), () => this.suggest(), 'cbi-button-action'), this.choosing, this.choices),
			page.section(_('Bands and generations'), page.button(_('Ask the modem'), () => this.read_radio(), 'cbi-button-action'), this.working, this.radio));
	}

	// The form is drawn once; a poll never changes what somebody types.
	async ask() {
		if (this.asked)
			return;
		const settings = await page.call('settings', this.bus);
		this.asked = true;
		page.fill(this.settings, await this.form(settings));
	}

	async form({ network, watch, defaults }) {
		const now = name => watch[name] ?? defaults[name] ?? '';
		if (!this.rights.set)
			return page.section(_('Settings'), page.facts([ [ _('APN'), network.apn || _('chosen by the SIM card') ], [ _('User name'), network.username ],
				[ _('Authentication'), network.auth ], [ _('Addresses'), network.ip ], [ _('Roaming'), now('roaming') ],
				[ _('Interval'), _('%s s').format(now('interval')) ], [ _('Asks after'), _('%s s').format(now('idle')) ] ]));
		const values = {
			network: { apn: network.apn, username: network.username, password: '', auth: network.auth || 'NONE', pincode: '', ip: network.ip },
			watch: Object.fromEntries([ 'enabled', 'roaming', 'last_stage', 'probe', 'interval', 'idle', 'usage_limit', 'usage_day', 'usage_warn', 'usage_action' ].map(name => [ name, now(name) ])),
		};
		// LuCI's lists have no empty choice.
		values.watch.usage_action ||= 'warn';
		const before = JSON.parse(JSON.stringify(values));
		const map = new form.JSONMap(values);
		let section = map.section(form.NamedSection, 'network', 'network', _('Connection'));
		const add = (type, name, title, more, description) => Object.assign(section.option(type, name, title, description), more);
		const choose = (name, title, choices, description) => {
			const option = add(form.ListValue, name, title, { rmempty: false }, description);
			for (const [ key, text ] of choices)
				option.value(key, text);
		};
		const number = (name, title, least, most, description) =>
			add(form.Value, name, title, { datatype: `range(${least},${most})`, placeholder: defaults[name], rmempty: true }, description);
		add(form.Value, 'apn', _('APN'), { placeholder: network.auto ? _('chosen by the SIM card') : '', datatype: 'maxlength(63)' }, _('Empty: the APN is chosen by the SIM card at the next connect.'));
		add(form.Value, 'username', _('User name'), { datatype: 'maxlength(63)' });
		add(form.Value, 'password', _('Password'), { password: true, datatype: 'maxlength(63)', placeholder: network.password_set ? _('unchanged') : '' });
		choose('auth', _('Authentication'), [ [ 'NONE', _('none') ], [ 'PAP', 'PAP' ], [ 'CHAP', 'CHAP' ], [ 'PAP or CHAP', _('PAP or CHAP') ] ]);
		choose('ip', _('Addresses'), [ [ 'ipv4v6', 'IPv4 + IPv6' ], [ 'ip', 'IPv4' ], [ 'ipv6', 'IPv6' ] ]);
		add(form.Value, 'pincode', _('PIN of the SIM card'), { password: true, placeholder: network.pincode_set ? _('unchanged') : '',
			validate: (name, value) => /^([0-9]{4,8})?$/.test(value) || _('4 to 8 digits') });
		section = map.section(form.NamedSection, 'watch', 'watch', _('Staying online'));
		choose('enabled', _('Keep the modem online'), [ [ '1', _('yes') ], [ '0', _('no') ] ]);
		add(form.Value, 'roaming', _('Roaming'), { rmempty: true, placeholder: defaults.roaming }, _('“allow”, “deny”, or the country codes that are allowed, such as “232 262”.'));
		choose('last_stage', _('The harshest step allowed'), [ 'refresh', 'reconnect', 'radio', 'modem', 'usb', 'power', 'router' ].map(stage => [ stage, model.word(stage) ]));
		choose('probe', _('How a silent line is tried'), [ [ 'dns', _('a question to a name server') ], [ 'ping', _('ping') ], [ 'both', _('both') ], [ 'none', _('not at all') ] ]);
		number('interval', _('Seconds between two looks at the counters'), 1, 600, _('Costs no data.'));
		number('idle', _('Seconds without data before the line is tried'), 0, 86400,
			_('Each try costs 144 bytes: now at most %s a month. 0: never.').format(model.idle_cost(now('idle'))));
		number('usage_limit', _('Data limit of a month, in megabytes'), 0, 100000000, _('0: no limit.'));
		number('usage_day', _('Day on which a month begins'), 1, 28);
		add(form.Value, 'usage_warn', _('Warnings, in per cent of the limit'), { rmempty: true }, _('Such as “80 95”.'));
		choose('usage_action', _('At the limit'), [ [ 'warn', _('only warn') ], [ 'disconnect', _('disconnect') ] ]);
		const node = await map.render();
		this.map = map;
		const save = page.button(_('Save'), () => this.save(map, values, before), 'cbi-button-save');
		const forget = page.button(_('Forget the APN and login'), async () => {
			try {
				await page.call('set', { ...this.bus, values: { auto: true } });
				await this.again(_('Saved. The next connect chooses by the SIM card.'));
			} catch (error) {
				page.tell(this.result, error);
			}
		});
		return [ node, h('div', { 'class': 'modemctl-row' }, save, forget,
			this.rights.connect ? page.button(_('Connect with these settings'), () => this.connect(), 'cbi-button-action') : '') ];
	}

	async again(text) {
		this.asked = false;
		await page.guard(() => this.ask());
		page.fill(this.result, text);
	}

	async save(map, values, before) {
		try {
			await map.save();
		} catch {
			return; // the form has said what is wrong
		}
		const changed = {};
		for (const section in before)
			for (const name in before[section]) {
				const value = String(values[section][name] ?? '');
				if (value !== String(before[section][name] ?? ''))
					changed[name] = value === 'warn' ? '' : value;
			}
		if (!Object.keys(changed).length)
			return page.fill(this.result, _('Nothing was changed.'));
		try {
			await page.call('set', { ...this.bus, values: changed });
			await this.again(_('Saved. The connection uses it at the next connect.'));
		} catch (error) {
			page.tell(this.result, error.option ? _('%s: the router does not take this value.').format(error.option) : error);
		}
	}

	async connect() {
		try {
			await page.job('connect', this.bus, this.result);
			page.fill(this.result, _('Connected.'));
		} catch (error) {
			page.tell(this.result, error);
		}
	}

	async suggest() {
		try {
			const list = await page.job('apn', this.bus, this.choosing);
			page.fill(this.choices, page.table(_('APNs'), [ _('APN'), _('Why'), _('Login'), '' ], list.map(row => [ row.apn || _('(empty)'), model.word(row.why),
				[ row.username, row.auth === 'NONE' ? '' : row.auth ].filter(Boolean).join(', '),
				this.rights.set ? page.button(_('Use'), () => this.use(row)) : '' ])));
		} catch (error) {
			page.tell(this.choosing, error);
		}
	}

	async use(row) {
		try {
			// The router knows the password of a listed login; this page does not.
			await page.call('set', { ...this.bus, values: row.password_set ? { auto: true } : { apn: row.apn, username: row.username ?? '', auth: row.auth ?? '', password: '' } });
			await this.again(_('Saved. The connection uses it at the next connect.'));
		} catch (error) {
			page.tell(this.result, error);
		}
	}

	async read_radio() {
		const place = text => page.fill(this.working, text);
		const ask = async (method) => {
			try {
				return await page.job(method, this.bus, this.working);
			} catch (error) {
				return { failed: error.message };
			}
		};
		place(_('In progress'));
		const bands = await ask('bands'), mode = await ask('mode');
		place('');
		page.fill(this.radio, this.bands(bands), this.modes(mode));
	}

	// Runs a change and draws what the modem then has.
	async change(method, given, undo) {
		try {
			await page.job(method, { ...this.bus, ...given }, this.working);
			await this.read_radio();
			page.fill(this.working, undo ? _('The setting before is back.') : _('Done. “Undo” brings the setting before back.'));
		} catch (error) {
			page.tell(this.working, error);
		}
	}

	keep(name) {
		const box = h('input', { type: 'checkbox', id: 'modemctl-keep-' + name });
		return [ box, h('div', {}, box, ' ', h('label', { 'for': box.id }, _('Keep it even if no network is found; otherwise the setting before comes back after two minutes.'))) ];
	}

	bands({ active = {}, supported = {}, failed }) {
		if (failed)
			return h('p', {}, _('Bands: %s').format(failed));
		const boxes = [];
		const group = (title, keys) => {
			const on = new Set(keys.flatMap(key => active[key] ?? [])), all = [ ...new Set(keys.flatMap(key => [ ...supported[key] ?? [], ...active[key] ?? [] ])) ];
			return all.length ? h('fieldset', {}, h('legend', {}, title), h('div', { 'class': 'modemctl-row' }, all.map(name => {
				const box = h('input', { type: 'checkbox', id: 'modemctl-band-' + name, value: name, checked: on.has(name) ? '' : null, disabled: this.rights.bands_set ? null : '' });
				boxes.push(box);
				return h('span', {}, box, ' ', h('label', { 'for': box.id }, name));
			}))) : '';
		};
		const groups = [ group('LTE', [ 'lte' ]), group('5G', [ 'nr', 'nr_nsa' ]) ];
		if (!this.rights.bands_set)
			return groups;
		// A modem that does not list what it supports may have more than those in use.
		const more = supported.lte || supported.nr ? null : h('input', { id: 'modemctl-more-bands', 'class': 'cbi-input-text', placeholder: 'B3, B20' });
		const [ keep, keep_row ] = this.keep('bands');
		return [ ...groups, more ? h('div', { 'class': 'modemctl-row' }, h('label', { 'for': more.id }, _('Further bands')), more) : '', keep_row, h('div', { 'class': 'modemctl-row' },
			page.button(_('Use these bands'), () => {
				const chosen = [ ...boxes.filter(box => box.checked).map(box => box.value), ...band_names(more?.value ?? '') ];
				return chosen.length ? this.change('bands_set', { bands: chosen, keep: keep.checked }) : page.tell(this.working, _('Choose a band.'));
			}, 'cbi-button-save'),
			page.button(_('All bands'), () => this.change('bands_set', { bands: 'auto', keep: keep.checked })),
			page.button(_('Undo'), () => this.change('bands_restore', {}, true))) ];
	}

	modes({ mode, failed }) {
		if (failed)
			return h('p', {}, _('Generations: %s').format(failed));
		const select = h('select', { id: 'modemctl-mode', 'class': 'cbi-input-select', disabled: this.rights.mode_set ? null : '' },
			(modes.includes(mode) ? modes : [ mode, ...modes ]).map(name => h('option', { value: name, selected: name === mode ? '' : null }, /^\d/.test(name) ? name.toUpperCase() : model.word(name))));
		const [ keep, keep_row ] = this.keep('mode');
		return [ h('div', { 'class': 'modemctl-row' }, h('label', { 'for': select.id }, _('Generations')), select), this.rights.mode_set ? [ keep_row, h('div', { 'class': 'modemctl-row' },
			page.button(_('Use these generations'), () => this.change('mode_set', { mode: select.value, keep: keep.checked }), 'cbi-button-save'),
			page.button(_('Undo'), () => this.change('mode_restore', {}, true))) ] : '' ].flat();
	}
}

return view.extend({
	handleSave: null,
	handleSaveApply: null,
	handleReset: null,

	load() {
		return page.rights('set', 'connect', 'bands_set', 'mode_set');
	},

	render(rights) {
		return page.frame(_('Connection'), 5, modem => new Connection(modem, rights));
	},
});
