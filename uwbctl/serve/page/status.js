// SPDX-License-Identifier: Apache-2.0
// The line at the top: what goes on, and who does not answer.
import { count } from './format.js';

const kMostNames = 4;
// Milliseconds for which a peer has to be there again. Whoever comes and goes has one line, not one each time: a
// screen reader reads every new one.
const kBackAfter = 5000;

function activityText(activity) {
  const { kind, ifaces: [iface], session } = activity;
  if (kind === 'ccc') return `CCC session on ${iface}, channel ${activity.channel}`;
  if (kind === 'simple') {
    return `Simple ranging with ${count(activity.peers.length, 'peer')} on ${iface}, channel ${activity.channel}`;
  }
  const stride = session.isBlockStridingEnabled ? session.blockStridingValue + 1 : 1;
  const rate = Number((1000 / (session.rangingBlockDurationMs * stride)).toFixed(2));
  return kind === 'locate'
    ? `Locating ${activity.tag || iface} by ${count(activity.anchors.length, 'anchor')}, channel ${session.channelNumber}, ${rate} a second`
    : `Ranging with ${count(activity.peers.length, 'peer')} on ${iface}, channel ${session.channelNumber}, ${rate} a second`;
}

export class Status {
  #model;
  /** When each peer was last seen to be lost. */
  #lost = new WeakMap();

  constructor(model) {
    this.#model = model;
  }

  /** @return [class of the lamp, text] of now. */
  get() {
    const { state, isConnected } = this.#model;
    if (!isConnected) return ['bad', 'The server does not answer; trying again…'];
    if (!state) return ['wait', 'Connecting…'];
    if (state.service !== 'there') return ['bad', state.service];
    const { activities } = state;
    if (activities.length === 0) {
      if (state.ifaces.length === 0) return ['wait', 'There is no radio'];
      return state.hardware === 'free' ? ['ready', 'Ready'] : ['wait', `The radio is ${state.hardware}`];
    }
    if (activities.every(({ phase }) => phase === 'stopping')) return ['wait', 'Stopping…'];
    const silences = activities.map((activity) => this.#silence(activity));
    const text = activities.map((activity, i) => activityText(activity) + silences[i]).join('; ');
    return [silences.some(Boolean) ? 'wait' : 'good', text];
  }

  // Several radios locate one tag: then it is they who get no answer.
  #silence({ kind, ifaces, peers = [], tag }) {
    const isOfTag = kind === 'locate' && tag;
    const silent = isOfTag ? ifaces.filter((iface) => this.#isSilent(iface, tag))
      : peers.filter((name) => this.#isSilent(ifaces[0], name));
    if (silent.length === 0) return '';
    const more = silent.length > kMostNames ? ` and ${silent.length - kMostNames} more` : '';
    return `: no answer ${isOfTag ? 'to' : 'from'} ${silent.slice(0, kMostNames).join(', ')}${more}`;
  }

  #isSilent(iface, name) {
    const peer = this.#model.peers.get(`${iface} ${name}`);
    if (!peer) return false;
    const now = performance.now();
    if (peer.isLost) this.#lost.set(peer, now);
    return now - (this.#lost.get(peer) ?? -Infinity) < kBackAfter;
  }
}
