// Stand-ins of the LuCI classes that the views use, by LuCI's JavaScript API documentation: same names, same arguments, same
// traps. What is not here does not exist: a view that requires another class fails.

const environment = JSON.parse(document.getElementById('environment').textContent);

class LuciError extends Error {
    constructor(type, message) {
        super(message);
        this.name = type;
    }
}

const L = {
    env: environment,
    url: (...parts) => [environment.scriptname, ...parts].join('/').replace(/\/+/g, '/'),
    resource: (...parts) => [environment.resource, ...parts].join('/'),
    isObject: value => value !== null && typeof value === 'object',
    toArray: value => value == null ? [] : Array.isArray(value) ? value : typeof value === 'object' ? [value] : String(value).trim().split(/\s+/).filter(Boolean),
    bind: (fn, self, ...given) => fn.bind(self, ...given),
    raise(type, format, ...values) { throw new LuciError(type ?? 'Error', format.format(...values)); },
    error(type, format, ...values) { L.raise(type, format, ...values); },
    resolveDefault: (value, fallback) => Promise.resolve(value).catch(() => fallback),
    require: name => load(name),
};

String.prototype.format = function (...values) {
    return this.replace(/%(?:\.(\d+))?([sdfh%])/g, (whole, digits, kind) => {
        if (kind === '%')
            return '%';
        const value = values.shift();
        if (kind === 'd')
            return String(Math.trunc(Number(value)) || 0);
        if (kind === 'f')
            return digits === undefined ? String(Number(value)) : Number(value).toFixed(Number(digits));
        const text = String(value);
        return kind === 'h' ? text.replace(/[&<>"']/g, character => `&#${character.charCodeAt(0)};`) : text;
    });
};

// The application's translations, as LuCI serves them from the package luci-i18n-modemctl-<language>.
const translations = new Map();
async function loadTranslations(language) {
    const response = await fetch(`/translations/${language}`);
    const unquote = lines => lines.trim().split('\n').map(line => JSON.parse(line)).join('');
    for (const [, id, text] of (await response.text()).matchAll(/^msgid ((?:".*"\n)+)msgstr ((?:".*"(?:\n|$))+)/gm))
        if (unquote(text))
            translations.set(unquote(id), unquote(text));
    document.documentElement.lang = language;
}
window._ = text => translations.get(text) ?? text;

const dom = {
    elem: value => value !== null && typeof value === 'object' && 'nodeType' in value,
    parse: text => new DOMParser().parseFromString(text, 'text/html').body.firstChild,
    append(node, children) {
        if (!dom.elem(node))
            return null;
        if (Array.isArray(children)) {
            for (const child of children)
                if (dom.elem(child))
                    node.appendChild(child);
                else if (child !== null && child !== undefined)
                    node.appendChild(document.createTextNode(`${child}`));
            return node.lastChild;
        }
        if (typeof children === 'function')
            return dom.append(node, children(node));
        if (dom.elem(children))
            return node.appendChild(children);
        if (children !== null && children !== undefined) {
            node.innerHTML = `${children}`; // LuCI's own trap: a text outside a list is markup
            return node.lastChild;
        }
        return null;
    },
    content(node, children) {
        if (!dom.elem(node))
            return null;
        while (node.firstChild)
            node.removeChild(node.firstChild);
        return dom.append(node, children);
    },
    attr(node, key, value) {
        for (const [name, given] of Object.entries(typeof key === 'string' ? { [key]: value } : key ?? {})) {
            if (given === null || given === undefined)
                continue;
            if (typeof given === 'function')
                node.addEventListener(name, given);
            else
                node.setAttribute(name, typeof given === 'object' ? JSON.stringify(given) : given);
        }
    },
    create(html, attributes, children) {
        if (dom.elem(attributes) || Array.isArray(attributes) || typeof attributes !== 'object')
            [children, attributes] = [attributes, null];
        const node = dom.elem(html) ? html : html.charCodeAt(0) === 60 ? dom.parse(html) : document.createElement(html);
        dom.attr(node, attributes);
        dom.append(node, children);
        return node;
    },
};
window.E = dom.create;

const baseclass = {
    extend(members) {
        const parent = this;
        const made = Object.assign(function () {}, { extend: baseclass.extend });
        made.prototype = Object.assign(Object.create(parent.prototype ?? Object.prototype), members);
        made.prototype.super = function (name, given) { return (parent.prototype ?? {})[name]?.apply(this, given ?? []); };
        return made;
    },
};

let lastRequest = 0;
let interceptors = [];
let batch = null;
const request = async (body, path) => {
    const answer = await fetch(environment.ubuspath + path, { method: 'POST', body: JSON.stringify(body),
        headers: { 'Content-Type': 'application/json' }, signal: AbortSignal.timeout(environment.rpctimeout * 1000) })
        .catch(error => L.raise('NetworkError', error.name === 'TimeoutError' ? 'XHR request timed out' : 'XHR request aborted by browser'));
    if (!answer.ok)
        L.raise('RPCError', 'RPC call failed with HTTP error %d', answer.status);
    return answer.json();
};

const rpc = {
    getSessionID: () => environment.sessionid,
    getStatusText: status => ['Command OK', 'Invalid command', 'Invalid argument', 'Method not found', 'Resource not found',
        'No data received', 'Permission denied', 'Request timeout', 'Not supported', 'Unspecified error', 'Connection lost'][status] ?? 'Unknown error code',
    addInterceptor: fn => interceptors.push(fn),
    // Calls of the same moment go as one batch, except those declared with nobatch.
    send(message, nobatch) {
        if (nobatch)
            return request(message, '/');
        return new Promise((resolve, reject) => {
            if (!batch) {
                batch = [];
                setTimeout(() => {
                    const sent = batch;
                    batch = null;
                    const answers = sent.length === 1 ? request(sent[0].message, '/').then(answer => [answer]) : request(sent.map(one => one.message), `//${sent.map(({ message }) => `${message.params[1]}.${message.params[2]}`).join(';')}`);
                    answers.then(list => sent.forEach((one, i) => one.resolve(list[i])), error => sent.forEach(one => one.reject(error)));
                });
            }
            batch.push({ message, resolve, reject });
        });
    },
    declare(options) {
        return async (...given) => {
            const parameters = {};
            (options.params ?? []).forEach((name, i) => { parameters[name] = given[i]; });
            const message = { jsonrpc: '2.0', id: ++lastRequest, method: 'call',
                params: [environment.sessionid || '0'.repeat(32), options.object, options.method, parameters] };
            const answer = await rpc.send(message, options.nobatch);
            await Promise.all(interceptors.map(fn => fn(answer, options)));
            if (answer.error)
                L.raise('RPCError', 'RPC call to %s/%s failed with error %d: %s', options.object, options.method, answer.error.code, answer.error.message);
            let value = answer.result;
            if (Array.isArray(value)) {
                if (options.reject && value[0] !== 0)
                    L.raise('RPCError', 'RPC call to %s/%s failed with ubus code %d: %s', options.object, options.method, value[0], rpc.getStatusText(value[0]));
                value = value.length > 1 ? value[1] : value[0];
            }
            for (const [key, usual] of Object.entries(options.expect ?? {})) {
                if (value != null && key !== '')
                    value = value[key];
                if (value == null || Object.prototype.toString.call(value) !== Object.prototype.toString.call(usual))
                    value = usual;
            }
            return options.filter ? options.filter(value, parameters, ...given.slice((options.params ?? []).length)) : value;
        };
    },
};

const poll = {
    queue: [],
    tick: 0,
    timer: null,
    add(fn, interval) {
        if (typeof fn !== 'function')
            throw new TypeError('Invalid argument to LuCI.poll.add()');
        if (this.queue.some(entry => entry.fn === fn))
            return false;
        this.queue.push({ ready: true, interval: interval || environment.pollinterval, fn });
        if (!this.active())
            this.start();
        return true;
    },
    remove(fn) {
        const before = this.queue.length;
        this.queue = this.queue.filter(entry => entry.fn !== fn);
        return this.queue.length < before;
    },
    start() {
        this.tick = 0;
        this.timer = setInterval(() => this.step(), 1000);
        this.step();
        return true;
    },
    stop() {
        clearInterval(this.timer);
        this.timer = null;
        return true;
    },
    step() {
        for (const entry of this.queue)
            if (this.tick % entry.interval === 0 && entry.ready) {
                entry.ready = false;
                Promise.resolve(entry.fn()).finally(() => { entry.ready = true; });
            }
        this.tick++;
    },
    active() { return this.timer !== null; },
};

const modal = document.getElementById('modal');
const ui = {
    showModal(title, children, ...classes) {
        modal.className = ['modal', ...classes].join(' ');
        dom.content(modal, dom.create('h4', {}, title));
        dom.append(modal, children);
        modal.hidden = false;
        modal.setAttribute('aria-label', title);
        modal.querySelector('button, input')?.focus();
        return modal;
    },
    hideModal() { modal.hidden = true; },
    addNotification(title, children, ...classes) {
        const message = dom.create('div', { class: ['alert-message', 'fade-in', ...classes].join(' '), role: 'alert' });
        if (title != null)
            dom.append(message, dom.create('h4', {}, title));
        dom.append(message, children);
        dom.append(message, dom.create('button', { class: 'btn', click: () => message.remove() }, [_('Dismiss')]));
        document.getElementById('notices').prepend(message);
        return message;
    },
    createHandlerFn(self, fn, ...given) {
        if (typeof fn === 'string')
            fn = self[fn];
        return function (event, ...more) {
            const button = event.currentTarget;
            button.classList.add('spinning');
            button.disabled = true;
            return Promise.resolve(fn.apply(self, [...given, event, ...more])).finally(() => {
                button.classList.remove('spinning');
                button.disabled = false;
            });
        };
    },
};

// Forms over plain data: the options and sections that the views use.
const checks = {
    uinteger: value => /^\d+$/.test(value) || 'an integer of at least 0',
    range: (value, least, most) => (/^-?\d+$/.test(value) && Number(value) >= least && Number(value) <= most) || `a number between ${least} and ${most}`,
    maxlength: (value, most) => value.length <= most || `at most ${most} characters`,
};

class Option {
    constructor(map, section, name, title, description) {
        Object.assign(this, { map, section, option: name, title, description, choices: [], dependencies: [], rmempty: true });
    }

    value(key, text) { this.choices.push([String(key), text ?? String(key)]); }
    depends(name, value) { this.dependencies.push([name, value]); }
    get id() { return `widget.cbid.json.${this.section.section}.${this.option}`; }
    kept() { return this.map.values[this.section.section]?.[this.option] ?? this.default; }
    active() {
        return this.dependencies.every(([name, value]) => {
            const other = this.section.children.find(one => one.option === name);
            return other.active() && other.formvalue() === value;
        });
    }

    render() {
        const widget = this.renderWidget(this.kept());
        const label = dom.create('label', { class: 'cbi-value-title', for: this.id }, [this.title]);
        const field = dom.create('div', { class: 'cbi-value-field' }, [widget]);
        if (this.description) {
            // LuCI takes it for markup.
            const description = dom.create('div', { class: 'cbi-value-description', id: `${this.id}.help` });
            description.innerHTML = this.description;
            widget.setAttribute('aria-describedby', description.id);
            field.appendChild(description);
        }
        this.row = dom.create('div', { class: 'cbi-value', 'data-name': this.option }, [label, field]);
        this.row.addEventListener('change', () => this.section.update());
        return this.row;
    }

    input() { return document.getElementById(this.id); }
    formvalue() { return this.input().value; }
    check() {
        const value = this.formvalue();
        if (value === '')
            return this.rmempty || this.optional || 'must not be empty';
        const [, name, given] = /^(\w+)(?:\((.*)\))?$/.exec(this.datatype ?? '') ?? [];
        if (name && !checks[name])
            throw new Error(`no stand-in for the datatype ${name}`);
        const result = name ? checks[name](value, ...(given ? given.split(',').map(Number) : [])) : true;
        return result !== true ? `Expecting: ${result}` : this.validate ? this.validate(this.section.section, value) : true;
    }
}

class Value extends Option {
    renderWidget(value) {
        return dom.create('input', { id: this.id, type: this.password ? 'password' : 'text', class: 'cbi-input-text', value: value ?? '',
            placeholder: this.placeholder, autocomplete: 'off' });
    }
}

class ListValue extends Option {
    renderWidget(value) {
        return dom.create('select', { id: this.id, class: 'cbi-input-select' }, this.choices.map(([key, text]) =>
            dom.create('option', { value: key, selected: key === String(value ?? '') ? '' : null }, [text])));
    }
}

class NamedSection {
    constructor(map, section, type, title, description) {
        Object.assign(this, { map, section, title, description, children: [] });
    }
    option(type, name, title, description) {
        const made = new type(this.map, this, name, title, description);
        this.children.push(made);
        return made;
    }
    update() { for (const child of this.children) child.row.hidden = !child.active(); }
    render() {
        const node = dom.create('div', { class: 'cbi-section', id: `cbi-json-${this.section}` }, [
            this.title ? dom.create('h3', {}, [this.title]) : null,
            this.description ? dom.create('div', { class: 'cbi-section-descr' }, [this.description]) : null,
            ...this.children.map(child => child.render())]);
        this.update();
        return node;
    }
}

class JSONMap {
    constructor(values, title, description) {
        Object.assign(this, { values, title, description, children: [] });
    }
    section(type, name, kind, title, description) {
        const made = new type(this, name, kind, title, description);
        this.children.push(made);
        return made;
    }
    async render() {
        return this.root = dom.create('div', { class: 'cbi-map' }, [this.title ? dom.create('h2', {}, [this.title]) : null, ...this.children.map(child => child.render())]);
    }
    async save(callback, silent) {
        const options = this.children.flatMap(section => section.children).filter(option => option.active() && !option.readonly);
        const wrong = options.map(option => [option, option.check()]).filter(([, result]) => result !== true);
        for (const option of options)
            option.input().setAttribute('aria-invalid', wrong.some(([one]) => one === option));
        if (wrong.length) {
            if (!silent)
                ui.showModal(_('Save error'), [dom.create('p', {}, [_('An error occurred while saving the form:')]),
                    dom.create('p', {}, [`${wrong[0][0].title}: ${wrong[0][1]}`]), dom.create('button', { class: 'btn', click: ui.hideModal }, [_('Dismiss')])]);
            throw new TypeError('invalid');
        }
        for (const option of options) {
            const value = option.formvalue();
            const data = this.values[option.section.section] ??= {};
            if (value === '' && option.rmempty)
                delete data[option.option];
            else
                data[option.option] = value;
        }
    }
}

const view = baseclass.extend({
    load() {},
    render() {},
    handleSave() {},
    handleSaveApply() {},
    handleReset() {},
});

/// Lasts as long as the tab.
const session = {
    getID: () => environment.sessionid,
    getLocalData: key => JSON.parse(sessionStorage.getItem(`luci.${key}`)),
    setLocalData: (key, value) => Boolean(sessionStorage.setItem(`luci.${key}`, JSON.stringify(value ?? null)) ?? true),
};

const classes = { baseclass, dom, poll, rpc, session, ui, view, form: { JSONMap, NamedSection, Value, ListValue } };
const loading = new Map();

/// A class file: "'require name as alias';" lines, then a body that returns a class.
function load(name) {
    if (name in classes)
        return Promise.resolve(classes[name]);
    if (!loading.has(name))
        loading.set(name, (async () => {
            if (!/^(modemctl|view\.modemctl)\.\w+$/.test(name))
                throw new Error(`a view requires "${name}", which has no stand-in`);
            const response = await fetch(`${environment.resource}/${name.replaceAll('.', '/')}.js`);
            if (!response.ok)
                throw new Error(`there is no class "${name}"`);
            const text = await response.text();
            const names = [...text.matchAll(/^'require ([\w.]+)(?: as (\w+))?';$/gm)].map(([, required, alias]) => [required, alias ?? required.replace(/\W/g, '_')]);
            const values = await Promise.all(names.map(([required]) => load(required)));
            const made = new Function('window', 'document', 'L', ...names.map(([, alias]) => alias), `${text}\n//# sourceURL=${name}.js`)(window, document, L, ...values);
            return new made();
        })());
    return loading.get(name);
}

interceptors.push(async (answer, options) => {
    if (answer?.error?.code !== -32002 || (options.object === 'session' && options.method === 'access'))
        return;
    await rpc.declare({ object: 'session', method: 'access', params: ['scope', 'object', 'function'], expect: { access: true } })('uci', 'luci', 'read').catch(() => {
        poll.stop();
        ui.showModal(_('Session expired'), [
            dom.create('div', { class: 'alert-message warning' }, [_('A new login is required since the authentication session expired.')]),
            dom.create('div', { class: 'right' }, [dom.create('button', { class: 'btn primary', click: () => { window.location.reload(); } }, [_('Log in…')])])]);
        L.raise('SessionError', 'Login session is expired');
    });
});

function showLogin() {
    const name = dom.create('input', { id: 'user', value: 'root', autocomplete: 'username' });
    const password = dom.create('input', { id: 'password', type: 'password', autocomplete: 'current-password' });
    const form = dom.create('form', {
        submit: async event => {
            event.preventDefault();
            const data = await rpc.declare({ object: 'session', method: 'login', params: ['username', 'password'], expect: { '': {} } })(name.value, password.value);
            if (data.ubus_rpc_session) {
                document.cookie = `sysauth=${data.ubus_rpc_session}; path=/; samesite=strict`;
                window.location.reload();
            } else
                ui.addNotification(null, [dom.create('p', {}, [_('Invalid username and/or password! Please try again.')])], 'warning');
        },
    }, [dom.create('h2', {}, ['Log in']), dom.create('p', {}, [dom.create('label', { for: 'user' }, ['User name ']), name]),
        dom.create('p', {}, [dom.create('label', { for: 'password' }, ['Password ']), password]), dom.create('button', { class: 'btn primary' }, ['Log in'])]);
    dom.content(document.getElementById('view'), [form]);
}

async function start() {
    if (environment.lang)
        await loadTranslations(environment.lang);
    for (const entry of environment.menu.filter(one => one.view))
        document.getElementById('menu').appendChild(dom.create('a', { href: L.url(entry.path) + location.search,
            'aria-current': entry.path === environment.node ? 'page' : null }, [_(entry.title)]));
    const place = document.getElementById('view');
    if (!environment.sessionid)
        return showLogin();
    if (!environment.view)
        return dom.content(place, [dom.create('h2', {}, ['Not found'])]);
    document.title = `Router - ${environment.view}`;
    dom.content(place, [dom.create('div', { class: 'spinning' }, [_('Loading view…')])]);
    const made = await load(`view.${environment.view.replaceAll('/', '.')}`);
    const data = await made.load();
    dom.content(place, [await made.render(data)]);
}

window.L = L;
start().catch(error => {
    document.documentElement.dataset.failed = error.message;
    dom.content(document.getElementById('view'), [dom.create('pre', { class: 'alert-message error', role: 'alert' }, [`${error.name}: ${error.message}`])]);
    throw error;
});
