// SPDX-License-Identifier: Apache-2.0
// What is pressed: start, stop, record, the other modes, the country; and what state that shows.
import { command, mayCommand } from './api.js';
import { $, count, make } from './format.js';
import { SessionForm } from './session_form.js';

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

function statusText(state, isConnected) {
  if (!isConnected) return ['bad', 'The server does not answer; trying again…'];
  if (!state) return ['wait', 'Connecting…'];
  if (state.service !== 'there') return ['bad', state.service];
  const { activity } = state;
  if (!activity) {
    return state.hardware === 'free' ? ['ready', 'Ready'] : ['wait', `The radio is ${state.hardware}`];
  }
  if (activity.phase === 'stopping') return ['wait', 'Stopping…'];
  if (activity.kind === 'ccc') return ['good', `CCC session on ${activity.iface}, channel ${activity.channel}`];
  if (activity.kind === 'simple') {
    return ['good', `Simple ranging with ${count(activity.peers.length, 'peer')} on ${activity.iface}, channel ${activity.channel}`];
  }
  const { session } = activity;
  const stride = session.isBlockStridingEnabled ? session.blockStridingValue + 1 : 1;
  const rate = 1000 / (session.rangingBlockDurationMs * stride);
  return ['good', `Ranging with ${count(activity.peers.length, 'peer')} on ${activity.iface}, channel ${session.channelNumber}, ${Number(rate.toFixed(2))} a second`];
}

export class Controls {
  #model;
  #form;

  constructor(model, forms) {
    this.#model = model;
    this.#form = new SessionForm(forms, (add, name) => this.#changePeer(add, name));
    this.#makeTabs(forms);
    $('looking').hidden = mayCommand;
    for (const fieldset of document.querySelectorAll('fieldset')) fieldset.disabled = !mayCommand;
    $('version').textContent = `uwbctl ${forms.version}`;
    $('countries').append(...forms.countries.map((value) => make('option', { value })));
    $('simple-peers').value = forms.defaults.peers.join(' ');
    this.#listen();
    this.show();
  }

  #listen() {
    for (const form of document.forms) form.addEventListener('submit', (event) => event.preventDefault());
    $('primary').addEventListener('click', () => this.#pressPrimary());
    $('record').addEventListener('click', () => order('record', { on: this.#model.state.recording !== 'on' }));
    $('ccc-start').addEventListener('click', () => order('ccc/start', {
      channel: Number($('ccc-channel').value), delay_ms: Number($('ccc-delay').value),
    }));
    $('simple-start').addEventListener('click', () => order('simple/start', {
      peers: $('simple-peers').value.split(/[\s,]+/).filter(Boolean),
      role: $('simple-role').value,
      channel: Number($('simple-channel').value),
      address: $('simple-address').value.trim(),
      pan_id: Number($('simple-pan').value),
    }));
    $('country-apply').addEventListener('click', () => order('country', { code: $('country').value.trim() }));
  }

  async #pressPrimary() {
    $('primary').disabled = true;
    await (this.#model.isRunning ? order('stop') : order('fira/start', this.#form.arguments()));
    this.show();
  }

  async #changePeer(add, name) {
    if (this.#model.state?.activity?.kind !== 'fira') return false;
    await order(add ? 'fira/add' : 'fira/remove', { peers: [name] });
    return true;
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

  show() {
    const { state, isConnected } = this.#model;
    const [lamp, text] = statusText(state, isConnected);
    $('lamp').className = `lamp ${lamp}`;
    if ($('status').textContent !== text) $('status').textContent = text;
    if (!state) return;
    const { activity, recording } = state;
    const isRunning = activity !== null;
    const primary = $('primary');
    primary.hidden = !mayCommand;
    primary.textContent = isRunning ? 'Stop' : 'Start';
    primary.classList.toggle('stop', isRunning);
    primary.disabled = activity?.phase === 'stopping' || (!isRunning && state.hardware !== 'free');
    $('record').hidden = !mayCommand || activity?.kind !== 'fira';
    $('record').setAttribute('aria-pressed', recording === 'on');
    $('record-text').textContent = recording === 'on' ? 'Recording' : 'Record';
    $('save-recording').hidden = $('save-report').hidden = recording !== 'there';
    $('country-now').textContent = `In force: ${state.country}.`;
    for (const id of ['ccc-start', 'simple-start', 'country-apply']) $(id).disabled = isRunning;
    // Who ranges now is who the session has; before it starts, who the form names.
    if (activity?.kind === 'fira') this.#form.setPeers(activity.peers);
  }
}
