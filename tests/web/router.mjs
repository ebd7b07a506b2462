// The web server of a router, in front of a simulated router: uhttpd's /ubus with rpcd's sessions and rights, as both were
// measured, and LuCI's page around a view. The plugin and the ACL files are the product's own.
//
//   node tests/web/router.mjs BUILD [simrouter options]      serves at a loopback address until Ctrl-C; "make page" without options
//   const router = await Router.start({ build, options: ['--modem', 'EC25'] })      in the tests

import { spawn } from 'node:child_process';
import { randomBytes } from 'node:crypto';
import fs from 'node:fs';
import http from 'node:http';
import os from 'node:os';
import path from 'node:path';
import { createInterface } from 'node:readline';
import { fileURLToPath } from 'node:url';

import { history, shown } from './scene.mjs';

const here = path.dirname(fileURLToPath(import.meta.url));
const source = path.resolve(here, '../..');
const application = path.join(source, 'packaging/luci-app-modemctl');
const nobody = '0'.repeat(32);

/// ubus status codes that rpcd answers.
const ok = 0, invalidArgument = 2, methodNotFound = 3, noData = 5, timeout = 7;

const jsonErrors = {
    '-32700': 'Parse error',
    '-32601': 'Method not found',
    '-32602': 'Invalid parameters',
    '-32000': 'Object not found',
    '-32002': 'Access denied',
    '-32003': 'ubus request timed out',
};
const longestRequest = 65536;

class JsonRpcError extends Error {
    constructor(code) {
        super(jsonErrors[code]);
        this.code = code;
    }
}

/// fnmatch without flags, as far as ACL files use it.
function matches(pattern, text) {
    const expression = pattern.replace(/[.+^${}()|\\]/g, '\\$&').replace(/\*/g, '.*').replace(/\?/g, '.');
    return new RegExp(`^${expression}$`, 's').test(text);
}

function isObject(value) {
    return value !== null && typeof value === 'object' && !Array.isArray(value);
}

/// What rpcd's package grants without a session, and a stand-in for its standard group.
const standardAcls = {
    unauthenticated: { read: { ubus: { session: ['access', 'login'] } } },
    'luci-access': { read: { ubus: { session: ['access', 'destroy'], luci: ['getFeatures'] } } },
};

/// The accounts of the tests: what each may do is a list of groups, as in /etc/config/rpcd.
export const accounts = {
    root: { password: 'modem', read: ['*'], write: ['*'] },
    reader: { password: 'modem', read: ['luci-access', 'luci-app-modemctl'], write: [] },
    operator: { password: 'modem', read: ['luci-access', 'luci-app-modemctl', 'luci-app-modemctl-control'],
        write: ['luci-app-modemctl-control'] },
    writer: { password: 'modem', read: ['luci-access', 'luci-app-modemctl', 'luci-app-modemctl-messages'],
        write: ['luci-app-modemctl-messages'] },
    stranger: { password: 'modem', read: ['luci-access'], write: [] },
};

/// Sessions with an end, and what they grant: by scope, object and function.
class Sessions {
    constructor(acls, clock) {
        this.acls = acls;
        this.clock = clock;
        this.sessions = new Map();
        this.lifetime_s = 300;
    }

    login(name, password, lifetime_s) {
        const account = accounts[name];
        if (!account || account.password !== password)
            return null;
        const id = randomBytes(16).toString('hex');
        const session = { name, lifetime_s: lifetime_s ?? this.lifetime_s, grants: this.grantsOf(account) };
        this.sessions.set(id, session);
        this.touch(session);
        return { ubus_rpc_session: id, timeout: session.lifetime_s, expires: session.lifetime_s, data: { username: name } };
    }

    grantsOf(account) {
        const grants = [];
        for (const [group, sections] of Object.entries(this.acls))
            for (const section of ['read', 'write'])
                if (sections[section] && account[section].some(pattern => matches(pattern, group))) {
                    grants.push({ scope: 'access-group', object: group, method: section });
                    for (const [scope, objects] of Object.entries(sections[section]))
                        for (const [object, methods] of Array.isArray(objects) ? objects.map(name => [name, [section]]) : Object.entries(objects))
                            for (const method of methods)
                                grants.push({ scope, object, method });
                }
        return grants;
    }

    touch(session) {
        session.end = this.clock() + session.lifetime_s * 1000;
    }

