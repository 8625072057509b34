// SPDX-License-Identifier: GPL-3.0-or-later
// Figures of the site, as a table for docs/web.md: bytes to load, click to sound, share of a core, memory.
import { execFileSync } from 'node:child_process';
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { brotliCompressSync, gzipSync } from 'node:zlib';
import { open, root } from './browser.mjs';

const site = join(root, 'out/web');
const wait = (seconds) => new Promise((resolve) => setTimeout(resolve, seconds * 1000));
const minutes = Number(process.env.WEB_MINUTES ?? 1);

function bytes() {
    const files = readdirSync(site).filter((name) => /\./.test(name)).map((name) => readFileSync(join(site, name)));
    const sum = (packed) => files.reduce((total, content) => total + packed(content).length, 0);
    const kilobytes = (count) => `${Math.round(count / 1000)} kB`;
    return `${kilobytes(sum((content) => content))}, ${kilobytes(sum((content) => gzipSync(content, { level: 9 })))} with gzip, ${kilobytes(sum(brotliCompressSync))} with brotli`;
}

const session = await open();

/** From the click to the first sound above -60 dB, with a key held and a voice waiting in the page. */
async function clickToSound() {
    const page = await session.page();
    await page.goto(session.address);
    await wait(2);
    const milliseconds = await page.evaluate(async () => {
        const { Engine, loadModule, request } = await import('/engine.js');
        await loadModule();
        const bytes = await (await fetch('/sounds/voice.flac')).arrayBuffer();
        const buffer = await new OfflineAudioContext(1, 1, 48000).decodeAudioData(bytes);
        const clicked = performance.now();
        const context = new AudioContext({ latencyHint: 'interactive' });
        const engine = await Engine.create(context, { setup: [request('orphia_send', [0x90, 48, 100])] });
        const voice = new AudioBufferSourceNode(context, { buffer });
        const analyser = new AnalyserNode(context, { fftSize: 256 });
        voice.connect(engine.node).connect(analyser).connect(context.destination);
        voice.start(0, 0.3);
        await context.resume();
        const samples = new Float32Array(256);
        for (;;) {
            analyser.getFloatTimeDomainData(samples);
            if (samples.some((sample) => Math.abs(sample) > 0.001)) {
                return performance.now() - clicked;
            }
            await new Promise((resolve) => setTimeout(resolve, 1));
        }
    });
    await page.close();
    return milliseconds;
}

/** Renders offline, where nothing else runs: the share of a core that so many keys take at 44.1 kHz. */
async function share(page, keys, speaks = true) {
    return page.evaluate(async (count, hasVoice) => {
        const { Engine, request } = await import('/engine.js');
        const seconds = 20;
        const context = new OfflineAudioContext(2, seconds * 44100, 44100);
        const bytes = await (await fetch('/sounds/voice.flac')).arrayBuffer();
        const voice = new AudioBufferSourceNode(context, { buffer: await context.decodeAudioData(bytes), loop: true });
        const notes = Array.from({ length: count }, (_, n) => request('orphia_send', [0x90, 48 + 2 * n, 100]));
        const engine = await Engine.create(context, { setup: notes });
        if (hasVoice) {
            voice.connect(engine.node);
        }
        engine.node.connect(context.destination);
        voice.start();
        const started = performance.now();
        await context.startRendering();
        return (performance.now() - started) / 10 / seconds;
    }, keys, speaks);
}

/** Sound for a second, then silence, offline: whether what decays costs more than what sounds. */
async function decay(page) {
    return page.evaluate(async () => {
        const { Engine, request } = await import('/engine.js');
        const bytes = await (await fetch('/sounds/voice.flac')).arrayBuffer();
        const time = async (seconds) => {
            const context = new OfflineAudioContext(2, seconds * 44100, 44100);
            const voice = new AudioBufferSourceNode(context, { buffer: await context.decodeAudioData(bytes.slice(0)) });
            const engine = await Engine.create(context, { seed: 1, setup: [request('orphia_load_named', [], 'plate-monk')] });
            voice.connect(engine.node).connect(context.destination);
            voice.start(0, 0, 1);
            const started = performance.now();
            await context.startRendering();
            return performance.now() - started;
        };
        await time(2);
        const [short, long] = [await time(20), await time(60)];
        return (long - short) / 10 / 40;
    });
}

/** A live minute or more with eight keys and the song's voice. */
async function live() {
    const page = await session.page();
    await page.goto(session.address);
    await page.click('#start');
    await page.waitForSelector('body.playing');
    await page.click('#example');
    await page.waitForSelector('#example[aria-pressed=true]');
    await page.evaluate(() => {
        window.readings = [];
        window.orphia.engine.addEventListener('meters', ({ detail }) => window.readings.push([detail.time, detail.busy, detail.late, detail.memory]));
        for (let n = 0; n < 8; ++n) {
            window.orphia.engine.noteOn(48 + 2 * n);
        }
    });
    await wait(60 * minutes);
    const [first, last] = await page.evaluate(() => [window.readings[0], window.readings.at(-1)]);
    const heap = (await page.metrics()).JSHeapUsedSize;
    await page.close();
    return { seconds: last[0] - first[0], late: last[2] - first[2], wasm: last[3], heap };
}

const row = (name, figure, goal = '') => console.log(`| ${name} | ${figure} | ${goal} |`);
const version = execFileSync('chromium', ['--version'], { stdio: ['ignore', 'pipe', 'ignore'] }).toString().trim();
console.log(`${version}\n\n| What | Measured | Goal |\n|---|---|---|`);
row('to load, without sounds', bytes(), '2.5 MB packed');
const starts = [];
for (let n = 0; n < 5; ++n) {
    starts.push(await clickToSound());
}
starts.sort((a, b) => a - b);
row('click to sound, middle of 5', `${starts[2].toFixed(0)} ms`, '300 ms');
const page = await session.page();
await page.goto(session.address);
for (const [name, keys, speaks] of [['share of a core, silent', 0, false], ['with a voice, no key', 0, true], ['1 key', 1, true], ['8 keys', 8, true], ['16 keys', 16, true]]) {
    const times = [];
    for (let n = 0; n < 3; ++n) {
        times.push(await share(page, keys, speaks));
    }
    row(name, `${Math.min(...times).toFixed(1)} %`);
}
row('after the sound, in the silence of a reverb', `${(await decay(page)).toFixed(1)} %`);
await page.close();
const { seconds, late, wasm, heap } = await live();
row(`late blocks of 128 frames in ${seconds.toFixed(0)} s, 8 keys`, late, '0');
row(`memory then: module, page`, `${(wasm / 1e6).toFixed(0)} MB, ${(heap / 1e6).toFixed(0)} MB`);
await session.close();
