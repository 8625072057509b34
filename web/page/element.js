// SPDX-License-Identifier: GPL-3.0-or-later

/** An element of the page, with what it holds. */
export function element(tag, properties = {}, ...children) {
    const made = Object.assign(document.createElement(tag), properties);
    made.append(...children);
    return made;
}
