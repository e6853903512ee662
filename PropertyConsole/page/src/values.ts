// SPDX-License-Identifier: MIT
// The values of one device and of none, by their places.
import type {Place, Value} from './api';
import type {Field} from './schema';

export function keyOf(place: Place): string {
  return place.record === null ? String(place.number) : `${place.number}/${place.record}`;
}

/** What a value reads as: null for none, undefined where it is not told or is no text. */
export function textOf(value: Value | undefined): string | null | undefined {
  if (value === undefined) {
    return null;
  }
  return (value.secret && value.value == null) || value.value_hex !== undefined
    ? undefined
    : (value.value ?? null);
}

/** Whether two values read the same and come from the same place. */
export function isSameValue(one: Value | undefined, other: Value | undefined): boolean {
  return (
    (one?.value ?? null) === (other?.value ?? null) &&
    one?.value_hex === other?.value_hex &&
    (one?.source ?? 'none') === (other?.source ?? 'none')
  );
}

export class Values {
  private readonly held = new Map<string, Value>();
  private readonly recordsOfField = new Map<number, Set<number>>();

  constructor(values: Iterable<Value> = []) {
    for (const value of values) {
      this.set(value);
    }
  }

  get(place: Place): Value | undefined {
    return this.held.get(keyOf(place));
  }

  all(): IterableIterator<Value> {
    return this.held.values();
  }

  /** Of a record, only what is stored is kept. */
  set(value: Value): void {
    if (value.record !== null) {
      const records = this.recordsOfField.get(value.number) ?? new Set<number>();
      this.recordsOfField.set(value.number, records);
      if (value.source !== 'server') {
        this.held.delete(keyOf(value));
        records.delete(value.record);
        return;
      }
      records.add(value.record);
    }
    this.held.set(keyOf(value), value);
  }

  hasRecords(field: number): boolean {
    return (this.recordsOfField.get(field)?.size ?? 0) > 0;
  }

  /** Where the field may have a value. */
  placesOf(field: number): Place[] {
    const records = [null, ...(this.recordsOfField.get(field) ?? [])];
    return records.map((record) => ({number: field, record}));
  }

  /** The records of which any of the fields has a value, ascending. */
  recordsOf(fields: Iterable<Field>): number[] {
    const records = new Set<number>();
    for (const field of fields) {
      for (const record of this.recordsOfField.get(field.number) ?? []) {
        records.add(record);
      }
    }
    return [...records].sort((one, other) => one - other);
  }
}

/** What a place without a stored value reads as. */
export function defaultValue(field: Field, record: number | null, secret = false): Value {
  const text = field.default ?? null;
  return {
    number: field.number,
    record,
    secret,
    value: text,
    source: text === null ? 'none' : 'default',
  };
}
