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

  #isFree(box) {
    return box.left >= kMargin && box.right <= this.size.width - kMargin
      && box.top >= kMargin && box.bottom <= this.size.height - kMargin
      && this.#taken.every((other) => box.left > other.right || box.right < other.left
        || box.top > other.bottom || box.bottom < other.top);
  }

  /** Writes lines of {text, font, fill} beside a point: to the right, unless something is there. */
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
    const box = places.find((place) => this.#isFree(place)) ?? places[0];
    this.#taken.push(box);
    ctx.textAlign = 'left';
    ctx.textBaseline = 'middle';
    lines.forEach((line, i) => {
      ctx.font = line.font;
      haloText(ctx, line.text, box.left, box.top + (i + 0.5) * kLine, line.fill);
    });
  }
}
