'use strict';
'require modemctl.model as model';
'require modemctl.page as page';
'require modemctl.words as words';

// How good the signal is, how it was, which cells there are; and one large figure for aligning an antenna.

const h = page.h, svg = page.svg;
const left = 38, top = 8, bottom = 18, height = 130;

function draw(samples, name, hours, width) {
	const to = Math.floor(Date.now() / 1000), from = to - hours * 3600;
	const summary = model.summary(samples.filter(sample => sample.time >= from), name);
	const title = name.toUpperCase(), span = _('%d h').format(hours);
	if (!summary)
		return h('p', {}, _('%s: nothing was measured in the last %s.').format(title, span));
	const least = Math.floor((summary.least - 2) / 5) * 5, most = Math.ceil((summary.most + 2) / 5) * 5;
	const plot = model.plot(samples, name, { from, to, width: width - left, height, least, most });
	const label = _('%s in the last %s: from %s to %s, now %s').format(title, span, summary.least, summary.most, summary.last);
	const hour = Math.max(1, Math.round(hours / (width < 500 ? 3 : 6)));
	const lines = [];
	for (const value of model.ticks(least, most))
		lines.push(svg('line', { x1: left, x2: width, y1: plot.y(value), y2: plot.y(value), stroke: 'currentColor', opacity: 0.2 }),
			svg('text', { x: left - 5, y: plot.y(value) + 4, 'text-anchor': 'end' }, value));
	for (let back = hours; back >= 0; back -= hour) {
		const x = left + (hours - back) / hours * (width - left);
		lines.push(svg('text', { x, y: height + 14, 'text-anchor': back === hours ? 'start' : back === 0 ? 'end' : 'middle' }, back ? _('-%d h').format(back) : _('now')));
	}
	for (const mark of plot.marks)
		lines.push(svg('line', { x1: left + mark.x, x2: left + mark.x, y1: 0, y2: height, stroke: 'currentColor', opacity: 0.5, 'stroke-dasharray': mark.what === 'cell' ? '1 4' : '5 3' },
			svg('title', {}, '%s %s'.format(words.time(mark.time), mark.what === 'cell' ? _('another cell') : words.word(mark.text)))));
	for (const line of plot.lines) {
		const points = line.map(([ x, y ]) => `${left + x},${y}`);
		lines.push(line.length > 1 ? svg('polyline', { points: points.join(' '), fill: 'none', stroke: 'currentColor', 'stroke-width': 1.6 })
			: svg('circle', { cx: left + line[0][0], cy: line[0][1], r: 1.8, fill: 'currentColor' }));
	}
	return h('figure', { style: 'margin: 0' }, h('figcaption', {}, _('%s: %s (from %s to %s)').format(title, summary.last, summary.least, summary.most)),
		svg('svg', { viewBox: `0 ${-top} ${width} ${top + height + bottom}`, 'class': 'modemctl-plot', role: 'img', 'aria-label': label }, lines));
}

class Signal {
	constructor(modem, rights) {
		Object.assign(this, { bus: { bus: modem.bus }, rights, hours: 24, samples: [], sampled: -Infinity, best: null, turn: 0, aligning: false });
		this.now = h('div', {});
		this.plots = h('div', {});
		// A plot is drawn for the width that it has, so that its letters stay readable.
		new ResizeObserver(() => this.plots.clientWidth !== this.width && this.draw()).observe(this.plots);
		this.cells = h('div', {});
		this.figure = h('div', { 'class': 'modemctl-figure', 'aria-live': 'polite', 'data-figure': '' }, '–');
		this.under = h('p', {});
		this.asking = page.place();
		this.trouble = page.place();
		this.align = h('div', { hidden: '' }, this.figure, this.under, this.trouble);
		this.start = page.button(_('Align an antenna'), () => this.toggle(), 'cbi-button-action');
		this.start.setAttribute('aria-expanded', 'false');
		const range = h('select', { id: 'modemctl-hours', 'class': 'cbi-input-select', change: () => {
			this.hours = Number(range.value);
			this.draw();
		} }, [ 1, 6, 24 ].map(hours => h('option', { value: hours, selected: hours === this.hours ? '' : null }, _('%d h').format(hours))));
		this.node = h('div', {}, page.section(_('Now'), this.now, this.start, this.align),
			page.section(_('Until now'), page.row(h('label', { 'for': 'modemctl-hours' }, _('The last')), range), this.plots),
			page.section(_('Cells'), this.cells));
	}

	async ask() {
		const info = await page.call('info', this.bus).catch(error => {
			if (error.word !== 'no-snapshot')
				throw error;
			return { error: error.word };
		});
		this.show(info);
		if (page.now() - this.sampled > 30000) {
			const { history } = await page.call('history', { ...this.bus, since: 1440 });
			this.samples = model.timed(history ?? [], info.error ? undefined : info.uptime_s + (info.age ?? 0), Date.now() / 1000);
			this.sampled = page.now();
			this.draw();
		}
	}

