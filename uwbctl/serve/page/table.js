// SPDX-License-Identifier: Apache-2.0
// The statistics of each peer, and what happened, in words.
import { mayCommand } from './api.js';
import { $, count, degrees, make, metres, number, percent, signed } from './format.js';

// One behind the radio may be metres from where it is drawn, and its distance right all the same.
const kErrorTitle = 'of the distance; the place may be another';
const kColumns = [
  { key: 'now', name: 'Now', unit: 'm', text: (s, p) => p.absence || metres(p.seen?.d, 3) },
  { key: 'azimuth', name: 'Azimuth', unit: '°', text: (s, p) => degrees(p.absence ? null : p.seen?.az) },
  { key: 'elevation', name: 'Elevation', unit: '°', text: (s, p) => degrees(p.absence ? null : p.seen?.el) },
  { key: 'count', name: 'Count', text: (s) => number(s?.distances) },
  { key: 'mean', name: 'Mean', unit: 'm', text: (s) => metres(s?.mean_mm, 3) },
  { key: 'spread', name: 'Spread', unit: 'm', text: (s) => metres(s?.spread_mm, 3) },
  { key: 'min', name: 'Min', unit: 'm', text: (s) => metres(s?.min_mm, 3) },
  { key: 'max', name: 'Max', unit: 'm', text: (s) => metres(s?.max_mm, 3) },
  { key: 'rate', name: 'Rate', unit: '1/s', text: (s) => number(s?.rate, 2) },
  { key: 'gap', name: 'Worst gap', unit: 's', text: (s) => number(s?.worst_gap_s, 2) },
  { key: 'losses', name: 'Losses', unit: '%', text: (s) => percent(s?.loss_ratio) },
  { key: 'los', name: 'Line of sight', unit: '%', text: (s) => percent(s?.los_ratio) },
  { key: 'off', name: 'Error now', unit: 'cm', world: true, title: kErrorTitle,
    text: (s, p) => (p.absence || !p.seen?.true ? '–' : signed((p.seen.d - p.seen.true.d) / 10, 1)) },
  { key: 'bias', name: 'Error mean', unit: 'cm', world: true, title: kErrorTitle, text: (s) => signed(s?.error_mean_mm == null ? null : s.error_mean_mm / 10, 1) },
  { key: 'rms', name: 'Error RMS', unit: 'cm', world: true, title: kErrorTitle, text: (s) => number(s?.error_rms_mm == null ? null : s.error_rms_mm / 10, 1) },
];

export class Table {
  #model;
  #rows = new Map();
  #hasWorld = null;

  constructor(model) {
    this.#model = model;
  }

  #columns() {
    return kColumns.filter(({ world }) => !world || this.#hasWorld);
  }

  #makeHead() {
    this.#hasWorld = this.#model.world !== null;
    this.#rows.clear();
    $('table').tBodies[0].replaceChildren();
    const cells = [make('th', { scope: 'col', textContent: 'Peer' })];
    for (const { name, unit, title = '' } of this.#columns()) {
      cells.push(make('th', { scope: 'col', title }, name, make('small', { textContent: unit ?? ' ' })));
    }
    $('table').tHead.replaceChildren(make('tr', {}, ...cells));
  }

  #row(key, peer) {
    let row = this.#rows.get(key);
    if (row) return row;
    const element = make('tr', {}, make('th', { scope: 'row' }, make('span', { className: `swatch p${peer.index}` }), make('span')));
    Object.assign(element.dataset, { peer: peer.name, iface: peer.iface });
    const cells = this.#columns().map((column) => {
      const cell = element.appendChild(make('td', { className: column.key }));
      cell.dataset.name = column.unit ? `${column.name} (${column.unit})` : column.name;
      return { column, cell };
    });
    $('table').tBodies[0].append(element);
    row = { element, peer, cells, name: element.querySelector('th span:last-child') };
    this.#rows.set(key, row);
    return row;
  }

  draw() {
    const model = this.#model;
    if (this.#hasWorld !== (model.world !== null)) this.#makeHead();
    for (const [key, { element, peer }] of this.#rows) {
      if (model.peers.get(key) !== peer) {
        element.remove();
        this.#rows.delete(key);
      }
    }
    const statistics = new Map((model.stats?.peers ?? []).map((entry) => [`${entry.iface} ${entry.peer}`, entry]));
    for (const [key, peer] of model.peers) {
      const { element, cells, name } = this.#row(key, peer);
      const label = model.nameOf(peer);
      if (name.textContent !== label) name.textContent = label;
      element.classList.toggle('lost', peer.absence !== '');
      for (const { column, cell } of cells) {
        const text = column.text(statistics.get(key), peer);
        if (cell.textContent !== text) cell.textContent = text;
      }
    }
    $('table').hidden = model.peers.size === 0;
    $('no-numbers').hidden = model.peers.size > 0;
    $('count-anew').hidden = !mayCommand || model.peers.size === 0;
    $('counts').textContent = model.reports === 0 ? ''
      : `${count(model.reports, 'report')} on this page, ${model.missing === 0 ? 'none' : model.missing} missed`;
    // For whoever tests the page.
    Object.assign(document.documentElement.dataset, { reports: model.reports, missing: model.missing });
  }
}

/** Adds the latest note to the list. */
export class Log {
  #model;
  #shown = 0;

  constructor(model) {
    this.#model = model;
  }

  take() {
    const note = this.#model.notes.at(-1);
    const list = $('log');
    const time = new Date(note.time_ms);
    list.prepend(make('li', { className: note.tone },
      make('time', { dateTime: time.toISOString(), textContent: time.toLocaleTimeString('en-GB') }),
      make('span', { textContent: note.text })));
    if (++this.#shown > 100) list.lastChild.remove();
  }
}
