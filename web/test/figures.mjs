// SPDX-License-Identifier: GPL-3.0-or-later
// Figures of the site, as a table for docs/web.md: bytes to load, click to sound, share of a core.
import { execFileSync } from 'node:child_process';
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { brotliCompressSync, gzipSync } from 'node:zlib';
import { open, root, speaking, wait } from './browser.mjs';

const site = join(root, 'out/web');

function bytes() {
    const files = readdirSync(site).filter((name) => /\./.test(name)).map((name) => readFileSync(join(site, name)));
    const sum = (packed) => files.reduce((total, content) => total + packed(content).length, 0);
    const kilobytes = (count) => `${Math.round(count / 1000)} kB`;
    return `${kilobytes(sum((content) => content))}, ${kilobytes(sum((content) => gzipSync(content, { level: 9 })))} with gzip, ${kilobytes(sum(brotliCompressSync))} with brotli`;
}

const session = await open();

/**
 * From the click on Start to the first sound above -60 dB, with a key held and a voice waiting, so many seconds after the
 * page has been opened.
 */
async function clickToSound(seconds) {
    const page = await session.page();
    await page.goto(session.address);
    await page.evaluate(() => {
        const pause = () => new Promise((resolve) => setTimeout(resolve, 1));
        const fetched = import('/voice.js').then(({ fetchSound }) => fetchSound(new OfflineAudioContext(1, 1, 48000), 'voice.flac'));
        document.getElementById('start').addEventListener('click', () => {
            const clicked = performance.now();
            window.untilSound = (async () => {
                while (!window.orphia) {
                    await pause();
                }
                const { engine, context } = window.orphia;
                engine.noteOn(48);
                const voice = new AudioBufferSourceNode(context, { buffer: await fetched });
                const analyser = new AnalyserNode(context, { fftSize: 256 });
                voice.connect(engine.node).connect(analyser);
                voice.start(0, 0.3);
                const samples = new Float32Array(256);
                do {
                    await pause();
                    analyser.getFloatTimeDomainData(samples);
                } while (!samples.some((sample) => Math.abs(sample) > 0.001));
                return performance.now() - clicked;
            })();
        });
    });
    await wait(seconds);
    await page.click('#start');
    const milliseconds = await page.evaluate(() => window.untilSound);
    await page.close();
    return milliseconds;
}

/** The middle and the longest of some. */
async function starts(seconds) {
    const times = [];
    for (let n = 0; n < 7; ++n) {
        times.push(await clickToSound(seconds));
    }
    times.sort((a, b) => a - b);
    return `${times[3].toFixed(0)} ms, at most ${times.at(-1).toFixed(0)} ms`;
}

/**
 * Processor time that each process of the browser's pages has taken, in seconds: what else runs on the machine does not
 * count.
 */
async function processorSeconds() {
    const client = await session.browser.target().createCDPSession();
    const { processInfo } = await client.send('SystemInfo.getProcessInfo');
    await client.detach();
    return new Map(processInfo.filter(({ type }) => type === 'renderer').map(({ id, cpuTime }) => [id, cpuTime]));
}

/** Renders so many seconds of a preset at 44.1 kHz offline, with so many keys, and a voice for a time. */
const render = (page, seconds, job) => page.evaluate(async (length, { preset = 'default', keys, voiceSeconds }) => {
    const [{ Engine, request }, { fetchSound }] = await Promise.all(['/engine.js', '/voice.js'].map((name) => import(name)));
    const context = new OfflineAudioContext(2, length * 44100, 44100);
    const voice = new AudioBufferSourceNode(context, { buffer: await fetchSound(context, 'voice.flac'), loop: true });
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
    const time = async (length) => {
        const before = await processorSeconds();
        await render(page, length, job);
        const after = await processorSeconds();
        // A process may have come, or gone, meanwhile.
        return [...after].reduce((sum, [id, seconds]) => sum + (before.has(id) ? seconds - before.get(id) : 0), 0);
    };
    await time(short); // and without what the first blocks cost
    const shares = [];
    for (let n = 0; n < 3; ++n) {
        const less = await time(short);
        shares.push((100 * ((await time(long)) - less)) / (long - short));
    }
    return `${Math.min(...shares).toFixed(1)} %`;
}

/** A live minute with eight keys and the song's voice. */
async function live() {
    const page = await speaking(session);
    await page.evaluate(() => {
        window.orphia.engine.addEventListener('meters', ({ detail: { time, late, memory } }) => {
            window.last = [time, late, memory];
            window.first ??= window.last;
        });
        for (let n = 0; n < 8; ++n) {
            window.orphia.engine.noteOn(48 + 2 * n);
        }
    });
    await wait(60);
    const [first, last] = await page.evaluate(() => [window.first, window.last]);
    await page.close();
    return { seconds: last[0] - first[0], late: last[1] - first[1] };
}

const row = (name, figure, goal = '') => console.log(`| ${name} | ${figure} | ${goal} |`);
const version = execFileSync('chromium', ['--version'], { stdio: ['ignore', 'pipe', 'ignore'] }).toString().trim();
console.log(`${version}\n\n| What | Measured | Goal |\n|---|---|---|`);
row('to load, without sounds', bytes(), '2.5 MB packed');
row('click to sound, 2 s after the page was opened', await starts(2), '300 ms');
row('clicked at once', await starts(0));
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
const { seconds, late } = await live();
row(`late blocks of 128 frames in ${seconds.toFixed(0)} s, 8 keys`, late, '0');
await session.close();
