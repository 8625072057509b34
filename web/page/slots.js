// SPDX-License-Identifier: GPL-3.0-or-later
// The twelve sample slots: files are dropped or chosen, the page decodes them.
import { element } from './element.js';
import { decode } from './voice.js';

const slotCount = 12;
const names = ['C', 'C♯', 'D', 'D♯', 'E', 'F', 'F♯', 'G', 'G♯', 'A', 'A♯', 'B'];
const keyName = (note) => `${names[note % 12]}${Math.floor(note / 12) - 1}`;

export class Slots {
    constructor(engine, root, tell) {
        this.engine = engine;
        this.root = root;
        this.tell = tell;
        this.chooser = element('input', { type: 'file', accept: 'audio/*', multiple: true, hidden: true });
        root.after(this.chooser);
        this.buttons = Array.from({ length: slotCount }, (_, slot) => this.make(slot));
        root.append(...this.buttons);
    }

    make(slot) {
        const button = element('button', { type: 'button', className: 'slot' });
        button.onclick = () => {
            this.chooser.onchange = () => {
                this.load(slot, [...this.chooser.files]);
                this.chooser.value = '';
            };
            this.chooser.click();
        };
        button.onkeydown = (event) => {
            if (event.key === 'Delete' || event.key === 'Backspace') {
                this.clear(slot);
            }
        };
        button.ondragover = (event) => {
            event.preventDefault();
            button.classList.add('over');
        };
        button.ondragleave = () => button.classList.remove('over');
        button.ondrop = (event) => {
            event.preventDefault();
            event.stopPropagation();
            button.classList.remove('over');
            this.load(slot, [...event.dataTransfer.files]);
        };
        return button;
    }

    /** Several files go into this slot and those behind it. */
    async load(slot, files) {
        for (const [n, file] of files.slice(0, slotCount - slot).entries()) {
            try {
                const sound = await decode(this.engine.context, await file.arrayBuffer(), file.name);
                await this.engine.loadSample(slot + n, file.name, sound);
                this.tell(`${file.name} is in slot ${slot + n + 1}. Switch “Live voice” off to hear the slots.`);
            } catch (error) {
                this.tell(error.message, true);
            }
        }
        await this.refresh();
    }

    async clear(slot) {
        await this.engine.ask('orphia_clear_sample', [slot]);
        await this.refresh();
    }

    async refresh() {
        const slots = await this.engine.askJson('orphia_slots');
        slots.forEach(({ name, isLoaded, key }, slot) => {
            const button = this.buttons[slot];
            button.classList.toggle('loaded', isLoaded);
            button.replaceChildren(
                element('span', {}, `${slot + 1}`, element('span', {}, keyName(key))),
                element('small', {}, isLoaded ? name : 'empty'),
            );
            const what = isLoaded ? `${name}, key ${keyName(key)}` : 'empty';
            button.title = `Slot ${slot + 1}: ${what}. Drop or choose a sound; Delete empties it.`;
            button.setAttribute('aria-label', `Slot ${slot + 1}: ${what}`);
        });
    }
}
