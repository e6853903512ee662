// SPDX-License-Identifier: MIT
// The state of the page: what is known of the device, what the user is at, and the ways to change both.
import {api, Problem} from './api';
import type {
  ChangeEvent,
  DryRunAnswer,
  HistoryEntry,
  Place,
  Role,
  Session,
  TransactionRequest,
  Value,
} from './api';
import {Dependencies, type Reading} from './dependencies';
import * as editing from './edits';
import type {Edit, Edits} from './edits';
import {problemOf} from './patterns';
import type {RowSource} from './rows';
import {Schema, type Field, type View} from './schema';
import {timeOfDay, visible} from './show';
import {texts} from './texts';
import {defaultValue, isSameValue, keyOf, textOf, Values} from './values';

export type Panel = 'review' | 'history' | 'import' | 'keys' | null;
export type Theme = 'system' | 'light' | 'dark';

export interface Route {
  branch: number | null;
  record: number | null;
}

export interface Applied {
  transaction: number;
  state: 'applied' | 'confirming' | 'confirmed' | 'takenBack' | 'undone';
  /** Milliseconds since 1970. */
  until: number;
  undoneBy: number;
}

export const kMostEdits = 1000; // that the service takes as one

export interface HistoryView {
  of: Place | null;
  entries: HistoryEntry[] | null;
}

const kConfirmWithin = 60; // seconds
const kConfirmAfter = 2000; // milliseconds, in which a wrong address of the device would show
const kRetry = 2000; // milliseconds
const kFrame = 16; // milliseconds between two renderings

const kRoles: Role[] = ['viewer', 'operator', 'administrator'];

export function readRoute(hash: string): Route {
  const match = /^#\/(\d+)(?:\/(\d+))?$/.exec(hash);
  return {
    branch: match?.[1] === undefined ? null : Number(match[1]),
    record: match?.[2] === undefined ? null : Number(match[2]),
  };
}

export function routeTo(branch: number, record?: number): string {
  return record === undefined ? `#/${branch}` : `#/${branch}/${record}`;
}

/** Told of as a whole: whoever shows it subscribes, and is called at most once a frame. */
export class Console {
  /** Undefined while that is not known. */
  session: Session | null | undefined = undefined;
  signInFailure = '';
  schema: Schema | null = null;
  dependencies: Dependencies | null = null;
  values = new Values();
  device = '';
  own = '';
  devices: string[] = [];
  edits: Edits = new Map();
  /** When a value has changed while the page was open, as people say it. */
  marks = new Map<string, string>();

  /** Polling: changes cannot come by themselves, so that the values are asked for again and again. */
  link: 'connecting' | 'live' | 'polling' | 'away' = 'connecting';
  isServerThere = true;
  asOf = new Date();

  view: View = 'basic';
  theme: Theme = 'system';
  route: Route = readRoute(location.hash);
  searchText = '';
  panel: Panel = null;
  isMenuOpen = false;
  failure = '';
  wantedDevice: string | null = null;

  isApplying = false;
  applied: Applied | null = null;
  dryRun: DryRunAnswer | null = null;
  history: HistoryView = {of: null, entries: null};

  private revision = '';
  private stream: EventSource | null = null;
  private timer: number | undefined;
  private readonly listeners = new Set<() => void>();
  private frame: number | undefined;

  // ---- who shows it ----

  subscribe(listener: () => void): () => void {
    this.listeners.add(listener);
    return () => this.listeners.delete(listener);
  }

  changed(): void {
    this.frame ??= window.setTimeout(() => {
      this.frame = undefined;
      this.listeners.forEach((listener) => listener());
    }, kFrame);
  }

  /** Changes members and tells of it. */
  put(members: Partial<Console>): void {
    Object.assign(this, members);
    this.changed();
  }

  // ---- what follows from the state ----

  get isStale(): boolean {
    return !['live', 'polling'].includes(this.link) || !this.isServerThere;
  }

  may(role: Role): boolean {
    return this.session != null && kRoles.indexOf(this.session.role) >= kRoles.indexOf(role);
  }

  readonly read: Reading = (place) => {
    const field = this.schema?.fieldOf.get(place.number);
    for (const record of place.record === null ? [null] : [place.record, null]) {
      const at = {number: place.number, record};
      const edit = this.edits.get(keyOf(at));
      if (edit && field) {
        return editing.editedText(edit, field);
      }
      const value = this.values.get(at);
      if (value) {
        return textOf(value);
      }
    }
    return field?.default ?? null;
  };

  get rowSource(): RowSource | null {
    const {values, dependencies, read, view} = this;
    return dependencies && {values, dependencies, read, view};
  }

