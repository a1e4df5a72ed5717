// SPDX-License-Identifier: Apache-2.0
// The scene in space, where elevation is measured: turned with pointer or arrow keys.
import { $, colour, font, haloText, niceStep, prepare, wantsRest } from './format.js';
import { Labels } from './labels.js';
import { compareWithTruth, seenFrom, smoothTrail } from './model.js';

const kEye = 2.1; // How far the eye is, in sizes of the scene.

export class Space {
  #canvas = $('space');
  #model;
  #yaw = -0.6;
  #pitch = 0.42;
  #zoom = 1;
  #centre = { x: 0, y: 2, z: 0.5 };
  #reach = 4;
  #size = { width: 1, height: 1 };
  #labels = null;
  #shown = new Map();
  #last = performance.now();

  constructor(model) {
    this.#model = model;
    const canvas = this.#canvas;
    canvas.addEventListener('pointerdown', (event) => canvas.setPointerCapture(event.pointerId));
    canvas.addEventListener('pointermove', (event) => {
      if (event.buttons) this.#turn(event.movementX * 0.008, event.movementY * 0.006);
    });
    canvas.addEventListener('wheel', (event) => {
      event.preventDefault();
      this.zoom(Math.exp(-event.deltaY * 0.0015));
    }, { passive: false });
    canvas.addEventListener('keydown', (event) => {
      const turn = { ArrowLeft: [-0.1, 0], ArrowRight: [0.1, 0], ArrowUp: [0, -0.08], ArrowDown: [0, 0.08] }[event.key];
      if (!turn) return;
      event.preventDefault();
      this.#turn(...turn);
    });
  }

