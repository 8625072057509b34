// SPDX-License-Identifier: GPL-3.0-or-later
// What the vocoder listens to: the microphone, the example, or a file. One at a time.
import { siteUrl } from './engine.js';

/** Decodes a sound file; the browser knows the formats. */
export async function decode(context, bytes, name) {
    try {
        return await context.decodeAudioData(bytes);
    } catch {
        throw new Error(`${name} is no sound that this browser can read`);
    }
}

/** One of the site's own sounds. */
export async function fetchSound(context, name) {
    const response = await fetch(siteUrl(`sounds/${name}`));
    if (!response.ok) {
        throw new Error(`${name} cannot be loaded (${response.status})`);
    }
    return decode(context, await response.arrayBuffer(), name);
}

/** Why a microphone cannot be had, for its user. */
function microphoneReason(error) {
    if (error.name === 'NotAllowedError') {
        return 'The microphone is not allowed. Allow it in the browser’s settings of this page, or choose a file.';
    }
    if (error.name === 'NotFoundError') {
        return 'No microphone is connected. Choose the example or a file.';
    }
    return `The microphone cannot be used: ${error.message}`;
}

export class Voice {
    /** Which one is heard: 'microphone', 'example', 'file' or none. */
    kind = '';
    #turn = 0;
    #end = () => {};

    constructor(engine) {
        this.engine = engine;
    }

    stop() {
        ++this.#turn;
        this.#end();
        this.#end = () => {};
        this.kind = '';
    }

    /** What was chosen last is heard, however long it takes; false when something else was chosen meanwhile. */
    async #take(kind, open) {
        const turn = ++this.#turn;
        const { node, end } = await open();
        if (turn !== this.#turn) {
            end();
            return false;
        }
        this.stop();
        node.connect(this.engine.node);
        node.start?.();
        this.#end = end;
        this.kind = kind;
        return true;
    }

    microphone() {
        return this.#take('microphone', async () => {
            if (!navigator.mediaDevices?.getUserMedia) {
                throw new Error('This page may not use a microphone: browsers allow it only by https or from this computer.');
            }
            const plain = { echoCancellation: false, noiseSuppression: false, autoGainControl: false };
            const stream = await navigator.mediaDevices.getUserMedia({ audio: plain }).catch((error) => {
                throw new Error(microphoneReason(error));
            });
            const node = this.engine.context.createMediaStreamSource(stream);
            return {
                node,
                end() {
                    node.disconnect();
                    stream.getTracks().forEach((track) => track.stop());
                },
            };
        });
    }

    /** A sound over and over. */
    #sound(kind, read) {
        return this.#take(kind, async () => {
            const node = new AudioBufferSourceNode(this.engine.context, { buffer: await read(), loop: true });
            return { node, end: () => node.disconnect() };
        });
    }

    example() {
        return this.#sound('example', () => fetchSound(this.engine.context, 'voice.flac'));
    }

    file(file) {
        return this.#sound('file', async () => decode(this.engine.context, await file.arrayBuffer(), file.name));
    }
}