  valueAt(field: Field, record: number | null): Value {
    const place = {number: field.number, record};
    const isSecret = this.values.get({number: field.number, record: null})?.secret ?? false;
    return this.values.get(place) ?? defaultValue(field, record, isSecret);
  }

  fieldOf(place: Place): Field | undefined {
    return this.schema?.fieldOf.get(place.number);
  }

  /** Whether something stands in the way of applying the edits. */
  get isBlocked(): boolean {
    return this.edits.size > kMostEdits || [...this.edits.values()].some((edit) => {
      const field = this.fieldOf(edit);
      return edit.conflict !== null || edit.refused !== '' || !field || problemOf(field, edit.text);
    });
  }

  // ---- signing in ----

  async start(): Promise<void> {
    try {
      this.put({session: await api.session()});
      await this.load();
    } catch (problem) {
      if (problem instanceof Problem && problem.status === 401) {
        this.put({session: null});
      } else {
        this.fail(problem);
        this.later(() => this.start());
      }
    }
  }

  async signIn(user: string, password: string): Promise<void> {
    this.put({signInFailure: ''});
    try {
      this.put({session: await api.signIn(user, password)});
    } catch (problem) {
      const status = problem instanceof Problem ? problem.status : 0;
      const {failed, tooMany} = texts.signIn;
      const text = status === 401 ? failed : status === 429 ? tooMany : this.textOf(problem);
      this.put({signInFailure: text});
      return;
    }
    await this.load().catch((problem: unknown) => {
      this.fail(problem);
      this.later(() => this.load());
    });
  }

  async signOut(): Promise<void> {
    this.disconnect();
    await api.signOut(this.session?.csrf_token ?? '').catch(() => undefined);
    location.hash = '';
    location.reload();
  }

  // ---- what the device has ----

  private async load(): Promise<void> {
    this.schema ??= new Schema(await api.schema());
    this.dependencies ??= new Dependencies(this.schema);
    await this.loadValues();
    this.connect();
    try {
      this.put(await api.devices());
    } catch (problem) {
      // The server is away: the device itself is known.
      this.put({own: this.own || this.device, devices: this.devices});
    }
  }

  private async loadValues(): Promise<void> {
    const answer = await api.values(this.device);
    const isFirst = this.revision === '';
    for (const value of isFirst ? [] : answer.values) {
      this.note(value);
    }
    this.values = new Values(answer.values);
    for (const edit of this.edits.values()) {
      const field = this.fieldOf(edit);
      if (field) {
        this.edits = editing.merge(this.edits, this.valueAt(field, edit.record), field);
      }
    }
    this.revision = answer.revision;
    this.put({device: answer.device, isServerThere: answer.connected, failure: ''});
  }

  /** Marks a value that is another than the one that is held. */
  private note(value: Value): void {
    const field = this.fieldOf(value);
    if (field && !isSameValue(this.valueAt(field, value.record), value)) {
      this.marks.set(keyOf(value), timeOfDay(new Date()));
    }
  }

  private disconnect(): void {
    this.stream?.close();
    this.stream = null;
    clearTimeout(this.timer);
  }

  private connect(): void {
    this.disconnect();
    const stream = api.events(this.device, this.revision);
    this.stream = stream;
    const on = (name: string, then: (data: unknown, id: string) => void): void => {
      stream.addEventListener(name, (event) => {
        const message = event as MessageEvent<string>;
        then(JSON.parse(message.data || '{}'), message.lastEventId);
      });
    };
    stream.onopen = () => this.put({link: 'live', failure: ''});
    stream.onerror = () => this.lose(stream);
    on('change', (data, id) => this.take(data as ChangeEvent, id));
    on('connection', (data) => {
      const {connected} = data as {connected: boolean};
      if (this.isServerThere && !connected) {
        this.asOf = new Date();
      }
      this.put({isServerThere: connected});
    });
    on('reload', () => void this.loadValues().catch((problem: unknown) => this.fail(problem)));
    on('signed-out', () => {
      this.disconnect();
      this.put({session: null, link: 'away', signInFailure: ''});
    });
  }

  /** The browser goes on by itself, unless it was refused. */
  private lose(stream: EventSource): void {
    if (stream !== this.stream) {
      return;
    }
    const isRefused = stream.readyState === EventSource.CLOSED;
    if (this.link === 'live') {
      this.asOf = new Date();
    }
    if (this.link !== 'polling' || !isRefused) {
      this.put({link: 'away'});
    }
    if (isRefused) {
      this.later(() => this.resume());
    }
  }

  private async resume(): Promise<void> {
    const session = await api.session();
    this.put({session});
    await this.loadValues();
    this.put({link: 'polling', asOf: new Date()});
    this.connect();
  }

