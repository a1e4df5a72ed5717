// SPDX-License-Identifier: Apache-2.0
// What the page knows: peers with the last minute of their measurements, the state, the world.

const kCapacity = 4096; // A minute at more than fifty a second.
const kLostAfter = 3; // Rounds without an answer.
const kWindow = 20; // Distances from which the spread is taken.

/** A ring of numbers that never grows. */
export class Ring {
  #values = new Float64Array(kCapacity);
  #end = 0;
  push(value) {
    this.#values[this.#end++ % kCapacity] = value;
  }
  get length() {
    return Math.min(this.#end, kCapacity);
  }
  /** The i-th from the oldest; negative ones from the latest. */
  at(i) {
    const index = i < 0 ? this.#end + i : this.#end - this.length + i;
    return this.#values[index % kCapacity];
  }
}

/** The spread of what is measured around a movement that is smooth: from second differences. */
function spread(ring) {
  const n = Math.min(ring.length, kWindow);
  if (n < 5) return null;
  const values = [];
  for (let i = n; i > 2; i--) {
    const difference = ring.at(-i) - 2 * ring.at(-i + 1) + ring.at(-i + 2);
    if (Number.isFinite(difference)) values.push(Math.abs(difference));
  }
  if (values.length < 3) return null;
  values.sort((a, b) => a - b);
  // The median of |x| of a normal is 0.6745 sigma; a second difference has the variance of six.
  return values[values.length >> 1] / 0.6745 / Math.sqrt(6);
}

const kTrailSeconds = 8;
const kTrailPiece = 0.6; // Seconds of which a trail shows the mean: where something went, without its noise.

/** A peer's trail as means of short pieces, oldest first: {x, y, z, age (1 for the oldest)}. */
export function smoothTrail({ trail }) {
  const end = trail.at(-1)?.t;
  const pieces = new Map();
  for (const { t, x, y, z } of trail) {
    // Pieces that do not move along as time goes on.
    const piece = Math.floor(t / kTrailPiece);
    const sum = pieces.get(piece) ?? pieces.set(piece, { n: 0, t: 0, x: 0, y: 0, z: 0 }).get(piece);
    sum.n++; sum.t += t; sum.x += x; sum.y += y; sum.z += z;
  }
  return [...pieces.values()].map(({ n, t, x, y, z }) => ({ x: x / n, y: y / n, z: z / n, age: (end - t / n) / kTrailSeconds }));
}

export class Peer {
  time = new Ring();
  distance = new Ring();
  azimuth = new Ring();
  elevation = new Ring();
  truth = new Ring();
  rateTime = new Ring();
  rate = new Ring();
  /** Where it was seen lately, in metres as the radio looks: {t, x (right), y (ahead), z}. */
  trail = [];
  latest = null;
  /** The latest with a distance. */
  seen = null;
  losses = 0;
  /** Whether the session has it no more. */
  hasLeft = false;
  #rateFrom = null;

  /** @param iface the radio that measures it. */
  constructor(iface, name, index) {
    this.iface = iface;
    this.name = name;
    this.index = index;
  }

  get isLost() {
    return this.losses >= kLostAfter;
  }
  /** What it is in place of being somewhere; empty when it is. */
  get absence() {
    return this.hasLeft ? 'removed' : this.isLost ? 'lost' : '';
  }
  get sigmaDistance() {
    return Math.max(spread(this.distance) ?? 0.1, 0.01);
  }
  get sigmaAzimuth() {
    return Math.max(spread(this.azimuth) ?? 0.05, 0.005);
  }

  /** The session has it no more: lines end here. */
  leave() {
    if (this.hasLeft) return;
    this.hasLeft = true;
    this.#rateFrom = null;
    for (const ring of [this.distance, this.azimuth, this.elevation, this.truth, this.rate]) ring.push(NaN);
    this.time.push(this.time.at(-1));
    this.rateTime.push(this.time.at(-1));
  }

  take(m, t) {
    this.hasLeft = false;
    this.latest = m;
    const has = m.d !== undefined;
    this.losses = has ? 0 : this.losses + 1;
    this.time.push(t);
    this.distance.push(has ? m.d / 1000 : NaN);
    this.azimuth.push(has && m.az !== undefined ? m.az : NaN);
    this.elevation.push(has && m.el !== undefined ? m.el : NaN);
    this.truth.push(m.true ? m.true.d / 1000 : NaN);
    if (has) {
      this.seen = m;
      if (m.az !== undefined) this.#follow(m, t);
    }
    this.#countRate(t);
  }

  #follow(m, t) {
    const d = m.d / 1000;
    const el = m.el ?? 0;
    this.trail.push({
      t,
      x: d * Math.cos(el) * Math.sin(m.az),
      y: d * Math.cos(el) * Math.cos(m.az),
      z: d * Math.sin(el),
    });
    while (this.trail.length > 1000 || this.trail[0].t < t - kTrailSeconds) this.trail.shift();
  }

