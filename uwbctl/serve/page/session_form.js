// SPDX-License-Identifier: Apache-2.0
// The form of a FiRa session: a preset, and every member that differs from it.
import { $, make } from './format.js';

// What members are called, and in which group they stand; what is not here stands at the end.
const kGroups = [
  ['Session', {
    id: 'Identifier', deviceType: 'Device type', deviceRole: 'Device role', deviceAddress: 'Own address',
    multiNodeMode: 'Nodes', sessionPriority: 'Priority', subSessionId: 'Sub-session',
  }],
  ['Timing', {
    rangingBlockDurationMs: 'Block (ms)', initiationTimeMs: 'Initiation (ms)', slotDurationRstu: 'Slot (RSTU)',
    slotsPerRangingRound: 'Slots a round', isBlockStridingEnabled: 'Skip blocks', blockStridingValue: 'Blocks skipped',
    isHoppingEnabled: 'Hopping', maxRangingRoundRetries: 'Failed rounds at most', inBandTerminationAttemptCount: 'Ending attempts',
  }],
  ['Air', {
    channelNumber: 'Channel', preambleCodeIndex: 'Preamble code', rframeConfig: 'Frame', prfMode: 'PRF',
    preambleDuration: 'Preamble', sfdId: 'SFD', stsSegmentCount: 'STS segments', psduDataRate: 'Data rate',
    bprfPhrDataRate: 'PHR rate', fcsType: 'FCS', isTxAdaptivePayloadPowerEnabled: 'Adaptive power',
  }],
  ['Ranging', {
    rangingRoundUsage: 'Method', rangingRoundControl: 'Round', aoaResultRequest: 'Angles', aoaType: 'Which angles', resultReportConfig: 'Report',
  }],
  ['Keys', {
    stsConfig: 'STS', vendorId: 'Vendor identifier', staticStsIV: 'Static STS IV', isKeyRotationEnabled: 'Key rotation', keyRotationRate: 'Rotation rate',
  }],
];
const kShortAddress = /^0x[0-9a-f]{4}$/;
const kMostOffers = 8;
const kQuick = ['deviceType', 'channelNumber', 'rangingBlockDurationMs', 'angles'];
const kAngles = {
  none: { aoaResultRequest: 'NO_AOA_REPORT' },
  azimuth: { aoaResultRequest: 'REQ_AOA_RESULTS', aoaType: 'AZIMUTH' },
  elevation: { aoaResultRequest: 'REQ_AOA_RESULTS', aoaType: 'ELEVATION' },
  both: { aoaResultRequest: 'REQ_AOA_RESULTS', aoaType: 'AZIMUTH_AND_ELEVATION' },
};

const words = (name) => name.replaceAll('_', ' ').toLowerCase();
const same = (a, b) => JSON.stringify(a) === JSON.stringify(b);

export class SessionForm {
  #forms;
  #preset;
  /** Members that differ from the preset, and secret ones that were typed. */
  #changes = {};
  #controls = [];
  #onPeers;
  /** Of the world, and who may not be its own peer. */
  #things = [];
  #own = '';
  peers = [];

  /** @param onPeers what happens to peers while a session ranges: (add, name) => whether it was done, by a promise; or null. */
  constructor(forms, onPeers) {
    this.#forms = forms;
    this.#onPeers = onPeers;
    this.peers = [...forms.defaults.peers];
    $('preset').append(...forms.presets.map(({ name }) => make('option', { value: name, textContent: words(name.replaceAll('-', ' ')) })));
    $('preset').value = forms.defaults.preset;
    $('preset').addEventListener('change', () => this.#takePreset());
    $('add-peer').addEventListener('click', () => this.#addPeer());
    $('peer').addEventListener('input', () => $('peer').setCustomValidity(''));
    $('peer').addEventListener('keydown', (event) => {
      if (event.key !== 'Enter') return;
      event.preventDefault();
      this.#addPeer();
    });
    this.#build();
    this.#takePreset();
    this.showPeers();
  }

  /** What "fira/start" takes. */
  arguments() {
    return { preset: this.#preset.name, members: { ...this.#changes, destAddressList: this.peers } };
  }

  // ---- Peers ----

  async #addPeer() {
    const text = $('peer').value.trim().toLowerCase().replace(/^0x/, '').replace(/^([0-9a-f]{2}):/, '$1');
    const name = `0x${text.padStart(4, '0')}`;
    const problem = !/^[0-9a-f]{1,4}$/.test(text) ? 'two bytes, such as 0x1234' : this.peers.includes(name) ? `${name} is there already` : '';
    $('peer').setCustomValidity(problem);
    if (!$('peer').reportValidity()) return;
    // What was refused can be mended.
    if (await this.#change(true, name)) $('peer').value = '';
  }

  async #change(add, name) {
    // While a session ranges the radio has the word.
    const done = this.#onPeers(add, name);
    if (done === null) this.setPeers(add ? [...this.peers, name] : this.peers.filter((peer) => peer !== name));
    return done === null || done;
  }

  setPeers(peers) {
    if (same(peers, this.peers)) return;
    this.peers = [...peers];
    this.showPeers();
  }

  showPeers() {
    this.#fill($('peers'), this.peers.map((name) => {
      const remove = make('button', { type: 'button', textContent: '×', ariaLabel: `Remove ${name}` });
      remove.addEventListener('click', () => this.#change(false, name));
      return make('li', {}, name, remove);
    }));
    this.#showOffers();
  }