    get(id) {
        if (id === nobody)
            return { name: '', lifetime_s: 0, grants: this.grantsOf({ read: ['unauthenticated'], write: [] }) };
        const session = this.sessions.get(id);
        if (session && session.end < this.clock()) {
            this.sessions.delete(id);
            return undefined;
        }
        if (session)
            this.touch(session);
        return session;
    }

    allows(id, scope, object, method) {
        return this.get(id)?.grants.some(grant =>
            grant.scope === scope && matches(grant.object, object) && matches(grant.method, method)) ?? false;
    }

    destroy(id) {
        this.sessions.delete(id);
    }

    /// What rpcd answers to "session access" without an object.
    dump(id) {
        const scopes = {};
        for (const { scope, object, method } of this.get(id)?.grants ?? []) {
            const methods = ((scopes[scope] ??= {})[object] ??= []);
            if (!methods.includes(method))
                methods.push(method);
        }
        return scopes;
    }
}

function readAcls() {
    const acls = { ...standardAcls };
    const folder = path.join(source, 'packaging/openwrt/files/usr/share/rpcd/acl.d');
    for (const file of fs.readdirSync(folder))
        Object.assign(acls, JSON.parse(fs.readFileSync(path.join(folder, file), 'utf8')));
    return acls;
}

/// The menu entries of the application that a session may open, sorted: [{path, title, view}].
function readMenu(sessions, id) {
    const folder = path.join(application, 'root/usr/share/luci/menu.d');
    const entries = fs.readdirSync(folder).flatMap(file => Object.entries(JSON.parse(fs.readFileSync(path.join(folder, file), 'utf8'))));
    return entries
        .filter(([, entry]) => (entry.depends?.acl ?? []).every(group => sessions.allows(id, 'access-group', group, 'read')))
        .map(([name, entry]) => ({ path: name, title: entry.title, order: entry.order ?? 0, view: entry.action?.path }))
        .sort((one, other) => one.order - other.order);
}

const types = { '.js': 'text/javascript', '.mjs': 'text/javascript', '.css': 'text/css', '.json': 'application/json',
    '.po': 'text/plain', '.html': 'text/html' };

export class Router {
    /// options are simrouter's; script is run in the router before anything is served.
    static async start({ build, options = [], script = '', plugin = '', rpcd = {}, port = 0 }) {
        const router = new Router();
        router.build = path.resolve(build);
        router.limit_ms = rpcd.limit_ms ?? 30000;
        router.rpcdRuns = true;
        router.calls = [];
        router.time = () => Date.now() + router.skew_ms;
        router.skew_ms = 0;
        router.sessions = new Sessions(readAcls(), () => router.time());
        await router.startInside(options);
        if (plugin)
            await router.sh(`mkdir -p /usr/libexec/rpcd && cp '${plugin}' /usr/libexec/rpcd/modemctl && chmod +x /usr/libexec/rpcd/modemctl`);
        else
            await router.sh('mkdir -p /usr/libexec/rpcd && ln -sf "$(command -v modemctl)" /usr/libexec/rpcd/modemctl');
        if (script) {
            const result = await router.sh(script);
            if (result.status !== 0)
                throw new Error(`the script of the router failed: ${JSON.stringify(result)}`);
        }
        await router.loadPlugin();
        router.server = http.createServer((request, response) => router.serve(request, response).catch(error => {
            response.writeHead(500).end(String(error));
        }));
        // Without this Node closes an idle connection after five seconds, which is when the next poll comes.
        router.server.keepAliveTimeout = 120000;
        await new Promise(resolve => router.server.listen(port, '127.0.0.1', resolve));
        router.url = `http://127.0.0.1:${router.server.address().port}`;
        return router;
    }

    /// What the packages modemctl and modemctl-data install beside the program, as far as it was built.
    packagedFiles() {
        const files = { [path.join(source, 'packaging/data/models')]: '/usr/share/modemctl/models',
            [path.join(this.build, 'packaging/apns')]: '/usr/share/modem/apns', [path.join(this.build, 'packaging/operator.dat')]: '/usr/share/modem/operator.dat' };
        return Object.entries(files).filter(([file]) => fs.existsSync(file)).flatMap(([file, place]) => ['--put', `${file}:${place}`]);
    }

