// SPDX-License-Identifier: Apache-2.0
// What is pressed: start, stop, record, the other modes, the country; and what state that shows.
import { command, hasToken, mayCommand } from './api.js';
import { $, make } from './format.js';
import { SessionForm } from './session_form.js';
import { Status } from './status.js';

// Scenes have a tag there for whoever is a controlee.
const kOwnAddress = '0x0001';

let errorTimer;

/** Shows what went wrong beside the controls; nothing takes it away. */
export function showError(error) {
  clearTimeout(errorTimer);
  $('error').hidden = !error;
  if (!error) return;
  $('error').textContent = error.message;
  errorTimer = setTimeout(() => showError(null), 12000);
}

/** A command of a button: what is wrong is shown. @return whether it was done. */
export async function order(name, args) {
  try {
    await command(name, args);
    showError(null);
    return true;
  } catch (error) {
    showError(error);
    return false;
  }
}

// A place has blanks and commas of its own; names alone may share a line.
const anchorsOf = (line) => (line.includes('=') ? [line.replaceAll(/\s/g, '')] : line.split(/[\s,]+/).filter(Boolean));

export class Controls {
  #model;
  #form;
  #status;
  /** Peers that the server was started with. */
  #peers;

  constructor(model, forms) {
    this.#model = model;
    this.#status = new Status(model);
    this.#form = new SessionForm(forms, (add, name) => this.#changePeer(add, name));
    this.#makeTabs(forms);
    $('looking').hidden = mayCommand;
    if (hasToken) $('looking').textContent = 'This link is another server’s; the one that runs now has printed its own.';
    for (const fieldset of document.querySelectorAll('fieldset')) fieldset.disabled = !mayCommand;
    $('version').textContent = `uwbctl ${forms.version}`;
    $('countries').append(...forms.countries.map((value) => make('option', { value })));
    $('simple-peers').value = forms.defaults.peers.join(' ');
    this.#peers = forms.defaults.peers;
    this.#listen();
    this.show();
  }

