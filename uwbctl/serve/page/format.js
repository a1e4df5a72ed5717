// SPDX-License-Identifier: Apache-2.0
// Numbers, colours and elements: what every part of the page needs.

export const $ = (id) => document.getElementById(id);

/** An element with properties and children; text is never taken for HTML. */
export function make(tag, properties = {}, ...children) {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children);
  return element;
}

const none = '–';
export const metres = (mm, digits = 2) => (mm == null ? none : (mm / 1000).toFixed(digits));
export const number = (value, digits = 0) => (value == null ? none : value.toFixed(digits));
export const degrees = (radians, digits = 0) =>
  radians == null ? none : signed((radians * 180) / Math.PI, digits);
export const percent = (ratio) =>
  ratio == null ? none : (100 * ratio).toFixed(ratio > 0 && ratio < 0.1 ? 1 : 0);
export function signed(value, digits = 0) {
  if (value == null) return none;
  const text = Math.abs(value).toFixed(digits);
  return Number(text) === 0 ? text : (value < 0 ? '−' : '+') + text;
}
export const count = (n, what) => `${n.toLocaleString('en')} ${what}${n === 1 ? '' : 's'}`;

/** A step of 1, 2 or 5 times a power of ten, not below the one given. */
export function niceStep(least) {
  const power = 10 ** Math.floor(Math.log10(least));
  return [1, 2, 5, 10].map((n) => n * power).find((step) => step >= least * 0.999);
}

// Colours of the style sheet, as a canvas wants them.
let cache = new Map();
let probe;
export function colour(name, alpha = 1) {
  const key = `${name} ${alpha}`;
  if (!cache.has(key)) {
    probe ??= document.body.appendChild(make('span', { hidden: true }));
    probe.style.color = `color-mix(in srgb, var(--${name}) ${alpha * 100}%, transparent)`;
    cache.set(key, getComputedStyle(probe).color);
  }
  return cache.get(key);
}
export function forgetStyle() {
  cache.clear();
  family = null;
}

let family;
/** The page's font, as a canvas wants it. */
export function font(size, weight = 400) {
  family ??= getComputedStyle(document.body).fontFamily;
  return `${weight} ${size}px ${family}`;
}

export const wantsRest = matchMedia('(prefers-reduced-motion: reduce)');

/** Fits a canvas to its size on the screen; returns its context in CSS pixels, and the size. */
export function prepare(canvas) {
  const ratio = Math.min(window.devicePixelRatio || 1, 2);
  const width = canvas.clientWidth;
  const height = canvas.clientHeight;
  if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
  }
  const ctx = canvas.getContext('2d');
  ctx.setTransform(ratio, 0, 0, ratio, 0, 0);
  ctx.clearRect(0, 0, width, height);
  return { ctx, width, height };
}

/** Text that can be read on whatever is below it. */
export function haloText(ctx, text, x, y, fill, background = 'stage') {
  ctx.lineWidth = 4;
  ctx.lineJoin = 'round';
  ctx.strokeStyle = colour(background);
  ctx.strokeText(text, x, y);
  ctx.fillStyle = fill;
  ctx.fillText(text, x, y);
}
