// SPDX-License-Identifier: GPL-3.0-or-later
// The pictures of docs/web.md.
import { mkdir } from 'node:fs/promises';
import { join } from 'node:path';
import { open, root, speaking } from './browser.mjs';

const folder = join(root, 'docs/web');
await mkdir(folder, { recursive: true });
const session = await open();
for (const [name, width, height] of [['desktop', 1280, 1180], ['phone', 390, 844]]) {
    const page = await speaking(session, { width, height });
    for (const key of ['KeyA', 'KeyD', 'KeyG']) {
        await page.keyboard.down(key);
    }
    // Half as loud as the voice was within three seconds, at least.
    await page.evaluate(() => new Promise((resolve) => {
        let loudest = 0;
        let seen = 0;
        window.orphia.engine.addEventListener('meters', ({ detail }) => {
            const sum = detail.meters.slice(0, 16).reduce((total, level) => total + level);
            loudest = Math.max(loudest, sum);
            if (++seen > 90 && sum > loudest / 2) {
                requestAnimationFrame(() => requestAnimationFrame(resolve));
            }
        });
    }));
    await page.screenshot({ path: join(folder, `${name}.png`) });
    await page.close();
}
await session.close();
console.log(`check-web: pictures are in ${folder}`);
