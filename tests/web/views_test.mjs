import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import test from 'node:test';

import { checkLooks, history, online, open, startRouter, watched } from './harness.mjs';

function message(name, headers, text) {
    return ['--put-text', `/etc/spool/sms/${name}=${headers}\n\n${text}`];
}

test('signal: values with their meaning, plots of a day, cells; and a figure that follows the modem', async () => {
    const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'modemctl-page.'));
    fs.writeFileSync(path.join(folder, 'history'), history());
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=100', '--put', `${path.join(folder, 'history')}:/tmp/history`],
        `${online}mkdir -m 700 /tmp/modem.1-1.2; cp /tmp/history /tmp/modem.1-1.2/history; chmod 600 /tmp/modem.1-1.2/history;${watched()}`);
    fs.rmSync(folder, { recursive: true });
    const page = await open(router, 'signal');
    await page.getByRole('img', { name: /^RSRP in the last 24 h: from -?\d+ to -?\d+, now -84$/ }).waitFor();
    const row = page.locator('[data-value=rsrp]');
    assert.match(await row.innerText(), /-84\u00a0dBm\s+good from -95/);
    const lines = await page.locator('svg polyline').count();
    assert.ok(lines >= 4, `${lines} lines: the gap ends a line in both plots`);
    assert.ok(await page.locator('svg line[stroke-dasharray]').count() > 0);
    assert.equal(await page.getByRole('region', { name: 'Cells' }).getByRole('row').count(), 5);
    await checkLooks(page, 'signal');
    await page.getByLabel('The last', { exact: true }).selectOption('1');
    await page.getByRole('img', { name: /^SINR in the last 1 h/ }).waitFor();

    await page.getByRole('button', { name: 'Align an antenna' }).click();
    await page.locator('[data-figure]', { hasText: '-84' }).waitFor();
    const jobs = () => router.calls.filter(({ method }) => method === 'refresh').length;
    const before = jobs();
    while (jobs() < before + 2)
        await page.waitForResponse(() => true);
    await page.getByText('best so far -84').waitFor();
    await page.getByRole('button', { name: 'Stop aligning' }).click();
    assert.equal(await page.locator('[data-figure]').isVisible(), false);

    // A session that ends while the modem is asked again and again.
    await page.getByRole('button', { name: 'Align an antenna' }).click();
    router.sessions.destroy(page.session);
    await page.getByText('Session expired', { exact: true }).waitFor();
    await page.done();

    // Who may not ask the modem sees what the watch has asked.
    const reader = await open(router, 'signal', { user: 'reader' });
    await reader.getByRole('button', { name: 'Align an antenna' }).click();
    await reader.locator('[data-figure]', { hasText: '-84' }).waitFor();
    await reader.done();
});

test('signal: a modem that falls silent leaves no old figure, and one sentence', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=100'], online + watched());
    const page = await open(router, 'signal');
    let silent = false;
    await page.route('**/ubus/**', async route => {
        const response = await route.fetch(), answers = await response.json();
        for (const { result } of [answers].flat())
            if (silent && result?.[1]?.state === 'done')
                result[1] = { state: 'done', status: 2 };
        await route.fulfill({ response, json: answers });
    });
    await page.getByRole('button', { name: 'Align an antenna' }).click();
    const figure = text => page.locator('[data-figure]').getByText(text, { exact: true });
    await figure('-84').waitFor();
    silent = true;
    await figure('–').waitFor();
    await page.evaluate(() => {
        globalThis.said = [];
        new MutationObserver(changes => globalThis.said.push(...changes.flatMap(({ addedNodes }) => [...addedNodes].map(node => node.textContent))))
            .observe(document.querySelector('.modemctl'), { childList: true, subtree: true });
    });
    const polls = () => router.calls.filter(({ method }) => method === 'modems').length;
    const before = polls();
    while (polls() < before + 2)
        await page.waitForResponse(() => true);
    assert.equal(await page.getByText('The modem does not answer.').count(), 1);
    assert.deepEqual(await page.evaluate(() => globalThis.said.filter(text => text.includes('answer'))), [], 'said again and again');
    silent = false;
    await figure('-84').waitFor();
    await page.getByText('The modem does not answer.').waitFor({ state: 'detached' });
    await page.done();
});

