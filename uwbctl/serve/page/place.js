// SPDX-License-Identifier: Apache-2.0
// Where something is located: circles of distances, the place and how sure it is, and its numbers.
import { $, colour, font, make, number } from './format.js';

const kSigmas = 2;
const kLeastPixels = 4;

const pointOf = ([x, y]) => ({ x, y });

/** What the view has to have room for, in metres. */
export function placePoints(model) {
  return [...model.anchors().map(({ at }) => at), ...(model.place?.at_m ? [pointOf(model.place.at_m)] : [])];
}

/** Around each anchor, as far away as it measured: where they meet it is. */
export function drawCircles(ctx, view, model) {
  const height = model.place?.at_m?.[2];
  for (const { at, peer } of model.anchors()) {
    if (!peer?.seen || peer.isLost) continue;
    const up = height === undefined ? 0 : at.z - height;
    const flat = Math.sqrt(Math.max((peer.seen.d / 1000) ** 2 - up ** 2, 0));
    const p = view.toScreen(at);
    ctx.strokeStyle = colour(`p${peer.index}`, 0.5);
    ctx.lineWidth = 1.25;
    ctx.setLineDash(peer.seen.los === false ? [3, 6] : []);
    ctx.beginPath();
    ctx.arc(p.x, p.y, flat * view.scale, 0, 2 * Math.PI);
    ctx.stroke();
    ctx.setLineDash([]);
  }
}

function drawTrail(ctx, view, model) {
  ctx.strokeStyle = colour('accent', 0.4);
  ctx.lineWidth = 2;
  ctx.beginPath();
  for (const point of model.placeTrail) {
    const p = view.toScreen(point);
    ctx.lineTo(p.x, p.y);
  }
  ctx.stroke();
}

function drawDiamond(ctx, p, isFilled) {
  ctx.beginPath();
  for (const [x, y] of [[0, -8], [8, 0], [0, 8], [-8, 0]]) ctx.lineTo(p.x + x, p.y + y);
  ctx.closePath();
  ctx.lineWidth = 2.5;
  ctx.strokeStyle = isFilled ? colour('stage') : colour('accent', 0.6);
  ctx.stroke();
  ctx.fillStyle = isFilled ? colour('accent') : colour('stage', 0.6);
  ctx.fill();
}

/** The place, its ellipse of two standard deviations, and the other place that fits as well. */
export function drawPlace(ctx, view, model, labels) {
  const { place } = model;
  if (!place?.at_m) return;
  drawTrail(ctx, view, model);
  if (place.mirror_m) drawDiamond(ctx, view.toScreen(pointOf(place.mirror_m)), false);
  const p = view.toScreen(pointOf(place.at_m));
  const [major, minor] = place.ellipse_m.map((half) => Math.max(kSigmas * half * view.scale, kLeastPixels));
  ctx.fillStyle = colour('accent', 0.2);
  ctx.strokeStyle = colour('accent', 0.7);
  ctx.lineWidth = 1.5;
  ctx.beginPath();
  // Up the screen is towards y.
  ctx.ellipse(p.x, p.y, major, minor, -place.ellipse_rad, 0, 2 * Math.PI);
  ctx.fill();
  ctx.stroke();
  drawDiamond(ctx, p, true);
  labels.keepFree(p);
  const [x, y] = place.at_m.map((value) => value.toFixed(2));
  const error = place.error_m === undefined ? '' : `  ${centimetres(place.error_m)} cm off`;
  labels.put(p, 16, [
    { text: place.what, font: font(13.5, 650), fill: colour('accent') },
    { text: `${x}, ${y} m${error}`, font: font(12.5), fill: colour('soft') }]);
}

const centimetres = (m) => number(m == null ? null : m * 100, 1);

const kLargeResidual = 0.15; // Metres: five times the noise of a distance.

// A height that is wrong is what makes all distances fit badly, where it is not looked for.
function remarkOn(place, stats, locating) {
  if (place.problem) return `${place.problem[0].toUpperCase()}${place.problem.slice(1)}.`;
  const isLarge = locating && locating.height_m !== null && stats?.residual_rms_m > kLargeResidual;
  return isLarge ? 'A large residual: is the height right?' : '';
}

const kNumbers = [
  ['place-what', 'Located', (place) => place.what],
  ['place-at', 'X, Y, Z (m)', (place) => place.at_m?.map((value) => value.toFixed(2)).join(', ') ?? 'nowhere'],
  ['place-residual', 'Residual (cm)', (place) => centimetres(place.residual_m)],
  ['place-ellipse', 'Ellipse, 1 σ (cm)', (place) => place.ellipse_m?.map(centimetres).join(' × ') ?? '–'],
  ['place-answers', 'Anchors', (place, stats, model) => `${place.answers} of ${model.locating?.anchors.length ?? place.answers}`],
  ['place-error', 'Error now (cm)', (place) => centimetres(place.error_m), true],
  ['place-rms', 'Error RMS (cm)', (place, stats) => centimetres(stats?.error_rms_m), true],
  ['place-count', 'Places', (place, stats) => number(stats?.located)],
];

/** The numbers of what is located. */
export class PlacePanel {
  #model;
  #cells = new Map();

  constructor(model) {
    this.#model = model;
    for (const [id, name, , isOfWorld] of kNumbers) {
      const cell = make('dd', { id });
      const group = make('div', { className: isOfWorld ? 'world-only' : '', hidden: isOfWorld === true }, make('dt', { textContent: name }), cell);
      this.#cells.set(id, cell);
      $('place-numbers').append(group);
    }
  }

  draw() {
    const { place, stats } = this.#model;
    $('place').hidden = !place;
    if (!place) return;
    for (const [id, , text] of kNumbers) {
      const value = text(place, stats?.place, this.#model);
      const cell = this.#cells.get(id);
      if (cell.textContent !== value) cell.textContent = value;
    }
    const remark = remarkOn(place, stats?.place, this.#model.locating);
    if ($('place-problem').textContent !== remark) $('place-problem').textContent = remark;
  }
}
