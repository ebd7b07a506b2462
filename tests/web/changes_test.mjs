// What changes while a page is open: modems, clocks, sessions, other pages; and people who are faster than the router.

import assert from 'node:assert/strict';
import test from 'node:test';

import { accessibilityFaults, online, open, startRouter, watched } from './harness.mjs';

const card = (page, bus) => page.locator(`section[data-bus="${bus}"]`);

/// Makes a modem with the fault "gone-after" go away.
const pull = (router, tty) => router.sh(`printf 'AT+CFUN=4\\r' | microcom -t 300 ${tty}`);

test('a modem that is pulled out and comes back', async () => {
    const router = await startRouter(['--modem', 'EC25', '--modem', 'EP06@1-1.3', '--fault', '1-1.3/gone-after=9000:AT+CFUN=4']);
    const tty = (await router.sh('modemctl modems | grep ^1-1.3 | grep -o "/dev/ttyUSB[0-9]*" | sed -n 3p')).output.trim();
    const overview = await open(router, 'overview');
    const connection = await open(router, 'connection#1-1.3');
    await card(overview, '1-1.3').waitFor();
    await card(overview, '1-1.2').getByRole('button', { name: 'Ask the modem' }).focus();
    const apn = connection.getByLabel('APN', { exact: true });
    await apn.fill('half.typed');
    await pull(router, tty);

    await card(overview, '1-1.3').waitFor({ state: 'detached' });
    assert.equal(await overview.evaluate(() => document.activeElement.textContent), 'Ask the modem', 'the card of the other modem keeps the focus');
    await connection.getByText('No modem is there.').waitFor();
    assert.equal(await connection.getByLabel('Modem', { exact: true }).inputValue(), '1-1.3', 'the view does not change to the other modem');

    await card(overview, '1-1.3').waitFor();
    await connection.getByText('No modem is there.').waitFor({ state: 'detached' });
    assert.equal(await apn.inputValue(), 'half.typed');
    await overview.done();
    await connection.done();
});

test('the only modem is pulled out for good, and a page that is opened then says so', async () => {
    const router = await startRouter(['--modem', 'EC25', '--fault', 'gone-after=0:AT+CFUN=4']);
    const page = await open(router, 'overview');
    const signal = await open(router, 'signal');
    await card(page, '1-1.2').waitFor();
    await signal.getByText('Nothing is known yet.').waitFor();
    await pull(router, '/dev/ttyUSB2');
    await page.getByText('No modem is plugged in').waitFor();
    await signal.getByText('No modem is there.').waitFor();
    assert.deepEqual(await accessibilityFaults(signal), []);
    const late = await open(router, 'signal');
    await late.getByText('No modem is plugged in').waitFor();
    const diagnostics = await open(router, 'diagnostics');
    await diagnostics.getByText('No modem is plugged in').waitFor();
    await diagnostics.getByText('nothing keeps the modems online').waitFor();
    for (const one of [page, signal, late, diagnostics])
        await one.done();
});

test('an address that names no modem, or nothing at all, shows the first one', async () => {
    const router = await startRouter(['--modem', 'EC25', '--modem', 'EP06@1-1.3']);
    for (const hash of ['#%', '#9-9', '#1-1.3%', '#<img src=x>']) {
        const page = await open(router, `signal${hash}`);
        await page.getByText('Nothing is known yet.').waitFor();
        assert.equal(await page.getByLabel('Modem', { exact: true }).inputValue(), '1-1.2', hash);
        await page.done();
    }
});

test('two pages: what one does, the other shows, and neither complains', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=1500', '--put-text', '/etc/spool/sms/incoming/GMS1.aaaaaa=From: 43660\n\nhello'], online + watched());
    const [one, other] = [await open(router, 'overview'), await open(router, 'overview')];
    for (const page of [one, other])
        await page.locator('[data-tone=good]').waitFor();
    await one.getByRole('button', { name: 'Disconnect' }).click();
    await other.getByRole('button', { name: 'Connect', exact: true }).click();
    await one.locator('[data-tone=good]').waitFor();
    await one.done();
    await other.done();

    // Both open the same new message; one of them is too late to mark it.
    const [first, second] = [await open(router, 'messages'), await open(router, 'messages')];
    for (const page of [first, second])
        await page.getByRole('button', { name: /^43660 \(1 new\)/ }).waitFor();
    await Promise.all([first, second].map(page => page.locator('[data-number="43660"]').click()));
    for (const page of [first, second]) {
        await page.getByRole('button', { name: /^43660 2/ }).waitFor();
        assert.equal(await page.locator('.alert-message').count(), 0);
        await page.done();
    }
});

test('a conversation that another page deletes while its button is held down', async () => {
    const router = await startRouter(['--modem', 'EC25', '--put-text', '/etc/spool/sms/incoming/GMS1.aaaaaa=From: 43660\n\nhello']);
    const page = await open(router, 'messages');
    await page.locator('[data-number="43660"]').hover();
    await page.mouse.down();
    await router.sh('rm /etc/spool/sms/incoming/GMS1.aaaaaa');
    const asked = () => router.calls.filter(({ method }) => method === 'messages').length;
    const before = asked();
    while (asked() < before + 2)
        await page.waitForResponse(() => true);
    await page.mouse.up();
    await page.getByText('There are no messages.').waitFor();
    await page.done();
});

