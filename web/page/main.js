// SPDX-License-Identifier: GPL-3.0-or-later
// The page: starts the instrument at the first click, as browsers demand, and joins its parts.
import { Bands } from './bands.js';
import { makeControls } from './controls.js';
import { Engine, missing, siteUrl } from './engine.js';
import { connectMidi, Keyboard } from './keys.js';
import { Presets } from './presets.js';
import { Slots } from './slots.js';
import { Voice } from './voice.js';
import { save, wavOf } from './wav.js';

const find = (id) => document.getElementById(id);

function tell(text, isFault = false) {
    const message = find('message');
    message.textContent = text;
    message.classList.toggle('fault', isFault);
}

/** A handler that tells what goes wrong. */
const told = (work) => async (...parts) => {
    try {
        await work(...parts);
    } catch (error) {
        tell(error.message, true);
    }
};

/** A button that opens files by a hidden chooser. */
function opens(buttonId, chooserId, take) {
    const chooser = find(chooserId);
    find(buttonId).onclick = () => chooser.click();
    chooser.onchange = () => {
        const [file] = chooser.files;
        chooser.value = ''; // so that the same file may come again
        if (file) {
            take(file);
        }
    };
}

const clock = (seconds) => `${Math.floor(seconds / 60)}:${String(Math.floor(seconds % 60)).padStart(2, '0')}`;

function setUpVoice(engine) {
    const voice = new Voice(engine);
    const buttons = { microphone: find('microphone'), example: find('example'), file: find('voice-file') };
    const choose = async (start, text) => {
        try {
            if (await start()) {
                tell(text);
            }
        } finally {
            for (const [name, button] of Object.entries(buttons)) {
                button.setAttribute('aria-pressed', String(name === voice.kind));
            }
        }
    };
    const end = () => {
        voice.stop();
        return true;
    };
    const take = told((file) => choose(() => voice.file(file), `${file.name} speaks: hold some keys.`));
    opens('voice-file', 'voice-chooser', take);
    const starts = {
        microphone: () => choose(() => voice.microphone(), 'Speak, and hold some keys. Wear headphones, or the sound comes back.'),
        example: () => choose(() => voice.example(), 'The example speaks: hold some keys.'),
        file: buttons.file.onclick,
    };
    for (const [name, button] of Object.entries(buttons)) {
        button.onclick = told(() => (voice.kind === name ? choose(end, 'No voice.') : starts[name]()));
    }
    return { take };
}

function setUpSong(engine) {
    const play = find('play');
    let inserted = false;
    const insert = async (bytes, name) => {
        const { seconds, notes } = await engine.askJson('orphia_insert_song', [], new Uint8Array(bytes));
        inserted = true;
        find('song-name').hidden = false;
        find('song-name').textContent = `${name}, ${clock(seconds)}`;
        tell(notes > 0 ? `${name}: ${notes} notes.` : `${name} holds no notes.`, notes === 0);
    };
    const take = told(async (file) => {
        await insert(await file.arrayBuffer(), file.name);
        engine.tell('orphia_play');
    });
    play.onclick = told(async () => {
        if (play.getAttribute('aria-pressed') === 'true') {
            engine.tell('orphia_stop');
            return;
        }
        if (!inserted) {
            await insert(await (await fetch(siteUrl('sounds/song.mid'))).arrayBuffer(), 'song.mid');
        }
        engine.tell('orphia_play');
    });
    opens('song-file', 'song-chooser', take);
    engine.addEventListener('meters', ({ detail: { second } }) => {
        play.setAttribute('aria-pressed', String(second >= 0));
        play.textContent = second >= 0 ? `Stop ${clock(second)}` : 'Play song';
    });
    return { take };
}

function setUpRecorder(engine) {
    const button = find('record');
    let pieces = null;
    let frames = 0;
    engine.addEventListener('recorded', ({ detail: { recorded: [left, right], isEnd } }) => {
        pieces.left.push(left);
        pieces.right.push(right);
        frames += left.length;
        button.textContent = isEnd ? 'Record' : `Stop ${clock(frames / engine.context.sampleRate)}`;
        if (isEnd) {
            save('orphia.wav', wavOf(pieces.left, pieces.right, engine.context.sampleRate), 'audio/wav');
            tell(`Recorded ${clock(frames / engine.context.sampleRate)} into orphia.wav.`);
        }
    });
    button.onclick = () => {
        const isOn = button.getAttribute('aria-pressed') !== 'true';
        button.setAttribute('aria-pressed', String(isOn));
        if (isOn) {
            pieces = { left: [], right: [] };
            frames = 0;
        }
        engine.tell('record', isOn);
    };
}

