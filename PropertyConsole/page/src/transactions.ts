// SPDX-License-Identifier: MIT
// Applies edits, confirms and undoes what was applied, and shows what was changed before.
import {api, Problem} from './api';
import type {DryRunAnswer, HistoryEntry, Place, TransactionRequest, Value} from './api';
import {kMostEdits, kNoEffects, type Applied, type Console} from './console';
import * as editing from './edits';
import type {Edits} from './edits';
import {visible} from './show';
import {texts} from './texts';
import {defaultValue, keyOf} from './values';

const kConfirmWithin = 60; // seconds
const kConfirmAfter = 2000; // milliseconds, in which a wrong address of the device would show
const kConfirmAgain = 2000; // milliseconds
const kEntries = '200'; // of the history

/** Changes what the device has; the state of the page follows. */
export class Transactions {
  constructor(private readonly app: Console) {}

  /** Applies all edits as one; with care, so that they are taken back unless confirmed. */
  async apply(isSafe: boolean): Promise<void> {
    const {app} = this;
    app.put({isApplying: true, failure: ''});
    try {
      // What has changed since may be what the edits are based on: then the next try says so.
      const again = await this.tryToApply(isSafe, app.service.revision);
      if (again) {
        await this.tryToApply(isSafe, again);
      }
    } finally {
      app.put({isApplying: false});
    }
  }

  /** Asks what the edits would do, and notes what would be refused. */
  async tryOut(): Promise<void> {
    const {app} = this;
    const changes = editing.changesOf(app.edits);
    const wanted = JSON.stringify(changes);
    app.put({effects: kNoEffects});
    if (changes.length === 0 || changes.length > kMostEdits) {
      return;
    }
    try {
      const request = {device: app.device || null, revision: app.service.revision, changes};
      const answer = await api.tryOut(request, this.token);
      // Other edits are tried out by themselves.
      if (JSON.stringify(editing.changesOf(app.edits)) === wanted) {
        this.takeTrial(answer);
      }
    } catch (problem) {
      app.fail(problem);
    }
  }

  async undo(transaction: number): Promise<void> {
    const {app} = this;
    try {
      const answer = await api.undo(transaction, this.token);
      const undoneBy = answer.transaction ?? 0;
      app.put({applied: {transaction, state: 'undone', until: 0, undoneBy}, failure: ''});
      if (app.panel === 'history') {
        this.showHistory(app.history.of);
      }
    } catch (problem) {
      const status = problem instanceof Problem ? problem.status : 0;
      if (status === 409) {
        app.put({failure: texts.applied.undoConflict});
      } else if (status === 404) {
        app.put({failure: texts.failures.gone});
      } else {
        app.fail(problem);
      }
    }
  }

  /** Opens the history of a place, or of all. */
  showHistory(of: Place | null): void {
    const {app} = this;
    app.put({panel: 'history', history: {of, entries: null}, failure: ''});
    const query: Record<string, string> = {limit: kEntries};
    if (of) {
      query.number = String(of.number);
    }
    api.history(query).then(
      ({entries}) => {
        if (app.history.of === of) {
          app.put({history: {of, entries: entries.filter((entry) => this.isOf(entry, of))}});
        }
      },
      (problem: unknown) => app.fail(problem),
    );
  }

  private get token(): string {
    return this.app.session?.csrf_token ?? '';
  }

  /** The revision with which another try may help; none where it is decided. */
  private async tryToApply(isSafe: boolean, revision: string): Promise<string | undefined> {
    const {app} = this;
    const {edits} = app;
    const changes = editing.changesOf(edits);
    // By the clock of this machine: the device may have another.
    const until = Date.now() + kConfirmWithin * 1000;
    const request: TransactionRequest = {device: app.device || null, revision, changes};
    if (isSafe) {
      request.confirm_within = kConfirmWithin;
    }
    try {
      const answer = await api.apply(request, this.token);
      app.service.outdateAnswers();
      this.takeApplied(edits);
      app.put({panel: null});
      if (answer.transaction !== null) {
        this.follow(answer.transaction, isSafe, until);
      }
      return undefined;
    } catch (problem) {
      return this.takeRefusal(problem);
    }
  }

