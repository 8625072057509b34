// SPDX-License-Identifier: GPL-3.0-or-later

/** The bytes of a stereo WAV file of 32-bit floats, from lists of pieces of each side. */
export function wavOf(leftPieces, rightPieces, rate) {
    const frames = leftPieces.reduce((sum, piece) => sum + piece.length, 0);
    const dataBytes = frames * 8;
    const headBytes = 58;
    const view = new DataView(new ArrayBuffer(headBytes + dataBytes));
    const text = (at, word) => [...word].forEach((letter, n) => view.setUint8(at + n, letter.charCodeAt(0)));
    text(0, 'RIFF');
    view.setUint32(4, headBytes - 8 + dataBytes, true);
    text(8, 'WAVEfmt ');
    view.setUint32(16, 18, true);
    view.setUint16(20, 3, true); // floats
    view.setUint16(22, 2, true);
    view.setUint32(24, rate, true);
    view.setUint32(28, rate * 8, true);
    view.setUint16(32, 8, true);
    view.setUint16(34, 32, true);
    text(38, 'fact');
    view.setUint32(42, 4, true);
    view.setUint32(46, frames, true);
    text(50, 'data');
    view.setUint32(54, dataBytes, true);
    [leftPieces, rightPieces].forEach((pieces, side) => {
        let at = headBytes + 4 * side;
        for (const piece of pieces) {
            for (const sample of piece) {
                view.setFloat32(at, sample, true);
                at += 8;
            }
        }
    });
    return new Uint8Array(view.buffer);
}

/** Lets the browser save bytes or text as a file. */
export function save(name, content, type) {
    const link = document.createElement('a');
    link.href = URL.createObjectURL(new Blob([content], { type }));
    link.download = name;
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}