  #turn(yaw, pitch) {
    this.#yaw += yaw;
    this.#pitch = Math.min(Math.max(this.#pitch + pitch, 0.05), 1.5);
  }
  zoom(factor) {
    this.#zoom = Math.min(Math.max(this.#zoom * factor, 0.2), 6);
  }
  fit() {
    this.#zoom = 1;
  }

  // Perspective: metres to pixels, and how large a metre is there.
  #project({ x, y, z }) {
    const [dx, dy, dz] = [x - this.#centre.x, y - this.#centre.y, z - this.#centre.z];
    const [cy, sy, cp, sp] = [Math.cos(this.#yaw), Math.sin(this.#yaw), Math.cos(this.#pitch), Math.sin(this.#pitch)];
    const right = dx * cy - dy * sy;
    const away = dx * sy + dy * cy;
    const depth = away * cp - dz * sp + this.#reach * kEye;
    const scale = (Math.min(this.#size.width, this.#size.height * 1.25) * 0.95 * this.#zoom) / Math.max(depth, 0.1);
    return {
      x: this.#size.width / 2 + right * scale,
      y: this.#size.height / 2 - (away * sp + dz * cp) * scale,
      scale,
      depth,
    };
  }

  #things(dt) {
    const things = [];
    for (const [key, peer] of this.#model.peers) {
      const m = peer.seen;
      if (!m || m.az === undefined || peer.hasLeft) continue;
      const o = this.#model.observer(peer.iface);
      const end = peer.trail.at(-1);
      if (!end) continue;
      const target = seenFrom(o, end);
      const shown = this.#shown.get(key) ?? { ...target };
      const ease = wantsRest.matches ? 1 : 1 - Math.exp(-dt / 0.09);
      for (const key of ['x', 'y', 'z']) shown[key] += (target[key] - shown[key]) * ease;
      this.#shown.set(key, shown);
      things.push({ peer, o, at: { ...shown } });
    }
    return things;
  }

  #follow(points, dt) {
    if (points.length === 0) return;
    const bounds = (key) => [Math.min(...points.map((p) => p[key])), Math.max(...points.map((p) => p[key]))];
    const [x, y, z] = ['x', 'y', 'z'].map(bounds);
    const ease = wantsRest.matches ? 1 : 1 - Math.exp(-dt / 0.5);
    const move = (from, to) => from + (to - from) * ease;
    this.#centre = {
      x: move(this.#centre.x, (x[0] + x[1]) / 2),
      y: move(this.#centre.y, (y[0] + y[1]) / 2),
      z: move(this.#centre.z, (z[0] + z[1]) / 2),
    };
    this.#reach = move(this.#reach, Math.max(x[1] - x[0], y[1] - y[0], z[1] - z[0], 2) * 0.6);
  }

  draw() {
    const now = performance.now();
    const dt = Math.min((now - this.#last) / 1000, 0.5);
    this.#last = now;
    const { ctx, width, height } = prepare(this.#canvas);
    this.#size = { width, height };
    const o = this.#model.observer();
    const things = this.#things(dt);
    const bodies = [...(this.#model.world?.bodies.values() ?? [])].map((body) => ({ body, at: this.#model.whereIs(body) }));
    const trails = things.flatMap(({ peer, o: from }) => smoothTrail(peer).map((point) => seenFrom(from, point)));
    const points = [o, ...things.map(({ at }) => at), ...bodies.map(({ at }) => at), ...trails];
    this.#follow(points, dt);
    const floor = Math.min(0, ...points.map(({ z }) => z));
    this.#drawFloor(ctx, floor);
    for (const { peer, o: from } of things) this.#drawTrail(ctx, peer, from);
    compareWithTruth(things, bodies, false);
    const marks = [
      ...bodies.map((entry) => ({ ...entry, draw: () => this.#drawBody(ctx, entry, floor, things) })),
      ...things.map((entry) => ({ ...entry, draw: () => this.#drawThing(ctx, entry, floor) })),
    ];
    if (!this.#model.world) marks.push({ at: o, draw: () => this.#drawBody(ctx, { body: { id: 'radio' }, at: o }, floor, things) });
    this.#labels = new Labels(ctx, this.#size);
    for (const { at } of marks) this.#labels.keepFree(this.#project(at));
    marks.sort((a, b) => this.#project(b.at).depth - this.#project(a.at).depth);
    for (const { draw } of marks) draw();
    return things;
  }

  #line(ctx, a, b) {
    const [from, to] = [this.#project(a), this.#project(b)];
    ctx.beginPath();
    ctx.moveTo(from.x, from.y);
    ctx.lineTo(to.x, to.y);
    ctx.stroke();
  }

  #drawFloor(ctx, floor) {
    const step = niceStep(this.#reach / 6);
    const half = Math.ceil((this.#reach * 1.1) / step);
    const [cx, cy] = [Math.round(this.#centre.x / step), Math.round(this.#centre.y / step)];
    ctx.lineWidth = 1;
    for (let i = -half; i <= half; i++) {
      ctx.strokeStyle = colour('edge', Math.round(10 * (0.5 - (0.42 * Math.abs(i)) / half)) / 10);
      this.#line(ctx, { x: (cx + i) * step, y: (cy - half) * step, z: floor }, { x: (cx + i) * step, y: (cy + half) * step, z: floor });
      this.#line(ctx, { x: (cx - half) * step, y: (cy + i) * step, z: floor }, { x: (cx + half) * step, y: (cy + i) * step, z: floor });
    }
    for (const wall of this.#model.world?.walls ?? []) this.#drawWall(ctx, wall, floor);
  }

  #drawWall(ctx, wall, floor) {
    const corners = [
      { x: wall.x1, y: wall.y1, z: floor }, { x: wall.x2, y: wall.y2, z: floor },
      { x: wall.x2, y: wall.y2, z: floor + 2.5 }, { x: wall.x1, y: wall.y1, z: floor + 2.5 },
    ].map((corner) => this.#project(corner));
    ctx.fillStyle = colour('wall', wall.stops ? 0.3 : 0.14);
    ctx.strokeStyle = colour('wall', 0.6);
    ctx.beginPath();
    for (const { x, y } of corners) ctx.lineTo(x, y);
    ctx.closePath();
    ctx.fill();
    ctx.stroke();
  }

  #drawTrail(ctx, peer, o) {
    ctx.lineWidth = 2;
    ctx.strokeStyle = colour(`p${peer.index}`, 0.3);
    ctx.lineJoin = 'round';
    ctx.beginPath();
    for (const point of smoothTrail(peer)) {
      const p = this.#project(seenFrom(o, point));
      ctx.lineTo(p.x, p.y);
    }
    ctx.stroke();
  }

  // A post down to the floor shows how high something is.
  #drawPost(ctx, at, floor, hue) {
    ctx.strokeStyle = hue;
    ctx.lineWidth = 1.5;
    this.#line(ctx, at, { ...at, z: floor });
    const foot = this.#project({ ...at, z: floor });
    ctx.fillStyle = hue;
    ctx.beginPath();
    ctx.ellipse(foot.x, foot.y, 7, 7 * Math.max(Math.sin(this.#pitch), 0.15), 0, 0, 2 * Math.PI);
    ctx.fill();
  }

  #drawBody(ctx, { body, at }, floor, things) {
    const p = this.#project(at);
    const isRadio = body.id.startsWith('radio');
    this.#drawPost(ctx, at, floor, colour('ink', isRadio ? 0.3 : 0.14));
    ctx.lineWidth = 2;
    ctx.strokeStyle = colour('ink', 0.85);
    ctx.fillStyle = colour('ink');
    ctx.beginPath();
    if (isRadio) ctx.rect(p.x - 7, p.y - 11, 14, 22);
    else ctx.arc(p.x, p.y, 9, 0, 2 * Math.PI);
    if (isRadio) ctx.fill();
    else ctx.stroke();
    if (!isRadio) {
      const isMeasured = things.some(({ truth, isApart }) => truth?.body === body && !isApart);
      if (!isMeasured) this.#labels.put(p, 15, [{ text: body.id, font: font(12.5, 550), fill: colour('soft') }]);
      return;
    }
    ctx.font = font(12.5, 600);
    ctx.textAlign = 'center';
    ctx.textBaseline = 'middle';
    haloText(ctx, this.#model.ifaceOf(body.id), p.x, p.y + 24, colour('ink'));
  }

  #drawThing(ctx, { peer, o, at, truth, isApart }, floor) {
    const name = `p${peer.index}`;
    const p = this.#project(at);
    this.#drawPost(ctx, at, floor, colour(name, 0.35));
    ctx.strokeStyle = colour(name, peer.isLost ? 0.15 : 0.45);
    ctx.setLineDash(peer.seen.los === false ? [3, 6] : []);
    this.#line(ctx, o, at);
    ctx.setLineDash([6, 4]);
    ctx.lineWidth = 1;
    if (isApart) this.#line(ctx, at, truth.at);
    ctx.setLineDash([]);
    const hue = peer.isLost ? colour('soft') : colour(name);
    // As large as two standard deviations of the distance, seen from here.
    ctx.fillStyle = colour(name, 0.14);
    ctx.beginPath();
    ctx.arc(p.x, p.y, Math.max(2 * peer.sigmaDistance * p.scale, 10), 0, 2 * Math.PI);
    ctx.fill();
    const ball = ctx.createRadialGradient(p.x - 2.5, p.y - 3, 0, p.x, p.y, 8);
    ball.addColorStop(0, colour('card'));
    ball.addColorStop(0.45, hue);
    ball.addColorStop(1, hue);
    ctx.fillStyle = ball;
    ctx.beginPath();
    ctx.arc(p.x, p.y, 7, 0, 2 * Math.PI);
    ctx.fill();
    const height = peer.seen.el === undefined ? '' : `, ${(at.z - floor).toFixed(1)} m high`;
    this.#labels.put(p, 16, [
      { text: this.#model.nameOf(peer), font: font(13.5, 650), fill: hue },
      { text: peer.isLost ? 'lost' : `${(peer.seen.d / 1000).toFixed(2)} m${height}`,
        font: font(12.5), fill: colour('soft') }]);
  }
}