test('connection: settings are written once, checked, and never show a secret', async () => {
    const router = await startRouter(['--modem', 'EP06', '--modem', 'EC25@1-1.3', '--link', 'setup=100'],
        `${online}uci set network.modem_1_1_2.apn=old.example; uci set network.modem_1_1_2.password=geheim; uci commit network;${watched()}`);
    const page = await open(router, 'connection');
    const apn = page.getByLabel('APN', { exact: true });
    await apn.waitFor();
    assert.equal(await apn.inputValue(), 'old.example');
    assert.doesNotMatch(await page.content(), /geheim/);
    assert.match(await page.locator('[data-name=idle]').innerText(), /144 bytes: now at most 1\.2 MB a month/);
    await page.getByRole('button', { name: 'Which APNs fit this card?' }).click();
    await page.getByRole('region', { name: 'APNs' }).waitFor();
    await page.getByRole('button', { name: 'Ask the modem' }).click();
    await page.getByRole('button', { name: 'Use these generations' }).waitFor();
    await checkLooks(page, 'connection');

    await page.getByLabel('Seconds without data').fill('soon');
    await page.getByRole('button', { name: 'Save' }).click();
    await page.getByText('An error occurred while saving the form').waitFor();
    await page.getByRole('button', { name: 'Dismiss' }).click();
    assert.equal(router.calls.some(({ method }) => method === 'set'), false);

    await page.getByLabel('Seconds without data').fill('600');
    await apn.fill('new.example');
    await page.getByRole('button', { name: 'Save' }).click();
    await page.getByText('Saved.').waitFor();
    assert.deepEqual(router.calls.filter(({ method }) => method === 'set').map(({ given }) => given), [{ bus: '1-1.2', values: { apn: 'new.example', idle: '600' } }]);
    assert.equal((await router.sh('uci get network.modem_1_1_2.apn; uci get network.modem_1_1_2.password; uci get modemctl.1_1_2.idle')).output, 'new.example\ngeheim\n600\n');
    await page.getByRole('button', { name: 'Save' }).click();
    await page.getByText('Nothing was changed.').waitFor();

    // What the router refuses is said with the setting's name, and what was typed stays.
    await apn.fill('two words');
    await page.getByRole('button', { name: 'Save' }).click();
    await page.getByText('apn: the router does not take this value.').waitFor();
    assert.equal(await apn.inputValue(), 'two words');

    // Another modem, by the keyboard.
    await page.getByLabel('Modem', { exact: true }).selectOption('1-1.3');
    await page.waitForFunction(() => document.getElementById('widget.cbid.json.network.apn')?.value === '');
    assert.match(page.url(), /#1-1\.3$/);
    await page.done();

    const reader = await open(router, 'connection', { user: 'reader' });
    await reader.getByText('new.example').waitFor();
    assert.equal(await reader.getByRole('button', { name: 'Save' }).count(), 0);
    await reader.done();
});

test('connection: bands and generations are set as a job, and undone', async () => {
    const router = await startRouter(['--modem', 'RM520N']);
    const page = await open(router, 'connection');
    await page.getByRole('button', { name: 'Ask the modem' }).click();
    await page.getByLabel('B41').waitFor();
    for (const name of ['B1', 'B7', 'B20', 'B28', 'B38', 'B40', 'B41'])
        await page.getByLabel(name, { exact: true }).uncheck();
    await page.getByRole('button', { name: 'Use these bands' }).click();
    await page.getByText('Done.').waitFor();
    assert.equal(await page.getByLabel('B3', { exact: true }).isChecked(), true);
    assert.equal(await page.getByLabel('B41').isChecked(), false);
    await page.getByRole('button', { name: 'Undo' }).first().click();
    await page.getByText('The earlier setting is back.').waitFor();
    assert.equal(await page.getByLabel('B41').isChecked(), true);
    await page.getByLabel('Generations').selectOption('4g');
    await page.getByRole('button', { name: 'Use these generations' }).click();
    await page.getByText('Done.').waitFor();
    assert.equal(await page.getByLabel('Generations').inputValue(), '4g');
    await page.done();
});

test('messages: conversations, markup as text, the cost of a text, sending, reading and deleting', async () => {
    const evil = '<img src=x onerror=document.title=1><script>document.title=2</script>';
    const router = await startRouter(['--modem', 'EC25',
        ...message('incoming/GMS1.aaaaaa', 'From: 436601234567\nFrom_TOA: 91 international, ISDN/telephone\nSent: 26-11-21 01:02:03', `Hello ${evil} é 🙂 שלום`),
        ...message('incoming/GMS1.bbbbbb', 'From: <b>Bank</b>\nSent: 26-11-21 02:02:03', 'Your code is 123456'),
        ...message('failed/send_1', 'To: 436601234567\nFail_reason: Unknown <i>', 'I am late')],
        'mkdir -p /etc/spool/sms/outgoing /etc/spool/sms/storage /etc/spool/sms/sent /etc/spool/sms/checked');
    const page = await open(router, 'messages');
    await page.getByRole('button', { name: /<b>Bank<\/b>/ }).waitFor();
    await page.getByRole('button', { name: /^\+436601234567 \(1 new\)/ }).click();
    await page.getByText(`Hello ${evil}`).waitFor();
    await page.getByText('was not sent').waitFor();
    assert.equal(await page.locator('.modemctl img, .modemctl script, .modemctl i, .modemctl b').count(), 0);
    assert.match(await page.title(), /^Router/);
    await page.getByRole('button', { name: /^\+436601234567 2026/ }).waitFor();
    assert.equal(await page.getByLabel('To').inputValue(), '+436601234567');
    await page.getByRole('button', { name: /<b>Bank<\/b>/ }).click();
    assert.equal(await page.getByLabel('To').inputValue(), '', 'what is typed now must not go to the number before');
    await page.getByRole('button', { name: /^\+436601234567/ }).click();
    await page.getByText(`Hello ${evil}`).waitFor();

    await page.getByLabel('Text').fill('Grüße, 5 €');
    await page.getByText('“€” counts as two characters.').waitFor();
    await page.getByLabel('Text').fill(`${'a'.repeat(70)}≠`);
    await page.getByText('Parts: 2; room for 63 more characters').waitFor();
    await page.getByText('“≠” is not in the short alphabet').waitFor();
    await checkLooks(page, 'messages');

    // A message that comes while somebody types takes nothing away.
    await page.getByLabel('Text').focus();
    await router.sh('printf "From: 43999\\nSent: 26-11-22 01:00:00\\n\\nnew" >/etc/spool/sms/incoming/GMS1.cccccc');
    await page.getByRole('button', { name: /^43999 \(1 new\)/ }).waitFor();
    assert.equal(await page.getByLabel('Text').inputValue(), `${'a'.repeat(70)}≠`);
    assert.equal(await page.evaluate(() => document.activeElement.id), 'modemctl-text');

    await page.getByLabel('Text').fill('On my way');
    await page.getByRole('button', { name: 'Send' }).click();
    await page.getByText('Given to the SMS daemon').waitFor();
    assert.deepEqual(router.calls.filter(({ method }) => method === 'message_send').map(({ given }) => given), [{ number: '+436601234567', text: 'On my way' }]);

    await page.getByRole('button', { name: /^43999/ }).click();
    await page.getByRole('button', { name: 'Delete', exact: true }).click();
    await page.getByText('Delete for ever?').waitFor();
    await page.waitForTimeout(800); // a click that comes sooner is the second one of a double click
    await page.getByText('Delete for ever?').click();
    await page.getByRole('button', { name: /^43999/ }).waitFor({ state: 'detached' });
    assert.equal((await router.sh('ls /etc/spool/sms/incoming /etc/spool/sms/storage | grep -c cccccc')).output, '0\n');
    await page.done();
});

test('diagnostics: log, AT console with its errors, recording, numbers that are masked', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=100'], online + watched());
    const page = await open(router, 'diagnostics');
    await page.getByText('online: the network answers').waitFor();
    const command = page.getByLabel('Command');
    await command.fill('ATI');
    await command.press('Enter');
    await page.locator('pre', { hasText: 'EP06' }).waitFor();
    await command.fill('AT+NONSENSE');
    await page.getByRole('button', { name: 'Send' }).click();
    await page.getByText('The modem refused the command: ERROR').waitFor();
    await command.fill('rm -rf /');
    await page.getByRole('button', { name: 'Send' }).click();
    await page.getByText('A command begins with AT.').waitFor();
    await command.fill('AT\u00e9');
    await page.getByRole('button', { name: 'Send' }).click();
    await page.getByText('The router does not take this input.').waitFor();

    await page.getByRole('button', { name: 'Show the numbers' }).click();
    await page.getByText('•••••••••••4567').waitFor();
    assert.equal(await page.getByText('861364041234567').count(), 0);
    await checkLooks(page, 'diagnostics');
    await page.getByRole('button', { name: 'Show IMEI' }).click();
    await page.getByText('861364041234567').waitFor();

    const [download] = await Promise.all([page.waitForEvent('download'), page.getByRole('button', { name: 'Record what the modem says' }).click()]);
    const text = fs.readFileSync(await download.path(), 'utf8');
    assert.match(text, /^# Recorded by modemctl/);
    assert.doesNotMatch(text, /861364041234567/);

    await page.getByRole('button', { name: 'Pause for 30 minutes' }).click();
    await page.getByRole('button', { name: 'Resume' }).click();
    await page.getByRole('button', { name: 'Pause for 30 minutes' }).waitFor();
    await page.done();

    const operator = await open(router, 'diagnostics', { user: 'operator' });
    await operator.getByText('online: the network answers').first().waitFor();
    await operator.getByRole('button', { name: 'Pause for 30 minutes' }).waitFor();
    for (const name of ['Restart the modem', 'Record', 'Show the numbers', 'Send'])
        assert.equal(await operator.getByRole('button', { name }).count(), 0, name);
    assert.doesNotMatch(await operator.content(), /861364041234567|222881234567890/);
    await operator.done();
});
