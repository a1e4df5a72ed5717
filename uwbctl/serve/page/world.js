// SPDX-License-Identifier: Apache-2.0
// The virtual world: things are dragged, or moved with arrow keys; scenes, errors and sight are set.
import { command, lately, mayCommand } from './api.js';
import { order, showError } from './controls.js';
import { $, make } from './format.js';

const kStep = 0.1;
const kLongStep = 1;
const kTurn = 15;
const kTurnTime = 1500;
// How far from the origin, and how fast, anything of the world may be.
const kMaxMetres = 50000;
const kMaxSpeed = 1000;
const kFields = [['x', 'X (m)'], ['y', 'Y (m)'], ['z', 'Z (m)'], ['vx', 'VX (m/s)'], ['vy', 'VY (m/s)'], ['vz', 'VZ (m/s)']];

const toDegrees = (radians) => Number(((radians * 180) / Math.PI).toFixed(2));

export class World {
  #model;
  #above;
  #handles = new Map();
  #move;
  /** Null once what was chosen is gone: what comes after it in the list is not what anybody means to remove next. */
  #selected;
  #scene = '';
  /** What is to be chosen once it is there. */
  #wanted = null;
  /** The thing in hand: {id, at}; it is where the hand is, whatever the radio says a moment later. */
  #held = null;
  /** How a radio was turned last; the radio's word on it comes a moment later. */
  #turned = { id: null };

