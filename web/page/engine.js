// SPDX-License-Identifier: GPL-3.0-or-later
// The instrument as the page sees it: an AudioWorkletNode with calls that answer.

const encoder = new TextEncoder();
const decoder = new TextDecoder();

/** A module of a few bytes with one vector instruction: refused where there are none. */
const simdProbe = new Uint8Array([
    0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0, 65, 0, 253, 15, 253, 98, 11,
]);

/** What this browser lacks, as sentences for its user; empty when it has all. */
export function missing(scope = globalThis) {
    const lacks = [];
    if (typeof scope.WebAssembly !== 'object') {
        lacks.push('This browser has no WebAssembly, without which the instrument cannot run.');
    } else if (!scope.WebAssembly.validate(simdProbe)) {
        lacks.push('This browser’s WebAssembly has no SIMD, without which the instrument would be too slow. Newer browsers have it.');
    }
    if (typeof scope.AudioWorkletNode !== 'function') {
        lacks.push(scope.isSecureContext === false
            ? 'Browsers play live sound on pages only that come by https or from this computer. Open the page that way.'
            : 'This browser has no AudioWorklet, without which nothing can be played.');
    }
    return lacks;
}

/** Where parts of the site lie. */
export const siteUrl = (name) => new URL(name, import.meta.url);

let compiled = null;

/** The engine's module; fetched once, and early. */
export function loadModule() {
    compiled ??= fetch(siteUrl('orphia.wasm')).then(async (response) => {
        if (!response.ok) {
            throw new Error(`orphia.wasm cannot be loaded (${response.status})`);
        }
        // While it arrives, and the browser may keep what it has compiled; servers that do not know its type go without.
        return response.headers.get('Content-Type') === 'application/wasm'
            ? WebAssembly.compileStreaming(response)
            : WebAssembly.compile(await response.arrayBuffer());
    });
    return compiled;
}

/** A request as the worklet takes it; text may be a string or bytes. */
export function request(call, args = [], text = undefined, channels = undefined) {
    const input = typeof text === 'string' ? encoder.encode(text) : text;
    return { call, args, input, channels };
}

export class Engine extends EventTarget {
    #waiting = new Map();
    #nextId = 0;

    /**
     * Makes the node in a context, which may be offline; `setup` is a list of requests that are carried out in front
     * of the first sound, and a seed makes the noise repeat.
     */
    static async create(context, { seed, setup } = {}) {
        const [module] = await Promise.all([loadModule(), context.audioWorklet.addModule(siteUrl('worklet.js'))]);
        const engine = new Engine();
        engine.context = context;
        engine.node = new AudioWorkletNode(context, 'orphia', {
            numberOfInputs: 1,
            numberOfOutputs: 1,
            outputChannelCount: [2],
            processorOptions: { module, seed, setup },
        });
        const ready = new Promise((resolve, reject) => {
            engine.addEventListener('ready', ({ detail }) => {
                engine.latency = detail.latency;
                resolve();
            }, { once: true });
            engine.node.onprocessorerror = () => {
                const error = new Error('the instrument has stopped: reload the page');
                reject(error);
                engine.dispatchEvent(new CustomEvent('broken', { detail: error }));
            };
        });
        engine.node.port.onmessage = ({ data }) => engine.#receive(data);
        // Offline nothing arrives before the rendering begins.
        if (!(context instanceof OfflineAudioContext)) {
            await ready;
        }
        return engine;
    }

    #receive(data) {
        if (data.id !== undefined) {
            const { resolve, reject } = this.#waiting.get(data.id);
            this.#waiting.delete(data.id);
            const text = decoder.decode(data.bytes);
            if (data.value === 0) {
                reject(new Error(text));
            } else {
                resolve(text);
            }
        } else if (data.parameter !== undefined) {
            const { parameter, position } = data;
            this.dispatchEvent(new CustomEvent('value', { detail: { id: parameter, position, text: decoder.decode(data.bytes) } }));
        } else if (data.meters) {
            this.dispatchEvent(new CustomEvent('meters', { detail: data }));
        } else if (data.recorded) {
            this.dispatchEvent(new CustomEvent('recorded', { detail: data }));
        } else if (data.ready) {
            this.dispatchEvent(new CustomEvent('ready', { detail: data }));
        }
    }

    /** Calls what may fail; gives its text, or throws its reason. */
    ask(call, args, text, channels) {
        const id = this.#nextId++;
        const answer = new Promise((resolve, reject) => {
            this.#waiting.set(id, { resolve, reject });
        });
        this.node.port.postMessage({ ...request(call, args, text, channels), id });
        return answer;
    }

    async askJson(...parts) {
        return JSON.parse(await this.ask(...parts));
    }

    /** Calls what gives nothing back. */
    tell(call, ...args) {
        this.node.port.postMessage(request(call, args));
    }

    noteOn(note, velocity = 100) {
        this.tell('orphia_send', 0x90, note, velocity);
    }

    noteOff(note) {
        this.tell('orphia_send', 0x80, note, 0);
    }

    /** A decoded sound into a slot, from 0. */
    loadSample(slot, name, buffer) {
        const channels = channelsOf(buffer);
        return this.ask('orphia_load_sample', [slot, channels.length, buffer.sampleRate], name, channels);
    }

    /** A decoded sound for presets that name its path. */
    putSound(path, buffer) {
        const channels = channelsOf(buffer);
        return this.ask('orphia_put_sound', [channels.length, buffer.sampleRate], path, channels);
    }
}

function channelsOf(buffer) {
    const count = Math.min(buffer.numberOfChannels, 2);
    return Array.from({ length: count }, (_, channel) => buffer.getChannelData(channel).slice());
}
