// What people meet and nobody plans: odd texts, several modems, jobs that outlive their page, somebody else at the same time.

import assert from 'node:assert/strict';
import test from 'node:test';

import { online, open, overhang, startRouter, watched } from './harness.mjs';

const card = (page, bus = '1-1.2') => page.locator(`section[data-bus="${bus}"]`);
const twoModems = ['--modem', 'EC25', '--modem', 'EP06@1-1.3'];
const views = ['overview', 'signal', 'connection', 'messages', 'diagnostics'];

/// change(method, result, given) may change what the router answers.
async function alter(page, change) {
    await page.route('**/ubus/**', async route => {
        const response = await route.fetch(), given = route.request().postDataJSON(), answers = await response.json();
        [given].flat().forEach(({ params }, i) => {
            const result = [answers].flat()[i].result?.[1];
            if (result)
                change(params[2], result, params[3]);
        });
        await route.fulfill({ response, json: answers });
    });
}

test('a card keeps its job while another program takes a port and leaves it', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=20000'], online);
    await router.sh('ubus call network.interface.modem_1_1_2 down; modemctl 1-1.2 info --json');
    const page = await open(router, 'overview');
    let holder = '';
    await alter(page, (method, result) => {
        if (method === 'modems' && holder)
            result.modems[0].held_by = holder;
    });
    await card(page).getByRole('button', { name: 'Connect', exact: true }).click();
    await page.getByText('In progress for').waitFor();
    holder = 'ModemManager';
    await page.getByText('Another program, ModemManager').waitFor();
    assert.equal(await card(page).getByText('In progress for').count(), 1);
    holder = '';
    await page.getByText('Another program, ModemManager').waitFor({ state: 'detached' });
    await page.locator('[data-tone=good]').waitFor();
    await page.done();
});

test('the modem that was chosen stays chosen in the other views', async () => {
    const router = await startRouter(twoModems);
    const page = await open(router, 'signal');
    await page.getByLabel('Modem', { exact: true }).selectOption('1-1.3');
    await page.getByRole('link', { name: 'Diagnostics' }).click();
    await page.getByRole('heading', { name: 'Watch' }).waitFor();
    assert.equal(await page.getByLabel('Modem', { exact: true }).inputValue(), '1-1.3');
    await page.done();
});

test('a right-to-left message ends at its left, beside others', async () => {
    const text = 'שלום עולם.';
    const router = await startRouter(['--modem', 'EC25', '--put-text', `/etc/spool/sms/incoming/GMS1.aaaaaa=From: 43660\n\n${text}`,
        '--put-text', '/etc/spool/sms/incoming/GMS1.bbbbbb=From: 43661\n\nHello.']);
    const page = await open(router, 'messages');
    await page.locator('[data-number="43660"]').click();
    await page.locator('.modemctl-bubble').waitFor();
    const place = await page.evaluate(() => {
        const node = document.querySelector('.modemctl-bubble').firstChild, range = document.createRange();
        const left = at => {
            range.setStart(node, at);
            range.setEnd(node, at + 1);
            return range.getBoundingClientRect().left;
        };
        const box = node.parentNode.getBoundingClientRect();
        return { full_stop: left(node.length - 1), first: left(0), middle: (box.left + box.right) / 2 };
    });
    assert.ok(place.full_stop < place.first, 'the full stop is at the end');
    assert.ok(place.first > place.middle, 'it begins at the right');
    await page.done();
});

test('very long texts make no view wider than a telephone', async () => {
    const long = 'W'.repeat(120);
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=100', '--put-text', `/etc/spool/sms/incoming/GMS1.aaaaaa=From: ${long}\n\n${long}${long}`], online + watched());
    for (const view of views) {
        const page = await open(router, view, { width: 320 });
        await alter(page, (method, result) => {
            if (method === 'info')
                Object.assign(result, { network: { ...result.network, operator_name: long, technology: long }, modem: { model: long }, quality: { level: 3, words: long, limit: 'sinr' } });
            if (method === 'status')
                Object.assign(result, { state: 'recovering', reason: long, interface_status: { state: 'up', ipv4: [long], ipv6: ['2001:db8:1234:5678:9abc:def0:1234:5678'] } });
            if (method === 'modems')
                Object.assign(result.modems[0], { held_by: long, name: long, interface: long });
            if (method === 'log')
                result.lines = [{ uptime_s: 5, text: long }, { uptime_s: 6, text: `a -> b: ${long}` }];
            if (method === 'settings')
                Object.assign(result.network, { apn: long, username: long, ip: long, auth: long });
            if (method === 'missing')
                result.missing = [{ what: long, why: long }];
        });
        await page.reload();
        await page.waitForFunction(() => (document.body.innerText + [...document.querySelectorAll('input')].map(({ value }) => value)).includes('WWWW'));
        if (view === 'messages')
            await page.locator('.modemctl-list button').click();
        assert.ok(await overhang(page) <= 0, `${view} is ${await overhang(page)} pixels too wide`);
        await page.done();
    }
});

