// SPDX-License-Identifier: MIT
// Questions that the service has no room for, or that something in front of it answers.
import assert from 'node:assert/strict';
import {afterEach, beforeEach, test} from 'node:test';
import {api, Problem} from '@page/api';

interface Timer {
  at: number;
  run: () => void;
}

const real = {setTimeout, clearTimeout, fetch, now: Date.now};
let now: number;
let pauses: number[];
let asked: {address: string; request: RequestInit | undefined}[];
const timers = new Map<number, Timer>();

/** Time stands still until there is nothing else to do; then it goes on to the next timer. */
function runTimers(): void {
  real.setTimeout(() => {
    const [next] = [...timers].sort(([, one], [, other]) => one.at - other.at);
    if (next) {
      const [name, timer] = next;
      timers.delete(name);
      pauses.push(timer.at - now);
      now = timer.at;
      timer.run();
    }
  }, 0);
}

beforeEach(() => {
  now = 0;
  pauses = [];
  asked = [];
  timers.clear();
  let count = 0;
  Date.now = () => now;
  globalThis.setTimeout = ((run: () => void, pause: number) => {
    timers.set(++count, {at: now + pause, run});
    runTimers();
    return count;
  }) as unknown as typeof setTimeout;
  globalThis.clearTimeout = ((name: number) => timers.delete(name)) as unknown as typeof clearTimeout;
});

afterEach(() => {
  Date.now = real.now;
  globalThis.setTimeout = real.setTimeout;
  globalThis.clearTimeout = real.clearTimeout;
  globalThis.fetch = real.fetch;
});

type Answer = Pick<Response, 'ok' | 'status' | 'headers' | 'text'>;

function answer(status: number, text: string, headers: Record<string, string> = {}): Answer {
  const ok = status < 400;
  return {ok, status, headers: new Headers(headers), text: () => Promise.resolve(text)};
}

/** The service gives these answers, the last one for ever. */
function answerWith(...answers: Answer[]): void {
  globalThis.fetch = ((address: string, request?: RequestInit) => {
    asked.push({address, request});
    return Promise.resolve(answers[Math.min(asked.length, answers.length) - 1]);
  }) as typeof fetch;
}

const noRoom = answer(503, '');
const entries = answer(200, '{"entries":[]}');
const problem = (status: number, code: string) =>
  answer(status, JSON.stringify({code, message: 'Why.'}));

test('what there is no room for is asked again, with the same words', async () => {
  answerWith(noRoom, problem(503, 'busy'), entries);
  const request = {device: null, revision: 'r', changes: []};
  await api.apply(request, 'token');
  assert.equal(asked.length, 3);
  for (const {address, request: sent} of asked) {
    assert.equal(address, '/api/v1/transactions');
    assert.equal(sent?.body, JSON.stringify(request));
    assert.deepEqual(sent?.headers, asked[0]?.request?.headers);
  }
});

test('it is asked again no sooner than the service wants', async () => {
  answerWith(answer(503, '', {'Retry-After': '7'}), entries);
  await api.history({});
  assert.deepEqual(pauses, [7000]);
});

test('it is given up after a while', async () => {
  answerWith(noRoom);
  await assert.rejects(api.history({}), (failure: Problem) => failure.status === 503 && failure.isBusy);
  assert.ok(asked.length > 4 && asked.length < 12, String(asked.length));
  assert.ok(now <= 20000, String(now));
});

test('a reason that does not pass by itself is told at once', async () => {
  answerWith(problem(503, 'no_server'));
  await assert.rejects(api.history({}), {code: 'no_server', message: 'Why.', isBusy: false});
  assert.equal(asked.length, 1);
});

test('an answer in no JSON is a problem of its status', async () => {
  answerWith(answer(502, '<h1>Bad gateway</h1>'));
  await assert.rejects(api.history({}), {status: 502, code: '', message: ''});
});

test('an answer of success in no JSON is none', async () => {
  answerWith(answer(200, '<h1>Sign in to this network</h1>'));
  await assert.rejects(api.history({}), {status: 0, code: 'no_console'});
});