  #listen() {
    for (const form of document.forms) form.addEventListener('submit', (event) => event.preventDefault());
    $('primary').addEventListener('click', () => this.#pressPrimary());
    $('record').addEventListener('click', () => {
      const { recording, recorded } = this.#model.state;
      this.#order('record', recording === 'on' ? { iface: recorded, on: false } : { on: true });
    });
    $('radio').addEventListener('change', () => this.#model.choose($('radio').value));
    $('locate-what').addEventListener('change', () => this.#showLocate());
    $('locate-start').addEventListener('click', () => this.#locate());
    $('ccc-start').addEventListener('click', () => this.#order('ccc/start', {
      channel: Number($('ccc-channel').value), delay_ms: Number($('ccc-delay').value),
    }));
    $('simple-start').addEventListener('click', () => this.#order('simple/start', {
      peers: $('simple-peers').value.split(/[\s,]+/).filter(Boolean),
      role: $('simple-role').value,
      channel: Number($('simple-channel').value),
      address: $('simple-address').value.trim(),
      pan_id: Number($('simple-pan').value),
    }));
    $('count-anew').addEventListener('click', () => order('stats/reset'));
    $('country-apply').addEventListener('click', () => order('country', { code: $('country').value.trim() }));
  }

  async #pressPrimary() {
    $('primary').disabled = true;
    const isBusy = this.#model.activityOn(this.#model.chosen) !== null;
    await (isBusy ? this.#order('stop') : this.#order('fira/start', this.#form.arguments()));
    this.show();
  }

  // To the radio that is chosen.
  #order(name, args = {}) {
    return order(name, { iface: this.#model.chosen, ...args });
  }

  // ---- Locating ----

  #locate() {
    const isTag = $('locate-what').value === 'tag';
    const is3d = $('locate-3d').checked;
    const height = is3d ? '' : $('locate-height').value;
    const { preset, members } = this.#form.arguments();
    // Those who range are named below.
    delete members.destAddressList;
    if (isTag) delete members.deviceAddress;
    order('locate/start', {
      iface: isTag ? undefined : this.#model.chosen,
      preset,
      members,
      tag: isTag ? $('locate-tag').value.trim() : '',
      anchors: $('locate-anchors').value.split('\n').flatMap(anchorsOf),
      height: height === '' ? null : Number(height),
      is_3d: is3d,
    });
  }

  // What stands there until somebody writes something else.
  #showLocate() {
    const isTag = $('locate-what').value === 'tag';
    $('locate-tag-field').hidden = !isTag;
    const tags = [...(this.#model.world?.bodies.keys() ?? this.#peers)].filter((id) => id.startsWith('0x'));
    const ifaces = (this.#model.state?.ifaces ?? []).map(({ name }) => name);
    const fill = (input, value) => {
      if (input.value === (input.dataset.filled ?? '')) input.value = input.dataset.filled = value;
    };
    fill($('locate-tag'), tags.find((id) => id !== kOwnAddress) ?? '');
    fill($('locate-anchors'), (isTag ? ifaces : tags.filter((id) => id !== kOwnAddress)).join('\n'));
  }

  #changePeer(add, name) {
    if (this.#model.activityOn(this.#model.chosen)?.kind !== 'fira') return null;
    return this.#order(add ? 'fira/add' : 'fira/remove', { peers: [name] });
  }

  // One tab stop; arrow keys go along.
  #makeTabs(forms) {
    $('tab-world').hidden = !forms.has_world;
    const tabs = [...document.querySelectorAll('[role="tab"]:not([hidden])')];
    const select = (tab) => {
      for (const other of tabs) {
        const isOn = other === tab;
        other.setAttribute('aria-selected', isOn);
        other.tabIndex = isOn ? 0 : -1;
        $(other.getAttribute('aria-controls')).hidden = !isOn;
      }
      if (this.#model.state) this.#showBusy();
    };
    tabs.forEach((tab, i) => {
      tab.addEventListener('click', () => select(tab));
      tab.addEventListener('keydown', (event) => {
        const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
        if (!step) return;
        const next = tabs[(i + step + tabs.length) % tabs.length];
        next.focus();
        select(next);
      });
    });
  }

  /** What goes on; to be called several times a second while something does. */
  showStatus() {
    const [lamp, text] = this.#status.get();
    $('lamp').className = `lamp ${lamp}`;
    if ($('status').textContent !== text) $('status').textContent = text;
  }

  show() {
    this.showStatus();
    const { state } = this.#model;
    if (!state) return;
    const { recording } = state;
    this.#showRadios();
    const activity = this.#model.activityOn(this.#model.chosen);
    const isRunning = activity !== null;
    const isFree = ['free', 'ours'].includes(state.hardware);
    const primary = $('primary');
    primary.hidden = !mayCommand;
    primary.textContent = isRunning ? 'Stop' : 'Start';
    primary.classList.toggle('stop', isRunning);
    primary.disabled = activity?.phase === 'stopping' || (!isRunning && !isFree);
    $('record').hidden = !mayCommand || !activity?.session;
    $('record').setAttribute('aria-pressed', recording === 'on');
    $('record-text').textContent = recording === 'on' ? 'Recording' : 'Record';
    const whose = state.ifaces.length > 1 ? ` ${state.recorded}` : '';
    for (const [id, name] of [['save-recording', 'Recording'], ['save-report', 'Report']]) {
      $(id).hidden = recording !== 'there';
      $(id).textContent = `↓ ${name}${whose}`;
      $(id).ariaLabel = `Save the ${name.toLowerCase()}${whose && ` of${whose}`}`;
    }
    $('country-now').textContent = `In force: ${state.country}.`;
    for (const id of ['ccc-start', 'simple-start']) $(id).disabled = isRunning;
    for (const id of ['country-apply', 'locate-start']) $(id).disabled = this.#model.isRunning;
    this.#showBusy();
    // Who ranges now is who the session has; before it starts, who the form names.
    const ranging = activity?.kind === 'fira' ? activity : null;
    if (ranging) this.#form.setPeers(ranging.peers);
    this.#form.offer([...(this.#model.world?.bodies.keys() ?? [])], ranging?.session);
    $('fira-later').hidden = !ranging;
    this.#showLocate();
  }

  // Why the button of the panel that one sees cannot be pressed.
  #showBusy() {
    const panel = document.querySelector('[role="tabpanel"]:not([hidden])');
    const isOff = mayCommand && panel.querySelector('button.wide')?.disabled;
    $('busy').hidden = !isOff;
    const { chosen } = this.#model;
    $('busy').textContent = this.#model.activityOn(chosen) ? `${chosen} is busy: stop it first.` : 'Another radio is busy: stop it first.';
  }

  #showRadios() {
    const names = this.#model.state.ifaces.map(({ name }) => name);
    const select = $('radio');
    $('radio-field').hidden = names.length < 2;
    if (names.join() !== [...select.options].map(({ value }) => value).join()) {
      select.replaceChildren(...names.map((value) => make('option', { value, textContent: value })));
    }
    select.value = this.#model.chosen;
  }
}
