// What uhttpd and rpcd answer, as measured with the real ones: contract_test.mjs BUILD. The stand-in has to give the same answers.
// ROUTER=http://192.168.1.1 asks a real router (user root, password in PASSWORD) instead.

import assert from 'node:assert/strict';
import path from 'node:path';
import test, { after } from 'node:test';

import { Router } from './router.mjs';

const nobody = '0'.repeat(32);
let router;
let ubus;
if (process.env.ROUTER)
    ubus = `${process.env.ROUTER}/ubus`;
else {
    try {
        router = await Router.start({ build: path.resolve(process.argv[2] ?? 'build'), options: ['--modem', 'EC25'] });
    } catch (error) {
        console.log(error.message);
        process.exit(error.status === 77 ? 77 : 1);
    }
    ubus = `${router.url}/ubus`;
    after(() => router.stop());
}

async function post(body) {
    return (await fetch(ubus, { method: 'POST', body: typeof body === 'string' ? body : JSON.stringify(body) })).json();
}

const frame = (params, more) => ({ jsonrpc: '2.0', id: 1, method: 'call', params, ...more });
const outcome = answer => answer.error ? answer.error.code : answer.result;

async function login(username) {
    const [status, data] = (await post(frame([nobody, 'session', 'login', { username, password: process.env.PASSWORD ?? 'modem' }]))).result;
    assert.equal(status, 0);
    return data.ubus_rpc_session;
}

const session = await login('root');

const requests = [
    // what                                                        body                                                                     answer
    ['not JSON', '{', -32700],
    ['longer than a request may be', `"${'x'.repeat(70000)}"`, -32700],
    ['another method', frame([session, 'modemctl', 'modems', {}], { method: 'run' }), -32601],
    ['no session', frame([nobody, 'modemctl', 'modems', {}]), -32002],
    ['a session that does not exist', frame(['f'.repeat(32), 'modemctl', 'modems', {}]), -32002],
    ['an object that does not exist', frame([session, 'no_such_object', 'modems', {}]), -32000],
    ['a method that the rights lack', frame([session, 'modemctl', 'no_such_method', {}]), -32002],
    ['a session among the arguments', frame([session, 'modemctl', 'modems', { ubus_rpc_session: session }]), -32602],
    ['arguments that are no object', frame([session, 'modemctl', 'modems', 7]), -32700],
    ['parameters that are missing', frame([session, 'modemctl']), -32700],
    ['another version of the protocol', frame([session, 'modemctl', 'modems', {}], { jsonrpc: '1.0' }), -32700],
    ['a wrong password', frame([nobody, 'session', 'login', { username: 'root', password: 'no' }]), [6]],
    ['a right that is there', frame([session, 'session', 'access', { scope: 'ubus', object: 'modemctl', function: 'set' }]), [0, { access: true }]],
    ['a right that is not there', frame([session, 'session', 'access', { scope: 'ubus', object: 'modemctl', function: 'no' }]), [0, { access: false }]],
    ['a wrong argument, which only the plugin can refuse', frame([session, 'modemctl', 'pause', { minutes: 'ten' }]), 'bad-argument'],
    ['an unknown argument, likewise', frame([session, 'modemctl', 'modems', { colour: 'red' }]), 'bad-argument'],
    ['shell characters', frame([session, 'modemctl', 'info', { bus: '$(id)`id`;\'"\n' }]), 'bad-argument'],
    ['a bus without a modem', frame([session, 'modemctl', 'info', { bus: '1-1.4' }]), 'no-modem'],
    ['a job that does not exist', frame([session, 'modemctl', 'job', { id: 'a'.repeat(32) }]), 'not-found'],
];

for (const [what, body, expected] of requests)
    test(`${what} gets its answer`, async () => {
        const found = outcome(await post(body));
        assert.deepEqual(typeof expected === 'string' ? found[1].error : found, expected);
    });

test('a batch is answered in its order', async () => {
    const answers = await post([frame([session, 'session', 'access', {}], { id: 7 }), frame([nobody, 'modemctl', 'modems', {}], { id: 8 })]);
    assert.deepEqual(answers.map(({ id }) => id), [7, 8]);
    assert.equal(outcome(answers[1]), -32002);
});

test('rights are those of the groups that were granted', { skip: !router }, async () => {
    const allowed = async (user, ...methods) => {
        const id = await login(user);
        return Promise.all(methods.map(async method => (await post(frame([id, 'session', 'access', { scope: 'ubus', object: 'modemctl', function: method }]))).result[1].access));
    };
    assert.deepEqual(await allowed('reader', 'info', 'set', 'messages', 'at', 'identity', 'refresh'), [true, false, false, false, false, false]);
    assert.deepEqual(await allowed('operator', 'info', 'set', 'messages', 'at', 'restart'), [true, true, false, false, false]);
    assert.deepEqual(await allowed('writer', 'info', 'set', 'messages', 'message_send', 'at'), [true, false, true, true, false]);
    assert.deepEqual(await allowed('stranger', 'modems', 'info', 'job'), [false, false, false]);
});

test('a session ends when it was not used for its time', { skip: !router }, async () => {
    const id = await login('reader');
    router.skew_ms = 301000;
    const answer = await post(frame([id, 'modemctl', 'modems', {}]));
    router.skew_ms = 0;
    assert.equal(outcome(answer), -32002);
});

test('a plugin that hangs is killed at the limit, and others are served meanwhile', { skip: !router }, async () => {
    await router.sh('mv /usr/libexec/rpcd/modemctl /usr/libexec/rpcd/kept; printf "#!/bin/sh\\n[ \\$2 = info ] && exec sleep 100\\necho {}\\n" >/usr/libexec/rpcd/modemctl; chmod +x /usr/libexec/rpcd/modemctl');
    router.limit_ms = 500;
    const hanging = post(frame([session, 'modemctl', 'info', {}]));
    assert.deepEqual(outcome(await post(frame([session, 'modemctl', 'modems', {}]))), [0, {}]);
    assert.deepEqual(outcome(await hanging), [7]);
    for (const [output, status] of [['', 5], ['no JSON', 2], ['[1]', 2]]) {
        await router.sh(`printf '#!/bin/sh\\nprintf "${output}"\\n' >/usr/libexec/rpcd/modemctl`);
        assert.deepEqual(outcome(await post(frame([session, 'modemctl', 'info', {}]))), [status], output);
    }
    router.methods = router.methods.filter(name => name !== 'info');
    assert.deepEqual(outcome(await post(frame([session, 'modemctl', 'info', {}]))), [3]);
});
