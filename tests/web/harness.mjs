// What the browser tests share: node overview_test.mjs BUILD. Exit status 77, skipped, without Chromium, playwright-core or
// the right to make namespaces. SCREENSHOTS=FOLDER keeps a picture of what a test shows.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';
import { after } from 'node:test';

import { Router } from './router.mjs';

export { history, online, shown, watched } from './scene.mjs';

export const build = path.resolve(process.argv[2] ?? 'build');
const deadline_ms = 60000;

function skip(why) {
    console.log(why);
    process.exit(77);
}

function loadModules() {
    try {
        const load = createRequire(path.join(build, 'web/modules.js'));
        return { playwright: load('playwright-core'), axe: load.resolve('axe-core/axe.min.js') };
    } catch {
        return skip('playwright-core or axe-core is missing: tools/setup.sh page fetches them');
    }
}

const { playwright, axe } = loadModules();
const chromium = ['/usr/bin/chromium', '/usr/bin/chromium-browser'].find(file => fs.existsSync(file)) ?? skip('Chromium is missing');
if (spawnSync(path.join(build, 'simrouter'), ['--modem', 'EC25', '--', 'true']).status === 77)
    skip('namespaces are not allowed here');

const browser = await playwright.chromium.launch({ executablePath: chromium, args: ['--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage'] });
const routers = [];
after(async () => {
    await browser.close();
    await Promise.all(routers.map(router => router.stop()));
});

export async function startRouter(options, script = '', more = {}) {
    const router = await Router.start({ build, options: [...options, ...(process.env.ROUTER_OPTIONS?.split(' ') ?? [])], script, ...more });
    routers.push(router);
    return router;
}

/// A page of its own for a user who has logged in; what the browser complains of fails the test at done().
export async function open(router, view, { user = 'root', width = 1100, height = 900, dark = false, language = '', expectErrors = false } = {}) {
    const context = await browser.newContext({ viewport: { width, height }, colorScheme: dark ? 'dark' : 'light', locale: 'en-GB', timezoneId: 'UTC',
        acceptDownloads: true });
    context.setDefaultTimeout(deadline_ms);
    const session = router.sessions.login(user, 'modem');
    await context.addCookies([{ name: 'sysauth', value: session.ubus_rpc_session, url: router.url }]);
    const page = await context.newPage();
    page.complaints = [];
    page.session = session.ubus_rpc_session;
    page.asked = [];
    page.on('request', request => request.url().includes('/ubus/') && page.asked.push(request.postData()));
    page.on('pageerror', error => page.complaints.push(String(error)));
    page.on('console', message => message.type() === 'error' && page.complaints.push(message.text()));
    page.on('request', request => request.url().startsWith(router.url) || request.url().startsWith('data:') || request.url().startsWith('blob:') || page.complaints.push(`asks ${request.url()}`));
    page.done = async () => {
        const text = await page.evaluate(() => document.body.innerText);
        assert.doesNotMatch(text, /undefined|NaN|\[object|\bnull\b/);
        if (!expectErrors)
            assert.deepEqual(page.complaints, []);
        // A handler of the test may still have an answer in its hands.
        await page.unrouteAll({ behavior: 'ignoreErrors' });
        await context.close();
    };
    await page.goto(`${router.url}/cgi-bin/luci/admin/modem/${view}${language ? `?lang=${language}` : ''}`);
    return page;
}

/// What a checker of accessibility calls serious, as readable lines.
export async function accessibilityFaults(page) {
    await page.addScriptTag({ path: axe });
    const result = await page.evaluate(() => globalThis.axe.run(document, { resultTypes: ['violations'] }));
    return result.violations.filter(({ impact }) => ['serious', 'critical'].includes(impact))
        .map(({ id, nodes }) => `${id}: ${nodes.map(node => node.html).join(' ').slice(0, 300)}`);
}

/// Nothing is wider than the window.
export async function overhang(page) {
    return page.evaluate(() => document.documentElement.scrollWidth - document.documentElement.clientWidth);
}

export async function picture(page, name) {
    const folder = process.env.SCREENSHOTS;
    if (!folder)
        return;
    fs.mkdirSync(folder, { recursive: true });
    await page.screenshot({ path: path.join(folder, `${name}.png`), fullPage: true });
}

/// Looks as a person would, in all the ways: narrow, wide and dark.
export async function checkLooks(page, name) {
    for (const [width, scheme] of [[1100, 'light'], [390, 'dark']]) {
        await page.setViewportSize({ width, height: 900 });
        await page.emulateMedia({ colorScheme: scheme });
        assert.ok(await overhang(page) <= 0, `${name} is wider than ${width} pixels`);
        assert.deepEqual(await accessibilityFaults(page), [], `${name}, ${width} pixels, ${scheme}`);
        await picture(page, `${name}-${width}-${scheme}`);
    }
}