  /** Things of the world, of which those are offered that can be peers of a session: the one that ranges, or the form's. */
  offer(things, session = this.#session()) {
    this.#things = things;
    this.#own = session.deviceAddress;
    this.#showOffers();
  }

  #showOffers() {
    const names = this.#things.filter((name) => kShortAddress.test(name) && name !== this.#own && !this.peers.includes(name))
      .slice(0, kMostOffers);
    if (same(names, [...$('offers').children].map(({ dataset }) => dataset.name))) return;
    this.#fill($('offers'), names.map((name) => {
      const add = make('button', { type: 'button', textContent: `+ ${name}` });
      add.addEventListener('click', () => this.#change(true, name));
      const item = make('li', {}, add);
      item.dataset.name = name;
      return item;
    }));
  }

  // Who had pressed one of them by keyboard goes on beside them.
  #fill(list, items) {
    const isInUse = list.querySelector(':focus-visible') !== null;
    list.replaceChildren(...items);
    if (isInUse) $('peer').focus();
  }

  // ---- Members ----

  #build() {
    const left = new Map(this.#forms.members.map((member) => [member.name, member]));
    left.delete('destAddressList');
    for (const name of kQuick) {
      $('quick').append(name === 'angles' ? this.#makeAngles() : this.#makeControl([name], left.get(name), this.#label(name)));
    }
    for (const [title, labels] of kGroups) {
      $('members').append(make('h3', { textContent: title }));
      for (const name of Object.keys(labels)) {
        const member = left.get(name);
        if (!member) continue;
        left.delete(name);
        this.#addMember([name], member, labels[name]);
      }
    }
    if (left.size > 0) $('members').append(make('h3', { textContent: 'More' }));
    for (const [name, member] of left) this.#addMember([name], member, name);
  }

  #label(name) {
    return kGroups.map(([, labels]) => labels[name]).find((label) => label) ?? name;
  }

  #addMember(path, member, label) {
    if (member.kind === 'group') {
      for (const inner of member.members) {
        this.#addMember([...path, inner.name], inner, words(inner.name.replace(/^has/, '').replace(/([A-Z])/g, ' $1')).trim());
      }
      return;
    }
    $('members').append(this.#makeControl(path, member, label));
  }

  #makeControl(path, member, label) {
    const { kind } = member;
    const input = kind === 'choice'
      ? make('select', {}, ...member.names.map((name) => make('option', { value: name, textContent: words(name) })))
      : make('input', { type: kind === 'flag' ? 'checkbox' : kind === 'number' ? 'number' : 'text', spellcheck: false, autocomplete: 'off' });
    if (kind === 'number') Object.assign(input, { min: member.min, max: member.max, step: 1, required: true });
    if (member.secret) Object.assign(input, { placeholder: 'the preset’s own', title: 'goes to the radio, and comes back to no page' });
    const isFlag = kind === 'flag';
    const element = make('label', { className: isFlag ? 'check' : 'field' }, ...(isFlag ? [input, label] : [label, input]));
    element.title ||= path.join('.');
    input.dataset.member = path.join('.');
    const control = {
      element,
      show: () => {
        const value = path.reduce((at, name) => at?.[name], this.#session());
        if (isFlag) input.checked = value ?? false;
        else if (document.activeElement !== input) input.value = value ?? '';
        element.classList.toggle('changed', path[0] in this.#changes);
      },
    };
    input.addEventListener('change', () => {
      if (!input.checkValidity()) {
        input.reportValidity();
        return;
      }
      this.#set(path, isFlag ? input.checked : kind === 'number' ? Number(input.value) : input.value.trim(), member.secret);
    });
    this.#controls.push(control);
    return element;
  }

  #makeAngles() {
    const select = make('select', {}, ...Object.keys(kAngles).map((name) => make('option', { value: name, textContent: name })));
    select.dataset.member = 'angles';
    select.addEventListener('change', () => {
      for (const [name, value] of Object.entries(kAngles[select.value])) this.#set([name], value);
    });
    this.#controls.push({
      element: select,
      show: () => {
        const { aoaResultRequest, aoaType } = this.#session();
        select.value = aoaResultRequest === 'NO_AOA_REPORT' ? 'none'
          : Object.keys(kAngles).find((name) => kAngles[name].aoaType === aoaType);
      },
    });
    return make('label', { className: 'field' }, 'Angles', select);
  }

  #session() {
    return { ...this.#preset.session, ...this.#changes };
  }

  #set([name, inner], value, isSecret) {
    const before = this.#preset.session[name];
    const next = inner ? { ...this.#session()[name], [inner]: value } : value;
    if (isSecret ? value === '' : same(next, before)) delete this.#changes[name];
    else this.#changes[name] = next;
    // The usual role of a device type, and its usual address.
    if (name === 'deviceType') {
      this.#set(['deviceRole'], value === 'CONTROLEE' ? 'RESPONDER' : 'INITIATOR');
      this.#set(['deviceAddress'], value === 'CONTROLEE' ? '0x0002' : '0x0001');
    }
    this.#show();
  }

  #takePreset() {
    this.#preset = this.#forms.presets.find(({ name }) => name === $('preset').value);
    this.#changes = {};
    this.#show();
  }

  #show() {
    $('preset-help').textContent = this.#preset.description;
    for (const { show } of this.#controls) show();
  }
}