    async startInside(options) {
        this.waiting = new Map();
        this.last = 0;
        this.simrouter = spawn(path.join(this.build, 'simrouter'),
            [...this.packagedFiles(), ...options, '--put', `${path.join(here, 'agent.mjs')}:/tmp/agent.mjs`, '--', process.execPath, '/tmp/agent.mjs'],
            { stdio: ['pipe', 'pipe', 'pipe'] });
        let errors = '';
        this.simrouter.stderr.on('data', data => { errors += data; });
        this.ended = new Promise(resolve => this.simrouter.on('exit', resolve));
        await new Promise((resolve, reject) => {
            this.ended.then(status => {
                reject(Object.assign(new Error(`simrouter ended with ${status}: ${errors}`), { status }));
                for (const call of this.waiting.values())
                    call({ status: 128, killed: true, output: '', errors: 'the router has ended' });
            });
            createInterface({ input: this.simrouter.stdout }).on('line', line => {
                const answer = JSON.parse(line);
                if (answer.ready)
                    return resolve();
                this.waiting.get(answer.id)(answer);
                this.waiting.delete(answer.id);
            });
        });
    }

    run(command, input = '', limit_ms = 60000) {
        return new Promise(resolve => {
            const id = ++this.last;
            this.waiting.set(id, resolve);
            this.simrouter.stdin.write(`${JSON.stringify({ id, command, input, limit_ms })}\n`);
        });
    }

    sh(text, limit_ms) {
        return this.run(['/bin/sh', '-c', text], '', limit_ms);
    }

    async stop() {
        this.server?.closeAllConnections?.();
        this.server?.close();
        this.simrouter.stdin.end();
        await this.ended;
    }

    /// As rpcd does at its start.
    async loadPlugin() {
        const { output, errors } = await this.run(['/usr/libexec/rpcd/modemctl', 'list'], '', 10000);
        try {
            this.methods = Object.keys(JSON.parse(output));
        } catch {
            throw new Error(`the plugin's list is no JSON: ${output}${errors}`);
        }
    }

    /// rpcd's objects. @return [status, data]
    async invoke(id, object, method, given) {
        const sessions = this.sessions;
        if (object === 'session') {
            if (method === 'login') {
                const data = sessions.login(given.username, given.password, given.timeout);
                return data ? [ok, data] : [6];
            }
            if (method === 'access')
                return [ok, given.object && given.function
                    ? { access: sessions.allows(id, given.scope ?? 'ubus', given.object, given.function) }
                    : sessions.dump(id)];
            if (method === 'destroy') {
                sessions.destroy(id);
                return [ok];
            }
            return [methodNotFound];
        }
        if (!this.methods.includes(method))
            return [methodNotFound];
        const result = await this.run(['/usr/libexec/rpcd/modemctl', 'call', method],
            JSON.stringify({ ...given, ubus_rpc_session: id }), this.limit_ms);
        if (result.killed)
            return [timeout];
        if (result.output.trim() === '')
            return [noData];
        try {
            const data = JSON.parse(result.output);
            return isObject(data) ? [ok, data] : [invalidArgument];
        } catch {
            return [invalidArgument];
        }
    }

    async call(request) {
        if (!isObject(request) || request.jsonrpc !== '2.0' || typeof request.method !== 'string')
            throw new JsonRpcError(-32700);
        if (request.method === 'list')
            return this.rpcdRuns ? { modemctl: Object.fromEntries(this.methods.map(name => [name, {}])) } : {};
        if (request.method !== 'call')
            throw new JsonRpcError(-32601);
        const [id, object, method, given] = Array.isArray(request.params) ? request.params : [];
        if (typeof id !== 'string' || typeof object !== 'string' || typeof method !== 'string' || !isObject(given))
            throw new JsonRpcError(-32700);
        if (!this.rpcdRuns || !['session', 'modemctl'].includes(object))
            throw new JsonRpcError(-32000);
        if (!this.sessions.allows(id, 'ubus', object, method))
            throw new JsonRpcError(-32002);
        if ('ubus_rpc_session' in given)
            throw new JsonRpcError(-32602);
        this.calls.push({ object, method, given });
        return this.invoke(id, object, method, given);
    }

    async answer(request) {
        const frame = { jsonrpc: '2.0', id: request?.id ?? null };
        try {
            return { ...frame, result: await this.call(request) };
        } catch (error) {
            if (!(error instanceof JsonRpcError))
                throw error;
            return { ...frame, error: { code: error.code, message: error.message } };
        }
    }

