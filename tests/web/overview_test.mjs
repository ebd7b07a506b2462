import assert from 'node:assert/strict';
import test from 'node:test';

import { checkLooks, online, open, startRouter, watched } from './harness.mjs';

test('a modem that is online: state, operator, signal, bands and address on one card', async () => {
    const router = await startRouter(['--modem', 'EP06', '--link', 'setup=100'], online + watched());
    const page = await open(router, 'overview');
    const card = page.locator('section[data-bus="1-1.2"]');
    await card.locator('[data-tone=good]').waitFor();
    assert.match(await card.innerText(), /Online by 4G\+ \(LTE\)/);
    assert.match(await card.innerText(), /VERY/);
    assert.match(await card.innerText(), /B3 \+ B7, 30 MHz/);
    assert.match(await card.innerText(), /RSRP -84 dBm/);
    assert.match(await card.innerText(), /10\.64\.1\.2/);
    assert.equal(await card.getByRole('img', { name: 'Signal 4 of 5' }).count(), 1);
    assert.equal(await card.locator('li[data-state=ok]').count(), 5);
    await checkLooks(page, 'overview');
    await page.done();
});