test('a message that another page deletes first is gone, and nothing is said', async () => {
    const router = await startRouter(['--modem', 'EC25', '--put-text', '/etc/spool/sms/incoming/GMS1.aaaaaa=From: 43660\n\nhello', '--answer', 'sendsms:1']);
    const page = await open(router, 'messages', { language: 'de' });
    await page.route('**/ubus/**', async route => {
        if (route.request().postData().includes('"modemctl","message_delete"'))
            await router.sh('rm /etc/spool/sms/incoming/GMS1.aaaaaa');
        await route.continue();
    });
    await page.locator('[data-number="43660"]').click();
    await page.locator('.modemctl-bubble button').click();
    await page.waitForTimeout(800); // a click that comes sooner is the second one of a double click
    await page.getByText('Für immer löschen?').click();
    await page.getByText('Es gibt keine Nachrichten.').waitFor();
    assert.deepEqual((await page.locator('p[aria-live]').allInnerTexts()).filter(Boolean), []);
    // What the router refuses is said in the language of the page.
    await page.getByLabel('An', { exact: true }).fill('43660');
    await page.getByLabel('Text').fill('Hallo');
    await page.getByRole('button', { name: 'Senden' }).click();
    await page.getByText('Der SMS-Dienst hat die Nachricht nicht angenommen. Ist smstools3 installiert?').waitFor();
    await page.done();
});

test('a double click connects once', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=6000'], online);
    await router.sh('ubus call network.interface.modem_1_1_2 down; modemctl 1-1.2 info --json');
    const one = await open(router, 'overview');
    await one.getByRole('button', { name: 'Connect', exact: true }).dblclick();
    await one.getByText('In progress for').waitFor();
    assert.equal(await one.getByRole('button', { name: 'Connect', exact: true }).isDisabled(), true);
    assert.equal(router.calls.filter(({ method }) => method === 'connect').length, 1);
    await one.locator('[data-tone=good]').waitFor();
    await one.done();
});

test('a double click deletes nothing and restarts nothing', async () => {
    const router = await startRouter(['--modem', 'EC25', '--put-text', '/etc/spool/sms/incoming/GMS1.aaaaaa=From: 43660\n\nhello']);
    const messages = await open(router, 'messages');
    await messages.locator('[data-number="43660"]').click();
    await messages.getByRole('button', { name: 'Delete' }).dblclick();
    await messages.getByRole('button', { name: 'Delete for ever?' }).waitFor();
    const diagnostics = await open(router, 'diagnostics');
    await diagnostics.getByRole('button', { name: 'Restart the modem' }).dblclick();
    await diagnostics.getByRole('button', { name: 'Offline for a minute' }).waitFor();
    // The question stays while the page refreshes.
    const refreshes = () => router.calls.filter(({ method }) => method === 'log').length;
    const before = refreshes();
    while (refreshes() < before + 2)
        await diagnostics.waitForResponse(() => true);
    await diagnostics.getByRole('button', { name: 'Offline for a minute' }).waitFor();
    assert.equal(router.calls.filter(({ method }) => ['message_delete', 'restart'].includes(method)).length, 0);
    await messages.done();
    await diagnostics.done();
});

test('an answer that got lost is asked for once more, and nothing is said', async () => {
    const router = await startRouter(['--modem', 'EC25']);
    const page = await open(router, 'overview');
    await card(page, '1-1.2').waitFor();
    let lost = 0;
    await page.route('**/ubus/**', async route => {
        const response = await route.fetch(), answers = await response.json();
        if (Array.isArray(answers) && lost++ === 0)
            answers[2].result = [5];
        await route.fulfill({ response, json: answers });
    });
    await page.evaluate(() => {
        globalThis.said = [];
        new MutationObserver(() => globalThis.said.push(document.querySelector('.modemctl-banner').textContent)).observe(document.querySelector('.modemctl-banner'), { childList: true });
    });
    while (lost < 3)
        await page.waitForResponse(() => true);
    assert.deepEqual(await page.evaluate(() => globalThis.said.filter(Boolean)), []);
    await page.done();
});

test('a page that nobody sees asks for nothing, and is up to date when somebody looks', async () => {
    const router = await startRouter(['--modem', 'EC25']);
    const page = await open(router, 'overview');
    await card(page, '1-1.2').getByText('Nothing is known yet').waitFor();
    const poll = hidden => page.evaluate(async hidden => {
        Object.defineProperty(document, 'hidden', { configurable: true, get: () => hidden });
        const { queue, timer } = await globalThis.L.require('poll');
        clearInterval(timer);
        await Promise.all(queue.map(({ fn }) => fn()));
    }, hidden);
    await poll(false); // what was asked for has been answered
    const asked = page.asked.length;
    await poll(true);
    assert.equal(page.asked.length, asked);
    const request = page.waitForRequest('**/ubus/**');
    await page.evaluate(() => {
        Object.defineProperty(document, 'hidden', { configurable: true, get: () => false });
        document.dispatchEvent(new Event('visibilitychange'));
    });
    await request;
    await page.done();
});

test('a router whose clock is wrong has a plot all the same', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=100'], online + watched());
    const page = await open(router, 'signal', { expectErrors: true });
    await page.route('**/ubus/**', async route => {
        const response = await route.fetch(), answers = await response.json();
        for (const { result } of [answers].flat())
            for (const sample of result?.[1]?.history ?? [])
                sample.time = 1000 + sample.uptime_s;
        await route.fulfill({ response, json: answers });
    });
    await page.reload();
    await page.getByRole('img', { name: /^RSRP in the last 24 h: from -84 to -84/ }).waitFor();
    await page.done();
});
