import assert from 'node:assert/strict';
import test from 'node:test';

import { accessibilityFaults, checkLooks, online, open, overhang, startRouter, watched } from './harness.mjs';

const card = (page, bus = '1-1.2') => page.locator(`section[data-bus="${bus}"]`);
const state = (page, tone, bus) => card(page, bus).locator(`[data-tone=${tone}]`);

test('a modem that is online: state, operator, signal, bands and address on one card', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=100'], online + watched());
    const page = await open(router, 'overview');
    await state(page, 'good').waitFor();
    const text = await card(page).innerText();
    assert.match(text, /Online by 4G\+ \(LTE\)/);
    assert.match(text, /VERY/);
    assert.match(text, /B3 \+ B7, 30 MHz/);
    assert.match(text, /RSRP -84\u00a0dBm/);
    assert.match(text, /10\.64\.1\.2/);
    assert.equal(await card(page).getByRole('img', { name: 'Signal 4 of 5' }).count(), 1);
    assert.equal(await card(page).locator('li[data-state=ok]').count(), 5);
    await checkLooks(page, 'overview');

    // rpcd stops, and comes back: the page says so and recovers by itself.
    router.rpcdRuns = false;
    await page.getByText('The router does not answer').waitFor();
    assert.deepEqual(await accessibilityFaults(page), []);
    router.rpcdRuns = true;
    await page.getByText('The router does not answer').waitFor({ state: 'detached' });

    // Disconnect, then connect, with nothing but the keyboard.
    await card(page).getByRole('button', { name: 'Disconnect' }).focus();
    await page.keyboard.press('Enter');
    await state(page, 'off').waitFor();
    await card(page).getByRole('button', { name: 'Connect' }).focus();
    await page.keyboard.press('Space');
    await state(page, 'good').waitFor();

    // The session ends while the page is open.
    router.sessions.destroy(page.session);
    await page.getByText('Session expired', { exact: true }).waitFor();
    await page.getByText('Log in…').click();
    await page.getByLabel('Password').fill('modem');
    await page.getByRole('button', { name: 'Log in' }).click();
    await state(page, 'good').waitFor();
    await page.done();
});

test('the page costs the modem nothing when the watch has asked it, and needs one round of requests', async t => {
    const router = await startRouter(['--modem', 'EC25', '--link', 'setup=100'], online + watched());
    const page = await open(router, 'overview');
    await state(page, 'good').waitFor();
    t.diagnostic(`complete ${Math.round(await page.evaluate(() => performance.now()))} ms after the request for the page`);
    // The rights, the list of modems, and what is known of the first one.
    assert.match(page.asked[0], /"access".*"modems".*"info".*"status".*"usage"/);
    const order = router.calls.map(({ object, method }) => object === 'session' ? 'rights' : method).slice(0, 8);
    assert.deepEqual(order, ['rights', 'rights', 'rights', 'rights', 'modems', 'info', 'status', 'usage']);
    while (router.calls.length < 12)
        await page.waitForResponse(() => true);
    assert.deepEqual(router.calls.slice(8, 12).map(({ method, given }) => [method, given.bus]), [['modems', undefined], ['info', '1-1.2'], ['status', '1-1.2'], ['usage', '1-1.2']]);
    assert.ok(router.calls.every(({ method }) => !['refresh', 'job', 'at'].includes(method)));
    await page.done();
});

test('each view has its first answers in one round, of the modem in the address', async () => {
    const router = await startRouter(['--modem', 'EC25', '--modem', 'EP06@1-1.3']);
    const firsts = { signal: ['info', 'history'], connection: ['settings'], diagnostics: ['status', 'log', 'missing'] };
    for (const view in firsts) {
        router.calls.length = 0;
        const page = await open(router, `${view}#1-1.3`);
        await page.locator('.modemctl .cbi-section').first().waitFor();
        const asked = router.calls.filter(({ object }) => object !== 'session');
        assert.deepEqual(asked.map(({ method }) => method), ['modems', ...firsts[view]], view);
        assert.ok(asked.every(({ method, given }) => ['modems', 'missing'].includes(method) || given.bus === '1-1.3'), view);
        await page.done();
    }
});

test('without a watch and a report, the page offers to ask the modem', async () => {
    const router = await startRouter(['--modem', 'EC25']);
    const page = await open(router, 'overview');
    await card(page).getByText('Nothing is known yet').waitFor();
    await card(page).getByRole('button', { name: 'Ask the modem' }).click();
    await card(page).getByText('T-Mobile A').first().waitFor();
    await page.done();
});