  /** Tries until it works or nobody is signed in any more. */
  private later(then: () => Promise<void>): void {
    clearTimeout(this.timer);
    this.timer = window.setTimeout(() => {
      then().catch((problem: unknown) => {
        if (problem instanceof Problem && problem.status === 401) {
          this.put({session: null});
        } else {
          this.put({link: 'away'});
          this.later(then);
        }
      });
    }, kRetry);
  }

  private take(change: ChangeEvent, id: string): void {
    this.note(change);
    this.values.set(change);
    this.edits = editing.merge(this.edits, change, this.fieldOf(change));
    this.revision = id || change.revision || this.revision;
    this.changed();
  }

  // ---- the device that is looked at ----

  /** Asks first where edits would be lost. */
  chooseDevice(device: string, isDecided = false): void {
    if (this.edits.size > 0 && !isDecided) {
      this.put({wantedDevice: device});
      return;
    }
    this.disconnect();
    this.revision = '';
    this.marks.clear();
    this.put({device, wantedDevice: null, edits: new Map(), link: 'connecting', applied: null});
    this.loadValues().then(
      () => this.connect(),
      (problem: unknown) => {
        this.fail(problem);
        this.later(() => this.resume());
      },
    );
  }

  // ---- edits ----

  edit(field: Field, record: number | null, text: string | null): void {
    const place = {number: field.number, record};
    const value = this.valueAt(field, record);
    this.put({edits: editing.enter(this.edits, place, text, value, field), dryRun: null});
  }

  settle(field: Field, record: number | null): void {
    const place = {number: field.number, record};
    const value = this.valueAt(field, record);
    this.put({edits: editing.settle(this.edits, place, value, field)});
  }

  takeBack(place: Place): void {
    this.put({edits: editing.drop(this.edits, place), dryRun: null});
    this.refreshReview();
  }

  takeAllBack(): void {
    this.put({edits: new Map(), dryRun: null, panel: null});
  }

  decide(place: Place, keepsMine: boolean): void {
    this.put({edits: editing.decide(this.edits, place, keepsMine), dryRun: null});
    this.refreshReview();
  }

  /** Puts many in, over those that there are. */
  addEdits(edits: Edits): void {
    this.put({edits: new Map([...this.edits, ...edits]), dryRun: null});
  }

  request(edits: Edits = this.edits): TransactionRequest {
    return {
      device: this.device || null,
      revision: this.revision,
      changes: editing.changesOf(edits),
    };
  }

  review(): void {
    if (this.edits.size > 0 && this.may('operator')) {
      this.put({panel: 'review', dryRun: null});
      this.refreshReview();
    }
  }

  private refreshReview(): void {
    if (this.panel !== 'review') {
      return;
    }
    if (this.edits.size === 0) {
      this.put({panel: null});
      return;
    }
    const edits = this.edits;
    api.dryRun(this.request(), this.session?.csrf_token ?? '').then(
      (answer) => {
        if (edits === this.edits) {
          const refusals = answer.changes.flatMap(({number, record, refused}) =>
            refused === null ? [] : [{number, record, reason: refused}],
          );
          this.put({dryRun: answer, edits: editing.noteRefusals(this.edits, refusals)});
        }
      },
      // It is only a preview: applying says what is wrong.
      () => undefined,
    );
  }

  /** Asks what would become of changes that are no edits yet. */
  tryOut(edits: Edits): Promise<DryRunAnswer> {
    return api.dryRun(this.request(edits), this.session?.csrf_token ?? '');
  }

  /** Revisions come with the events alone, so that none is passed over that was not seen. */
  async apply(isSafe: boolean, isAgain = false): Promise<void> {
    const edits = this.edits;
    const request = this.request();
    if (isSafe) {
      request.confirm_within = kConfirmWithin;
    }
    this.put({isApplying: true, failure: ''});
    try {
      const answer = await api.apply(request, this.session?.csrf_token ?? '');
      this.takeApplied(edits);
      this.put({panel: null});
      if (answer.transaction !== null) {
        this.follow(answer.transaction, isSafe, (answer.confirm_until ?? 0) * 1000);
      }
    } catch (problem) {
      if (this.takeRefusal(problem) && !isAgain) {
        await this.apply(isSafe, true);
      }
    } finally {
      this.put({isApplying: false});
    }
  }

  private follow(transaction: number, isSafe: boolean, until: number): void {
    const state = isSafe ? 'confirming' : 'applied';
    this.put({applied: {transaction, state, until, undoneBy: 0}});
    if (isSafe) {
      window.setTimeout(() => void this.confirm(transaction, until), kConfirmAfter);
    }
  }