    /// One POST. A batch is worked off one after the other, as uhttpd does it.
    async ubus(body) {
        let request;
        try {
            if (body.length > longestRequest)
                throw new SyntaxError();
            request = JSON.parse(body.toString());
        } catch {
            return { jsonrpc: '2.0', id: null, error: { code: -32700, message: jsonErrors[-32700] } };
        }
        if (!Array.isArray(request))
            return this.answer(request);
        const answers = [];
        for (const entry of request)
            answers.push(await this.answer(entry));
        return answers;
    }

    async serve(request, response) {
        const url = new URL(request.url, 'http://router');
        const send = (type, body, more = {}) => response.writeHead(200, { 'Content-Type': type, 'Cache-Control': 'no-store', ...more }).end(body);
        if (request.method === 'POST' && /^\/(ubus|cgi-bin\/luci\/admin\/ubus)(\/|$)/.test(url.pathname)) {
            const parts = [];
            for await (const part of request)
                parts.push(part);
            return send('application/json', JSON.stringify(await this.ubus(Buffer.concat(parts))));
        }
        if (url.pathname === '/favicon.ico')
            return response.writeHead(204).end();
        if (url.pathname === '/')
            return response.writeHead(302, { Location: '/cgi-bin/luci/admin/modem/overview' }).end();
        if (url.pathname.startsWith('/luci-static/'))
            return this.sendFile(path.join(application, 'htdocs', path.normalize(url.pathname)), send, response);
        if (url.pathname.startsWith('/stand-in/'))
            return this.sendFile(path.join(here, path.basename(url.pathname)), send, response);
        if (url.pathname.startsWith('/translations/'))
            return this.sendFile(path.join(application, 'po', path.basename(url.pathname), 'modemctl.po'), send, response);
        if (url.pathname.startsWith('/cgi-bin/luci/'))
            return this.sendPage(url, request, send);
        response.writeHead(404).end();
    }

    sendFile(file, send, response) {
        if (!file.startsWith(source) || !fs.existsSync(file))
            return response.writeHead(404).end();
        send(`${types[path.extname(file)] ?? 'application/octet-stream'}; charset=utf-8`, fs.readFileSync(file));
    }

    /// LuCI's frame around a view: the session from the cookie, the menu by the session's rights.
    sendPage(url, request, send) {
        const id = /(?:^|; *)sysauth=([0-9a-f]{32})/.exec(request.headers.cookie ?? '')?.[1] ?? nobody;
        const known = id !== nobody && this.sessions.get(id);
        const menu = known ? readMenu(this.sessions, id) : [];
        const node = url.pathname.slice('/cgi-bin/luci/'.length);
        const entry = menu.find(one => one.path === node);
        const environment = { sessionid: known ? id : '', scriptname: '/cgi-bin/luci', resource: '/luci-static/resources',
            ubuspath: '/ubus', pollinterval: 5, rpctimeout: 20, lang: url.searchParams.get('lang') ?? '', menu, node, view: entry?.view ?? '' };
        const page = fs.readFileSync(path.join(here, 'frame.html'), 'utf8');
        send('text/html; charset=utf-8', page.replace('{}', JSON.stringify(environment).replace(/</g, '\\u003c')));
    }
}

/// "make page", or a router of one's own by simrouter's options.
async function main([build, ...options]) {
    if (!build) {
        console.error('usage: node router.mjs BUILD [simrouter options]');
        process.exit(64);
    }
    const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'modemctl-page.'));
    const historyFile = path.join(folder, 'history');
    fs.writeFileSync(historyFile, history());
    try {
        const router = await Router.start({ build, port: Number(process.env.PORT ?? 0), ...(options.length ? { options } : shown(historyFile)) });
        router.sessions.lifetime_s = 3600;
        console.log(`\n    ${router.url}/\n\nThe page of a simulated router. User root, password modem. Ctrl-C ends it.`);
        const end = () => router.stop().then(() => process.exit(0));
        process.on('SIGINT', end);
        process.on('SIGTERM', end);
    } catch (error) {
        console.error(error.message);
        process.exit(error.status ?? 1);
    } finally {
        fs.rmSync(folder, { recursive: true });
    }
}

if (process.argv[1] === fileURLToPath(import.meta.url))
    main(process.argv.slice(2));
