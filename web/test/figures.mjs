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

/** Processor time that the browser's pages have taken, in seconds: what else runs on the machine does not count. */
async function processorSeconds() {
    const client = await session.browser.target().createCDPSession();
    const { processInfo } = await client.send('SystemInfo.getProcessInfo');
    await client.detach();
    return processInfo.filter(({ type }) => type === 'renderer').reduce((sum, { cpuTime }) => sum + cpuTime, 0);
}

/** Renders so many seconds of a preset at 44.1 kHz offline, with so many keys, and a voice for a time. */
const render = (page, seconds, job) => page.evaluate(async (length, { preset = 'default', keys, voiceSeconds }) => {
    const { Engine, request } = await import('/engine.js');
    const context = new OfflineAudioContext(2, length * 44100, 44100);
    const bytes = await (await fetch('/sounds/voice.flac')).arrayBuffer();
    const voice = new AudioBufferSourceNode(context, { buffer: await context.decodeAudioData(bytes), loop: true });
    const notes = Array.from({ length: keys }, (_, n) => request('orphia_send', [0x90, 48 + 2 * n, 100]));
    const engine = await Engine.create(context, { setup: [request('orphia_load_named', [], preset), ...notes] });
    if (voiceSeconds > 0) {
        voice.connect(engine.node);
    }
    engine.node.connect(context.destination);
    voice.start();
    voice.stop(voiceSeconds);
    await context.startRendering();
}, seconds, job);

/** The share of a core that a job takes, in percent; least of some, without what a start costs. */
async function share(page, job, short = 5, long = 35) {
    const time = async (seconds) => {
        const before = await processorSeconds();
        await render(page, seconds, job);
        return (await processorSeconds()) - before;
    };
    const shares = [];
    for (let n = 0; n < 3; ++n) {
        const less = await time(short);
        shares.push((100 * ((await time(long)) - less)) / (long - short));
    }
    return `${Math.min(...shares).toFixed(1)} %`;
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
const always = 1000;
row('share of a core, silent', await share(page, { keys: 0, voiceSeconds: 0 }));
row('with a voice, no key', await share(page, { keys: 0, voiceSeconds: always }));
for (const keys of [1, 8, 16]) {
    row(`${keys} key${keys > 1 ? 's' : ''}`, await share(page, { keys, voiceSeconds: always }));
}
row('the same in a long reverb, 8 keys', await share(page, { preset: 'plate-monk', keys: 8, voiceSeconds: always }));
row('there, a minute after the sound', await share(page, { preset: 'plate-monk', keys: 0, voiceSeconds: 1 }, 60, 120));
await page.close();
const { seconds, late, wasm, heap } = await live();
row(`late blocks of 128 frames in ${seconds.toFixed(0)} s, 8 keys`, late, '0');
row(`memory then: module, page`, `${(wasm / 1e6).toFixed(0)} MB, ${(heap / 1e6).toFixed(0)} MB`);
await session.close();