test('a message that comes while its conversation is open counts as read', async () => {
    const router = await startRouter(['--modem', 'EC25', '--put-text', '/etc/spool/sms/incoming/GMS1.aaaaaa=From: 43660\n\nhello']);
    const page = await open(router, 'messages');
    await page.locator('[data-number="43660"]').click();
    await page.getByLabel('Text').fill('half typed');
    await router.sh('printf "From: 43660\\n\\nagain" >/etc/spool/sms/incoming/GMS1.bbbbbb');
    await page.locator('.modemctl-bubble', { hasText: 'again' }).waitFor();
    await page.getByRole('button', { name: /^43660 \(1 new\)/ }).waitFor({ state: 'detached' });
    assert.equal(await page.getByLabel('Text').inputValue(), 'half typed');
    assert.equal((await router.sh('ls /etc/spool/sms/storage')).output, 'GMS1.aaaaaa\nGMS1.bbbbbb\n');
    await page.done();
});

test('a conversation with very many new messages is marked as read by and by', async () => {
    const router = await startRouter(['--modem', 'EC25']);
    await router.sh('mkdir -p /etc/spool/sms/incoming /etc/spool/sms/storage; cd /etc/spool/sms/incoming; for i in $(seq 480); do printf "From: 43660\\n\\nhello" >GMS1.$i; done');
    const page = await open(router, 'messages');
    await page.locator('[data-number="43660"]').click();
    // How many there are by then depends on how the click and the page's own round meet.
    await page.getByRole('button', { name: /^43660 \(480 new\)/ }).waitFor({ state: 'detached' });
    await router.sh('until [ $(ls /etc/spool/sms/storage | wc -l) -ge 50 ]; do sleep 0.1; done');
    assert.ok(page.asked.every(text => text.length < 65536));
    await page.done();
});

test('two people change settings at the same time, and both changes stay', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=100'], online);
    const [one, other] = [await open(router, 'connection'), await open(router, 'connection')];
    for (const page of [one, other])
        await page.getByLabel('APN', { exact: true }).waitFor();
    await one.getByLabel('APN', { exact: true }).fill('one.example');
    await other.getByLabel('Seconds without data').fill('600');
    await one.getByRole('button', { name: 'Save' }).click();
    await one.getByText('Saved.').waitFor();
    await other.getByRole('button', { name: 'Save' }).click();
    await other.getByText('Saved.').waitFor();
    assert.equal((await router.sh('uci get network.modem_1_1_2.apn; uci get modemctl.1_1_2.idle')).output, 'one.example\n600\n');
    assert.equal(await other.getByLabel('APN', { exact: true }).inputValue(), 'one.example');
    await one.done();
    await other.done();
});

test('the APN that was chosen from the list is used, with its login, and one of your own is kept', async () => {
    const router = await startRouter(['--modem', 'EC25', '--link', 'setup=100'], online);
    const page = await open(router, 'connection');
    const uses = row => page.getByRole('row', { name: row }).getByRole('button', { name: 'Use' });
    const settings = () => router.sh('for o in apn username password; do uci get network.modem_1_1_2.$o; done');
    const list = () => page.getByRole('button', { name: 'Which APNs fit this card?' }).click();
    await list();
    await uses('business.gprsinternet').click();
    await page.getByText('Saved.').waitFor();
    assert.equal((await settings()).output, 'business.gprsinternet\nt-mobile\ntm\n');
    await router.sh('uci set network.modem_1_1_2.password=secret77; uci commit network');
    await list();
    await page.getByText('Saved.').evaluate(node => node.replaceChildren());
    await uses(/business\.gprsinternet set by the user/).click();
    await page.getByText('Saved.').waitFor();
    assert.equal((await settings()).output, 'business.gprsinternet\nt-mobile\nsecret77\n');
    await page.done();
});

test('a job outlives its page, and the next page waits for its end', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=20000'], online);
    await router.sh('ubus call network.interface.modem_1_1_2 down; modemctl 1-1.2 info --json');
    const page = await open(router, 'overview');
    await page.getByRole('button', { name: 'Connect', exact: true }).click();
    await page.getByText('In progress for').waitFor();
    await page.reload();
    await card(page).getByText('Connecting').first().waitFor();
    await page.locator('[data-tone=good]').waitFor();
    await page.done();
});

test('rpcd goes in the middle of a job and comes back, and the job is told of', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=5000'], online);
    await router.sh('ubus call network.interface.modem_1_1_2 down; modemctl 1-1.2 info --json');
    const page = await open(router, 'overview');
    await page.getByRole('button', { name: 'Connect', exact: true }).click();
    await page.getByText('In progress for').waitFor();
    router.rpcdRuns = false;
    await page.getByText('The router does not answer').waitFor();
    router.rpcdRuns = true;
    await page.locator('[data-tone=good]').waitFor();
    await page.getByText('In progress for').waitFor({ state: 'detached' });
    await page.done();
});

test('a modem that comes back with other ports has them in the facts', async () => {
    const router = await startRouter(['--modem', 'EC25']);
    const page = await open(router, 'diagnostics');
    await page.getByText('/dev/ttyUSB2').waitFor();
    await alter(page, (method, result) => {
        if (method === 'modems')
            result.modems[0].ports = ['/dev/ttyUSB7'];
    });
    await page.getByText('/dev/ttyUSB7').waitFor();
    await page.done();
});

test('a language without translations, and words without a translation, are shown in English', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=100'], online + watched());
    for (const language of ['xx', 'de']) {
        const page = await open(router, 'overview', { language, expectErrors: true });
        await alter(page, (method, result) => {
            if (method === 'status')
                Object.assign(result, { state: 'blocked', reason: 'the moon is full, %d of %s' });
        });
        await card(page).getByText('the moon is full, %d of %s').first().waitFor();
        await page.done();
    }
});