test('a card that wants its PIN is named as the broken link', async () => {
    const router = await startRouter(['--modem', 'EC25,pin=SIM PIN'], `${online}${watched('blocked')}`);
    const page = await open(router, 'overview');
    await state(page, 'bad').getByText('Not online: the SIM card wants its PIN').waitFor();
    assert.equal(await card(page).locator('li[data-state=bad]').innerText(), '✕ SIM card wants its PIN (3 tries left)');
    await card(page).getByRole('link', { name: 'Open the settings' }).click();
    await page.getByLabel('PIN of the SIM card').waitFor();
    await page.done();
});

test('a modem that hangs does not hang the page', async () => {
    const router = await startRouter(['--modem', 'EC25', '--modem', 'EP06@1-1.3', '--fault', '1-1.2/silence']);
    const page = await open(router, 'overview');
    await card(page).getByRole('button', { name: 'Ask the modem' }).click();
    await card(page, '1-1.3').getByRole('button', { name: 'Ask the modem' }).click();
    await card(page, '1-1.3').getByText('VERY').first().waitFor();
    await card(page).getByText('The modem does not answer.').waitFor();
    await page.done();
});

test('nine modems have a card each, and no modem has a sentence', async () => {
    const buses = ['1-1.2', '1-1.3', '1-1.4', '1-1.5', '1-1.6', '2-1.2', '2-1.3', '2-1.4', '2-1.5'];
    const router = await startRouter(buses.flatMap((bus, i) => ['--modem', `${['EC25', 'EP06', 'RM520N'][i % 3]}@${bus}`]));
    const page = await open(router, 'overview', { width: 390 });
    // The first card is complete before the last one is asked for.
    await page.locator('section[data-bus="1-1.2"] [data-tone]').waitFor();
    assert.ok(page.asked.every(text => !(text.includes('"1-1.2"') && text.includes('"2-1.5"'))));
    await page.locator('section[data-bus="2-1.5"] [data-tone]').waitFor();
    assert.equal(await page.locator('section[data-bus]').count(), 9);
    assert.ok(await overhang(page) <= 0);
    await page.done();

    const empty = await startRouter([]);
    const other = await open(empty, 'overview');
    await other.getByText('No modem is plugged in').waitFor();
    assert.deepEqual(await accessibilityFaults(other), []);
    await other.done();
});

test('markup in a name is a text', async () => {
    const name = '<img src=x onerror=document.title=1>';
    const router = await startRouter(['--modem', 'EC25', '--put-text', `/usr/share/modem/operator.dat=23203,${name}`]);
    await router.sh('mkdir -p /tmp/modem.1-1.2; chmod 700 /tmp/modem.1-1.2');
    const report = { schema: 1, bus: '1-1.2', uptime_s: 1, age_s: 0, sim: { state: name }, modem: { model: name }, network: { registration: 'home', technology: name, operator_name: name },
        serving: { band: name, pci: 1, rsrp_dbm: -80 }, quality: { level: 4, words: name, limit: name }, interface: { state: name, ipv4: [name] } };
    const page = await open(router, 'overview');
    await page.route('**/ubus/**', async route => {
        const response = await route.fetch();
        const requests = [route.request().postDataJSON()].flat(), answers = [await response.json()].flat();
        requests.forEach(({ params }, i) => {
            if (['info', 'status'].includes(params[2]))
                answers[i].result = [0, { ...report, state: 'blocked', reason: name, interface: name, interface_status: report.interface }];
        });
        await route.fulfill({ response, json: Array.isArray(route.request().postDataJSON()) ? answers : answers[0] });
    });
    for (const view of ['overview', 'signal', 'diagnostics']) {
        await page.goto(`${router.url}/cgi-bin/luci/admin/modem/${view}`);
        await page.getByText(name).first().waitFor();
        assert.equal(await page.locator('main img').count(), 0, view);
        assert.match(await page.title(), /^Router/);
    }
    await page.done();
});

test('who may only look gets no button, and who may not look gets no menu', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=100'], online + watched());
    const reader = await open(router, 'overview', { user: 'reader' });
    await state(reader, 'good').waitFor();
    assert.equal(await reader.getByRole('button').count(), 0);
    assert.equal(await reader.getByRole('link', { name: 'Messages' }).count(), 0);
    await reader.done();

    const operator = await open(router, 'overview', { user: 'operator' });
    await operator.getByRole('button', { name: 'Disconnect' }).waitFor();
    await operator.done();

    const stranger = await open(router, 'overview', { user: 'stranger' });
    await stranger.getByText('Not found').waitFor();
    assert.equal(await stranger.getByRole('link').count(), 0);
    await stranger.done();
});

test('in German the whole card is German, and fits a telephone', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=100'], online + watched());
    const page = await open(router, 'overview', { language: 'de', width: 390 });
    await state(page, 'good').getByText(/^Online über 4G\+ \(LTE\) seit/).waitFor();
    assert.match(await card(page).innerText(), /Betreiber\s+VERY/);
    assert.ok(await overhang(page) <= 0);
    assert.deepEqual(await accessibilityFaults(page), []);
    await page.done();
});
