// The router of "make page", as a newcomer sees it; its pictures are those of the documents.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import test from 'node:test';

import { history, open, picture, shown, startRouter } from './harness.mjs';

test('each view of the shown router has something to show', async () => {
    const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'modemctl-page.'));
    const historyFile = path.join(folder, 'history');
    fs.writeFileSync(historyFile, history());
    const { options, script } = shown(historyFile);
    const router = await startRouter(options, script);
    fs.rmSync(folder, { recursive: true });

    const overview = await open(router, 'overview', { width: 860, height: 400 });
    await overview.locator('section[data-bus="1-1.2"] [data-tone=good]').waitFor();
    await overview.locator('section[data-bus="1-1.3"] [data-tone=bad]').waitFor();
    await overview.getByText(/ MB of 2\.0 GB/).waitFor();
    await picture(overview, 'page-overview');
    await overview.done();

    const signal = await open(router, 'signal', { width: 860, height: 400, dark: true });
    await signal.getByRole('img', { name: /^SINR in the last 24 h/ }).waitFor();
    await picture(signal, 'page-signal');
    await signal.done();

    const messages = await open(router, 'messages', { width: 860, height: 400 });
    await messages.getByRole('button', { name: /^\+436601234567/ }).click();
    await messages.getByRole('button', { name: /^\+436601234567 2026/ }).waitFor(); // it is not new any more
    await messages.getByLabel('Text').fill('On my way ☂');
    await messages.getByText('“☂” is not in the short alphabet').waitFor();
    await messages.getByText('was not sent, no network service').waitFor();
    await picture(messages, 'page-messages');
    await messages.done();

    const connection = await open(router, 'connection', { width: 390 });
    await connection.getByLabel('APN', { exact: true }).waitFor();
    await picture(connection, 'page-connection');
    await connection.done();

    const diagnostics = await open(router, 'diagnostics', { width: 860, height: 400 });
    await diagnostics.getByText('online: the network answers').waitFor();
    await diagnostics.getByLabel('Command').press('Enter');
    await diagnostics.locator('pre', { hasText: 'EP06' }).waitFor();
    await picture(diagnostics, 'page-diagnostics');
    assert.equal(await diagnostics.getByRole('heading', { name: 'AT console' }).count(), 1);
    await diagnostics.done();
});
