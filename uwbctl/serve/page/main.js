// SPDX-License-Identifier: Apache-2.0
// Puts the parts together, and draws as often as something moves.
import { Above } from './above.js';
import { follow, getForms } from './api.js';
import { Charts } from './charts.js';
import { Controls, showError } from './controls.js';
import { $, degrees, forgetStyle, metres } from './format.js';
import { Model } from './model.js';
import { PlacePanel } from './place.js';
import { Space } from './space.js';
import { Log, Table } from './table.js';
import { World } from './world.js';

const kFrameInterval = 30;
const kSettleTime = 3000;
const kTableInterval = 250;
const kChartInterval = 100;
const kWordsInterval = 2000;

const model = new Model();
const above = new Above(model);
const space = new Space(model);
const charts = new Charts(model);
const table = new Table(model);
const log = new Log(model);

// ---- Light and dark ----

const schemes = matchMedia('(prefers-color-scheme: dark)');
const root = document.documentElement;
const saved = localStorage.getItem('theme');
if (saved) root.dataset.theme = saved;
$('theme').addEventListener('click', () => {
  const isDark = (root.dataset.theme ?? (schemes.matches ? 'dark' : 'light')) === 'dark';
  root.dataset.theme = isDark ? 'light' : 'dark';
  localStorage.setItem('theme', root.dataset.theme);
  forgetStyle();
});
schemes.addEventListener('change', forgetStyle);

// ---- The two views ----

let isSpace = false;
function setView(inSpace) {
  isSpace = inSpace;
  $('above').hidden = inSpace;
  $('space').hidden = !inSpace;
  $('view-above').setAttribute('aria-pressed', !inSpace);
  $('view-space').setAttribute('aria-pressed', inSpace);
}
$('view-above').addEventListener('click', () => setView(false));
$('view-space').addEventListener('click', () => setView(true));
const view = () => (isSpace ? space : above);
$('zoom-in').addEventListener('click', () => view().zoom(1.3));
$('zoom-out').addEventListener('click', () => view().zoom(1 / 1.3));
$('zoom-fit').addEventListener('click', () => view().fit());

function hintText() {
  if (model.peers.size === 0) {
    return model.isRunning ? 'Waiting for the first report…' : model.world ? '' : 'Name the peers and press Start';
  }
  const hasElevation = [...model.peers.values()].some((peer) => !peer.hasLeft && peer.seen?.el !== undefined);
  if (!isSpace || hasElevation) return '';
  const { session } = model.activityOn(model.chosen) ?? {};
  const isAsked = session && session.aoaResultRequest !== 'NO_AOA_REPORT' && session.aoaType.includes('ELEVATION');
  return isAsked ? 'No elevation is measured: antennas for it come with a country’s calibration' : 'No elevation is measured: start with angles “both”';
}

function describeScene() {
  const texts = [...model.peers.values()].map((peer) => {
    const name = model.nameOf(peer);
    if (peer.absence) return `${name} is ${peer.absence}`;
    if (!peer.seen) return `${name} does not answer`;
    const angle = peer.seen.az === undefined ? '' : ` at ${degrees(peer.seen.az)} degrees`;
    return `${name} is ${metres(peer.seen.d, 1)} metres away${angle}${peer.seen.los === false ? ', out of sight' : ''}`;
  });
  const { place } = model;
  if (place?.at_m) texts.unshift(`${place.what} is located at ${place.at_m.map((value) => value.toFixed(1)).join(', ')} metres`);
  $('above').ariaLabel = texts.join('; ') || 'Nothing is measured yet';
}

// ---- Drawing ----

function main(forms) {
  model.choose(forms.defaults.iface);
  const controls = new Controls(model, forms);
  const world = new World(model, above, forms);
  const place = new PlacePanel(model);
  let [frameTime, tableTime, chartTime, wordsTime] = [0, 0, 0, 0];

  // Where nothing moves nothing is drawn: after whatever happens, until all has settled.
  let restTime = 0;
  const wake = () => { restTime = performance.now() + kSettleTime; };
  for (const kind of ['pointerdown', 'pointermove', 'wheel', 'keydown', 'click', 'resize']) {
    addEventListener(kind, wake, { passive: true });
  }
  schemes.addEventListener('change', wake);
  const redraw = new ResizeObserver(wake);
  redraw.observe($('stage'));

  function draw(now) {
    requestAnimationFrame(draw);
    if (now - frameTime < kFrameInterval) return;
    frameTime = now;
    if (model.isRunning || model.isMoving) wake();
    if (now > restTime) return;
    if (now - chartTime >= kChartInterval) {
      charts.draw();
      chartTime = now;
    }
    view().draw(world.isHeld);
    world.draw(!isSpace);
    if (now - tableTime >= kTableInterval) {
      tableTime = now;
      table.draw();
      place.draw();
      controls.showStatus();
      const hint = hintText();
      $('hint').hidden = hint === '';
      if ($('hint').textContent !== hint) $('hint').textContent = hint;
    }
    if (now - wordsTime >= kWordsInterval) {
      wordsTime = now;
      describeScene();
      world.describe();
    }
  }

  model.onChange((what) => {
    wake();
    if (['state', 'begin', 'world'].includes(what)) controls.show();
    if (what === 'note') log.take();
    if (what === 'world') {
      for (const element of document.querySelectorAll('.world-only')) element.hidden = false;
      $('scene-sub').textContent = model.world.scene ? `Scene ${model.world.scene} of the virtual radio` : 'The virtual radio';
      world.take();
    }
  });
  setView(false);
  follow(model.handlers());
  requestAnimationFrame(draw);
}

getForms().then(main, () => showError(new Error('the server does not answer; load the page again')));
