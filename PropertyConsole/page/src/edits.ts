// SPDX-License-Identifier: MIT
// Changes that wait to be applied, and what becomes of them when values change meanwhile.
import type {Change, Place, Refusal, Value} from './api';
import type {Field} from './schema';
import {keyOf, textOf} from './values';

/** A change of one place. Never changed itself: another one takes its place. */
export interface Edit extends Place {
  /** Null: back to the default, as is an empty text. */
  text: string | null;
  /** The value that the user has seen when beginning. */
  base: Value | undefined;
  /** The value that has come meanwhile, where it is another: the user decides. */
  conflict: Value | null;
  /** Why the service does not take it; empty while it is not known to refuse. */
  refused: string;
}

export type Edits = ReadonlyMap<string, Edit>;

/** What the place reads as once the edit is applied. */
export function editedText(edit: Edit, field: Field): string | null {
  return edit.text || (field.default ?? null);
}

function reads(value: Value | undefined, field: Field): string | null | undefined {
  return value === undefined ? (field.default ?? null) : textOf(value);
}

/** Whether the edit would change nothing of that value. */
export function changesNothing(edit: Edit, value: Value | undefined, field: Field): boolean {
  if (!edit.text) {
    return (value?.source ?? 'none') !== 'server';
  }
  return reads(value, field) === edit.text;
}

function withEdit(edits: Edits, edit: Edit | null, key: string): Edits {
  const result = new Map(edits);
  if (edit) {
    result.set(key, edit);
  } else {
    result.delete(key);
  }
  return result;
}

/**
 * Puts in what the user has entered; an edit that changes nothing is dropped, but for an emptied one:
 * the user may be about to enter something else.
 */
export function enter(
  edits: Edits,
  place: Place,
  text: string | null,
  value: Value | undefined,
  field: Field,
): Edits {
  const former = edits.get(keyOf(place));
  const edit: Edit = {
    number: place.number,
    record: place.record,
    text,
    base: former ? former.base : value,
    conflict: former ? former.conflict : null,
    refused: '',
  };
  const isNothing =
    text === '' ? (reads(value, field) ?? '') === '' : changesNothing(edit, value, field);
  return withEdit(edits, isNothing && !edit.conflict ? null : edit, keyOf(place));
}

/** Drops the edit of a place that the user has left if it changes nothing. */
export function settle(edits: Edits, place: Place, value: Value | undefined, field: Field): Edits {
  const edit = edits.get(keyOf(place));
  return edit && !edit.conflict && changesNothing(edit, value, field) ? drop(edits, place) : edits;
}

/** The edit once `value` stands at its place; null when it has nothing left to change. */
export function mergeOne(edit: Edit, value: Value, field: Field): Edit | null {
  if (changesNothing(edit, value, field)) {
    return null;
  }
  const isAsBefore =
    reads(value, field) === reads(edit.base, field) &&
    value.value_hex === edit.base?.value_hex &&
    (value.source === 'server') === (edit.base?.source === 'server');
  return isAsBefore ? {...edit, conflict: null} : {...edit, conflict: value};
}

/** Takes in a value that has come from the service. */
export function merge(edits: Edits, value: Value, field: Field | undefined): Edits {
  const edit = edits.get(keyOf(value));
  if (!edit || !field) {
    return edits;
  }
  const merged = mergeOne(edit, value, field);
  return merged === edit ? edits : withEdit(edits, merged, keyOf(value));
}

/** Ends a conflict: the user's text goes on, over the value that has come, or is given up. */
export function decide(edits: Edits, place: Place, keepsMine: boolean): Edits {
  const edit = edits.get(keyOf(place));
  if (!edit?.conflict) {
    return edits;
  }
  const kept = keepsMine ? {...edit, base: edit.conflict, conflict: null} : null;
  return withEdit(edits, kept, keyOf(place));
}

export function drop(edits: Edits, place: Place): Edits {
  return withEdit(edits, null, keyOf(place));
}

/** Notes what the service refuses; forgets what it refused before. */
export function noteRefusals(edits: Edits, refusals: Iterable<Refusal>): Edits {
  const result = new Map<string, Edit>();
  for (const [key, edit] of edits) {
    result.set(key, edit.refused === '' ? edit : {...edit, refused: ''});
  }
  for (const refusal of refusals) {
    const {number, record, reason} = refusal;
    const edit = number === null ? undefined : result.get(keyOf({number, record}));
    if (edit) {
      result.set(keyOf(edit), {...edit, refused: reason});
    }
  }
  return result;
}

export function conflictsIn(edits: Edits): number {
  let count = 0;
  for (const edit of edits.values()) {
    count += edit.conflict ? 1 : 0;
  }
  return count;
}

export function changesOf(edits: Edits): Change[] {
  return [...edits.values()].map(({number, record, text}) =>
    text ? {number, record, value: text} : {number, record, reset: true as const},
  );
}
