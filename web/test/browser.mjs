// SPDX-License-Identifier: GPL-3.0-or-later
// The site on a server of this computer, and a browser that shows it.
import { execFileSync } from 'node:child_process';
import { mkdtemp, readFile, rm } from 'node:fs/promises';
import { createServer } from 'node:http';
import { tmpdir } from 'node:os';
import { extname, join, normalize } from 'node:path';
import puppeteer from 'puppeteer-core';

export const root = process.env.ORPHIA_ROOT;
const site = join(root, 'out/web');
const types = { '.html': 'text/html', '.js': 'text/javascript', '.css': 'text/css', '.wasm': 'application/wasm' };

export const wait = (seconds) => new Promise((resolve) => setTimeout(resolve, seconds * 1000));

async function serve() {
    const server = createServer(async (request, response) => {
        const path = normalize(decodeURIComponent(new URL(request.url, 'http://site').pathname));
        try {
            const content = await readFile(join(site, path === '/' ? 'index.html' : path));
            response.writeHead(200, { 'Content-Type': types[extname(path)] ?? (path === '/' ? 'text/html' : 'application/octet-stream') });
            response.end(content);
        } catch {
            response.writeHead(404).end();
        }
    });
    await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
    return server;
}

/** Everything that a test needs, and `close`. `foreign` collects requests to anywhere else. */
export async function open() {
    const server = await serve();
    const address = `http://127.0.0.1:${server.address().port}/`;
    const profile = await mkdtemp(join(tmpdir(), 'orphia-web-'));
    const browser = await puppeteer.launch({
        executablePath: process.env.ORPHIA_CHROMIUM ?? '/usr/bin/chromium',
        headless: true,
        userDataDir: profile,
        args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
            '--disable-component-update', '--disable-sync', '--use-fake-device-for-media-stream'],
    });
    const foreign = [];
    return {
        browser,
        address,
        foreign,
        async page(width = 1280, height = 1000) {
            const page = await browser.newPage();
            const isMobile = width < 600;
            await page.setViewport({ width, height, isMobile, hasTouch: isMobile });
            page.on('request', (request) => {
                if (!request.url().startsWith(address) && !/^(data|blob):/.test(request.url())) {
                    foreign.push(request.url());
                }
            });
            page.faults = [];
            page.on('pageerror', (error) => page.faults.push(error.message));
            page.on('console', (message) => message.type() === 'error' && page.faults.push(message.text()));
            return page;
        },
        async close() {
            await browser.close();
            server.close();
            await rm(profile, { recursive: true, force: true });
        },
    };
}

/** A page of a session after its start, by the keyboard. */
export async function started(session, { width, height, hash = '', prepare = () => {} } = {}) {
    const page = await session.page(width, height);
    await prepare(page);
    await page.goto(session.address + hash);
    await page.focus('#start');
    await page.keyboard.press('Enter');
    await page.waitForSelector('body.playing');
    return page;
}

/** The same while the example speaks. */
export async function speaking(session, size) {
    const page = await started(session, size);
    await page.click('#example');
    await page.waitForSelector('#example[aria-pressed=true]');
    return page;
}

/** What the command makes of the same job: both sides. */
export async function renderNatively(options) {
    const folder = await mkdtemp(join(tmpdir(), 'orphia-web-'));
    const path = join(folder, 'native.wav');
    try {
        execFileSync(process.env.ORPHIA_COMMAND, ['render', ...options, '--bits', 'float', '-o', path], { stdio: 'pipe' });
        return samplesOf(await readFile(path));
    } finally {
        await rm(folder, { recursive: true });
    }
}

/** Left and right of a WAV file of floats, and its rate. */
export function samplesOf(bytes) {
    const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
    let rate = 0;
    for (let at = 12; at + 8 <= bytes.length;) {
        const name = bytes.toString('latin1', at, at + 4);
        const size = view.getUint32(at + 4, true);
        if (name === 'fmt ') {
            rate = view.getUint32(at + 12, true);
        } else if (name === 'data') {
            const frames = Math.floor(size / 8);
            const side = (channel) => Float32Array.from({ length: frames }, (_, n) => view.getFloat32(at + 8 + 8 * n + 4 * channel, true));
            return { left: side(0), right: side(1), rate };
        }
        at += 8 + size + (size % 2);
    }
    throw new Error('no sound in the file');
}