  /** What was applied stands, though its events may still be on their way. */
  private takeApplied(applied: Edits): void {
    const {app} = this;
    for (const edit of applied.values()) {
      const field = app.fieldOf(edit);
      if (!field) {
        continue;
      }
      const {number, record} = edit;
      const secret = app.valueAt(field, record).secret;
      const value: Value = edit.text
        ? {number, record, secret, value: edit.text, source: 'server'}
        : defaultValue(field, record, secret);
      if (secret && !app.may('administrator')) {
        value.value = null;
      }
      app.values.set(value);
      // What was entered while it was on its way stays an edit.
      if (app.edits.get(keyOf(edit)) === edit) {
        app.edits = editing.drop(app.edits, edit);
      }
    }
  }

  private takeTrial({changes, shown, hidden, conflicts}: DryRunAnswer): void {
    const {app} = this;
    const refusals = changes.flatMap(({number, record, refused}) =>
      refused ? [{number, record, reason: refused}] : [],
    );
    const edits = editing.noteRefusals(app.edits, refusals);
    app.put({effects: {appear: shown, vanish: hidden}, edits, failure: ''});
    this.takeConflicts(conflicts);
  }

  private takeConflicts(values: readonly Value[]): void {
    if (values.length > 0) {
      this.app.service.outdateAnswers();
      values.forEach((value) => this.app.take(value));
    }
  }

  private takeRefusal(problem: unknown): string | undefined {
    const {app} = this;
    const {status, details} = problem instanceof Problem ? problem : {status: 0, details: {}};
    const {conflicts, refusals, revision} = details;
    if (status === 412 && conflicts) {
      this.takeConflicts(conflicts);
      return editing.conflictsIn(app.edits) === 0 && app.edits.size > 0 ? revision : undefined;
    }
    if (status === 422 && refusals) {
      const general = refusals.filter(({number}) => number === null);
      const failure = general.map(({reason}) => visible(reason)).join(' ');
      app.put({edits: editing.noteRefusals(app.edits, refusals), failure});
    } else {
      app.fail(problem);
    }
    if (status === 504) {
      // It may have been stored all the same.
      app.service.reload();
    }
    return undefined;
  }

  private follow(transaction: number, isSafe: boolean, until: number): void {
    const state = isSafe ? 'confirming' : 'applied';
    this.app.put({applied: {transaction, state, until, undoneBy: 0}});
    if (isSafe) {
      window.setTimeout(() => void this.confirm(transaction, until), kConfirmAfter);
    }
  }

  /** Confirms as soon as the device can be reached, until it is too late. */
  private async confirm(transaction: number, until: number): Promise<void> {
    try {
      await api.confirm(transaction, this.token);
      this.say(transaction, 'confirmed');
    } catch (problem) {
      const isOver = problem instanceof Problem && [404, 409, 410].includes(problem.status);
      if (isOver || Date.now() > until) {
        this.say(transaction, 'takenBack');
      } else {
        window.setTimeout(() => void this.confirm(transaction, until), kConfirmAgain);
      }
    }
  }

  /** Unless the page tells of another transaction by now, or of its undoing. */
  private say(transaction: number, state: Applied['state']): void {
    const {applied} = this.app;
    if (applied?.transaction === transaction && applied.state === 'confirming') {
      this.app.put({applied: {...applied, state}});
    } else if (state === 'takenBack' && applied?.transaction !== transaction) {
      this.app.put({failure: texts.applied.takenBack});
    }
  }

  private isOf(entry: HistoryEntry, of: Place | null): boolean {
    const isHere = !entry.device || entry.device === this.app.device;
    return isHere && (of === null || of.record === null || entry.record === of.record);
  }
}