  /** What was applied stands, though its events may still be on their way. */
  private takeApplied(applied: Edits): void {
    let edits = this.edits;
    for (const edit of applied.values()) {
      const field = this.fieldOf(edit);
      if (!field) {
        continue;
      }
      const {number, record} = edit;
      const secret = this.valueAt(field, record).secret;
      const value: Value = edit.text
        ? {number, record, secret, value: edit.text, source: 'server'}
        : defaultValue(field, record, secret);
      if (secret && !this.may('administrator')) {
        value.value = null;
      }
      this.values.set(value);
      edits = edits.get(keyOf(edit)) === edit ? editing.drop(edits, edit) : edits;
    }
    this.edits = edits;
  }

  /** Whether trying again may help: what has changed since was the edits' own base. */
  private takeRefusal(problem: unknown): boolean {
    if (!(problem instanceof Problem)) {
      throw problem;
    }
    const {conflicts, refusals, revision} = problem.details;
    if (problem.status === 412 && conflicts) {
      for (const value of conflicts) {
        this.note(value);
        this.values.set(value);
        this.edits = editing.merge(this.edits, value, this.fieldOf(value));
      }
      this.revision = revision ?? this.revision;
      this.changed();
      return editing.conflictsIn(this.edits) === 0 && this.edits.size > 0;
    }
    if (problem.status === 422 && refusals) {
      const general = refusals.filter(({number}) => number === null).map(({reason}) => reason);
      const edits = editing.noteRefusals(this.edits, refusals);
      this.put({edits, failure: general.map(visible).join(' ')});
    } else {
      this.fail(problem);
    }
    if (problem.status === 504) {
      // It may have been stored all the same.
      void this.loadValues().catch(() => undefined);
    }
    return false;
  }

  /** Confirms as soon as the device can be reached, until it is too late. */
  private async confirm(transaction: number, until: number): Promise<void> {
    if (this.applied?.transaction !== transaction || this.applied.state !== 'confirming') {
      return;
    }
    try {
      await api.confirm(transaction, this.session?.csrf_token ?? '');
      this.put({applied: {...this.applied, state: 'confirmed'}});
    } catch (problem) {
      const isOver = problem instanceof Problem && [404, 409, 410].includes(problem.status);
      if (isOver || Date.now() > until) {
        this.put({applied: {...this.applied, state: 'takenBack'}});
      } else {
        window.setTimeout(() => void this.confirm(transaction, until), kRetry);
      }
    }
  }

  async undo(transaction: number): Promise<void> {
    try {
      const answer = await api.undo(transaction, this.session?.csrf_token ?? '');
      const undoneBy = answer.transaction ?? 0;
      this.put({applied: {transaction, state: 'undone', until: 0, undoneBy}, failure: ''});
      if (this.panel === 'history') {
        this.showHistory(this.history.of);
      }
    } catch (problem) {
      if (problem instanceof Problem && problem.status === 409) {
        this.put({failure: texts.applied.undoConflict});
      } else if (problem instanceof Problem && problem.status === 404) {
        this.put({failure: texts.failures.gone});
      } else {
        this.fail(problem);
      }
    }
  }

  // ---- history ----

  showHistory(of: Place | null): void {
    this.put({panel: 'history', history: {of, entries: null}});
    const query: Record<string, string> = {limit: '200'};
    if (of) {
      query.number = String(of.number);
    }
    api.history(query).then(
      ({entries}) => {
        if (this.history.of === of) {
          this.put({history: {of, entries: entries.filter((entry) => this.isOf(entry, of))}});
        }
      },
      (problem: unknown) => this.fail(problem),
    );
  }

  private isOf(entry: HistoryEntry, of: Place | null): boolean {
    const isHere = !entry.device || entry.device === this.device;
    return isHere && (of === null || of.record === null || entry.record === of.record);
  }

  // ---- failures ----

  textOf(problem: unknown): string {
    const {away, busy, role, other} = texts.failures;
    if (!(problem instanceof Problem)) {
      return other(String(problem));
    }
    if (problem.code === 'role_too_low') {
      return role;
    }
    return problem.status === 0 ? away : problem.code === 'busy' ? busy : other(problem.message);
  }

  fail(problem: unknown): void {
    if (problem instanceof Problem && problem.status === 401) {
      this.disconnect();
      this.put({session: null, link: 'away', panel: null});
    } else {
      this.put({failure: this.textOf(problem)});
    }
  }
}

export function hasEdit(edits: Edits, field: Field, record: number | null): Edit | undefined {
  return edits.get(keyOf({number: field.number, record}));
}
