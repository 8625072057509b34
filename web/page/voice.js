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
    constructor(engine) {
        this.engine = engine;
        this.source = null;
        this.stream = null;
    }

    stop() {
        this.source?.stop?.();
        this.source?.disconnect();
        this.stream?.getTracks().forEach((track) => track.stop());
        this.source = null;
        this.stream = null;
    }

    async microphone() {
        this.stop();
        if (!navigator.mediaDevices?.getUserMedia) {
            throw new Error('This page may not use a microphone: browsers allow it only by https or from this computer.');
        }
        const plain = { echoCancellation: false, noiseSuppression: false, autoGainControl: false };
        try {
            this.stream = await navigator.mediaDevices.getUserMedia({ audio: plain });
        } catch (error) {
            throw new Error(microphoneReason(error));
        }
        this.source = this.engine.context.createMediaStreamSource(this.stream);
        this.source.connect(this.engine.node);
    }

    /** Plays a decoded sound as the voice, over and over. */
    play(buffer) {
        this.stop();
        this.source = this.engine.context.createBufferSource();
        this.source.buffer = buffer;
        this.source.loop = true;
        this.source.connect(this.engine.node);
        this.source.start();
    }

    async example() {
        this.play(await fetchSound(this.engine.context, 'voice.flac'));
    }

    async file(file) {
        this.play(await decode(this.engine.context, await file.arrayBuffer(), file.name));
    }
}
