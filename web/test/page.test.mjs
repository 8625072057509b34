// SPDX-License-Identifier: GPL-3.0-or-later
// The page, worked by mouse and keyboard as a user does.
import assert from 'node:assert/strict';
import { mkdtemp, readdir, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { basename, join } from 'node:path';
import { after, before, test } from 'node:test';
import { open, root, samplesOf, started } from './browser.mjs';

let session;
let folder;

before(async () => {
    session = await open();
    folder = await mkdtemp(join(tmpdir(), 'orphia-web-'));
});
after(async () => {
    await session.close();
    await rm(folder, { recursive: true });
});

/** The page after its start, with a meter behind the instrument. */
async function opened(how) {
    const page = await started(session, how);
    await page.evaluate(() => {
        const { engine, context } = window.orphia;
        const analyser = new AnalyserNode(context, { fftSize: 8192 });
        engine.node.connect(analyser);
        const samples = new Float32Array(8192);
        window.peak = () => {
            analyser.getFloatTimeDomainData(samples);
            return samples.reduce((most, sample) => Math.max(most, Math.abs(sample)), 0);
        };
    });
    return page;
}

const text = (page, selector) => page.$eval(selector, (element) => element.textContent);
const sounds = (page, least = 0.01) => page.waitForFunction((level) => window.peak() > level, { timeout: 15000 }, least);
const silent = (page) => page.waitForFunction(() => window.peak() < 0.002, { timeout: 20000 });
const says = (page, words) => page.waitForFunction((part) => document.getElementById('message').textContent.includes(part), { timeout: 15000 }, words);
const controlOf = (title) => `xpath///div[contains(@class, "control")][label[text()="${title}"]]`;

async function choose(page, button, path) {
    await page.$eval(button, (element) => element.scrollIntoView({ block: 'center' }));
    const [chooser] = await Promise.all([page.waitForFileChooser(), page.click(button)]);
    await chooser.accept([path]);
}

/** Drops a file on a part of the page, as a hand does. */
const drop = async (page, selector, path) => page.$eval(selector, (target, name, content) => {
    const dataTransfer = new DataTransfer();
    dataTransfer.items.add(new File([Uint8Array.from(atob(content), (letter) => letter.charCodeAt(0))], name));
    for (const kind of ['dragover', 'drop']) {
        target.dispatchEvent(new DragEvent(kind, { dataTransfer, bubbles: true, cancelable: true }));
    }
}, basename(path), await readFile(path, 'base64'));

async function finish(page) {
    assert.deepEqual(page.faults, []);
    await page.close();
}

test('a voice and keys sing, by mouse and by keyboard, and end', { timeout: 120000 }, async () => {
    const page = await opened();
    assert.equal(await page.evaluate(() => document.activeElement.id), 'example');
    await page.keyboard.down('KeyA');
    await new Promise((resolve) => setTimeout(resolve, 300));
    assert.ok(await page.evaluate(() => window.peak()) < 0.01, 'keys alone are silent');
    await page.keyboard.up('KeyA');
    await page.keyboard.press('Enter');
    await says(page, 'example speaks');
    await page.keyboard.down('KeyA');
    await page.waitForSelector('[data-note="48"].down');
    await sounds(page);
    await page.waitForFunction(() => document.getElementById('bands').getContext('2d').getImageData(30, document.getElementById('bands').height - 2, 1, 1).data[0] > 200);
    await page.keyboard.up('KeyA');
    await silent(page);
    const key = await (await page.$('[data-note="55"]')).boundingBox();
    await page.mouse.move(key.x + key.width / 2, key.y + key.height - 8);
    await page.mouse.down();
    await sounds(page);
    await page.mouse.up();
    assert.equal(await page.$('.key.down'), null);
    await silent(page);
    await page.keyboard.press('KeyX');
    await page.waitForSelector('[data-note="96"]');
    await finish(page);
});

test('presets are found, loaded, saved, opened, and carried by a link', { timeout: 120000 }, async () => {
    const page = await opened();
    const all = await page.$$eval('#presets button', (list) => list.length);
    assert.ok(all > 25);
    await page.type('#search', 'robot');
    const found = await page.$$eval('#presets strong', (list) => list.map((entry) => entry.textContent));
    assert.deepEqual(found, ['Classic robot', 'Dub echo robot']);
    await page.keyboard.press('ArrowDown');
    await page.keyboard.press('Enter');
    await says(page, 'Classic robot is loaded');
    const value = async (title) => (await page.$(`${controlOf(title)}/output`)).evaluate((element) => element.textContent);
    assert.equal(await value('Release'), '18 ms');
    const slider = await page.$(`${controlOf('Mix')}/input`);
    await slider.focus();
    await page.keyboard.press('PageDown');
    await page.waitForFunction((element) => element.parentElement.querySelector('output').textContent === '0.9', {}, slider);

    await page.click('#link');
    await says(page, 'settings');
    const other = await opened({ hash: new URL(page.url()).hash });
    await says(other, 'Classic robot is loaded');
    assert.equal(await text(other, '#preset-name'), 'Classic robot');
    const mix = await other.$(`${controlOf('Mix')}/output`);
    assert.equal(await mix.evaluate((element) => element.textContent), '0.9');
    await finish(other);

    const saved = await page.evaluate(() => window.orphia.engine.ask('orphia_capture', [], 'Mine'));
    const path = join(folder, 'mine.json');
    await writeFile(path, saved.replace('"Mine"', '"Mine again"'));
    await page.click('#presets button');
    await choose(page, '#open-preset', path);
    await says(page, 'mine is loaded');
    await writeFile(path, '{"format": 1}');
    await choose(page, '#open-preset', path);
    await page.waitForSelector('#message.fault');
    assert.equal(await text(page, '#preset-name'), 'mine');
    await finish(page);

    const cut = await opened({ hash: '#sound=abc' });
    await says(cut, 'damaged');
    await finish(cut);
});

test('a sample sounds from its slot, and a preset brings its own', { timeout: 120000 }, async () => {
    const page = await opened();
    await drop(page, '.slot:nth-child(2)', join(root, 'examples/chord.flac'));
    await says(page, 'chord.flac is in slot 2');
    await (await page.$(`${controlOf('Live voice')}/input`)).focus();
    await page.keyboard.press('Space');
    await page.keyboard.down('KeyG');
    await page.evaluate(() => window.orphia.engine.noteOn(37));
    await sounds(page);
    await page.keyboard.up('KeyG');
    await page.evaluate(() => window.orphia.engine.noteOff(37));
    await page.focus('.slot:nth-child(2)');
    await page.keyboard.press('Delete');
    await page.waitForFunction(() => !document.querySelector('.slot.loaded'));
    const bad = join(folder, 'bad.wav');
    await writeFile(bad, 'no sound');
    await choose(page, '.slot:nth-child(1)', bad);
    await says(page, 'bad.wav is no sound');

    await page.type('#search', 'Drummed');
    await page.keyboard.press('Enter');
    await says(page, 'Drummed chords is loaded');
    await page.waitForFunction(() => document.querySelector('.slot.loaded small')?.textContent === 'beat.flac');
    await finish(page);
});

test('voices take turns, and one that cannot be read leaves the other', { timeout: 120000 }, async () => {
    const page = await opened();
    const pressed = () => page.$$eval('button[aria-pressed=true]', (list) => list.map((button) => button.id).filter(Boolean));
    await page.click('#example');
    await says(page, 'example speaks');
    const bad = join(folder, 'no voice.wav');
    await writeFile(bad, 'no sound');
    await choose(page, '#voice-file', bad);
    await says(page, 'no voice.wav is no sound');
    assert.deepEqual(await pressed(), ['example']);
    await page.keyboard.down('KeyA');
    await sounds(page);
    await page.keyboard.up('KeyA');
    await drop(page, 'h1', join(root, 'examples/chord.flac'));
    await says(page, 'chord.flac speaks');
    assert.deepEqual(await pressed(), ['voice-file']);
    // What was chosen last counts, though it is there first.
    await page.evaluate(() => {
        const { mediaDevices } = navigator;
        const real = mediaDevices.getUserMedia.bind(mediaDevices);
        mediaDevices.getUserMedia = async (wish) => {
            const stream = await real(wish);
            await new Promise((resolve) => {
                window.openMicrophone = resolve;
            });
            window.track = stream.getTracks()[0];
            return stream;
        };
    });
    await session.browser.defaultBrowserContext().overridePermissions(session.address, ['microphone']);
    await page.click('#microphone');
    await page.click('#example');
    await says(page, 'example speaks');
    await page.waitForFunction(() => window.openMicrophone);
    await page.evaluate(() => window.openMicrophone());
    await page.waitForFunction(() => window.track?.readyState === 'ended');
    assert.deepEqual(await pressed(), ['example']);
    await page.click('#example');
    await says(page, 'No voice');
    assert.deepEqual(await pressed(), []);
    await finish(page);
});

test('a MIDI keyboard plays', { timeout: 120000 }, async () => {
    const page = await opened();
    await page.evaluate(() => {
        window.midi = { name: 'Two keys' };
        navigator.requestMIDIAccess = async () => ({ inputs: new Map([['one', window.midi]]) });
    });
    await page.click('#example');
    await page.click('#midi');
    await says(page, 'Listening to Two keys');
    const send = (...data) => page.evaluate((bytes) => window.midi.onmidimessage({ data: bytes }), data);
    await send(0x90, 50, 100);
    await page.waitForSelector('[data-note="50"].down');
    await sounds(page);
    await send(0x90, 50, 0);
    assert.equal(await page.$('.key.down'), null);
    await silent(page);
    await page.evaluate(() => {
        navigator.requestMIDIAccess = async () => { throw new Error('denied'); };
    });
    await page.click('#midi');
    await says(page, 'not allowed');
    await finish(page);
});

test('a song plays and what sounds is recorded', { timeout: 120000 }, async () => {
    const page = await opened();
    const client = await session.browser.target().createCDPSession();
    await client.send('Browser.setDownloadBehavior', { behavior: 'allow', downloadPath: folder });
    await page.click('#example');
    await says(page, 'example speaks');
    await page.click('#play');
    await page.waitForSelector('#play[aria-pressed=true]');
    await page.click('#record');
    await sounds(page);
    await new Promise((resolve) => setTimeout(resolve, 1500));
    await page.click('#record');
    await says(page, 'into orphia.wav');
    const deadline = Date.now() + 10000;
    while (!(await readdir(folder)).includes('orphia.wav') && Date.now() < deadline) {
        await new Promise((resolve) => setTimeout(resolve, 100));
    }
    const { left, right, rate } = samplesOf(await readFile(join(folder, 'orphia.wav')));
    assert.equal(rate, await page.evaluate(() => window.orphia.context.sampleRate));
    assert.ok(left.length > rate / 2 && left.length === right.length, `${left.length} frames`);
    assert.ok(left.some((sample) => Math.abs(sample) > 0.01));
    await page.click('#play');
    await page.waitForSelector('#play[aria-pressed=false]');
    await finish(page);
});

test('what is missing is told', { timeout: 120000 }, async () => {
    const bare = await session.page();
    await bare.evaluateOnNewDocument(() => {
        WebAssembly.validate = () => false;
    });
    await bare.goto(session.address);
    await says(bare, 'SIMD');
    assert.equal(await bare.$eval('#start', (element) => element.hidden), true);
    await finish(bare);

    const context = session.browser.defaultBrowserContext();
    await context.overridePermissions(session.address, []);
    const page = await opened();
    await page.click('#microphone');
    await says(page, 'not allowed');
    assert.equal(await page.$eval('#microphone', (element) => element.getAttribute('aria-pressed')), 'false');
    await context.overridePermissions(session.address, ['microphone']);
    await page.click('#microphone');
    await says(page, 'headphones');
    await page.keyboard.down('KeyA');
    await sounds(page, 0.003);
    await page.keyboard.up('KeyA');
    await finish(page);
});

test('everything is reached by tab and has a name, on a phone’s width too', { timeout: 120000 }, async () => {
    const page = await opened({ width: 390, height: 844 });
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'nothing is cut at the side');
    const wanted = await page.$$eval('button, input:not([hidden]), select', (list) => list
        .filter((element) => element.tabIndex >= 0 && element.checkVisibility()).map((element) => element.id || element.ariaLabel || element.textContent));
    const reached = new Set();
    await page.evaluate(() => document.activeElement.blur());
    for (let n = 0; n < wanted.length + 5; ++n) {
        await page.keyboard.press('Tab');
        reached.add(await page.evaluate(() => document.activeElement.id || document.activeElement.ariaLabel || document.activeElement.textContent));
    }
    assert.deepEqual(wanted.filter((name) => !reached.has(name)), []);
    const nameless = await page.$$eval('input:not([hidden]), select, button', (list) => list
        .filter((element) => !(element.labels?.length || element.ariaLabel || element.textContent.trim())).map((element) => element.outerHTML));
    assert.deepEqual(nameless, []);
    await finish(page);
});

test('nothing was asked of another computer', () => assert.deepEqual(session.foreign, []));
