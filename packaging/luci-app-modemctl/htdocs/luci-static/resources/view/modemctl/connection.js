'use strict';
'require form';
'require modemctl.model as model';
'require modemctl.page as page';
'require modemctl.words as words';

// How the modem connects: APN, bands, generations, and what the watch does to keep it online.

const h = page.h;

const modes = [ 'auto', '4g', '5g', '4g+5g', '3g', '2g' ];

class Connection {
	constructor(modem, rights) {
		Object.assign(this, { bus: { bus: modem.bus }, rights, asked: false });
		this.settings = h('div', {}, h('p', { 'class': 'spinning' }, _('Loading…')));
		this.result = page.place();
		this.choices = h('div', {});
		this.choosing = page.place();
		this.radio = h('div', {});
		this.working = page.place();
		this.node = h('div', {},
			this.settings, this.result,
			page.section(_('APN by the SIM card'), page.button(_('Which APNs fit this card?'), () => this.suggest(), 'cbi-button-action', this.choosing), this.choosing, this.choices),
			page.section(_('Bands and generations'), page.button(_('Ask the modem'), () => this.read_radio(), 'cbi-button-action', this.working), this.working, this.radio));
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
				[ _('Interval'), _('%s s').format(now('interval')) ], [ _('Tries a silent line after'), _('%s s').format(now('idle')) ] ]));
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
			// A list without the present value would change it to its first one.
			const present = values[section.section][name];
			if (present && !choices.some(([ key ]) => key === present))
				option.value(present, present);
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
		choose('last_stage', _('The harshest step allowed'), [ 'refresh', 'reconnect', 'radio', 'modem', 'usb', 'power', 'router' ].map(stage => [ stage, words.word(stage) ]));
		choose('probe', _('How a silent line is tried'), [ [ 'dns', _('a question to a name server') ], [ 'ping', _('ping') ], [ 'both', _('both') ], [ 'none', _('not at all') ] ]);
		number('interval', _('Seconds between two looks at the counters'), 1, 600, _('Costs no data.'));
		number('idle', _('Seconds without data before the line is tried'), 0, 86400,
			_('Each try costs 144 bytes: now at most %s a month. 0: never.').format(model.idle_cost(now('idle'))));
		number('usage_limit', _('Data limit of a month, in megabytes'), 0, 100000000, _('0: no limit.'));
		number('usage_day', _('Day on which a month begins'), 1, 28);
		add(form.Value, 'usage_warn', _('Warnings, in per cent of the limit'), { rmempty: true }, _('Such as “80 95”.'));
		choose('usage_action', _('At the limit'), [ [ 'warn', _('only warn') ], [ 'disconnect', _('disconnect') ] ]);
		const node = await map.render();
		const save = () => this.save(map, values, before);
		return [ node, page.row(page.button(_('Save'), save, 'cbi-button-save', this.result),
			page.button(_('Forget the APN and login'), () => this.set({ auto: true }, _('Saved. The next connect chooses by the SIM card.')), '', this.result),
			this.rights.connect ? page.button(_('Connect with these settings'), async () => await save() && this.connect(), 'cbi-button-action', this.result) : '') ];
	}

	// Writes settings, and draws the form with what the router then has.
	async set(values, text) {
		await page.call('set', { ...this.bus, values }).catch(error => {
			throw error.option ? new Error(_('%s: the router does not take this value.').format(error.option)) : error;
		});
		this.asked = false;
		await page.guard(() => this.ask());
		page.fill(this.result, text);
	}

	// True if the router has what the form says.
	async save(map, values, before) {
		try {
			await map.save();
		} catch {
			return false; // the form has said what is wrong
		}
		const changed = {};
		for (const section in before)
			for (const name in before[section]) {
				const value = String(values[section][name] ?? '');
				if (value !== String(before[section][name] ?? ''))
					changed[name] = name === 'usage_action' && value === 'warn' ? '' : value;
			}
		if (Object.keys(changed).length)
			await this.set(changed, _('Saved. The connection uses it at the next connect.'));
		else
			page.fill(this.result, _('Nothing was changed.'));
		return true;
	}

	async connect() {
		await page.job('connect', this.bus, this.result);
		page.fill(this.result, _('Connected.'));
	}

	async suggest() {
		const list = await page.job('apn', this.bus, this.choosing);
		page.fill(this.choices, page.table(_('APNs'), [ _('APN'), _('Why'), _('Login'), '' ], list.map(row => [ row.apn || _('(empty)'), words.apn_reason(row.why),
			[ row.username, row.auth === 'NONE' ? '' : row.auth ].filter(Boolean).join(', '),
			this.rights.set ? page.button(_('Use'), () => this.use(row), '', this.choosing) : '' ])));
	}

	use(row) {
		// The router alone knows a password that somebody chose. What is set keeps it; what has worked before is the next choice by itself.
		const login = { apn: row.apn, username: row.username ?? '', auth: row.auth ?? '' };
		if (!row.password_set || row.listed_password)
			login.password = row.listed_password ?? '';
		return this.set(login.password === undefined && row.why !== 'set by the user' ? { auto: true } : login, _('Saved. The connection uses it at the next connect.'));
	}

	async read_radio() {
		const ask = method => page.job(method, this.bus, this.working).catch(error => ({ failed: page.sentence(error) }));
		const bands = await ask('bands'), mode = await ask('mode');
		page.fill(this.radio, this.bands(bands ?? {}), this.modes(mode ?? {}));
	}

	// Runs a change and draws what the modem then has.
	async change(method, given, undo) {
		await page.job(method, { ...this.bus, ...given }, this.working);
		await this.read_radio();
		page.fill(this.working, undo ? _('The earlier setting is back.') : _('Done. “Undo” brings back the earlier setting.'));
	}

	keep(name) {
		const box = h('input', { type: 'checkbox', id: 'modemctl-keep-' + name });
		return [ box, h('div', {}, box, ' ', h('label', { 'for': box.id }, _('Keep it even if no network is found; otherwise the earlier setting comes back after two minutes.'))) ];
	}

	button(label, action, kind) {
		return page.button(label, action, kind, this.working);
	}

	bands({ active = {}, supported = {}, failed }) {
		if (failed)
			return h('p', {}, _('Bands: %s').format(failed));
		const boxes = [];
		const group = (title, keys) => {
			const on = new Set(keys.flatMap(key => active[key] ?? [])), all = [ ...new Set(keys.flatMap(key => [ ...supported[key] ?? [], ...active[key] ?? [] ])) ];
			return all.length ? h('fieldset', {}, h('legend', {}, title), page.row(all.map(name => {
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
		return [ ...groups, more ? page.row(h('label', { 'for': more.id }, _('Further bands')), more) : '', keep_row, h('div', { 'class': 'modemctl-row' },
			this.button(_('Use these bands'), () => {
				const chosen = [ ...boxes.filter(box => box.checked).map(box => box.value), ...(more?.value ?? '').split(/[\s,]+/).filter(Boolean) ];
				if (!chosen.length)
					throw new Error(_('Choose a band.'));
				return this.change('bands_set', { bands: chosen, keep: keep.checked });
			}, 'cbi-button-save'),
			this.button(_('All bands'), () => this.change('bands_set', { bands: 'auto', keep: keep.checked })),
			this.button(_('Undo'), () => this.change('bands_restore', {}, true))) ];
	}

	modes({ mode = 'other', failed }) {
		if (failed)
			return h('p', {}, _('Generations: %s').format(failed));
		const select = h('select', { id: 'modemctl-mode', 'class': 'cbi-input-select', disabled: this.rights.mode_set ? null : '' },
			(modes.includes(mode) ? modes : [ mode, ...modes ]).map(name => h('option', { value: name, selected: name === mode ? '' : null }, /^\d/.test(name) ? name.toUpperCase() : words.word(name))));
		const [ keep, keep_row ] = this.keep('mode');
		return [ page.row(h('label', { 'for': select.id }, _('Generations')), select), this.rights.mode_set ? [ keep_row, h('div', { 'class': 'modemctl-row' },
			this.button(_('Use these generations'), () => this.change('mode_set', { mode: select.value, keep: keep.checked }), 'cbi-button-save'),
			this.button(_('Undo'), () => this.change('mode_restore', {}, true))) ] : '' ].flat();
	}
}

return page.view([ 'set', 'connect', 'bands_set', 'mode_set' ], [ 'modems', 'settings' ], rights => page.frame(_('Connection'), 5, modem => new Connection(modem, rights)), page.chosen());
