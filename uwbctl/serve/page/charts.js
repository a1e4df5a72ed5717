// SPDX-License-Identifier: Apache-2.0
// Lines over the last minute: distance, angle, rate.
import { $, colour, font, niceStep, prepare } from './format.js';

const kSeconds = 60;
const kLeft = 40;
const kRight = 6;
const kTop = 10;
const kBottom = 20;

class Chart {
  #canvas;
  #lines;
  #least;
  #fromZero;
  #unit;
  #range = null;
  pointer = null;

  /**
   * @param lines of a peer: a list of {time, values (rings), name, scale, dash, faint}.
   * @param least the smallest range that the axis shows.
   */
  constructor(canvas, lines, { least, fromZero, unit }) {
    this.#canvas = canvas;
    this.#lines = lines;
    this.#least = least;
    this.#fromZero = fromZero;
    this.#unit = unit;
  }
  get canvas() {
    return this.#canvas;
  }

  draw(peers, end, pointed) {
    const { ctx, width, height } = prepare(this.#canvas);
    const plot = { left: kLeft, right: width - kRight, top: kTop, bottom: height - kBottom };
    const lines = peers.flatMap((peer) => this.#lines(peer).map((line) => ({ ...line, peer })));
    this.#fit(lines, end);
    const [low, high] = this.#range;
    const x = (t) => plot.right - ((end - t) / kSeconds) * (plot.right - plot.left);
    const y = (v) => plot.bottom - ((v - low) / (high - low)) * (plot.bottom - plot.top);
    this.#drawAxes(ctx, plot, x, y, end);
    ctx.save();
    ctx.beginPath();
    ctx.rect(plot.left, 0, plot.right - plot.left, height);
    ctx.clip();
    for (const line of lines) this.#drawLine(ctx, line, plot, x, y, end);
    ctx.restore();
    if (pointed !== null) this.#drawPointed(ctx, lines, plot, x, y, end, pointed);
  }

  // What there is, with round ends; it grows at once and shrinks when there is much too much room.
  #fit(lines, end) {
    let [low, high] = [Infinity, -Infinity];
    for (const { time, values, scale = 1 } of lines) {
      for (let i = 1; i <= time.length && time.at(-i) > end - kSeconds; i++) {
        const v = values.at(-i) * scale;
        if (v < low) low = v;
        if (v > high) high = v;
      }
    }
    if (low > high) [low, high] = [0, this.#least];
    if (this.#fromZero) low = 0;
    if (high - low < this.#least) {
      const middle = (low + high) / 2;
      [low, high] = this.#fromZero ? [0, this.#least] : [middle - this.#least / 2, middle + this.#least / 2];
    }
    const step = niceStep((high - low) / 4);
    const wanted = [Math.floor(low / step) * step, Math.ceil(high / step) * step];
    const now = this.#range;
    if (!now || low < now[0] || high > now[1] || wanted[1] - wanted[0] < (now[1] - now[0]) * 0.7) {
      this.#range = wanted;
    }
  }

  #drawAxes(ctx, plot, x, y, end) {
    const [low, high] = this.#range;
    const step = niceStep((high - low) / 4);
    ctx.font = font(12);
    ctx.lineWidth = 1;
    ctx.textBaseline = 'middle';
    ctx.textAlign = 'right';
    for (let v = Math.ceil(low / step) * step; v <= high + step * 1e-6; v += step) {
      ctx.strokeStyle = colour(Math.abs(v) < step * 1e-6 ? 'edge' : 'grid');
      ctx.beginPath();
      ctx.moveTo(plot.left, Math.round(y(v)) + 0.5);
      ctx.lineTo(plot.right, Math.round(y(v)) + 0.5);
      ctx.stroke();
      ctx.fillStyle = colour('soft');
      ctx.fillText(String(Number(v.toPrecision(6))).replace('-', '−'), plot.left - 8, y(v));
    }
    ctx.textBaseline = 'alphabetic';
    for (const seconds of [60, 45, 30, 15, 0]) {
      ctx.textAlign = seconds === 60 ? 'left' : seconds === 0 ? 'right' : 'center';
      ctx.fillText(seconds === 0 ? 'now' : `−${seconds} s`, x(end - seconds), plot.bottom + 16);
    }
  }

  // One point a pixel column at most: its lowest and highest.
  #drawLine(ctx, { peer, time, values, scale = 1, dash, faint }, plot, x, y, end) {
    ctx.strokeStyle = colour(faint ? 'ink' : `p${peer.index}`, faint ? 0.35 : 1);
    ctx.lineWidth = faint ? 1 : 1.75;
    ctx.setLineDash(dash ?? []);
    ctx.lineJoin = 'round';
    ctx.beginPath();
    let column = null;
    let isDown = false;
    const flush = () => {
      if (!column) return;
      if (isDown) ctx.lineTo(column.x, column.first);
      else ctx.moveTo(column.x, column.first);
      isDown = true;
      if (column.low !== column.high) {
        ctx.lineTo(column.x, column.low);
        ctx.lineTo(column.x, column.high);
      }
      ctx.lineTo(column.x, column.last);
      column = null;
    };
    let i = time.length;
    while (i > 0 && time.at(-i) < end - kSeconds - 1) i--;
    for (; i > 0; i--) {
      const v = values.at(-i) * scale;
      if (Number.isNaN(v)) {
        flush();
        isDown = false;
        continue;
      }
      const px = Math.round(x(time.at(-i)) * 2) / 2;
      const py = y(v);
      if (column && px === column.x) {
        column.low = Math.min(column.low, py);
        column.high = Math.max(column.high, py);
        column.last = py;
      } else {
        flush();
        column = { x: px, first: py, low: py, high: py, last: py };
      }
    }
    flush();
    ctx.stroke();
    ctx.setLineDash([]);
  }

  #drawPointed(ctx, lines, plot, x, y, end, pointed) {
    const t = end - (1 - pointed) * kSeconds;
    ctx.strokeStyle = colour('edge');
    ctx.lineWidth = 1;
    ctx.beginPath();
    ctx.moveTo(x(t), plot.top - 6);
    ctx.lineTo(x(t), plot.bottom);
    ctx.stroke();
    const texts = [];
    for (const { peer, name, time, values, scale = 1, faint, dash } of lines) {
      if (faint || dash) continue;
      let best = 0;
      for (let i = 1; i <= time.length && time.at(-i) > t - 1.5; i++) {
        if (best === 0 || Math.abs(time.at(-i) - t) < Math.abs(time.at(-best) - t)) best = i;
      }
      if (best === 0 || Math.abs(time.at(-best) - t) > 1.5 || Number.isNaN(values.at(-best))) continue;
      const v = values.at(-best) * scale;
      ctx.fillStyle = colour(`p${peer.index}`);
      ctx.beginPath();
      ctx.arc(x(time.at(-best)), y(v), 3.5, 0, 2 * Math.PI);
      ctx.fill();
      texts.push({ text: `${name}  ${v.toFixed(this.#unit === '°' ? 0 : 2)} ${this.#unit}`, peer });
    }
    this.#drawBox(ctx, texts, x(t), plot);
  }