function setUpPresetFiles(presets) {
    const take = told(async (file) => presets.openText(await file.text(), file.name.replace(/\.json$/, '')));
    find('save-preset').onclick = told(() => presets.saveFile());
    opens('open-preset', 'preset-chooser', take);
    find('link').onclick = told(async () => {
        const address = await presets.link();
        history.replaceState(null, '', address);
        try {
            await navigator.clipboard.writeText(address);
            tell('The link is copied; it carries the settings, and no samples.');
        } catch {
            tell('The page’s address carries the settings now: copy it.');
        }
    });
    return { take };
}

/** Files that are dropped anywhere: songs, presets, and voices. */
function setUpDrop(song, preset, voice) {
    window.addEventListener('dragover', (event) => event.preventDefault());
    window.addEventListener('drop', (event) => {
        event.preventDefault();
        const file = event.dataTransfer.files[0];
        if (file) {
            const taker = /\.midi?$/i.test(file.name) ? song : /\.json$/i.test(file.name) ? preset : voice;
            taker.take(file);
        }
    });
}

function setUpMeters(engine) {
    const bands = new Bands(find('bands'), find('lights'));
    let before = null;
    engine.addEventListener('meters', ({ detail }) => {
        bands.take(detail.meters);
        if (before === null || detail.time - before.time >= 2) {
            if (before !== null) {
                const share = (detail.busy - before.busy) / 10 / (detail.time - before.time);
                find('load').textContent = `${share.toFixed(0)} % load`;
            }
            before = detail;
        }
    });
}

/** Everything but the sound: the instrument stands still until the click that browsers demand. */
async function prepare(context) {
    const engine = await Engine.create(context);
    engine.node.connect(context.destination);
    engine.addEventListener('broken', ({ detail }) => tell(detail.message, true));

    setUpMeters(engine);
    const keyboard = new Keyboard(engine, find('keys'), matchMedia('(max-width: 700px)').matches ? 2 : 4);
    const slots = new Slots(engine, find('slots'), tell);
    const voice = setUpVoice(engine);
    const song = setUpSong(engine);
    setUpRecorder(engine);
    const controls = await makeControls(engine, find('controls'));
    const presets = new Presets(engine, { search: find('search'), list: find('presets'), title: find('preset-name') }, tell, async () => {
        keyboard.releaseAll();
        await Promise.all([controls.refresh(), slots.refresh()]);
    });
    await Promise.all([presets.fill(), slots.refresh()]);
    setUpDrop(song, setUpPresetFiles(presets), voice);
    find('lower').onclick = () => keyboard.shift(-1);
    find('higher').onclick = () => keyboard.shift(1);
    find('midi').onclick = () => connectMidi(engine, keyboard, tell);
    find('panic').onclick = () => {
        keyboard.releaseAll();
        engine.tell('orphia_panic');
    };
    return { engine, presets };
}

async function start(context, prepared) {
    tell('Starting …');
    // At once, or some browsers no longer see the click in it.
    const running = context.resume();
    const { engine, presets } = await prepared;
    await running;
    window.orphia = { engine, context };
    find('start').hidden = true;
    document.body.classList.add('playing');
    tell('Choose a voice and hold some keys: A to L on the computer’s keyboard, Z and X move by an octave.');
    await presets.openLink();
    find('example').focus();
}

const lacks = missing();
if (lacks.length > 0) {
    find('start').hidden = true;
    tell(lacks.join(' '), true);
} else {
    const context = new AudioContext({ latencyHint: 'interactive' });
    // Where a page may sound without a click, this one waits for it, too.
    context.suspend();
    const prepared = prepare(context);
    prepared.catch((error) => tell(error.message, true));
    find('start').onclick = told(() => start(context, prepared));
}
