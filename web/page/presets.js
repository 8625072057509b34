// SPDX-License-Identifier: GPL-3.0-or-later
// Presets: the list with its search, files, and links that carry the settings.
import { element } from './element.js';
import { fetchSound } from './voice.js';
import { save } from './wav.js';

const linkKey = 'sound';

/** As text for an address, packed. */
async function pack(text) {
    const packed = new Response(new Blob([text]).stream().pipeThrough(new CompressionStream('deflate-raw')));
    const bytes = new Uint8Array(await packed.arrayBuffer());
    const letters = Array.from(bytes, (byte) => String.fromCharCode(byte)).join('');
    return btoa(letters).replaceAll('+', '-').replaceAll('/', '_').replaceAll('=', '');
}

async function unpack(text) {
    const letters = atob(text.replaceAll('-', '+').replaceAll('_', '/'));
    const bytes = Uint8Array.from(letters, (letter) => letter.charCodeAt(0));
    const plain = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate-raw'));
    return new Response(plain).text();
}

export class Presets {
    /** `changed` is called after a preset has been taken over. */
    constructor(engine, { search, list, title }, tell, changed) {
        Object.assign(this, { engine, search, list, title, tell, changed });
        this.current = 'default';
        this.fetched = new Set();
        search.oninput = () => this.show();
        search.onkeydown = (event) => {
            if (event.key === 'ArrowDown') {
                event.preventDefault();
                list.querySelector('button')?.focus();
            } else if (event.key === 'Enter') {
                list.querySelector('button')?.click();
            }
        };
        list.onkeydown = (event) => {
            const next = { ArrowDown: 'nextElementSibling', ArrowUp: 'previousElementSibling' }[event.key];
            if (next) {
                event.preventDefault();
                (document.activeElement.closest('li')?.[next]?.firstElementChild ?? (next === 'previousElementSibling' ? search : null))?.focus();
            }
        };
    }

    async fill() {
        this.entries = await this.engine.askJson('orphia_presets');
        this.show();
    }

    show() {
        const words = this.search.value.toLowerCase().split(/\s+/).filter(Boolean);
        const fits = ({ name, description }) => words.every((word) => `${name} ${description}`.toLowerCase().includes(word));
        const found = this.entries.filter(fits);
        this.list.replaceChildren(...found.map((entry) => this.row(entry)));
        if (found.length === 0) {
            this.list.append(element('li', { className: 'none' }, 'No preset has these words.'));
        }
    }

    row(entry) {
        const button = element('button', { type: 'button' }, element('strong', {}, entry.name), element('span', {}, entry.description));
        button.setAttribute('aria-pressed', String(entry.id === this.current));
        button.onclick = () => this.open(entry);
        return element('li', {}, button);
    }

    async open(entry) {
        try {
            await this.fetchSamples(entry);
            await this.taken(await this.engine.askJson('orphia_load_named', [], entry.id), entry.name, entry.id);
        } catch (error) {
            this.tell(error.message, true);
        }
    }

    /** The sounds that a preset plays lie in the site. */
    async fetchSamples({ samples }) {
        for (const path of new Set(samples)) {
            if (!this.fetched.has(path)) {
                await this.engine.putSound(path, await fetchSound(this.engine.context, path.split('/').pop()));
                this.fetched.add(path);
            }
        }
    }

    async openText(text, name) {
        await this.taken(await this.engine.askJson('orphia_load_text', [], text), name, '');
    }

    async taken(problems, name, id) {
        this.current = id;
        this.title.textContent = name;
        this.list.querySelectorAll('button').forEach((button) => {
            button.setAttribute('aria-pressed', String(button.firstChild.textContent === name && id !== ''));
        });
        await this.changed();
        if (problems.length > 0) {
            this.tell(`${name}: ${problems.join('; ')}`, true);
        } else {
            this.tell(`${name} is loaded.`);
        }
    }

    capture() {
        return this.engine.ask('orphia_capture', [], this.title.textContent);
    }

    async saveFile() {
        const name = this.title.textContent.toLowerCase().replaceAll(/[^a-z0-9]+/g, '-') || 'preset';
        save(`${name}.json`, await this.capture(), 'application/json');
    }

    /** An address of this page that brings these settings; samples are not in it. */
    async link() {
        const preset = JSON.parse(await this.capture());
        delete preset.samples;
        const address = new URL(location.href);
        address.hash = `${linkKey}=${await pack(JSON.stringify(preset))}`;
        return address.href;
    }

    /** Takes over what the page's address carries, if it does. */
    async openLink() {
        const packed = new URLSearchParams(location.hash.slice(1)).get(linkKey);
        if (packed === null) {
            return;
        }
        try {
            const text = await unpack(packed);
            await this.openText(text, JSON.parse(text).name || 'From a link');
        } catch {
            this.tell('The settings in this link are damaged: it may have been cut.', true);
        }
    }
}
