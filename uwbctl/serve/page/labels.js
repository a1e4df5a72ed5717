// SPDX-License-Identifier: Apache-2.0
// Names beside points of a drawing, so that none covers another.
import { haloText } from './format.js';

const kLine = 17;
const kMargin = 4;

/** The labels of one frame. */
export class Labels {
  #taken = [];

  constructor(ctx, { width, height }) {
    this.ctx = ctx;
    this.size = { width, height };
  }

  /** Nothing is to be written over this point. */
  keepFree({ x, y }, half = 9) {
    this.#taken.push({ left: x - half, right: x + half, top: y - half, bottom: y + half });
  }

  /** How many square pixels of a box are taken; no end of them outside. */
  #taking(box) {
    if (box.left < kMargin || box.right > this.size.width - kMargin
      || box.top < kMargin || box.bottom > this.size.height - kMargin) return Infinity;
    const shared = (from, to, a, b) => Math.max(Math.min(a[to], b[to]) - Math.max(a[from], b[from]), 0);
    return this.#taken.reduce((sum, other) => sum + shared('left', 'right', box, other) * shared('top', 'bottom', box, other), 0);
  }

  /** Writes lines of {text, font, fill} beside a point: to the right, or where least is written over. */
  put(p, gap, lines) {
    const { ctx } = this;
    const height = lines.length * kLine;
    let width = 0;
    for (const line of lines) {
      ctx.font = line.font;
      width = Math.max(width, ctx.measureText(line.text).width);
    }
    const [after, before, above, below] = [p.x + gap, p.x - gap - width, p.y - gap - height + 6, p.y + gap - 6];
    const places = [
      [after, p.y - height / 2], [before, p.y - height / 2], [after, above], [after, below], [before, above], [before, below],
      [p.x - width / 2, above - 8], [p.x - width / 2, below + 8],
    ].map(([left, top]) => ({ left, top, right: left + width, bottom: top + height }));
    let box = places[0];
    let least = this.#taking(box);
    for (const place of places) {
      const taking = least > 0 ? this.#taking(place) : least;
      if (taking < least) [box, least] = [place, taking];
    }
    this.#taken.push(box);
    ctx.textAlign = 'left';
    ctx.textBaseline = 'middle';
    lines.forEach((line, i) => {
      ctx.font = line.font;
      haloText(ctx, line.text, box.left, box.top + (i + 0.5) * kLine, line.fill);
    });
  }
}
