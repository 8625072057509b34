// SPDX-License-Identifier: GPL-3.0-or-later
// The audio thread's side: holds the WebAssembly module and plays it. It knows no texts, only bytes; what they
// mean is the page's (engine.js).

const meterSeconds = 1 / 30;
const chunkFrames = 4096;
const meterCount = 21;

/** Everything that the module asks of its surroundings: there are no files and no environment. */
function importsOf(module) {
    const imports = {};
    let memory = null;
    const known = {
        proc_exit(code) {
            throw new Error(`the engine has ended (${code})`);
        },
        clock_time_get(clock, precision, at) {
            new DataView(memory().buffer).setBigUint64(at, BigInt(Date.now()) * 1000000n, true);
            return 0;
        },
        environ_sizes_get(count, size) {
            const view = new DataView(memory().buffer);
            view.setUint32(count, 0, true);
            view.setUint32(size, 0, true);
            return 0;
        },
        environ_get: () => 0,
        emscripten_notify_memory_growth: () => {},
    };
    for (const { module: group, name, kind } of WebAssembly.Module.imports(module)) {
        if (kind === 'function') {
            imports[group] ??= {};
            imports[group][name] = known[name] ?? (() => 52); // "not supported"
        }
    }
    return { imports, bind: (get) => { memory = get; } };
}

class OrphiaProcessor extends AudioWorkletProcessor {
    constructor({ processorOptions: { module, seed, setup } }) {
        super();
        const { imports, bind } = importsOf(module);
        this.native = new WebAssembly.Instance(module, imports).exports;
        bind(() => this.native.memory);
        this.native._initialize?.();
        if (!this.native.orphia_start(sampleRate, seed ?? -1)) {
            throw new Error(this.resultText());
        }
        this.sides = { orphia_voice: [], orphia_sound: [] };
        this.moved = new Set();
        this.untilMeters = 0;
        this.busy = 0;
        this.late = 0;
        this.recording = null;
        setup?.forEach((request) => this.answer(request));
        this.port.onmessage = ({ data }) => this.answer(data);
        this.port.postMessage({ ready: true, latency: this.native.orphia_latency() });
    }

    result() {
        const at = this.native.orphia_result();
        return new Uint8Array(this.native.memory.buffer, at, this.native.orphia_result_size()).slice();
    }

    resultText() {
        return String.fromCharCode(...this.result());
    }

    /** {call, args, input, channels, id}: calls an export, and sends back its result where there is an id. */
    answer({ id, call, args = [], input, channels }) {
        if (input) {
            const at = this.native.orphia_input(input.length);
            new Uint8Array(this.native.memory.buffer, at, input.length).set(input);
        }
        channels?.forEach((samples, channel) => {
            const at = this.native.orphia_channel(channel, samples.length);
            new Float32Array(this.native.memory.buffer, at, samples.length).set(samples);
        });
        if (call === 'record') {
            this.record(args[0]);
            return;
        }
        if (call === 'orphia_move') {
            this.moved.add(args[0]);
        }
        const value = this.native[call](...args);
        if (id !== undefined) {
            this.port.postMessage({ id, value, bytes: this.result() });
        }
    }

    record(isOn) {
        this.flushRecording(true);
        this.recording = isOn ? { left: new Float32Array(chunkFrames), right: new Float32Array(chunkFrames), filled: 0 } : null;
    }

    flushRecording(isEnd) {
        if (this.recording) {
            const { left, right, filled } = this.recording;
            this.port.postMessage({ recorded: [left.slice(0, filled), right.slice(0, filled)], isEnd });
            this.recording.filled = 0;
        }
    }

    process([input], [output]) {
        const start = Date.now();
        const frames = output[0].length;
        const channels = Math.min(input.length, 2);
        for (let channel = 0; channel < channels; ++channel) {
            this.side('orphia_voice', channel, frames).set(input[channel]);
        }
        this.native.orphia_process(frames, channels);
        for (let channel = 0; channel < 2; ++channel) {
            const sound = this.side('orphia_sound', channel, frames);
            (output[channel] ?? output[0]).set(sound);
            this.keep(channel, sound);
        }
        this.tellValues();
        const spent = Date.now() - start;
        this.busy += spent;
        this.late += spent > (frames / sampleRate) * 1000 + 1 ? 1 : 0;
        this.untilMeters -= frames / sampleRate;
        if (this.untilMeters <= 0) {
            this.tellMeters();
        }
        return true;
    }

    /** One side of voice or sound in the module; views are made anew only when its memory has grown. */
    side(call, channel, frames) {
        const { buffer } = this.native.memory;
        let view = this.sides[call][channel];
        if (view?.buffer !== buffer || view.length !== frames) {
            view = new Float32Array(buffer, this.native[call](channel), frames);
            this.sides[call][channel] = view;
        }
        return view;
    }

    keep(channel, sound) {
        if (!this.recording) {
            return;
        }
        const side = channel === 0 ? this.recording.left : this.recording.right;
        side.set(sound, this.recording.filled);
        if (channel === 1) {
            this.recording.filled += sound.length;
            if (this.recording.filled + sound.length > chunkFrames) {
                this.flushRecording(false);
            }
        }
    }

    /** What was moved has its new value now. */
    tellValues() {
        for (const parameter of this.moved) {
            this.native.orphia_value_text(parameter);
            this.port.postMessage({ parameter, position: this.native.orphia_position(parameter), bytes: this.result() });
        }
        this.moved.clear();
    }

    tellMeters() {
        this.untilMeters += meterSeconds;
        const at = this.native.orphia_meters();
        this.port.postMessage({
            meters: new Float32Array(this.native.memory.buffer, at, meterCount).slice(),
            second: this.native.orphia_song_second(),
            time: currentTime,
            busy: this.busy,
            late: this.late,
            memory: this.native.memory.buffer.byteLength,
        });
    }
}

registerProcessor('orphia', OrphiaProcessor);