  constructor(model, above, forms) {
    this.#model = model;
    this.#above = above;
    this.#move = lately('world/move', showError);
    $('scenes').append(...forms.scenes.map(({ name, title }) => make('option', { value: name, textContent: title ? `${name}: ${title}` : name })));
    $('model').append(make('option', { value: '', textContent: 'noise alone' }),
      ...forms.models.map(({ name, title }) => make('option', { value: name, textContent: name, title })));
    for (const [key, label] of kFields) {
      const most = key.startsWith('v') ? kMaxSpeed : kMaxMetres;
      const input = make('input', { type: 'number', step: 'any', min: -most, max: most, id: `thing-${key}` });
      input.addEventListener('change', () => this.#takeFields());
      $('thing-fields').append(make('label', { className: 'field' }, label, input));
    }
    const heading = make('input', { type: 'number', step: 'any', min: -180, max: 180, id: 'thing-heading' });
    heading.addEventListener('change', () => {
      if (heading.value === '') this.take();
      else if (heading.reportValidity()) this.#turn(this.#selected, Number(heading.value));
    });
    $('thing-fields').append(make('label', { className: 'field', id: 'heading-field' }, 'Heading (°)', heading));
    // What was refused goes when one leaves it.
    $('thing-fields').addEventListener('focusout', ({ target }) => {
      if (!target.validity.valid) this.take();
    });
    this.#listen();
  }

  get isHeld() {
    return this.#held !== null;
  }

  #listen() {
    $('scene-load').addEventListener('click', () => order('world/load', { name: $('scenes').value }));
    $('scene-save').addEventListener('click', () => this.#save());
    $('scene-file').addEventListener('change', async () => {
      const [file] = $('scene-file').files;
      $('scene-file').value = '';
      if (file) await this.#open(file);
    });
    $('model').addEventListener('change', () => order('world/model', { model: $('model').value }));
    // An emptied field is no 0: it says again what is.
    const change = (id, then) => $(id).addEventListener('change', () => ($(id).value === '' ? this.take() : then()));
    const bind = (id, name, key) => change(id, () => order(`world/${name}`, { [key]: Number($(id).value) }));
    bind('noise', 'noise', 'mm');
    for (const id of ['rate', 'blocks']) {
      change(id, () => order('world/rate', { rate: Number($('rate').value), blocks: $('blocks').checked }));
    }
    bind('range', 'range', 'm');
    $('things').addEventListener('change', () => this.#select($('things').value));
    $('thing-add').addEventListener('click', () => this.#add());
    $('thing-clear').addEventListener('change', () => order('world/sight', { id: this.#selected, clear: $('thing-clear').checked }));
    $('thing-remove').addEventListener('click', async () => {
      // The button is off then, until somebody chooses.
      if (await order('world/remove', { id: this.#selected })) $('things').focus();
    });
  }

  // A file of something else is no scene with odd characters.
  async #open(file) {
    let text;
    try {
      text = new TextDecoder('utf-8', { fatal: true }).decode(await file.arrayBuffer());
    } catch {
      showError(new Error(`${file.name} is not a text`));
      return;
    }
    await order('world/load', { text, name: file.name });
  }

  async #save() {
    try {
      const { scene } = await command('world/save');
      const link = make('a', { href: URL.createObjectURL(new Blob([scene], { type: 'text/plain' })), download: 'my.scene' });
      link.click();
      setTimeout(() => URL.revokeObjectURL(link.href), 1000);
    } catch (error) {
      showError(error);
    }
  }

  async #add() {
    let number = 0x1001;
    const name = () => `0x${number.toString(16).padStart(4, '0')}`;
    while (this.#model.world.bodies.has(name())) number++;
    const o = this.#model.observer();
    if (await order('world/move', { id: name(), x: o.x + 1, y: o.y + 2, z: o.z })) this.#select(name());
  }

  // What is new may be on its way.
  #select(id) {
    this.#wanted = id;
    this.take();
  }

  #takeFields() {
    if (kFields.some(([key]) => $(`thing-${key}`).value === '')) {
      this.take();
      return;
    }
    if (!kFields.every(([key]) => $(`thing-${key}`).reportValidity())) return;
    const values = kFields.map(([key]) => [key, Number($(`thing-${key}`).value)]);
    order('world/move', { id: this.#selected, ...Object.fromEntries(values) });
  }

  // Within half a turn to either side.
  #turn(id, degrees) {
    this.#turned = { id, degrees: ((((degrees + 180) % 360) + 360) % 360) - 180, time: performance.now() };
    order('world/heading', { id, degrees: this.#turned.degrees });
  }
  // Where it looks when all that was asked for is done.
  #headingOf(id) {
    const { id: last, degrees, time } = this.#turned;
    return last === id && performance.now() - time < kTurnTime ? degrees : toDegrees(this.#model.world.bodies.get(id).heading);
  }

  /** Something of the world is new. */
  take() {
    const { world } = this.#model;
    const ids = [...world.bodies.keys()];
    if (ids.includes(this.#wanted)) {
      this.#selected = this.#wanted;
      this.#wanted = null;
    }
    if (this.#selected === undefined) this.#selected = ids.find((id) => id.startsWith('0x')) ?? ids[0];
    if (!ids.includes(this.#selected)) this.#selected = null;
    const choices = this.#selected === null ? ['', ...ids] : ids;
    if (choices.join() !== [...$('things').options].map(({ value }) => value).join()) {
      $('things').replaceChildren(...choices.map((id) => make('option', { value: id, textContent: id || 'choose one' })));
      this.#makeHandles(ids);
      this.describe();  // A thing is never without a name.
    }
    $('things').value = this.#selected ?? '';
    // What is chosen can be taken, whatever passes by.
    for (const [id, handle] of this.#handles) handle.classList.toggle('chosen', id === this.#selected);
    const show = (id, value) => {
      if (document.activeElement !== $(id)) $(id).value = value;
    };
    show('noise', world.noise_mm);
    show('rate', world.rate);
    $('blocks').checked = world.blocks;
    show('range', world.range_m);
    show('model', world.model);
    // What is chosen to be loaded next stays chosen.
    if (world.scene !== this.#scene && [...$('scenes').options].some(({ value }) => value === world.scene)) show('scenes', world.scene);
    this.#scene = world.scene;
    this.#showThing(world.bodies.get(this.#selected), show);
  }

  #showThing(body, show) {
    for (const input of $('thing-fields').querySelectorAll('input')) input.disabled = !body;
    $('thing-clear').disabled = $('thing-remove').disabled = !body || body.id.startsWith('radio');
    if (!body) {
      for (const input of $('thing-fields').querySelectorAll('input')) input.value = '';
      $('thing-clear').checked = false;
      return;
    }
    const at = this.#held?.id === body.id ? { ...this.#held.at, z: body.z } : this.#model.whereIs(body);
    for (const [key] of kFields) show(`thing-${key}`, Number((at[key] ?? body[key]).toFixed(2)));
    const isRadio = body.id.startsWith('radio');
    $('heading-field').hidden = !isRadio;
    show('thing-heading', toDegrees(body.heading));
    $('thing-clear').checked = body.los;
  }

  // ---- Handles: what is seen of a thing by hand, keyboard and screen reader ----

  #makeHandles(ids) {
    for (const [id, handle] of this.#handles) {
      if (ids.includes(id)) continue;
      handle.remove();
      this.#handles.delete(id);
    }
    for (const id of ids) {
      if (this.#handles.has(id)) continue;
      const handle = make('button', { className: 'handle', disabled: !mayCommand });
      handle.dataset.id = id;
      this.#listenToHandle(handle, id);
      $('handles').append(handle);
      this.#handles.set(id, handle);
    }
  }

  #listenToHandle(handle, id) {
    let offset = null;
    const where = (event) => {
      const box = $('stage').getBoundingClientRect();
      return this.#above.toWorld(event.clientX - box.left - $('stage').clientLeft, event.clientY - box.top - $('stage').clientTop);
    };
    handle.addEventListener('pointerdown', (event) => {
      handle.setPointerCapture(event.pointerId);
      const body = this.#model.world.bodies.get(id);
      const at = this.#model.whereIs(body);
      const from = where(event);
      offset = { x: at.x - from.x, y: at.y - from.y, z: body.z };
      this.#select(id);
    });
    handle.addEventListener('pointermove', (event) => {
      if (!offset) return;
      const to = where(event);
      this.#hold(id, { x: to.x + offset.x, y: to.y + offset.y, z: offset.z });
      handle.classList.add('held');
    });
    for (const end of ['pointerup', 'pointercancel']) {
      handle.addEventListener(end, () => {
        offset = null;
        handle.classList.remove('held');
        setTimeout(() => {
          if (!offset) this.#held = null;
        }, 300);
      });
    }
    handle.addEventListener('keydown', (event) => {
      const turn = id.startsWith('radio') ? { l: -kTurn, r: kTurn }[event.key.toLowerCase()] : null;
      if (turn) {
        this.#turn(id, this.#headingOf(id) + turn);
        return;
      }
      const step = event.shiftKey ? kLongStep : kStep;
      const go = { ArrowLeft: [-step, 0], ArrowRight: [step, 0], ArrowUp: [0, step], ArrowDown: [0, -step] }[event.key];
      if (!go) return;
      event.preventDefault();
      const body = this.#model.world.bodies.get(id);
      const at = this.#held?.id === id ? this.#held.at : { ...this.#model.whereIs(body), z: body.z };
      this.#hold(id, { x: at.x + go[0], y: at.y + go[1], z: at.z });
      clearTimeout(this.keyTimer);
      this.keyTimer = setTimeout(() => { this.#held = null; }, 500);
    });
    handle.addEventListener('focus', () => this.#select(id));
  }

  #hold(id, at) {
    this.#held = { id, at };
    const body = this.#model.world.bodies.get(id);
    Object.assign(body, at, { vx: 0, vy: 0, vz: 0 });
    this.#move({ id, ...at });
  }

  /** Puts the handles where their things are. */
  draw(isShown) {
    $('handles').hidden = !isShown;
    if (!isShown || !this.#model.world) return;
    for (const [id, handle] of this.#handles) {
      const body = this.#model.world.bodies.get(id);
      if (!body) continue;
      if (this.#held?.id === id) Object.assign(body, this.#held.at, { vx: 0, vy: 0, vz: 0 });
      const p = this.#above.toScreen(this.#model.whereIs(body));
      handle.style.transform = `translate(${p.x.toFixed(1)}px, ${p.y.toFixed(1)}px)`;
    }
  }

  /** What a screen reader says of the handles; not as often as they move. */
  describe() {
    const o = this.#model.world ? this.#model.observer() : null;
    for (const [id, handle] of this.#handles) {
      const body = this.#model.world.bodies.get(id);
      if (!body) continue;
      const at = this.#model.whereIs(body);
      const [right, ahead] = [at.x - o.x, at.y - o.y];
      const side = `${Math.abs(right).toFixed(1)} m ${right < 0 ? 'left' : 'right'}, ${Math.abs(ahead).toFixed(1)} m ${ahead < 0 ? 'behind' : 'ahead'}`;
      const state = body.lost ? ', lost' : body.los ? '' : ', out of sight';
      const looks = id.startsWith('radio') ? `, looks ${toDegrees(body.heading)}°; arrow keys move it, L and R turn it` : '; arrow keys move it';
      const text = `${id}, really ${side}${state}${looks}`;
      if (handle.ariaLabel !== text) handle.ariaLabel = text;
    }
  }
}
