// SPDX-License-Identifier: GPL-3.0-or-later

const bandCount = 16;
const fall = 0.02; // of the height in a frame, so that short peaks are seen
const floor = -54; // dB at the foot

const heightOf = (level) => Math.min(Math.max(1 - (20 * Math.log10(level + 1e-6)) / floor, 0), 1);

/** The sixteen bands as bars, and the lights beside them. */
export class Bands {
    constructor(canvas, lights) {
        this.canvas = canvas;
        this.lights = lights;
        this.levels = new Float32Array(bandCount);
        this.latest = new Float32Array(bandCount + 5);
        const style = getComputedStyle(document.documentElement);
        this.colours = ['--accent', '--track'].map((name) => style.getPropertyValue(name).trim());
        this.draw();
    }

    take(meters) {
        this.latest = meters;
        const [hiss, buzz, voiceOver, carrierOver, limiter] = meters.slice(bandCount);
        const states = { buzz: buzz > 0.5, hiss: hiss > 0.5, over: voiceOver > 0.5 || carrierOver > 0.5, limiter: limiter > 0.5 };
        for (const [name, isOn] of Object.entries(states)) {
            this.lights.querySelector(`[data-light=${name}]`).classList.toggle('on', isOn);
        }
    }

    draw() {
        const { canvas, levels } = this;
        const scale = devicePixelRatio;
        const width = Math.round(canvas.clientWidth * scale);
        const height = Math.round(canvas.clientHeight * scale);
        if (canvas.width !== width || canvas.height !== height) {
            canvas.width = width;
            canvas.height = height;
        }
        const pen = canvas.getContext('2d');
        pen.clearRect(0, 0, width, height);
        const step = width / bandCount;
        for (let band = 0; band < bandCount; ++band) {
            levels[band] = Math.max(heightOf(this.latest[band]), levels[band] - fall);
            const bar = levels[band] * height;
            pen.fillStyle = this.colours[1];
            pen.fillRect(band * step + 0.12 * step, 0, 0.76 * step, height);
            pen.fillStyle = this.colours[0];
            pen.fillRect(band * step + 0.12 * step, height - bar, 0.76 * step, bar);
        }
        requestAnimationFrame(() => this.draw());
    }
}
