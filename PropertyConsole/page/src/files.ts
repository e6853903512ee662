// SPDX-License-Identifier: MIT
// Values as files, in the form of "property dump".
import type {Place} from './api';
import {enter, type Edits} from './edits';
import type {Schema} from './schema';
import type {Values} from './values';
import {keyOf} from './values';

interface Entry {
  number?: unknown;
  path?: unknown;
  record?: unknown;
  device?: unknown;
  value?: unknown;
  value_hex?: unknown;
  secret?: unknown;
}

/** A file that has been read; only its form has been looked at. */
export interface ValueFile {
  entries: Entry[];
  /** Those that values are of. */
  devices: string[];
}

/** What a file would change. */
export interface Import {
  edits: Edits;
  /** How many entries are of numbers and paths that the schema does not have. */
  unknown: number;
  /** How many are secrets without a text. */
  secrets: number;
}

/** The stored values that are told, of `device` and of none. */
export function exportText(schema: Schema, values: Values, device: string): string {
  const lines: string[] = [];
  for (const value of values.all()) {
    const field = schema.fieldOf.get(value.number);
    if (value.source !== 'server' || !field) {
      continue;
    }
    const entry = {
      number: value.number,
      path: field.path ?? null,
      record: value.record,
      device: field.scope === 'device' ? device : null,
    };
    if (value.value_hex !== undefined) {
      lines.push(JSON.stringify({...entry, value_hex: value.value_hex}));
    } else if (value.value == null) {
      lines.push(JSON.stringify({...entry, secret: true}));
    } else {
      lines.push(JSON.stringify({...entry, value: value.value}));
    }
  }
  return `{"format":"property-dump","version":1,"values":[\n${lines.join(',\n')}\n]}\n`;
}

/** Null for a text that is no file of values. */
export function readFile(text: string): ValueFile | null {
  let object: unknown;
  try {
    object = JSON.parse(text);
  } catch {
    return null;
  }
  const file = object as {format?: unknown; version?: unknown; values?: unknown} | null;
  if (file?.format !== 'property-dump' || file.version !== 1 || !Array.isArray(file.values)) {
    return null;
  }
  const entries = file.values.filter(
    (entry): entry is Entry => typeof entry === 'object' && entry !== null,
  );
  const devices = new Set<string>();
  for (const entry of entries) {
    if (typeof entry.device === 'string' && entry.device !== '') {
      devices.add(entry.device.toLowerCase());
    }
  }
  return {entries, devices: [...devices].sort()};
}

/** The edits that make the values those of the file: of its device `from`, and of none. */
export function importEdits(file: ValueFile, from: string, schema: Schema, values: Values): Import {
  const result: Import = {edits: new Map(), unknown: 0, secrets: 0};
  const byPath = new Map(schema.fields.map((field) => [field.path, field.number]));
  for (const entry of file.entries) {
    const device = typeof entry.device === 'string' ? entry.device.toLowerCase() : '';
    if (device !== '' && device !== from) {
      continue;
    }
    const number =
      typeof entry.number === 'number' ? entry.number : byPath.get(String(entry.path ?? ''));
    const field = number === undefined ? undefined : schema.fieldOf.get(number);
    const record = entry.record ?? null;
    if (!field || !(record === null || Number.isSafeInteger(record))) {
      result.unknown++;
    } else if (typeof entry.value !== 'string') {
      result.secrets++;
    } else {
      const place: Place = {number: field.number, record: record as number | null};
      result.edits = add(result.edits, place, entry.value, schema, values);
    }
  }
  return result;
}

function add(edits: Edits, place: Place, text: string, schema: Schema, values: Values): Edits {
  const field = schema.fieldOf.get(place.number);
  if (!field) {
    return edits;
  }
  const one = enter(new Map(), place, text || null, values.get(place), field).get(keyOf(place));
  // The map is this import's own; one copy for each of thousands of values would take seconds.
  if (one) {
    (edits as Map<string, typeof one>).set(keyOf(place), one);
  } else {
    (edits as Map<string, unknown>).delete(keyOf(place));
  }
  return edits;
}
