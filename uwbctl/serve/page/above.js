// SPDX-License-Identifier: Apache-2.0
// The scene seen from above: the radio, peers where they were measured, and the truth.
import { $, colour, font, haloText, niceStep, prepare, signed, wantsRest } from './format.js';
import { Labels } from './labels.js';
import { compareWithTruth, seenFrom, smoothTrail } from './model.js';
import { drawCircles, drawPlace, placePoints } from './place.js';

const kSettle = 0.09; // Seconds in which a point comes most of the way to where it was measured.
const kViewSettle = 0.35;
const kRoomSettle = 15;
const kFieldOfView = Math.PI / 3;
const kDegree = Math.PI / 180;

export class Above {
  #canvas = $('above');
  #model;
  // Metres in the middle of the canvas, and pixels a metre.
  #view = { x: 0, y: 2, scale: 60 };
  #fits = true;
  /** What the view has room for, in metres. */
  #box = null;
  #shown = new Map();
  #last = performance.now();
  #size = { width: 1, height: 1 };
  #labels = null;

  constructor(model) {
    this.#model = model;
    this.#listen();
  }

  // ---- The view ----

  toScreen({ x, y }) {
    const { width, height } = this.#size;
    return {
      x: width / 2 + (x - this.#view.x) * this.#view.scale,
      y: height / 2 - (y - this.#view.y) * this.#view.scale,
    };
  }
  toWorld(px, py) {
    const { width, height } = this.#size;
    return {
      x: this.#view.x + (px - width / 2) / this.#view.scale,
      y: this.#view.y - (py - height / 2) / this.#view.scale,
    };
  }
  fit() {
    this.#fits = true;
    this.#box = null;
  }
  zoom(factor, px = this.#size.width / 2, py = this.#size.height / 2) {
    const before = this.toWorld(px, py);
    this.#fits = false;
    this.#view.scale = Math.min(Math.max(this.#view.scale * factor, 0.01), 2000);
    const after = this.toWorld(px, py);
    this.#view.x += before.x - after.x;
    this.#view.y += before.y - after.y;
  }

  #listen() {
    const canvas = this.#canvas;
    const pointers = new Map();
    canvas.addEventListener('wheel', (event) => {
      event.preventDefault();
      this.zoom(Math.exp(-event.deltaY * 0.0015), event.offsetX, event.offsetY);
    }, { passive: false });
    canvas.addEventListener('pointerdown', (event) => {
      canvas.setPointerCapture(event.pointerId);
      pointers.set(event.pointerId, { x: event.offsetX, y: event.offsetY });
    });
    canvas.addEventListener('pointermove', (event) => {
      const from = pointers.get(event.pointerId);
      if (!from) return;
      const to = { x: event.offsetX, y: event.offsetY };
      const other = [...pointers].find(([id]) => id !== event.pointerId)?.[1];
      if (other) {
        const spread = (p) => Math.hypot(p.x - other.x, p.y - other.y);
        this.zoom(spread(to) / Math.max(spread(from), 1), (to.x + other.x) / 2, (to.y + other.y) / 2);
      } else {
        this.#fits = false;
        this.#view.x -= (to.x - from.x) / this.#view.scale;
        this.#view.y += (to.y - from.y) / this.#view.scale;
      }
      pointers.set(event.pointerId, to);
    });
    for (const end of ['pointerup', 'pointercancel']) {
      canvas.addEventListener(end, (event) => pointers.delete(event.pointerId));
    }
  }

  // Everything in sight, with some air around it; the radio looks ahead, so that is where room is.
  #followView(points, dt, isHeld) {
    if (!this.#fits || isHeld) return;
    let [left, right, low, high] = [-1.5, 1.5, -0.8, 2.5];
    const o = this.#model.observer();
    const ahead = seenFrom(o, { x: 0, y: (low + high) / 2 });
    const half = (high - low) / 2;
    left += ahead.x; right += ahead.x; low = ahead.y - half; high = ahead.y + half;
    for (const { x, y } of points) {
      left = Math.min(left, x); right = Math.max(right, x);
      low = Math.min(low, y); high = Math.max(high, y);
    }
    // It makes room at once, and takes it back slowly: what walks to and fro does not rock the stage.
    const box = this.#box ?? { left, right, low, high };
    const back = Math.exp(-dt / kRoomSettle);
    this.#box = {
      left: Math.min(left, left + (box.left - left) * back), right: Math.max(right, right + (box.right - right) * back),
      low: Math.min(low, low + (box.low - low) * back), high: Math.max(high, high + (box.high - high) * back),
    };
    ({ left, right, low, high } = this.#box);
    const { width, height } = this.#size;
    const scale = Math.min(
      Math.max(width - 130, 80) / (right - left), Math.max(height - 110, 80) / (high - low), 160);
    const ease = wantsRest.matches ? 1 : 1 - Math.exp(-dt / kViewSettle);
    this.#view.scale += (scale - this.#view.scale) * ease;
    this.#view.x += ((left + right) / 2 - this.#view.x) * ease;
    this.#view.y += ((low + high) / 2 - this.#view.y) * ease;
  }

  // ---- What is where ----

  /** Peers to show: {peer, o (its radio), at (metres in the world), radius (of a whole circle)}. */
  #places(dt) {
    const places = [];
    for (const [key, peer] of this.#model.peers) {
      const m = peer.seen;
      // What several radios measure of one thing is shown once, where it is located.
      if (!m || peer.hasLeft || this.#model.locating?.tag === peer.name) continue;
      const o = this.#model.observer(peer.iface);
      if (m.az === undefined) {
        places.push({ peer, o, at: o, radius: m.d / 1000 });
        continue;
      }
      const flat = (m.d / 1000) * Math.cos(m.el ?? 0);
      const target = { x: flat * Math.sin(m.az), y: flat * Math.cos(m.az) };
      const shown = this.#shown.get(key) ?? { ...target };
      const ease = wantsRest.matches ? 1 : 1 - Math.exp(-dt / kSettle);
      shown.x += (target.x - shown.x) * ease;
      shown.y += (target.y - shown.y) * ease;
      this.#shown.set(key, shown);
      places.push({ peer, o, at: seenFrom(o, shown), target: seenFrom(o, target) });
    }
    return places;
  }

  // ---- Drawing ----

  draw(isHeld) {
    const now = performance.now();
    const dt = Math.min((now - this.#last) / 1000, 0.5);
    this.#last = now;
    const { ctx, width, height } = prepare(this.#canvas);
    this.#size = { width, height };
    this.#labels = new Labels(ctx, this.#size);
    const places = this.#places(dt);
    const bodies = [...(this.#model.world?.bodies.values() ?? [])].map((body) => ({ body, at: this.#model.whereIs(body) }));
    this.#followView([
      ...places.flatMap(({ at, radius }) => (radius === undefined ? [at] : [
        { x: at.x - radius, y: at.y }, { x: at.x + radius, y: at.y }, { x: at.x, y: at.y + radius }])),
      ...bodies.map(({ at }) => at),
      ...placePoints(this.#model),
      ...(this.#model.world?.walls ?? []).flatMap((w) => [{ x: w.x1, y: w.y1 }, { x: w.x2, y: w.y2 }]),
    ], dt, isHeld);

    this.#drawGrid(ctx);
    for (const wall of this.#model.world?.walls ?? []) this.#drawWall(ctx, wall);
    drawCircles(ctx, this, this.#model);
    compareWithTruth(places, bodies, true);
    for (const place of places) if (place.isApart) this.#drawApart(ctx, place);
    for (const { peer, o, at } of places) this.#drawTrail(ctx, peer, o, at);
    for (const place of places) this.#drawPatch(ctx, place);
    for (const place of places) this.#drawSight(ctx, place);
    this.#drawRadios(ctx, bodies);
    const tags = bodies.filter(({ body }) => !body.id.startsWith('radio'));
    for (const { at } of [...tags, ...places.filter(({ radius }) => radius === undefined)]) this.#labels.keepFree(this.toScreen(at));
    for (const { body, at } of tags) this.#drawTruth(ctx, body, at, places);
    for (const place of places) this.#drawPeer(ctx, place);
    drawPlace(ctx, this, this.#model, this.#labels);
    return places;
  }

  /** Pixels a metre. */
  get scale() {
    return this.#view.scale;
  }

  #drawGrid(ctx) {
    const observer = this.#model.observer();
    const o = this.toScreen(observer);
    const { width, height } = this.#size;
    const far = Math.hypot(Math.max(o.x, width - o.x), Math.max(o.y, height - o.y));
    const wedge = ctx.createRadialGradient(o.x, o.y, 0, o.x, o.y, Math.max(far * 0.9, 1));
    wedge.addColorStop(0, colour('accent', 0.1));
    wedge.addColorStop(1, colour('accent', 0.015));
    ctx.fillStyle = wedge;
    ctx.beginPath();
    ctx.moveTo(o.x, o.y);
    const ahead = observer.heading - Math.PI / 2;
    ctx.arc(o.x, o.y, far, ahead - kFieldOfView, ahead + kFieldOfView);
    ctx.fill();

    ctx.strokeStyle = colour('grid');
    ctx.lineWidth = 1;
    const step = niceStep(64 / this.#view.scale);
    const rings = Math.min(Math.ceil(far / (step * this.#view.scale)), 60);
    for (let i = 1; i <= rings; i++) {
      ctx.beginPath();
      ctx.arc(o.x, o.y, i * step * this.#view.scale, 0, 2 * Math.PI);
      ctx.stroke();
    }
    for (let angle = -90; angle <= 90; angle += 30) {
      ctx.beginPath();
      ctx.moveTo(o.x, o.y);
      const turned = angle * kDegree + observer.heading;
      ctx.lineTo(o.x + far * Math.sin(turned), o.y - far * Math.cos(turned));
      ctx.stroke();
    }
    // To the right of the radio, where peers are seldom.
    ctx.font = font(12);
    ctx.textAlign = 'center';
    ctx.textBaseline = 'middle';
    for (let i = 1; i <= rings; i++) {
      const x = o.x + i * step * this.#view.scale;
      if (x < width - 20) haloText(ctx, `${Number((i * step).toPrecision(6))} m`, x, o.y + 11, colour('soft', 0.8));
    }
  }

  #drawWall(ctx, wall) {
    const a = this.toScreen({ x: wall.x1, y: wall.y1 });
    const b = this.toScreen({ x: wall.x2, y: wall.y2 });
    ctx.strokeStyle = colour('wall', wall.stops ? 1 : 0.6);
    ctx.lineWidth = wall.stops ? 6 : 4;
    ctx.lineCap = 'round';
    ctx.beginPath();
    ctx.moveTo(a.x, a.y);
    ctx.lineTo(b.x, b.y);
    ctx.stroke();
  }

  #drawTrail(ctx, peer, o, end) {
    ctx.lineWidth = 2;
    ctx.lineCap = 'butt';
    const points = smoothTrail(peer).map((p) => ({ ...this.toScreen(seenFrom(o, p)), age: p.age }));
    const last = { ...this.toScreen(end), age: 0 };
    points.push(last, last);
    for (let i = 2; i < points.length; i++) {
      const [a, b, c] = points.slice(i - 2, i + 1);
      ctx.strokeStyle = colour(`p${peer.index}`, Math.round(10 * Math.max(0.6 * (1 - b.age), 0.05)) / 10);
      ctx.beginPath();
      ctx.moveTo((a.x + b.x) / 2, (a.y + b.y) / 2);
      ctx.quadraticCurveTo(b.x, b.y, (b.x + c.x) / 2, (b.y + c.y) / 2);
      ctx.stroke();
    }
  }

  // Two standard deviations to each side; a whole ring where the angle is not known.
  #drawPatch(ctx, { peer, o, at, radius }) {
    const centre = this.toScreen(o);
    const d = radius ?? Math.hypot(at.x - o.x, at.y - o.y);
    const half = Math.max(2 * peer.sigmaDistance, 3 / this.#view.scale);
    const inner = Math.max(d - half, 0) * this.#view.scale;
    const outer = (d + half) * this.#view.scale;
    ctx.fillStyle = colour(`p${peer.index}`, peer.isLost ? 0.08 : 0.18);
    ctx.beginPath();
    if (radius !== undefined) {
      ctx.arc(centre.x, centre.y, outer, 0, 2 * Math.PI);
      ctx.arc(centre.x, centre.y, inner, 0, 2 * Math.PI, true);
      ctx.fill();
      return;
    }
    const angle = Math.atan2(at.x - o.x, at.y - o.y) - Math.PI / 2;
    const turn = Math.min(2 * peer.sigmaAzimuth, Math.PI);
    ctx.arc(centre.x, centre.y, outer, angle - turn, angle + turn);
    ctx.arc(centre.x, centre.y, inner, angle + turn, angle - turn, true);
    ctx.closePath();
    ctx.fill();
    ctx.strokeStyle = colour(`p${peer.index}`, 0.35);
    ctx.lineWidth = 1;
    ctx.stroke();
  }

  #drawSight(ctx, { peer, o, at, radius }) {
    if (radius !== undefined || peer.isLost) return;
    const from = this.toScreen(o);
    const to = this.toScreen(at);
    ctx.strokeStyle = colour(`p${peer.index}`, 0.45);
    ctx.lineWidth = 1.5;
    ctx.setLineDash(peer.seen.los === false ? [3, 6] : []);
    ctx.beginPath();
    ctx.moveTo(from.x, from.y);
    ctx.lineTo(to.x, to.y);
    ctx.stroke();
    ctx.setLineDash([]);
  }

  // From where it was measured to where it is, which is nowhere near: such as one behind the radio, seen in front.
  #drawApart(ctx, { peer, at, truth }) {
    const [from, to] = [this.toScreen(at), this.toScreen(truth.at)];
    ctx.strokeStyle = colour(`p${peer.index}`, 0.7);
    ctx.lineWidth = 1;
    ctx.setLineDash([6, 4]);
    ctx.beginPath();
    ctx.moveTo(from.x, from.y);
    ctx.lineTo(to.x, to.y);
    ctx.stroke();
    ctx.setLineDash([]);
  }

  #drawTruth(ctx, body, at, places) {
    const p = this.toScreen(at);
    const isMeasured = places.some(({ truth, isApart }) => truth?.body === body && !isApart)
      || this.#model.place?.what === body.id;
    ctx.strokeStyle = colour('ink', body.lost ? 0.35 : 0.85);
    ctx.lineWidth = 2;
    ctx.beginPath();
    ctx.arc(p.x, p.y, 9, 0, 2 * Math.PI);
    ctx.stroke();
    if (!isMeasured) this.#labels.put(p, 15, [{ text: body.id, font: font(12.5, 550), fill: colour('soft') }]);
  }

  #drawRadios(ctx, bodies) {
    const { ifaces = [] } = this.#model.state ?? {};
    const isOne = ifaces.length < 2;
    for (const { name, thing } of ifaces) {
      const isOurs = name === this.#model.chosen;
      // Without a world nobody knows where the others are, unless they are anchors.
      if (!isOurs && !bodies.some(({ body }) => body.id === thing) && !this.#model.locating?.ifaces.includes(name)) continue;
      this.#drawRadio(ctx, this.#model.observer(name), isOne ? 'radio' : name, isOurs);
    }
    if (ifaces.length === 0) this.#drawRadio(ctx, this.#model.observer(), 'radio', true);
  }

  // An arrow that points where it looks.
  #drawRadio(ctx, o, text, isOurs) {
    const p = this.toScreen(o);
    ctx.save();
    ctx.translate(p.x, p.y);
    ctx.rotate(o.heading);
    ctx.fillStyle = isOurs ? colour('ink') : colour('soft', 0.7);
    ctx.strokeStyle = colour('stage');
    ctx.lineWidth = 3;
    ctx.beginPath();
    ctx.moveTo(0, -12);
    ctx.lineTo(9, 9);
    ctx.lineTo(0, 4);
    ctx.lineTo(-9, 9);
    ctx.closePath();
    ctx.stroke();
    ctx.fill();
    ctx.restore();
    ctx.font = font(12.5, isOurs ? 600 : 400);
    ctx.textAlign = 'center';
    ctx.textBaseline = 'middle';
    haloText(ctx, text, p.x, p.y + 22, colour(isOurs ? 'ink' : 'soft'));
    this.#labels.keepFree({ x: p.x, y: p.y + 9 }, 21);
  }

  #drawPeer(ctx, { peer, at, radius }) {
    const m = peer.seen;
    const hue = peer.isLost ? colour('soft') : colour(`p${peer.index}`);
    let p = this.toScreen(at);
    if (radius !== undefined) {
      // Somewhere on its ring: the name stands at a place of its own.
      const angle = (-65 + peer.index * 18) * kDegree;
      p = this.toScreen({ x: at.x + radius * Math.sin(angle), y: at.y + radius * Math.cos(angle) });
    } else {
      ctx.lineWidth = 2.5;
      ctx.beginPath();
      ctx.arc(p.x, p.y, 6, 0, 2 * Math.PI);
      ctx.fillStyle = m.los === false || peer.isLost ? colour('stage') : hue;
      ctx.strokeStyle = m.los === false || peer.isLost ? hue : colour('stage');
      ctx.stroke();
      ctx.fill();
    }
    let text = peer.isLost ? 'lost' : `${(m.d / 1000).toFixed(2)} m`;
    if (!peer.isLost && m.true) text += `  ${signed((m.d - m.true.d) / 10)} cm`;
    this.#labels.put(p, 16, [
      { text: this.#model.nameOf(peer), font: font(13.5, 650), fill: hue }, { text, font: font(12.5), fill: colour('soft') }]);
  }
}