  // How fast the distances of the last two seconds came, twice a second.
  #countRate(t) {
    this.#rateFrom ??= t;
    if (t - this.#rateFrom < 2 || (this.rateTime.length > 0 && t - this.rateTime.at(-1) < 0.5)) return;
    const times = [];
    for (let i = 1; i <= this.time.length && this.time.at(-i) > t - 2.05; i++) {
      if (!Number.isNaN(this.distance.at(-i))) times.push(this.time.at(-i));
    }
    this.rateTime.push(t);
    this.rate.push(times.length > 1 ? (times.length - 1) / (times[0] - times.at(-1)) : 0);
  }
}

/** What a radio at a place sees to its right, ahead of it and above, as a place in the world. */
export const seenFrom = (o, { x, y, z = 0 }) => {
  const [sin, cos] = [Math.sin(o.heading), Math.cos(o.heading)];
  return { x: o.x + x * cos + y * sin, y: o.y - x * sin + y * cos, z: o.z + z };
};

const kFarApart = 0.5; // Metres.

/**
 * Notes of each place {peer, at} where its peer really is, `truth`, and whether that is nowhere near, `isApart`: such as
 * one behind the radio, which is seen in front. What has no place, but a ring, is left out.
 * @param isFlat whether heights are left out, too; those that are not measured always are.
 */
export function compareWithTruth(places, bodies, isFlat) {
  for (const place of places) {
    const { peer: { seen, name }, at, radius } = place;
    place.truth = radius === undefined ? bodies.find(({ body }) => body.id === (seen.true?.thing ?? name)) : undefined;
    const there = place.truth?.at;
    if (!there) continue;
    const up = isFlat || seen.el === undefined ? 0 : at.z - there.z;
    place.isApart = Math.hypot(at.x - there.x, at.y - there.y, up) > kFarApart;
  }
}

export class Model {
  isConnected = false;
  state = null;
  stats = null;
  world = null;
  notes = [];
  /** By radio and name. */
  peers = new Map();
  /** The latest estimate of where something is, and those of the last seconds: {t, x, y, z}. */
  place = null;
  placeTrail = [];
  reports = 0;
  /** Reports that the server sent and that never came. */
  missing = 0;
  latestTime = null;
  #next = null;
  #clock = null;
  #listeners = [];
  #chosen = '';

  onChange(listener) {
    this.#listeners.push(listener);
  }
  changed(what) {
    for (const listener of this.#listeners) listener(what);
  }

  get isRunning() {
    return (this.state?.activities.length ?? 0) > 0;
  }
  /** Whether something of the world is on its way. */
  get isMoving() {
    return [...(this.world?.bodies.values() ?? [])].some(({ vx, vy, vz }) => vx || vy || vz);
  }
  /** The radio that controls are for. */
  get chosen() {
    const names = (this.state?.ifaces ?? []).map(({ name }) => name);
    return names.includes(this.#chosen) ? this.#chosen : names[0] ?? '';
  }
  choose(iface) {
    this.#chosen = iface;
    this.changed('state');
  }
  /** What a radio does, or null. */
  activityOn(iface) {
    return this.state?.activities.find(({ ifaces }) => ifaces.includes(iface)) ?? null;
  }
  get locating() {
    return this.state?.activities.find(({ kind }) => kind === 'locate') ?? null;
  }

  /** The radio's clock now, in seconds, as far as it can be known here. */
  now() {
    return this.#clock === null ? 0 : this.#passed + this.#clock;
  }
  /** How fast the radio's clock goes. */
  get pace() {
    return this.world?.pace ?? 1;
  }
  get #passed() {
    return (performance.now() / 1000) * this.pace;
  }
  #setClock(t) {
    const clock = t - this.#passed;
    // The earliest arrivals are nearest to the truth; slowly, so that nothing jumps.
    if (this.#clock === null || Math.abs(clock - this.#clock) > 1.5 * this.pace) this.#clock = clock;
    this.#clock += (clock - this.#clock) * (clock > this.#clock ? 0.3 : 0.01);
  }

  handlers() {
    return {
      connected: (isConnected) => {
        this.isConnected = isConnected;
        this.changed('state');
      },
      restart: () => {
        this.#begin('', []);
        this.world = null;
        this.#clock = null;
      },
      state: (state) => {
        this.state = state;
        this.#noteWhoLeft();
        this.changed('state');
      },
      begin: ({ kind, others }) => {
        this.#begin(kind, others);
        this.changed('begin');
      },
      report: (report) => this.#takeReport(report),
      place: (place) => this.#takePlace(place),
      stats: (stats) => {
        this.stats = stats;
        this.changed('stats');
      },
      world: (world) => {
        if (world.pace !== this.pace) this.#clock = null;
        this.world = { ...world, bodies: new Map(world.bodies.map((body) => [body.id, body])) };
        this.#setClock(world.t / 1e9);
        this.changed('world');
      },
      note: (note) => {
        this.notes.push(note);
        if (this.notes.length > 200) this.notes.shift();
        this.changed('note');
      },
      // Whole reports are counted by their numbers below.
      missed: () => {},
    };
  }

  // What goes on on other radios stays.
  #begin(kind, others) {
    for (const [key, { iface }] of this.peers) {
      if (!others.includes(iface)) this.peers.delete(key);
    }
    if (kind === 'locate' || others.length === 0) {
      this.place = null;
      this.placeTrail = [];
    }
    if (others.length > 0) return;
    this.reports = 0;
    this.missing = 0;
    this.latestTime = null;
    this.#next = null;
    this.stats = null;
  }

