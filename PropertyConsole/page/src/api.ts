// SPDX-License-Identifier: MIT
// What the console's service is asked and answers.
import {Pauses, retryAfter} from './pauses';

export type Role = 'viewer' | 'operator' | 'administrator';

export interface Session {
  user: string;
  role: Role;
  csrf_token: string;
}

export interface Choice {
  number: number;
  name?: string;
  value?: string;
  description?: string;
  hidden: boolean;
}

export type FieldType = 'boolean' | 'integer' | 'string' | 'choice' | 'lookup' | 'none';

/** Which table fills a field, and which of its columns. */
export interface Lookup {
  number: number;
  text?: string;
  flag: boolean;
}

export interface SchemaNode {
  number: number;
  parent: number | null;
  kind: 'container' | 'group' | 'field';
  name?: string;
  path?: string;
  description?: string;
  visibility: 'shown' | 'advanced' | 'hidden';
  type?: FieldType;
  scope?: 'device' | 'system';
  pattern?: string;
  default?: string | null;
  choices?: Choice[];
  lookup?: Lookup;
}

export interface Dependency {
  source: number;
  target: number;
  mode: number;
  value?: string | null;
}

export interface SchemaAnswer {
  nodes: SchemaNode[];
  dependencies: Dependency[];
}

/** Where a value stands; of which device is known from elsewhere. */
export interface Place {
  number: number;
  record: number | null;
}

export interface Value extends Place {
  secret: boolean;
  /** Missing where the stored text is no UTF-8: then `value_hex` is there. */
  value?: string | null;
  value_hex?: string;
  source: 'server' | 'default' | 'none';
}

export interface ValuesAnswer {
  device: string;
  revision: string;
  connected: boolean;
  values: Value[];
}

/** A value that has just changed. */
export interface ChangeEvent extends Value {
  revision?: string;
  /** Null for a value of no device. */
  device?: string | null;
}

export interface HistoryEntry extends Place {
  transaction: number | null;
  time: number;
  user?: string;
  person?: string;
  program?: string;
  device?: string | null;
  secret: boolean;
  former?: string | null;
  value?: string | null;
  removed: boolean;
  undoes: number | null;
}

export type Change =
  | {number: number; record: number | null; value: string}
  | {number: number; record: number | null; reset: true};

export interface TransactionRequest {
  device: string | null;
  revision: string;
  changes: Change[];
  confirm_within?: number;
}

export interface TransactionAnswer {
  /** Null when nothing had to be changed. */
  transaction: number | null;
  revision: string;
  confirm_until?: number | null;
}

/** What a transaction would do, were it made now. */
export interface DryRunAnswer {
  changes: (Place & {refused?: string | null})[];
  /** The places that would begin, and cease, to apply. */
  shown: Place[];
  hidden: Place[];
  conflicts: Value[];
}

export interface Refusal {
  /** Null where the reason is about all changes. */
  number: number | null;
  record: number | null;
  reason: string;
}

/** What an answer that is no success tells beside its message. */
export interface Details {
  conflicts?: Value[];
  refusals?: Refusal[];
  revision?: string;
}

/** An answer that is no success; `status` is 0 when there was none. */
export class Problem extends Error {
  constructor(
    readonly status: number,
    readonly code: string,
    message: string,
    readonly details: Details = {},
    /** Milliseconds before which the service wants to hear of no other try. */
    readonly pause = 0,
  ) {
    super(message);
  }

  /** The service has done nothing, for want of room; it, or something before it, has said no more. */
  get isBusy(): boolean {
    return this.status === 503 && ['', 'busy'].includes(this.code);
  }
}

const kPatience = 20000; // milliseconds for an answer
const kFirstPause = 500; // milliseconds before another try
const kLongestPause = 4000; // milliseconds

/** What stands in front of the service may answer with something else than JSON. */
function readAnswer(text: string, isSuccess: boolean): unknown {
  try {
    return text === '' ? null : JSON.parse(text);
  } catch (failure) {
    if (isSuccess) {
      throw failure;
    }
    return null;
  }
}

async function askOnce(path: string, request: RequestInit): Promise<unknown> {
  const stop = new AbortController();
  const timer = setTimeout(() => stop.abort(), kPatience);
  try {
    const answer = await fetch('/api/v1/' + path, {...request, signal: stop.signal});
    const object = readAnswer(await answer.text(), answer.ok);
    if (!answer.ok) {
      const told = (object ?? {}) as Details & {code?: string; message?: string};
      const pause = retryAfter(answer.headers.get('Retry-After'));
      throw new Problem(answer.status, told.code ?? '', told.message ?? '', told, pause);
    }
    return object;
  } catch (failure) {
    throw failure instanceof Problem ? failure : new Problem(0, 'no_console', '');
  } finally {
    clearTimeout(timer);
  }
}

/** While the service has no room, it is asked again, with growing pauses and not for ever. */
async function ask(method: string, path: string, body?: unknown, token?: string): Promise<unknown> {
  const headers: Record<string, string> = {};
  if (body !== undefined) {
    headers['Content-Type'] = 'application/json';
  }
  if (token !== undefined) {
    headers['X-CSRF-Token'] = token;
  }
  const request: RequestInit = {
    method,
    headers,
    body: body === undefined ? null : JSON.stringify(body),
    cache: 'no-store',
    credentials: 'same-origin',
  };
  const pauses = new Pauses(kFirstPause, kLongestPause);
  const end = Date.now() + kPatience;
  for (;;) {
    try {
      return await askOnce(path, request);
    } catch (problem) {
      const pause = problem instanceof Problem && problem.isBusy ? pauses.take(problem.pause) : Infinity;
      if (Date.now() + pause > end) {
        throw problem;
      }
      await new Promise((resolve) => setTimeout(resolve, pause));
    }
  }
}

function deviceQuery(device: string): string {
  return device === '' ? '' : '?device=' + encodeURIComponent(device);
}

export const api = {
  session: () => ask('GET', 'session') as Promise<Session>,
  signIn: (user: string, password: string) =>
    ask('POST', 'session', {user, password}) as Promise<Session>,
  signOut: (token: string) => ask('DELETE', 'session', undefined, token),
  schema: () => ask('GET', 'schema') as Promise<SchemaAnswer>,
  values: (device: string) => ask('GET', 'values' + deviceQuery(device)) as Promise<ValuesAnswer>,
  devices: () => ask('GET', 'devices') as Promise<{own: string; devices: string[]}>,
  status: () =>
    ask('GET', 'status') as Promise<{connected: boolean; figures: Record<string, string>}>,
  history: (query: Record<string, string>) =>
    ask('GET', 'history?' + new URLSearchParams(query).toString()) as Promise<{
      entries: HistoryEntry[];
    }>,
  apply: (request: TransactionRequest, token: string) =>
    ask('POST', 'transactions', request, token) as Promise<TransactionAnswer>,
  tryOut: (request: TransactionRequest, token: string) =>
    ask('POST', 'dry-run', request, token) as Promise<DryRunAnswer>,
  undo: (transaction: number, token: string) =>
    ask('POST', `transactions/${transaction}/undo`, {}, token) as Promise<TransactionAnswer>,
  confirm: (transaction: number, token: string) =>
    ask('POST', `transactions/${transaction}/confirm`, {}, token) as Promise<TransactionAnswer>,
  events: (device: string, revision: string) =>
    new EventSource(
      '/api/v1/events?' +
        new URLSearchParams(
          device === '' ? {'last-event-id': revision} : {device, 'last-event-id': revision},
        ).toString(),
    ),
};
