// SPDX-License-Identifier: Apache-2.0
// The way to the server: the token that the link brought, commands, and the stream of events.

// The token stays in this tab, and out of the address that one may copy or show.
if (location.hash.length > 1) {
  sessionStorage.setItem('token', location.hash.slice(1));
  history.replaceState(null, '', location.pathname);
}
// A link that is pasted over this page's.
addEventListener('hashchange', () => {
  if (location.hash.length > 1) location.reload();
});
const token = sessionStorage.getItem('token');
/** Whether there is one, be it this server's or not. */
export const hasToken = token !== null;
/** Whether the server knows the token: after getForms(). */
export let mayCommand = false;

export async function getForms() {
  const response = await fetch('forms.json', { headers: { 'X-Token': token ?? '' } });
  const forms = await response.json();
  mayCommand = forms.may_command;
  return forms;
}

let latest = Promise.resolve();

/**
 * Sends a command when those before it are done: by two connections the second could be first.
 * What is wrong with it is an Error with the server's words.
 */
export function command(name, args = {}) {
  const done = latest.then(() => send(name, args));
  latest = done.catch(() => {});
  return done;
}

async function send(name, args) {
  let response;
  try {
    response = await fetch(`command/${name}`, {
      method: 'POST',
      headers: { 'Content-Type': 'application/json', 'X-Token': token ?? '' },
      body: JSON.stringify(args),
    });
  } catch {
    throw new Error('the server does not answer');
  }
  const answer = await response.json();
  if (!response.ok) throw new Error(answer.error);
  return answer;
}

/**
 * Follows the events: each of handlers is called with its kind's data. The browser takes a stream
 * that broke up again where it was; handlers.restart is called when that is not possible, because
 * the server is another one.
 */
export function follow(handlers) {
  const source = new EventSource(mayCommand ? `events?token=${encodeURIComponent(token)}` : 'events');
  let run = null;
  source.onopen = () => handlers.connected(true);
  source.onerror = () => handlers.connected(false);
  for (const kind of ['state', 'begin', 'report', 'place', 'stats', 'world', 'note', 'missed']) {
    source.addEventListener(kind, (event) => {
      const [of] = event.lastEventId.split('-');
      if (run !== null && of !== run) handlers.restart();
      run = of;
      handlers[kind](JSON.parse(event.data));
    });
  }
}

/**
 * Sends the latest of what changes faster than the server is to hear it, one at a time.
 * @return a function like command().
 */
export function lately(name, onError) {
  let waiting = null;
  let isBusy = false;
  async function run() {
    isBusy = true;
    while (waiting) {
      const args = waiting;
      waiting = null;
      try {
        await command(name, args);
      } catch (error) {
        onError(error);
      }
      await new Promise((resolve) => setTimeout(resolve, 30));
    }
    isBusy = false;
  }
  return (args) => {
    waiting = args;
    if (!isBusy) run();
  };
}
