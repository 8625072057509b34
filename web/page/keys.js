// SPDX-License-Identifier: GPL-3.0-or-later
// Keys to play: on the screen, on the computer's keyboard and by Web MIDI.

const computerKeys = [
    'KeyA', 'KeyW', 'KeyS', 'KeyE', 'KeyD', 'KeyF', 'KeyT', 'KeyG', 'KeyY', 'KeyH', 'KeyU', 'KeyJ', 'KeyK', 'KeyO',
    'KeyL', 'KeyP', 'Semicolon',
];
const names = ['C', 'C sharp', 'D', 'D sharp', 'E', 'F', 'F sharp', 'G', 'G sharp', 'A', 'A sharp', 'B'];
const isBlack = (note) => [1, 3, 6, 8, 10].includes(note % 12);
const nameOf = (note) => `${names[note % 12]}${Math.floor(note / 12) - 1}`;

/** Whether a key press belongs to something that is typed into. */
const isTyping = (target) => target.closest?.('input:not([type=range]):not([type=checkbox]), select, textarea, [contenteditable], dialog') !== null;

export class Keyboard {
    /** Of two octaves, from a note on; `first` moves with Z and X. */
    constructor(engine, root, octaves = 3) {
        this.engine = engine;
        this.root = root;
        this.octaves = octaves;
        this.first = 36;
        this.down = new Map(); // note: how often
        this.held = new Map(); // what holds it: note
        this.build();
        this.listen();
    }

    build() {
        this.root.replaceChildren();
        this.root.style.setProperty('--white-keys', this.octaves * 7 + 1);
        for (let note = this.first, white = 0; note <= this.first + 12 * this.octaves; ++note) {
            const key = document.createElement('button');
            key.type = 'button';
            key.className = isBlack(note) ? 'key black' : 'key white';
            key.dataset.note = note;
            key.setAttribute('aria-label', nameOf(note));
            key.tabIndex = note === this.first ? 0 : -1;
            key.style.setProperty('--place', white);
            if (note % 12 === 0) {
                key.textContent = nameOf(note);
            }
            white += isBlack(note) ? 0 : 1;
            this.root.append(key);
        }
    }

    press(holder, note, velocity = 100) {
        if (this.held.has(holder) || note < 0 || note > 127) {
            return;
        }
        this.held.set(holder, note);
        this.down.set(note, (this.down.get(note) ?? 0) + 1);
        this.engine.noteOn(note, velocity);
        this.light(note, true);
    }

    release(holder) {
        const note = this.held.get(holder);
        if (note === undefined) {
            return;
        }
        this.held.delete(holder);
        const count = this.down.get(note) - 1;
        this.down.set(note, count);
        if (count === 0) {
            this.engine.noteOff(note);
            this.light(note, false);
        }
    }

    releaseAll() {
        [...this.held.keys()].forEach((holder) => this.release(holder));
    }

    light(note, isOn) {
        this.root.querySelector(`[data-note="${note}"]`)?.classList.toggle('down', isOn);
    }

    shift(octaves) {
        this.releaseAll();
        this.first = Math.min(Math.max(this.first + 12 * octaves, 12), 84);
        this.build();
    }

    listen() {
        const noteAt = (event) => document.elementFromPoint(event.clientX, event.clientY)?.closest?.('.key')?.dataset.note;
        this.root.onpointerdown = (event) => {
            const note = noteAt(event);
            if (note !== undefined) {
                event.preventDefault();
                event.target.focus?.({ preventScroll: true });
                this.press(`pointer ${event.pointerId}`, Number(note));
            }
        };
        this.root.onpointermove = (event) => {
            const holder = `pointer ${event.pointerId}`;
            const note = noteAt(event);
            if (this.held.has(holder) && note !== undefined && Number(note) !== this.held.get(holder)) {
                this.release(holder);
                this.press(holder, Number(note));
            }
        };
        for (const end of ['pointerup', 'pointercancel']) {
            window.addEventListener(end, (event) => this.release(`pointer ${event.pointerId}`));
        }
        window.addEventListener('blur', () => this.releaseAll());
        window.addEventListener('keydown', (event) => this.keyDown(event));
        window.addEventListener('keyup', (event) => this.release(event.code));
    }

    keyDown(event) {
        if (event.ctrlKey || event.metaKey || event.altKey || event.repeat || isTyping(event.target)) {
            return;
        }
        const key = event.target.closest?.('.key');
        const place = computerKeys.indexOf(event.code);
        if (place >= 0) {
            this.press(event.code, this.first + 12 + place);
        } else if (event.code === 'KeyZ' || event.code === 'KeyX') {
            this.shift(event.code === 'KeyZ' ? -1 : 1);
        } else if (key && (event.code === 'Space' || event.code === 'Enter')) {
            event.preventDefault();
            this.press(event.code, Number(key.dataset.note));
        } else if (key && (event.code === 'ArrowLeft' || event.code === 'ArrowRight')) {
            event.preventDefault();
            const next = Number(key.dataset.note) + (event.code === 'ArrowLeft' ? -1 : 1);
            this.root.querySelector(`[data-note="${next}"]`)?.focus();
        }
    }
}

/** Plays what MIDI keyboards send; tells in words what is there. */
export async function connectMidi(engine, keyboard, tell) {
    if (!navigator.requestMIDIAccess) {
        tell('This browser has no Web MIDI: play with the keys on the screen or on the computer’s keyboard.');
        return;
    }
    let access;
    try {
        access = await navigator.requestMIDIAccess();
    } catch {
        tell('MIDI keyboards were not allowed. Allow them in the browser’s settings of this page.');
        return;
    }
    const listen = () => {
        const inputs = [...access.inputs.values()];
        for (const input of inputs) {
            input.onmidimessage = ({ data: [status, data1, data2 = 0] }) => {
                if (status < 0xf0) {
                    engine.tell('orphia_send', status, data1, data2);
                    const kind = status & 0xf0;
                    if (kind === 0x90 || kind === 0x80) {
                        keyboard.light(data1, kind === 0x90 && data2 > 0);
                    }
                }
            };
        }
        tell(inputs.length > 0 ? `Listening to ${inputs.map((input) => input.name).join(', ')}.` : 'No MIDI keyboard is connected; one may be plugged in at any time.');
    };
    access.onstatechange = listen;
    listen();
}