  peer(iface, name) {
    const key = `${iface} ${name}`;
    if (!this.peers.has(key)) {
      const taken = new Set([...this.peers.values()].map(({ index }) => index));
      let index = 0;
      while (taken.has(index) && index < 7) index++;
      this.peers.set(key, new Peer(iface, name, index));
    }
    return this.peers.get(key);
  }
  /** What a peer is called: with its radio, where several measure. */
  nameOf(peer) {
    const isOne = [...this.peers.values()].every(({ iface }) => iface === peer.iface);
    return isOne ? peer.name : `${peer.name} by ${peer.iface}`;
  }
  // Those that a session which goes on has no more.
  #noteWhoLeft() {
    for (const peer of this.peers.values()) {
      if (!(this.activityOn(peer.iface)?.peers?.includes(peer.name) ?? true)) peer.leave();
    }
  }

  #takeReport({ n, iface, m }) {
    if (this.#next !== null && n > this.#next) this.missing += n - this.#next;
    this.#next = n + 1;
    this.reports++;
    for (const measurement of m) {
      const t = measurement.t / 1e9;
      this.latestTime = Math.max(this.latestTime ?? t, t);
      this.peer(iface, measurement.peer).take(measurement, t);
    }
    // Of what was under way when it left.
    this.#noteWhoLeft();
    if (this.latestTime !== null) this.#setClock(this.latestTime);
    this.changed('report');
  }

  #takePlace(place) {
    this.place = place;
    const t = place.timestamp_ns / 1e9;
    if (place.at_m) this.placeTrail.push({ t, x: place.at_m[0], y: place.at_m[1], z: place.at_m[2] });
    while (this.placeTrail.length > 1000 || this.placeTrail[0]?.t < t - kTrailSeconds) this.placeTrail.shift();
    this.changed('report');
  }

  /** Where a thing of the world is now: on the straight line that it is on. */
  whereIs(body) {
    const seconds = Math.min(Math.max(this.now() - this.world.t / 1e9, 0), 3 * this.pace);
    return {
      x: body.x + body.vx * seconds,
      y: body.y + body.vy * seconds,
      z: body.z + body.vz * seconds,
    };
  }

  /** The interface of a radio of the world, as it is called elsewhere on the page. */
  ifaceOf(thing) {
    return this.state?.ifaces.find((iface) => iface.thing === thing)?.name ?? thing;
  }

  /** What an interface is in the world, such as radio0. */
  thingOf(iface) {
    return this.state?.ifaces.find(({ name }) => name === iface)?.thing ?? '';
  }

  /** Where a radio is and where it looks, by its interface; at the origin where nobody knows. */
  observer(iface = this.chosen) {
    const body = this.world?.bodies.get(this.thingOf(iface));
    if (body) return { ...this.whereIs(body), heading: body.heading ?? 0 };
    const place = this.place?.what === iface ? this.place.at_m : this.#saidPlace(iface);
    const [x, y, z] = place ?? [0, 0, 0];
    return { x, y, z, heading: 0 };
  }
  #saidPlace(name) {
    return this.locating?.anchors.find((anchor) => anchor.name === name)?.at_m;
  }

  /** Anchors of what is located: {name, at, peer (what was measured last)}. */
  anchors() {
    const locating = this.locating;
    return (locating?.anchors ?? []).map(({ name, at_m: [x, y, z], is_place_said }) => {
      const body = is_place_said ? null : this.world?.bodies.get(this.thingOf(name) || name);
      const key = locating.tag ? `${name} ${locating.tag}` : `${locating.ifaces[0]} ${name}`;
      return { name, at: body ? this.whereIs(body) : { x, y, z }, peer: this.peers.get(key) };
    });
  }
}
