'use strict';
'require modemctl.model as model';
'require modemctl.page as page';

// Text messages from the SMS daemon's spool, by the number at the other end. The modem is not asked.

const h = page.h;

const states = () => ({ out: _('waits to be sent'), sent: _('sent'), failed: _('was not sent') });

class Messages {
	constructor(rights) {
		Object.assign(this, { rights, list: [], open: null });
		this.names = h('ul', { 'class': 'modemctl-list' });
		this.thread = h('div', { 'aria-live': 'polite' });
		this.result = page.place();
		this.node = h('div', { 'class': 'modemctl-messages' }, h('section', { 'class': 'cbi-section' }, h('h3', {}, _('Conversations')), this.names),
			h('section', { 'class': 'cbi-section' }, this.thread, rights.message_send ? this.form() : ''));
	}

	// The form is made once: what somebody types survives every answer of the router.
	form() {
		const number = this.number = h('input', { id: 'modemctl-number', 'class': 'cbi-input-text', type: 'tel', autocomplete: 'off' });
		const text = h('textarea', { id: 'modemctl-text', 'class': 'cbi-input-textarea', rows: 3, 'aria-describedby': 'modemctl-count' });
		const count = h('p', { id: 'modemctl-count', 'class': 'modemctl-small' });
		const tell = () => {
			const cost = model.message_cost(text.value);
			page.fill(count, text.value ? _('Parts: %d; room for %d more characters in the last one').format(cost.parts, cost.left) : '',
				cost.costly ? [ h('br'), _('“%s” %s.').format(cost.costly.character, cost.costly.why) ] : '');
		};
		text.addEventListener('input', tell);
		const send = page.button(_('Send'), async () => {
			// A tabulator, which comes with a pasted text, is not in any alphabet of messages.
			const to = number.value.replace(/[\s\/()-]/g, ''), given = text.value, said = given.replace(/\t/g, ' ');
			if (!model.is_number_to_send(to) || !said)
				throw new Error(_('A number of 3 to 20 digits and a text are needed.'));
			await page.call('message_send', { number: to, text: said });
			if (text.value === given)
				text.value = '';
			tell();
			this.open = model.plain_number(to);
			await page.guard(() => this.ask());
			page.fill(this.result, _('Given to the SMS daemon. What becomes of it is shown in the conversation.'));
		}, 'cbi-button-positive', this.result);
		return h('div', {}, h('h3', {}, _('New message')), page.row(h('label', { 'for': 'modemctl-number' }, _('To')), number),
			h('label', { 'for': 'modemctl-text' }, _('Text')), text, count, send, this.result);
	}

	async ask() {
		await this.read();
		// A request of more than 64 KiB would be refused: what is left comes with the next poll.
		const unread = this.rights.message_read ? this.chosen()?.messages.filter(message => message.unread).slice(-50) ?? [] : [];
		if (!unread.length)
			return;
		// Who sees a message has read it. Another page may have been faster.
		await Promise.all(unread.map(({ id }) => page.call('message_read', { id }).catch(() => {})));
		await this.read();
	}

	async read() {
		this.list = model.conversations((await page.call('messages')).messages);
		this.show();
	}

	show() {
		const summary = this.list.map(({ key, number, unread, last }) => ({ key, number, unread, time: last.time ?? '', text: Array.from(String(last.text ?? '')).slice(0, 40).join('') }));
		page.redraw(this.names, [ summary, this.open ], () => summary.length ? summary.map(one => h('li', {}, h('button', { type: 'button', id: 'modemctl-with-' + one.key, 'class': 'btn cbi-button', 'data-number': one.key,
			'aria-current': one.key === this.open ? 'true' : null, click: () => this.choose(one.key) },
			h('strong', {}, one.number || _('unknown')), one.unread ? [ ' ', _('(%d new)').format(one.unread) ] : '', h('br'), h('span', { 'class': 'modemctl-small' }, one.time, h('br'), one.text)))) : h('li', {}, _('There are no messages.')));
		const chosen = this.chosen();
		page.redraw(this.thread, [ chosen?.number, chosen?.messages.map(({ id, box, error }) => [ id, box, error ]) ], () =>
			chosen ? [ h('h3', {}, chosen.number || _('unknown')), chosen.messages.map(message => this.bubble(message)) ] : '');
	}

	chosen() {
		return this.list.find(({ key }) => key === this.open);
	}

	async choose(key) {
		this.open = key;
		this.show();
		if (!this.chosen())
			return; // its messages were deleted while the button was held down
		const { number } = this.chosen();
		// Nothing can be sent to a name. The number of another conversation must not stay: what is typed now would go there.
		if (this.number)
			this.number.value = model.is_number_to_send(number) ? number : '';
		await page.guard(() => this.ask());
	}

	bubble(message) {
		const own = message.box !== 'in', state = own ? states()[message.box] ?? message.box : '';
		return h('div', { 'class': 'modemctl-bubble' + (own ? ' modemctl-own' : ''), 'data-box': message.box }, message.text ?? '',
			h('div', { 'class': 'modemctl-small' }, [ message.time, state, message.error, message.parts > 1 ? _('parts: %d').format(message.parts) : '' ].filter(Boolean).join(', '),
				this.rights.message_delete ? [ ' ', page.careful(_('Delete'), _('Delete for ever?'), async () => {
					await page.call('message_delete', { id: message.id }).catch(error => {
						if (error.word !== 'not-found')
							throw error; // else another page was faster
					});
					await page.guard(() => this.ask());
				}, this.result) ] : ''));
	}
}

return page.view([ 'message_send', 'message_delete', 'message_read' ], [ 'messages' ], rights => {
	const messages = new Messages(rights);
	page.repeat(() => messages.ask(), 5);
	return page.whole(_('Messages'), messages.node);
});