  #drawBox(ctx, texts, px, plot) {
    if (texts.length === 0) return;
    ctx.font = font(12, 550);
    const width = Math.max(...texts.map(({ text }) => ctx.measureText(text).width)) + 18;
    const left = px + 10 + width > plot.right ? px - 10 - width : px + 10;
    ctx.fillStyle = colour('card', 0.94);
    ctx.strokeStyle = colour('line');
    ctx.beginPath();
    ctx.roundRect(left, plot.top - 4, width, texts.length * 17 + 9, 7);
    ctx.fill();
    ctx.stroke();
    ctx.textAlign = 'left';
    ctx.textBaseline = 'middle';
    texts.forEach(({ text, peer }, i) => {
      ctx.fillStyle = colour(`p${peer.index}`);
      ctx.fillText(text, left + 9, plot.top + 9 + i * 17);
    });
  }

  share(event) {
    const width = this.#canvas.clientWidth - kLeft - kRight;
    return Math.min(Math.max((event.offsetX - kLeft) / width, 0), 1);
  }
}

/** The three charts; pointing at one shows the same moment in all. */
export class Charts {
  #model;
  #charts;
  #pointed = null;

  constructor(model) {
    this.#model = model;
    const degrees = 180 / Math.PI;
    this.#charts = [
      new Chart($('chart-distance'), (peer) => [
        ...(model.world ? [{ time: peer.time, values: peer.truth, faint: true, dash: [4, 3] }] : []),
        { time: peer.time, values: peer.distance, name: model.nameOf(peer) },
      ], { least: 1, fromZero: true, unit: 'm' }),
      new Chart($('chart-angle'), (peer) => [
        { time: peer.time, values: peer.azimuth, scale: degrees, name: model.nameOf(peer) },
        { time: peer.time, values: peer.elevation, scale: degrees, dash: [5, 4] },
      ], { least: 40, fromZero: false, unit: '°' }),
      new Chart($('chart-rate'), (peer) => [{ time: peer.rateTime, values: peer.rate, name: model.nameOf(peer) }],
        { least: 2, fromZero: true, unit: '/s' }),
    ];
    for (const chart of this.#charts) {
      chart.canvas.addEventListener('pointermove', (event) => {
        this.#pointed = chart.share(event);
      });
      chart.canvas.addEventListener('pointerleave', () => {
        this.#pointed = null;
      });
    }
  }

  draw() {
    const { latestTime } = this.#model;
    const end = latestTime === null ? 0
      : this.#model.isRunning ? Math.min(Math.max(this.#model.now(), latestTime), latestTime + 2) : latestTime;
    for (const chart of this.#charts) chart.draw([...this.#model.peers.values()], end, this.#pointed);
  }
}