	draw() {
		this.width = this.plots.clientWidth;
		const width = Math.max(250, this.width || 700);
		const name = this.samples.some(sample => sample.rsrp_dbm !== undefined) || !this.samples.length ? 'rsrp' : 'rssi';
		page.fill(this.plots, [ name, 'sinr' ].map(one => draw(this.samples, one, this.hours, width)));
	}

	show(info) {
		if (info.error)
			return page.redraw(this.now, info.error, () => [ h('p', {}, _('Nothing is known yet.')), this.rights.refresh
				? page.button(_('Ask the modem'), async () => this.show(await page.job('refresh', this.bus, this.asking)), 'cbi-button-action', this.asking) : '', this.asking ]);
		const quality = info.quality ?? {}, values = model.values(info.serving);
		page.redraw(this.now, info, () => [
			h('p', {}, quality.words ? [ page.bars(quality.level, _('Signal %d of 5').format(quality.level)), ' ', h('strong', {}, words.word(quality.words)), ' ' ] : '',
				[ model.operator(info), model.technology(info), model.carrier_text(info) ].filter(Boolean).join(', '),
				model.is_old(info) ? ' (%s)'.format(_('%s ago').format(words.seconds(info.age))) : ''),
			model.advice(info) ? h('p', {}, model.advice(info)) : '',
			h('dl', { 'class': 'modemctl-facts' }, values.map(value => h('div', { 'data-value': value.name }, h('dt', {}, value.label),
				h('dd', {}, h('meter', { min: 0, max: 1, low: value.low, high: value.high, optimum: 1, value: value.share, 'aria-label': value.label }), ' ', value.text, ' ',
					h('span', { 'class': 'modemctl-small' }, _('good from %s').format(value.good)))))) ]);
		const heads = [ _('Role'), _('Kind'), _('Band'), _('MHz'), _('Channel'), _('Cell'), 'RSRP', 'RSRQ', 'SINR' ];
		const serving = model.carriers(info).map(cell => [ cell.role === 'SCC' ? _('further carrier') : _('serving'), ...model.cell_row({ rat: info.network?.technology, ...cell }) ]);
		const others = model.neighbours(info).map(cell => [ _('neighbour'), ...model.cell_row(cell) ]);
		const cell = info.serving ?? {};
		page.redraw(this.cells, [ serving, others, cell.cell_id, cell.tac, cell.lac ], () => [ cell.cell_id === undefined ? '' : h('p', {}, _('Cell %s, area %s').format(cell.cell_id, cell.tac ?? cell.lac ?? '–')),
			serving.length + others.length ? page.table(_('Cells'), heads, [ ...serving, ...others ]) : h('p', {}, _('The modem reports no cells.')) ]);
		if (this.aligning)
			this.measure(info);
	}

	measure(info) {
		const value = model.values(info.serving).find(({ name }) => [ 'rsrp', 'rscp', 'rssi' ].includes(name));
		const noise = model.values(info.serving).find(({ name }) => [ 'sinr', 'ecio' ].includes(name));
		page.fill(this.figure, value ? value.value : '–');
		if (value)
			this.best = Math.max(this.best ?? -999, value.value);
		page.fill(this.under, [ value ? `${value.label}, ${value.unit}` : '', noise ? `${noise.label} ${noise.text}` : '',
			this.best === null ? '' : _('best so far %d').format(this.best) ].filter(Boolean).join(', '));
	}

	// A person turns the antenna and looks at the figure: the modem is asked each two seconds.
	async toggle() {
		this.aligning = !this.aligning;
		this.best = null;
		this.align.hidden = !this.aligning;
		this.start.setAttribute('aria-expanded', String(this.aligning));
		page.fill(this.start, this.aligning ? _('Stop aligning') : _('Align an antenna'));
		if (this.aligning)
			this.follow(++this.turn);
	}

	// Who stops and starts again begins another turn, and the one before ends.
	async follow(turn) {
		while (this.aligning && turn === this.turn && this.node.isConnected && page.polls()) {
			const started = page.now();
			let trouble = '';
			try {
				this.show(this.rights.refresh ? await page.job('refresh', this.bus) : await page.call('info', this.bus));
			} catch (error) {
				trouble = page.sentence(error);
				this.measure({});
			}
			// A screen reader says it once.
			page.redraw(this.trouble, trouble, () => trouble);
			await page.wait(Math.max(200, started + 2000 - page.now()));
		}
	}
}

return page.view([ 'refresh' ], [ 'modems', 'info', 'history' ], rights => page.frame(_('Signal'), 5, modem => new Signal(modem, rights)), page.chosen());
