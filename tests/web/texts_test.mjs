// Every text of the page is in the template of the translations, and has its German text. WRITE=1 writes the template anew, and
// adds the missing texts to the German file, without a translation.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import zlib from 'node:zlib';
import { fileURLToPath } from 'node:url';

const application = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../../packaging/luci-app-modemctl');
const template = path.join(application, 'po/templates/modemctl.pot');
const german = path.join(application, 'po/de/modemctl.po');

const files = folder => fs.readdirSync(path.join(application, folder), { recursive: true }).filter(name => name.endsWith('.js')).map(name => path.join(application, folder, name));
const scripts = files('htdocs').sort();

/// What the program says and the page shows as it is: the reasons of the watch, the grades of a signal, what a router lacks, a few
/// states.
function wordsOfTheProgram() {
    const source = path.resolve(application, '../..');
    const own = fs.readFileSync(path.join(application, 'htdocs/luci-static/resources/modemctl/words.js'), 'utf8');
    const watch = path.join(source, 'watch');
    const decide = fs.readdirSync(watch).filter(name => name.endsWith('.cpp')).map(name => fs.readFileSync(path.join(watch, name), 'utf8')).join('');
    const methods = fs.readFileSync(path.join(source, 'core/cli/rpcd_methods.cpp'), 'utf8');
    const quality = fs.readFileSync(path.join(source, 'readings/quality.cpp'), 'utf8');
    const lines = (text, begin, end) => text.slice(text.indexOf(begin), text.indexOf(end, text.indexOf(begin)));
    const literals = text => [...text.matchAll(/"([^"\\]*)"/g)].map(([, literal]) => literal).filter(Boolean);
    const reasons = [...decide.matchAll(/^    \{s_.*"([^"]+)"\},$/gm)].map(([, reason]) => reason);
    assert.ok(reasons.length > 20);
    const words = [...reasons, ...literals(lines(decide, 'cause_names[][', '};')), ...literals(lines(quality, 'level_words[]', '};')),
        ...[...decide.matchAll(/(?:climb\(|WatchState::slow, .*\? )"([^"]+)"(?: : "([^"]+)")?/g)].flatMap(([, ...found]) => found.filter(Boolean)),
        ...[...methods.matchAll(/\{"\/[^}]*\},\s*"([^"]+)"\}/g)].map(([, why]) => why), 'set by the user', 'the network may choose', 'worked before', 'online', 'recovering', 'searching', 'ready', 'up', 'down'];
    return words.filter(word => !own.includes(`'${word}': _(`));
}

function textsOfThePage() {
    const texts = new Set(wordsOfTheProgram());
    for (const file of scripts)
        for (const [, text] of fs.readFileSync(file, 'utf8').matchAll(/\b_\('((?:[^'\\]|\\.)*)'\)/g))
            texts.add(text.replace(/\\'/g, '\''));
    const menu = JSON.parse(fs.readFileSync(path.join(application, 'root/usr/share/luci/menu.d/luci-app-modemctl.json'), 'utf8'));
    for (const { title } of Object.values(menu))
        texts.add(title);
    return [...texts].sort();
}

function read(file) {
    const entries = new Map();
    for (const [, id, text] of fs.readFileSync(file, 'utf8').matchAll(/^msgid (".*")\nmsgstr (".*")$/gm))
        entries.set(JSON.parse(id), JSON.parse(text));
    entries.delete('');
    return entries;
}

function write(file, entries, language) {
    const head = `msgid ""\nmsgstr ""\n"Content-Type: text/plain; charset=UTF-8\\n"\n${language ? `"Language: ${language}\\n"\n"Plural-Forms: nplurals=2; plural=n != 1;\\n"\n` : ''}`;
    fs.writeFileSync(file, head + [...entries].map(([id, text]) => `\nmsgid ${JSON.stringify(id)}\nmsgstr ${JSON.stringify(text)}\n`).join(''));
}

if (process.env.WRITE) {
    const known = fs.existsSync(german) ? read(german) : new Map();
    write(template, textsOfThePage().map(text => [text, '']), '');
    write(german, textsOfThePage().map(text => [text, known.get(text) ?? '']), 'de');
}

test('the template has every text of the page, and no other', () => {
    assert.deepEqual([...read(template).keys()].sort(), textsOfThePage());
});

test('every text is a plain literal, so that it can be found', () => {
    for (const file of scripts)
        assert.deepEqual([...fs.readFileSync(file, 'utf8').matchAll(/\b_\((?!'(?:[^'\\]|\\.)*'\))[^)]{0,40}/g)].map(([text]) => text), [], file);
});

// LuCI looks a text up without the blanks around it, and finds none that has some.
test('no text begins or ends with a blank', () => {
    assert.deepEqual(textsOfThePage().filter(text => text !== text.trim() || /\s\s/.test(text)), []);
});

test('German is complete, with the same places for values', () => {
    const places = text => (text.match(/%[.\d]*[a-z%]/g) ?? []).join(' ');
    const texts = read(german);
    for (const text of textsOfThePage()) {
        assert.ok(texts.get(text), `"${text}" has no German text`);
        assert.equal(places(texts.get(text)), places(text), text);
    }
});

test('no script writes markup', () => {
    for (const file of scripts) {
        const text = fs.readFileSync(file, 'utf8');
        assert.doesNotMatch(text, /innerHTML|outerHTML|insertAdjacentHTML|document\.write|dom\.parse|\beval\b|new Function/, file);
        // E() and dom.content() take a text outside a list for markup: only page.js calls them, with lists.
        if (!file.endsWith('page.js'))
            assert.doesNotMatch(text, /\bE\(|dom\.(?:content|append|create)/, file);
    }
});

test('the application is small enough for a router', () => {
    const plain = text => text.replace(/^\s*\/\/.*\n/gm, '').replace(/^\s+/gm, '').replace(/\n+/g, '\n');
    const others = ['htdocs/luci-static/resources/modemctl/style.css', 'root/usr/share/luci/menu.d/luci-app-modemctl.json', 'po/de/modemctl.po'];
    // A file of translations has no English texts.
    const texts = [...scripts, ...others.map(file => path.join(application, file))].map(file => plain(fs.readFileSync(file, 'utf8')).replace(/^(?:msgid|#).*\n/gm, ''));
    const size = texts.reduce((sum, text) => sum + zlib.gzipSync(text, { level: 9 }).length, 0);
    assert.ok(size <= 30 * 1024, `${size} bytes compressed`);
});
