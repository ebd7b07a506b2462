'use strict';
'require view';
'require modemctl.model as model';
'require modemctl.page as page';

// Text messages from the SMS daemon's spool, by the number at the other end. The modem is not asked.

const h = page.h;

const states = () => ({ out: _('waits to be sent'), sent: _('sent'), failed: _('was not sent') });

class Messages {
	constructor(rights) {
		Object.assign(this, { rights, list: [], open: null, shown: '' });
		this.names = h('ul', { 'class': 'modemctl-list' });
		this.thread = h('div', { 'aria-live': 'polite' });
		this.result = h('p', { 'aria-live': 'polite' });
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
			const to = number.value.replace(/[\s\/()-]/g, '');
			if (!model.is_number_to_send(to) || !text.value)
				return page.tell(this.result, _('A number of 3 to 20 digits and a text are needed.'));
			try {
				await page.call('message_send', { number: to, text: text.value });
				text.value = '';
				tell();
				page.fill(this.result, _('Given to the SMS daemon. What becomes of it is shown in the conversation.'));
				this.open = to.replace(/^\+/, '');
			} catch (error) {
				page.tell(this.result, error);
			}
			await page.guard(() => this.ask());
		}, 'cbi-button-positive');
		return h('div', {}, h('h3', {}, _('New message')), h('div', { 'class': 'modemctl-row' }, h('label', { 'for': 'modemctl-number' }, _('To')), number),
			h('label', { 'for': 'modemctl-text' }, _('Text')), text, count, send, this.result);
	}

	async ask() {
		const { messages } = await page.call('messages');
		const seen = JSON.stringify(messages);
		if (seen === this.shown)
			return;
		this.shown = seen;
		this.list = model.conversations(messages);
		this.show();
	}

	show() {
		page.fill(this.names, this.list.length ? this.list.map(one => h('li', {}, h('button', { type: 'button', 'class': 'btn cbi-button', 'data-number': one.number,
			'aria-current': one.number === this.open ? 'true' : null, click: () => this.choose(one.number) },
			h('strong', {}, one.number || _('unknown')), one.unread ? _(' (%d new)').format(one.unread) : '', h('br'), h('span', { 'class': 'modemctl-small' }, one.last.time ?? '', h('br'), Array.from(String(one.last.text ?? '')).slice(0, 40).join(''))))) : h('li', {}, _('There are no messages.')));
		const chosen = this.list.find(one => one.number === this.open);
		// What is the same is not drawn anew: somebody may be about to press one of its buttons.
		const drawn = JSON.stringify([ this.open, chosen?.messages.map(({ id, box, error }) => [ id, box, error ]) ]);
		if (drawn === this.drawn)
			return;
		this.drawn = drawn;
		page.fill(this.thread, chosen ? [ h('h3', {}, chosen.number || _('unknown')), chosen.messages.map(message => this.bubble(message)) ] : '');
	}

	async choose(number) {
		this.open = number;
		if (this.number && model.is_number_to_send(number))
			this.number.value = '+' + number;
		this.show();
		this.names.querySelector('[aria-current]')?.focus();
		if (this.rights.message_read)
			await page.guard(async () => {
				for (const { id } of this.list.find(one => one.number === number).messages.filter(message => message.unread))
					await page.call('message_read', { id });
				await this.ask();
			});
	}

	bubble(message) {
		const own = message.box !== 'in', state = own ? states()[message.box] ?? message.box : '';
		return h('div', { 'class': 'modemctl-bubble' + (own ? ' modemctl-own' : ''), 'data-box': message.box }, message.text ?? '',
			h('div', { 'class': 'modemctl-small' }, [ message.time, state, message.error, message.parts > 1 ? _('parts: %d').format(message.parts) : '' ].filter(Boolean).join(', '),
				this.rights.message_delete ? [ ' ', h('button', { type: 'button', 'class': 'btn cbi-button cbi-button-negative', 'aria-label': _('Delete the message of %s').format(message.time ?? ''),
					click: async event => {
						if (event.currentTarget.dataset.sure !== 'yes') {
							event.currentTarget.dataset.sure = 'yes';
							return page.fill(event.currentTarget, _('Delete for ever?'));
						}
						await page.call('message_delete', { id: message.id }).catch(error => page.tell(this.result, error));
						await page.guard(() => this.ask());
					} }, _('Delete')) ] : ''));
	}
}

return view.extend({
	handleSave: null,
	handleSaveApply: null,
	handleReset: null,

	load() {
		return page.rights('message_send', 'message_delete', 'message_read');
	},

	render(rights) {
		const messages = new Messages(rights);
		page.repeat(() => messages.ask(), 5);
		return h('div', { 'class': 'modemctl' }, page.style(), h('h2', { name: 'content' }, _('Messages')), page.banner(), messages.node);
	},
});
