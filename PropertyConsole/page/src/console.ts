// SPDX-License-Identifier: MIT
// The state of the page: what is known of the device, and what the user is at.
import {Problem} from './api';
import type {HistoryEntry, Place, Role, Session, Value} from './api';
import type {Dependencies, Reading} from './dependencies';
import * as editing from './edits';
import type {Edit, Edits} from './edits';
import {entriesAt, type LookupEntry, type Table} from './lookups';
import {problemOf} from './patterns';
import type {RowSource} from './rows';
import type {Field, Schema, View} from './schema';
import {Service} from './service';
import {timeOfDay} from './show';
import {texts} from './texts';
import {Transactions} from './transactions';
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

/** The places that begin and cease to apply with the edits. */
export interface Effects {
  appear: readonly Place[];
  vanish: readonly Place[];
}

export const kNoEffects: Effects = {appear: [], vanish: []};
export const kMostEdits = 1000; // that the service takes as one

export interface HistoryView {
  of: Place | null;
  entries: HistoryEntry[] | null;
}

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

  /** Polling: changes cannot come by themselves, so that the values are asked for. */
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
  effects = kNoEffects;
  applied: Applied | null = null;
  history: HistoryView = {of: null, entries: null};

  readonly service = new Service(this);
  readonly transactions = new Transactions(this);

  private readonly listeners = new Set<() => void>();
  private frame: number | undefined;

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

  get isStale(): boolean {
    return !['live', 'polling'].includes(this.link) || !this.isServerThere;
  }

  may(role: Role): boolean {
    return this.session != null && kRoles.indexOf(this.session.role) >= kRoles.indexOf(role);
  }

  /** What a place reads as once the edits are applied. */
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

  /** What a lookup offers: the entries of its table, else those that the field has elsewhere. */
  entriesOf(field: Field, table: Table | null): LookupEntry[] {
    const column = table?.column ?? field;
    const edited = [...this.edits.values()].filter(({number}) => number === column.number);
    const places = [...this.values.placesOf(column.number), ...edited].filter(
      ({record}) => table === null || record !== null,
    );
    return entriesAt(places, column, this.read);
  }

  fieldOf(place: Place): Field | undefined {
    return this.schema?.fieldOf.get(place.number);
  }

  /** Whether something stands in the way of applying the edits. */
  get isBlocked(): boolean {
    const isWrong = (edit: Edit): boolean => {
      const field = this.fieldOf(edit);
      return !field || problemOf(field, edit.text) !== null;
    };
    return (
      this.edits.size > kMostEdits ||
      [...this.edits.values()].some((edit) => edit.conflict || edit.refused || isWrong(edit))
    );
  }

  /** Marks a value that is another than the one that is held. */
  note(value: Value): void {
    const field = this.fieldOf(value);
    if (field && !isSameValue(this.valueAt(field, value.record), value)) {
      this.marks.set(keyOf(value), timeOfDay(new Date()));
    }
  }

  /** Puts in a value that has come from the service. */
  take(value: Value): void {
    this.note(value);
    this.values.set(value);
    this.edits = editing.merge(this.edits, value, this.fieldOf(value));
    this.changed();
  }

  /** Puts in all values, in place of those that there were. */
  takeAll(values: readonly Value[]): void {
    this.values = new Values(values);
    for (const edit of this.edits.values()) {
      const field = this.fieldOf(edit);
      if (field) {
        this.edits = editing.merge(this.edits, this.valueAt(field, edit.record), field);
      }
    }
    this.changed();
  }

  edit(field: Field, record: number | null, text: string | null): void {
    const place = {number: field.number, record};
    const value = this.valueAt(field, record);
    this.put({edits: editing.enter(this.edits, place, text, value, field)});
  }

  settle(field: Field, record: number | null): void {
    const place = {number: field.number, record};
    const value = this.valueAt(field, record);
    this.put({edits: editing.settle(this.edits, place, value, field)});
  }

  takeBack(place: Place): void {
    this.put({edits: editing.drop(this.edits, place)});
    this.closeEmptyReview();
  }

  takeAllBack(): void {
    this.put({edits: new Map(), panel: null});
  }

  decide(place: Place, keepsMine: boolean): void {
    this.put({edits: editing.decide(this.edits, place, keepsMine)});
    this.closeEmptyReview();
  }

  /** Puts many in, over those that there are. */
  addEdits(edits: Edits): void {
    this.put({edits: new Map([...this.edits, ...edits])});
  }

  review(): void {
    if (this.edits.size > 0 && this.may('operator')) {
      this.put({panel: 'review', failure: ''});
    }
  }

  private closeEmptyReview(): void {
    if (this.panel === 'review' && this.edits.size === 0) {
      this.put({panel: null});
    }
  }

  /** A failure for people. */
  failureText(problem: unknown): string {
    const {away, busy, role, other} = texts.failures;
    if (!(problem instanceof Problem)) {
      return other(String(problem));
    }
    if (problem.code === 'role_too_low') {
      return role;
    }
    if (problem.isBusy) {
      return busy;
    }
    return problem.status === 0 ? away : other(problem.message || `HTTP ${problem.status}`);
  }

  /** Tells of a failure; who is not signed in any more is asked to sign in. */
  fail(problem: unknown): void {
    if (problem instanceof Problem && problem.status === 401) {
      this.service.leave();
    } else {
      this.put({failure: this.failureText(problem)});
    }
  }
}
