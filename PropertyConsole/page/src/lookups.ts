// SPDX-License-Identifier: MIT
// What a lookup offers: what the records of its table have.
import type {Place} from './api';
import type {Reading} from './dependencies';
import type {Branch, Field, Schema} from './schema';
import {shownText, visible} from './show';
import {texts} from './texts';

/** Where the entries of a lookup stand. */
export interface Table {
  branch: Branch;
  /** The field whose texts are the entries. */
  column: Field;
}

export interface LookupEntry {
  text: string;
  /** What tells entries apart for people. */
  label: string;
}

const kMost = 500; // entries that are offered

/** The group whose number the lookup has, and the field in it whose name is the lookup's text. */
export function tableOf(field: Field, schema: Schema): Table | null {
  const {type, lookup} = field;
  if (type !== 'lookup' || !lookup) {
    return null;
  }
  const branch = schema.branchOf.get(lookup.number);
  const column = branch?.fields.find(({name}) => name !== undefined && name === lookup.text);
  return branch && column ? {branch, column} : null;
}

/** The texts at the places, each once. */
export function entriesAt(places: readonly Place[], column: Field, read: Reading): LookupEntry[] {
  const labels = new Map<string, string>();
  for (const place of inOrder(places)) {
    const text = read(place);
    if (text && !labels.has(text) && labels.size < kMost) {
      labels.set(text, labelOf(column, text, place.record));
    }
  }
  return [...labels].map(([text, label]) => ({text, label}));
}

function inOrder(places: readonly Place[]): Place[] {
  return [...places].sort((one, other) => (one.record ?? -1) - (other.record ?? -1));
}

/** A choice's name, and the record. */
function labelOf(column: Field, text: string, record: number | null): string {
  const shown = shownText(column, text);
  const of = record === null ? '' : texts.records.title(record);
  return [shown === visible(text) ? '' : shown, of].filter(Boolean).join(' · ');
}
