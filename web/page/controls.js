// SPDX-License-Identifier: GPL-3.0-or-later
// The main controls: which, and how one is drawn. Names are endings of the instrument's own.
import { element } from './element.js';

export const sections = [
    ['Voice', [
        ['Modulator_ExternalInput', 'Live voice'],
        ['ExternalInputGain', 'Gain'],
        ['ProgramLevel', 'Into the bands'],
        ['PatchBay_SampleHold', 'Freeze'],
    ]],
    ['Vocoder', [
        ['Wet', 'Mix'],
        ['AnalyzerRectifiers_Attack', 'Attack'],
        ['AnalyzerRectifiers_Release', 'Release'],
        ['SynthesizerFilterBank_Shift', 'Shift'],
        ['SynthesizerFilterBank_Width', 'Width'],
        ['NoiseCarrierBalance_NoiseCarrierBalance', 'Noise / carrier'],
        ['HFLevel', 'Treble'],
    ]],
    ['Carrier', [
        ['Osc1Waveform', 'Oscillator 1'],
        ['Osc1Coarse', 'Pitch 1'],
        ['Osc1Volume', 'Volume 1'],
        ['Osc2Waveform', 'Oscillator 2'],
        ['Osc2Coarse', 'Pitch 2'],
        ['Osc2Volume', 'Volume 2'],
        ['EnsembleAmount', 'Ensemble'],
        ['CarrierLevel', 'Level'],
    ]],
    ['Keys', [
        ['PolyphonyMode', 'Voices'],
        ['Attack', 'Attack'],
        ['Release', 'Release'],
        ['GlideTime', 'Glide'],
        ['Carrier_PitchTrack', 'Follow the voice'],
    ]],
    ['Effects and level', [
        ['FX_Enable', 'Effects'],
        ['FX1_ModuleType', 'Effect 1'],
        ['FX2_ModuleType', 'Effect 2'],
        ['FX3_ModuleType', 'Effect 3'],
        ['MasterVolume', 'Volume'],
    ]],
];

/** Three digits are what a hand can tell. */
const shortened = (text) => text.replace(/\d+\.\d+/, (digits) => String(Number(Number(digits).toPrecision(3))));

/** What a user changes a parameter with: its element, and `show` for a position and its text. */
class Control {
    constructor(engine, title, info) {
        this.engine = engine;
        this.info = info;
        this.id = info.id;
        this.reset = info.position;
        const inputId = `parameter-${info.id}`;
        this.value = element('output', { htmlFor: inputId });
        this.input = this.makeInput(inputId);
        this.element = element('div', { className: `control ${this.kind}`, title: `${info.description || title} (${info.range})` },
            element('label', { htmlFor: inputId, textContent: title }), this.input, this.value);
        this.show(info.position, info.text);
    }

    makeInput(id) {
        const { isSwitch, choices, steps } = this.info;
        if (choices.length > 0 && !isSwitch) {
            this.kind = 'choice';
            const input = element('select', { id }, ...choices.map((name, step) => element('option', { value: step, textContent: name })));
            input.onchange = () => this.move(Number(input.value) / (choices.length - 1));
            return input;
        }
        if (isSwitch) {
            this.kind = 'switch';
            const input = element('input', { id, type: 'checkbox' });
            input.setAttribute('role', 'switch');
            input.onchange = () => this.move(input.checked ? 1 : 0);
            return input;
        }
        this.kind = 'slider';
        const step = steps > 1 ? 1 / (steps - 1) : 0.002;
        const input = element('input', { id, type: 'range', min: 0, max: 1, step: steps > 1 ? 'any' : step });
        const rounded = (position) => Math.min(Math.max(steps > 1 ? Math.round(position / step) * step : position, 0), 1);
        input.oninput = () => this.move(rounded(Number(input.value)));
        input.ondblclick = () => this.move(this.reset);
        input.onkeydown = (event) => {
            const keys = { ArrowUp: 1, ArrowRight: 1, ArrowDown: -1, ArrowLeft: -1, PageUp: 10, PageDown: -10 };
            if (keys[event.key]) {
                event.preventDefault();
                const small = steps > 1 ? step : event.shiftKey ? 0.002 : 0.01;
                this.move(rounded(this.position + keys[event.key] * small));
            } else if (event.key === 'Delete' || event.key === 'Backspace') {
                this.move(this.reset);
            }
        };
        return input;
    }

    move(position) {
        this.engine.tell('orphia_move', this.id, position);
        this.position = position;
        this.place(position);
    }

    place(position) {
        if (this.kind === 'choice') {
            this.input.value = Math.round(position * (this.info.choices.length - 1));
        } else if (this.kind === 'switch') {
            this.input.checked = position > 0.5;
        } else {
            this.input.value = position;
            this.input.style.setProperty('--filled', `${position * 100}%`);
        }
    }

    show(position, text) {
        this.position = position;
        this.place(position);
        this.value.textContent = shortened(text);
        this.input.setAttribute('aria-valuetext', shortened(text));
    }
}

/** Fills `root` with the sections; the result shows what the engine has, at any time. */
export async function makeControls(engine, root) {
    const controls = new Map();
    for (const [heading, rows] of sections) {
        const section = element('section', { className: 'panel' }, element('h2', { textContent: heading }));
        const infos = await Promise.all(rows.map(([name]) => engine.askJson('orphia_describe', [], name)));
        rows.forEach(([, title], row) => {
            const control = new Control(engine, title, infos[row]);
            controls.set(control.id, control);
            section.append(control.element);
        });
        root.append(section);
    }
    engine.addEventListener('value', ({ detail: { id, position, text } }) => controls.get(id)?.show(position, text));
    const names = sections.flatMap(([, rows]) => rows.map(([name]) => name));
    return {
        async refresh() {
            const infos = await Promise.all(names.map((name) => engine.askJson('orphia_describe', [], name)));
            for (const info of infos) {
                const control = controls.get(info.id);
                control.reset = info.position;
                control.show(info.position, info.text);
            }
        },
    };
}
