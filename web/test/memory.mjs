// SPDX-License-Identifier: GPL-3.0-or-later
// Memory of the page while it plays eight keys for ten minutes: it must not grow after the first one.
import { readFileSync } from 'node:fs';
import { open, speaking, wait } from './browser.mjs';

const minutes = Number(process.argv[2] ?? 10);
const mayGrow = { module: 0, page: 1e6, process: 8e6 };

const session = await open();
const page = await speaking(session);
await page.evaluate(() => {
    const { engine } = window.orphia;
    engine.addEventListener('meters', ({ detail }) => {
        window.moduleBytes = detail.memory;
        window.playedSeconds = detail.time;
        // Keys come and go, eight at a time.
        const turn = Math.floor(detail.time / 2);
        if (turn !== window.turn) {
            window.turn = turn;
            for (let n = 0; n < 8; ++n) {
                engine.noteOff(40 + 3 * n + ((turn - 1) % 5));
                engine.noteOn(40 + 3 * n + (turn % 5));
            }
        }
    });
});

/** What the process that shows the page has for itself, audio thread included. */
async function processBytes(client) {
    const { processInfo } = await client.send('SystemInfo.getProcessInfo');
    const sizes = processInfo.filter(({ type }) => type === 'renderer').map(({ id }) => {
        const text = readFileSync(`/proc/${id}/smaps_rollup`, 'latin1');
        return [...text.matchAll(/^Private_\w+: +(\d+) kB$/gm)].reduce((sum, [, kilobytes]) => sum + Number(kilobytes) * 1024, 0);
    });
    return Math.max(...sizes);
}

async function look() {
    const own = await page.createCDPSession();
    await own.send('HeapProfiler.collectGarbage');
    await own.detach();
    const client = await session.browser.target().createCDPSession();
    const reading = {
        module: await page.evaluate(() => window.moduleBytes),
        page: (await page.metrics()).JSHeapUsedSize,
        process: await processBytes(client),
    };
    await client.detach();
    return reading;
}

const readings = [];
for (let minute = 1; minute <= minutes; ++minute) {
    await wait(60);
    readings.push(await look());
    const sizes = Object.entries(readings.at(-1)).map(([name, bytes]) => `${name} ${(bytes / 1e6).toFixed(1)} MB`);
    console.log(`${minute} min: ${sizes.join(', ')}`);
}
const played = await page.evaluate(() => window.playedSeconds);
const faults = page.faults;
await session.close();
const grown = Object.keys(mayGrow).filter((name) => readings.at(-1)[name] - readings[0][name] > mayGrow[name]);
if (grown.length > 0 || faults.length > 0 || played < 55 * minutes) {
    console.error(`check-web: failed after ${played.toFixed(0)} s: ${[...grown.map((name) => `memory of the ${name} grows`), ...faults].join('; ')}`);
    process.exit(1);
}
console.log(`check-web: memory stays for ${minutes} minutes`);
