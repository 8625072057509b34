// SPDX-License-Identifier: GPL-3.0-or-later
// The sound of the module in a browser is that of the command.
import assert from 'node:assert/strict';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { open, renderNatively, root } from './browser.mjs';

const seconds = 7;
const rate = 44100;
let session;

before(async () => {
    session = await open();
});
after(() => session.close());

/** The example song and voice with a preset, offline, as Base64 of floats, and how late it is. */
async function renderInBrowser(preset) {
    const page = await session.page();
    await page.goto(session.address);
    const result = await page.evaluate(async (id, length, hz) => {
        const [{ Engine, request }, { fetchSound }] = await Promise.all(['/engine.js', '/voice.js'].map((name) => import(name)));
        const context = new OfflineAudioContext(2, length * hz, hz);
        const voice = new AudioBufferSourceNode(context, { buffer: await fetchSound(context, 'voice.flac') });
        const presets = await (await Engine.create(new AudioContext())).askJson('orphia_presets');
        const samples = presets.find((entry) => entry.id === id).samples.map(async (path) => {
            const sound = await fetchSound(context, path.split('/').pop());
            const channels = Array.from({ length: sound.numberOfChannels }, (_, n) => sound.getChannelData(n).slice());
            return request('orphia_put_sound', [channels.length, sound.sampleRate], path, channels);
        });
        const engine = await Engine.create(context, {
            seed: 1,
            setup: [
                ...await Promise.all(samples),
                request('orphia_load_named', [], id),
                request('orphia_insert_song', [], new Uint8Array(await (await fetch('/sounds/song.mid')).arrayBuffer())),
                request('orphia_play'),
            ],
        });
        voice.connect(engine.node);
        engine.node.connect(context.destination);
        voice.start();
        const ready = new Promise((resolve) => {
            engine.addEventListener('ready', resolve);
        });
        const started = performance.now();
        const sound = await context.startRendering();
        const spent = performance.now() - started;
        await ready;
        const packed = [0, 1].map((channel) => {
            const bytes = new Uint8Array(sound.getChannelData(channel).buffer);
            let text = '';
            for (let at = 0; at < bytes.length; at += 32768) {
                text += String.fromCharCode(...bytes.subarray(at, at + 32768));
            }
            return btoa(text);
        });
        return { packed, latency: engine.latency, spent };
    }, preset, seconds, rate);
    assert.deepEqual(page.faults, []);
    await page.close();
    const [left, right] = result.packed.map((text) => {
        const bytes = Buffer.from(text, 'base64');
        return new Float32Array(bytes.buffer, bytes.byteOffset, bytes.length / 4);
    });
    console.log(`${preset}: ${seconds} s rendered in ${(result.spent / 1000).toFixed(2)} s`);
    return { left, right, latency: result.latency };
}

const power = (samples, from, to) => samples.subarray(from, to).reduce((sum, sample) => sum + sample * sample, 0) / (to - from);
const decibels = (value) => 10 * Math.log10(Math.max(value, 1e-20));

// Presets and what they may differ by, in dB. Those that stretch a sample do it with another version of the stretcher, and
// another Fourier transform in it; unstretched they would differ by as much as there is.
for (const [preset, most] of [['default', -90], ['whisper', -90], ['talking-pad', -90], ['slow-speech', -9], ['drummed-chords', -20]]) {
    test(`${preset} sounds as from the command`, { timeout: 240000 }, async () => {
        const [native, browser] = await Promise.all([
            renderNatively([...(most > -90 ? [] : ['--voice', join(root, 'examples/voice.flac')]), '--midi', join(root, 'examples/song.mid'),
                '--preset', preset, '--seed', '1', '--rate', String(rate), '--tail', '2']),
            renderInBrowser(preset),
        ]);
        const frames = seconds * rate - browser.latency;
        assert.ok(decibels(power(native.left, 0, frames)) > -45, 'there is something to compare');
        let equal = 0;
        let worst = -Infinity;
        const window = 4410;
        for (const side of ['left', 'right']) {
            const here = browser[side].subarray(browser.latency);
            const there = native[side];
            for (let at = 0; at + window <= frames; at += window) {
                const level = decibels(power(there, at, at + window));
                const difference = here.subarray(at, at + window).map((sample, n) => sample - there[at + n]);
                equal += difference.filter((sample) => sample === 0).length;
                if (level > -60) {
                    worst = Math.max(worst, decibels(power(difference, 0, window)) - level);
                }
            }
        }
        console.log(`${preset}: differs by at most ${worst.toFixed(1)} dB; ${((50 * equal) / frames).toFixed(1)} % of the samples are equal to the bit`);
        assert.ok(worst < most, `differs by ${worst.toFixed(1)} dB`);
    });
}

test('noise is heard', { timeout: 120000 }, async () => {
    const page = await session.page();
    await page.goto(session.address);
    // Nothing but the noise behind the bands, from a voice.
    const loudest = await page.evaluate(async () => {
        const [{ Engine, request }, { fetchSound }] = await Promise.all(['/engine.js', '/voice.js'].map((name) => import(name)));
        const context = new OfflineAudioContext(2, 44100 * 2, 44100);
        const voice = new AudioBufferSourceNode(context, { buffer: await fetchSound(context, 'voice.flac') });
        const settings = ['NoiseCarrierBalance_NoiseCarrierBalance=0', 'Osc1Volume=-70 dB', 'Osc2Volume=-70 dB', 'HFLevel=0', 'FX_Enable=off'];
        const engine = await Engine.create(context, { seed: 1, setup: settings.map((text) => request('orphia_set', [], text)) });
        voice.connect(engine.node).connect(context.destination);
        voice.start();
        const sound = (await context.startRendering()).getChannelData(0);
        return sound.reduce((most, sample) => Math.max(most, Math.abs(sample)), 0);
    });
    assert.ok(loudest > 0.003, `the noise reaches ${loudest}`);
    await page.close();
});

test('no sound fades into denormal numbers', { timeout: 120000 }, async () => {
    const page = await session.page();
    await page.goto(session.address);
    // Two seconds of voice and keys, and what is left of them a minute later.
    const { denormal, loudest } = await page.evaluate(async () => {
        const [{ Engine, request }, { fetchSound }] = await Promise.all(['/engine.js', '/voice.js'].map((name) => import(name)));
        const seconds = 60;
        const context = new OfflineAudioContext(2, 44100 * seconds, 44100);
        const voice = new AudioBufferSourceNode(context, { buffer: await fetchSound(context, 'voice.flac') });
        const keys = [48, 55, 60];
        const notes = keys.map((note) => request('orphia_send', [0x90, note, 100]));
        const engine = await Engine.create(context, { setup: [request('orphia_load_named', [], 'dub-echo-robot'), ...notes] });
        voice.connect(engine.node).connect(context.destination);
        voice.start();
        voice.stop(2);
        context.suspend(2).then(async () => {
            keys.forEach((note) => engine.noteOff(note));
            await engine.ask('orphia_slots');
            context.resume();
        });
        const sound = (await context.startRendering()).getChannelData(0).subarray(44100 * (seconds - 1));
        return {
            denormal: sound.filter((sample) => sample !== 0 && Math.abs(sample) < 2 ** -126).length,
            loudest: sound.reduce((most, sample) => Math.max(most, Math.abs(sample)), 0),
        };
    });
    assert.equal(denormal, 0);
    assert.ok(loudest < 1e-10, `${loudest} is left`);
    await page.close();
});

test('nothing was asked of another computer', () => assert.deepEqual(session.foreign, []));
